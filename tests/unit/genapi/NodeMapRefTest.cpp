// Node map references and the factory as the camera object uses them, the smart pointers and
// the GenICam exceptions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/support/Descriptions.h"
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

// A small description: the nodes given beside a port and a register for them to use.
std::string SmallDescription(const std::string& nodes) {
  return DescriptionWith(R"(<Category Name="Root"><pFeature>Reg</pFeature></Category>
  <IntReg Name="Reg"><Address>0x10</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
)" + nodes);
}

const char kValueOfItself[] = R"(<Integer Name="Loop"><pValue>Loop</pValue></Integer>)";
const char kTwoNodes[] = R"(
  <Integer Name="Ping"><pValue>Pong</pValue></Integer>
  <Float Name="Pong"><pValue>Ping</pValue></Float>)";
const char kSwissKnifeVariable[] = R"(
  <Integer Name="Gain"><pValue>Doubled</pValue><Min>0</Min><Max>10</Max></Integer>
  <IntSwissKnife Name="Doubled"><pVariable Name="G">Gain</pVariable><Formula>G*2</Formula>
  </IntSwissKnife>)";
const char kRegisterAddress[] = R"(
  <IntReg Name="Indirect"><pAddress>Where</pAddress><Length>4</Length><AccessMode>RO</AccessMode>
    <pPort>Device</pPort></IntReg>
  <IntSwissKnife Name="Where"><pVariable Name="I">Indirect</pVariable><Formula>I+4</Formula>
  </IntSwissKnife>)";
const char kSharedNodes[] = R"(
  <Integer Name="Sum"><pValue>Twice</pValue></Integer>
  <IntSwissKnife Name="Twice"><pVariable Name="A">Reg</pVariable>
    <pVariable Name="B">Copy</pVariable><Formula>A+B</Formula></IntSwissKnife>
  <Integer Name="Copy"><pValue>Reg</pValue><pIsAvailable>Reg</pIsAvailable></Integer>)";
// Limits and access conditions are read apart from the value, so that nodes may name each other
// there, as the width and the offset of an image do.
const char kLimitsAndConditionsOfEachOther[] = R"(
  <Integer Name="Width"><pValue>Reg</pValue><pMax>WidthMax</pMax></Integer>
  <IntSwissKnife Name="WidthMax"><pVariable Name="O">Offset</pVariable><Formula>64-O</Formula>
  </IntSwissKnife>
  <Integer Name="Offset"><Value>0</Value><pMax>OffsetMax</pMax><pIsAvailable>Width</pIsAvailable>
  </Integer>
  <IntSwissKnife Name="OffsetMax"><pVariable Name="W">Width</pVariable><Formula>64-W</Formula>
  </IntSwissKnife>
  <Integer Name="A"><pIsAvailable>B</pIsAvailable><Value>1</Value></Integer>
  <Integer Name="B"><pIsAvailable>A</pIsAvailable><pIsLocked>B</pIsLocked><Value>1</Value>
  </Integer>)";
// Categories, invalidators and selectors name nodes that are not read with the value.
const char kUnreadLinksOfEachOther[] = R"(
  <Category Name="Inner"><pFeature>Outer</pFeature></Category>
  <Category Name="Outer"><pFeature>Inner</pFeature><pFeature>Mode</pFeature></Category>
  <Integer Name="Mode"><pValue>Reg</pValue><pInvalidator>Level</pInvalidator>
    <pSelected>Level</pSelected></Integer>
  <Integer Name="Level"><pValue>Reg</pValue><pInvalidator>Mode</pInvalidator>
    <pSelected>Mode</pSelected></Integer>)";

// Reads every readable node over zeroed memory; the descriptions of the failures.
std::vector<std::string> ReadEveryNode(CNodeMapRef& map) {
  MemoryPort port;
  map._Connect(&port);
  NodeList_t nodes;
  map._GetNodes(nodes);
  std::vector<std::string> failures;
  for (INode* node : nodes) {
    try {
      if (CValuePtr value = node; value && IsReadable(node)) value->ToString();
    } catch (const GenICam::GenericException& error) {
      failures.push_back(error.GetDescription());
    }
  }
  return failures;
}

struct DescriptionRow {
  const char* name;
  std::string before;  // the text before the description
  std::string nodes;   // for SmallDescription
  std::string reason;  // of a refused one: a part of the exception's description

  std::string Xml() const { return before + SmallDescription(nodes); }
};

void PrintTo(const DescriptionRow& row, std::ostream* out) { *out << row.name; }

std::string RowName(const ::testing::TestParamInfo<DescriptionRow>& info) {
  return info.param.name;
}

const char kTextBefore[] = "text before its XML declaration";

class RefusedDescription : public ::testing::TestWithParam<DescriptionRow> {};

TEST_P(RefusedDescription, IsRefusedWhenTheMapIsBuiltWithAGenICamExceptionThatSaysWhy) {
  CNodeMapRef map;
  EXPECT_THAT(DescriptionOf<GenICam::RuntimeException>([&] {
                map._LoadXMLFromString(GetParam().Xml());
                ReadEveryNode(map);  // where an accepted loop hangs its reader
              }),
              ::testing::HasSubstr(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedDescription,
    ::testing::Values(
        DescriptionRow{"ValueOfItself", "", kValueOfItself, "'Loop' depends on its own value"},
        DescriptionRow{"TwoNodes", "", kTwoNodes, ": Ping -> Pong -> Ping"},
        DescriptionRow{"SwissKnifeVariable", "", kSwissKnifeVariable, ": Gain -> Doubled -> Gain"},
        DescriptionRow{"RegisterAddress", "", kRegisterAddress, "Indirect -> Where -> Indirect"},
        DescriptionRow{"TextBeforeDeclaration", "garbage", "", kTextBefore},
        DescriptionRow{"LineBeforeDeclaration", "\n", "", kTextBefore},
        DescriptionRow{"CommentBeforeDeclaration", "<!-- x -->", "", kTextBefore},
        DescriptionRow{"TextAfterByteOrderMark", "\xEF\xBB\xBFgarbage", "", kTextBefore},
        DescriptionRow{"NulBeforeDeclaration", std::string(1, '\0'), "", kTextBefore}),
    RowName);

class AcceptedDescription : public ::testing::TestWithParam<DescriptionRow> {};

TEST_P(AcceptedDescription, BuildsAndEveryReadableNodeReads) {
  CNodeMapRef map;
  map._LoadXMLFromString(GetParam().Xml());
  EXPECT_THAT(ReadEveryNode(map), ::testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, AcceptedDescription,
    ::testing::Values(DescriptionRow{"SharedNodes", "", kSharedNodes, ""},
                      DescriptionRow{"ByteOrderMark", "\xEF\xBB\xBF", kSharedNodes, ""},
                      DescriptionRow{"LimitsAndConditionsOfEachOther", "",
                                     kLimitsAndConditionsOfEachOther, ""},
                      DescriptionRow{"UnreadLinksOfEachOther", "", kUnreadLinksOfEachOther, ""}),
    RowName);

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
