// Node map references and the factory as the camera object uses them, the smart pointers and
// the GenICam exceptions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/TempDir.h"
#include "tests/unit/genapi/ProbeCamera.h"

namespace vesk::test {
namespace {

using namespace GenApi;

// The sanitized build tells whether the map is destroyed once, and not before.
TEST(NodeMapRef, TheFactoryMapGoesIntoAReferenceAndCopiesShareItUntilTheLastGoes) {
  CNodeMapRef* reference = new CNodeMapRef("Device");
  CNodeMapFactory factory(ContentType_Xml, ProbeDescription().data(), ProbeDescription().size());
  *reference = factory.CreateNodeMap("Device", true);
  EXPECT_TRUE(factory.IsEmpty());
  MemoryPort port;
  ASSERT_TRUE(reference->_Connect(&port, "Device"));
  EXPECT_EQ(reference->_GetDeviceName(), "Device");
  CIntegerPtr(reference->_GetNode("Gain"))->SetValue(8);
  EXPECT_EQ(port.Get32(0x000), 8u);

  CNodeMapRef copy(*reference);
  CNodeMapRef assigned;
  assigned = copy;
  EXPECT_EQ(copy._Ptr, reference->_Ptr);
  EXPECT_EQ(assigned._Ptr, reference->_Ptr);
  INode* gain = reference->_GetNode("Gain");
  delete reference;
  EXPECT_EQ(copy._GetNode("Gain"), gain);
  copy._Destroy();
  EXPECT_EQ(copy._Ptr, nullptr);
  EXPECT_EQ(assigned._GetNode("Gain")->GetName(), "Gain");
}

TEST(NodeMapRef, LoadsOnceFromTextOrFileAndConnectsOnlyPortNodes) {
  TempDir dir;
  WriteText(dir.File("probe.xml"), ProbeDescription());
  CNodeMapRef map;
  map._LoadXMLFromFile(dir.File("probe.xml").c_str());
  NodeList_t nodes;
  map._GetNodes(nodes);
  EXPECT_EQ(nodes.size(), map._Ptr->GetNumNodes());
  EXPECT_NE(map._GetNode("Root"), nullptr);
  EXPECT_EQ(
      DescriptionOf<GenICam::RuntimeException>([&] { map._LoadXMLFromString(ProbeDescription()); }),
      "Node map already created");
  CNodeMapRef missing;
  EXPECT_THROW(missing._LoadXMLFromFile(dir.File("none.xml").c_str()), GenICam::RuntimeException);

  MemoryPort port;
  EXPECT_FALSE(map._Connect(&port, "TLPort"));
  EXPECT_FALSE(map._Connect(&port, "Gain"));
  EXPECT_TRUE(map._Connect(&port));

  CNodeMapRef empty;
  EXPECT_EQ(DescriptionOf<GenICam::AccessException>([&] { empty._GetNode("Gain"); }),
            "Feature not present (reference not valid)");
  EXPECT_THROW(empty._Connect(&port, "Device"), GenICam::AccessException);
  EXPECT_THROW(empty._GetNodes(nodes), GenICam::AccessException);
}

TEST(NodeMapFactory, DescriptionsThatAreNoneAreRefused) {
  for (const std::string text :
       {"", "not xml at all", "<?xml version=\"1.0\"?><Something/>",
        "<?xml version=\"1.0\"?><RegisterDescription><Integer Name=\"A\">"}) {
    CNodeMapFactory factory(ContentType_Xml, text.data(), text.size());
    EXPECT_THROW(delete factory.CreateNodeMap(), GenICam::RuntimeException) << text;
  }
  EXPECT_THROW(CNodeMapFactory(ContentType_ZippedXml, "PK", 2), GenICam::RuntimeException);
  CNodeMapFactory released(ContentType_Xml, ProbeDescription().data(), ProbeDescription().size());
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
    EXPECT_THAT(error.what(), ::testing::StartsWith("Value 12 above Max : "));
    EXPECT_THAT(error.what(), ::testing::HasSubstr("NodeMapRefTest.cpp@"));
  }
}

}  // namespace
}  // namespace vesk::test
