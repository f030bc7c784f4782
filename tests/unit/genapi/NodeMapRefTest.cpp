// Node map references and the factory as the camera object uses them, the smart pointers and
// the GenICam exceptions.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "tests/support/TempDir.h"
#include "tests/unit/genapi/ProbeCamera.h"

namespace vesk::test {
namespace {

using namespace GenApi;

TEST(NodeMapRef, TheFactoryMapGoesIntoAReferenceWithOneUse) {
  const std::string xml = ProbeDescription();
  CNodeMapRef* reference = new CNodeMapRef("Device");
  CNodeMapFactory factory(ContentType_Xml, xml.data(), xml.size());
  *reference = factory.CreateNodeMap("Device", true);
  EXPECT_TRUE(factory.IsEmpty());
  MemoryPort port;
  ASSERT_TRUE(reference->_Connect(&port, "Device"));
  EXPECT_EQ(reference->_GetDeviceName(), "Device");
  CIntegerPtr(reference->_GetNode("Gain"))->SetValue(8);
  EXPECT_EQ(port.Get32(0x000), 8u);
  // The sanitized build tells whether the map is destroyed once, and not before.
  delete reference;
}

TEST(NodeMapRef, CopiesShareTheMapUntilTheLastGoes) {
  CNodeMapRef* original = new CNodeMapRef;
  original->_LoadXMLFromString(ProbeDescription());
  CNodeMapRef copy(*original);
  CNodeMapRef assigned;
  assigned = copy;
  EXPECT_EQ(copy._Ptr, original->_Ptr);
  EXPECT_EQ(assigned._Ptr, original->_Ptr);
  INode* gain = original->_GetNode("Gain");
  delete original;
  EXPECT_EQ(copy._GetNode("Gain"), gain);
  copy._Destroy();
  EXPECT_EQ(copy._Ptr, nullptr);
  EXPECT_EQ(assigned._GetNode("Gain")->GetName(), "Gain");
}

TEST(NodeMapRef, AnEmptyReferenceSaysSo) {
  CNodeMapRef empty;
  MemoryPort port;
  EXPECT_EQ(DescriptionOf<GenICam::AccessException>([&] { empty._GetNode("Gain"); }),
            "Feature not present (reference not valid)");
  EXPECT_THROW(empty._Connect(&port, "Device"), GenICam::AccessException);
  NodeList_t nodes;
  EXPECT_THROW(empty._GetNodes(nodes), GenICam::AccessException);
}

TEST(NodeMapRef, ASecondLoadIsRefused) {
  CNodeMapRef map;
  map._LoadXMLFromString(ProbeDescription());
  EXPECT_EQ(
      DescriptionOf<GenICam::RuntimeException>([&] { map._LoadXMLFromString(ProbeDescription()); }),
      "Node map already created");
}

TEST(NodeMapRef, LoadsFromAFile) {
  TempDir dir;
  const std::string path = dir.Path() + "/probe.xml";
  std::ofstream(path) << ProbeDescription();
  CNodeMapRef map;
  map._LoadXMLFromFile(path.c_str());
  NodeList_t nodes;
  map._GetNodes(nodes);
  EXPECT_EQ(nodes.size(), map._Ptr->GetNumNodes());
  EXPECT_NE(map._GetNode("Root"), nullptr);
  CNodeMapRef missing;
  EXPECT_THROW(missing._LoadXMLFromFile((dir.Path() + "/none.xml").c_str()),
               GenICam::RuntimeException);
}

TEST(NodeMapRef, OnlyPortNodesConnect) {
  CNodeMapRef map;
  map._LoadXMLFromString(ProbeDescription());
  MemoryPort port;
  EXPECT_FALSE(map._Connect(&port, "TLPort"));
  EXPECT_FALSE(map._Connect(&port, "Gain"));
  EXPECT_TRUE(map._Connect(&port));
}

TEST(NodeMapFactory, DescriptionsThatAreNoneAreRefused) {
  const char* const texts[] = {
      "",
      "not xml at all",
      "<?xml version=\"1.0\"?><Something/>",
      "<?xml version=\"1.0\"?><RegisterDescription><Integer Name=\"A\">",
  };
  for (const char* text : texts) {
    CNodeMapFactory factory(ContentType_Xml, text, std::char_traits<char>::length(text));
    EXPECT_THROW(delete factory.CreateNodeMap(), GenICam::RuntimeException) << text;
  }
  EXPECT_THROW(CNodeMapFactory(ContentType_ZippedXml, "PK", 2), GenICam::RuntimeException);
  CNodeMapFactory released(ContentType_Xml, ProbeDescription(),
                           std::char_traits<char>::length(ProbeDescription()));
  dynamic_cast<IDestroy*>(released.CreateNodeMap())->Destroy();
  EXPECT_THROW(released.CreateNodeMap(), GenICam::RuntimeException);
}

TEST(Pointer, ANullPointerThrowsWhenUsed) {
  ProbeCamera camera;
  CIntegerPtr missing = camera.map._GetNode("NoSuchFeature");
  EXPECT_FALSE(missing.IsValid());
  EXPECT_FALSE(missing);
  EXPECT_EQ(DescriptionOf<GenICam::LogicalErrorException>([&] { missing->GetValue(); }),
            "NULL pointer dereferenced");
  EXPECT_THROW(*missing, GenICam::LogicalErrorException);
  CIntegerPtr wrongType = camera.map._GetNode("Mode");
  EXPECT_THROW(wrongType->GetValue(), GenICam::LogicalErrorException);
  CNodePtr node = camera.map._GetNode("Mode");
  EXPECT_TRUE(node);
  EXPECT_EQ(node->GetName(), "Mode");
}

TEST(Exceptions, MacrosFormatTheTextAndKeepTheSourcePosition) {
  try {
    throw OUT_OF_RANGE_EXCEPTION("Value %d above %s", 12, "Max");
  } catch (const GenICam::GenericException& error) {
    EXPECT_NE(dynamic_cast<const GenICam::OutOfRangeException*>(&error), nullptr);
    EXPECT_STREQ(error.GetDescription(), "Value 12 above Max");
    EXPECT_EQ(error.GetSourceLine(), static_cast<unsigned int>(__LINE__ - 4));
    const std::string what = error.what();
    EXPECT_EQ(what.rfind("Value 12 above Max : ", 0), 0u) << what;
    EXPECT_NE(what.find("NodeMapRefTest.cpp@"), std::string::npos) << what;
  }
}

}  // namespace
}  // namespace vesk::test
