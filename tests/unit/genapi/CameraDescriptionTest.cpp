// The node map over camera descriptions that nobody here wrote: Aravis's fake camera and the
// descriptions of real cameras, each served from zeroed memory.
#include <arv.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "genapi/GenApi.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TempDir.h"
#include "tests/unit/genapi/DescriptionText.h"
#include "tests/unit/genapi/MemoryPort.h"

namespace vesk::test {
namespace {

using namespace GenApi;

const char kFakeCamera[] = "AravisFakeCamera";

std::string FakeCameraXml() {
  ArvFakeCamera* camera = arv_fake_camera_new("GENAPI-TEST");
  size_t size = 0;
  const char* xml = arv_fake_camera_get_genicam_xml(camera, &size);
  std::string text(xml, size);
  g_object_unref(camera);
  return text;
}

// A description connected to zeroed memory.
class CameraDescription : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (GetParam() == kFakeCamera) {
      xml_ = FakeCameraXml();
    } else {
      const std::string path = std::string(VESK_GENICAM_XML_DIR) + "/" + GetParam() + ".xml";
      if (!std::filesystem::exists(path)) GTEST_SKIP() << "no camera description " << path;
      xml_ = ReadText(path);
    }
    map_._LoadXMLFromString(xml_);
    ASSERT_TRUE(map_._Connect(&port_, "Device"));
    xml_ = WithoutComments(xml_);
  }

  // Elements whose name is given once only, so that the node is certainly theirs.
  std::vector<DescriptionElement> UniqueElements(const std::string& tag) const {
    std::vector<DescriptionElement> unique;
    for (const DescriptionElement& element : ElementsOf(xml_, tag)) {
      if (Occurrences(" Name=\"" + element.name + "\"") == 1) unique.push_back(element);
    }
    return unique;
  }

  size_t Occurrences(const std::string& text) const {
    size_t count = 0;
    for (size_t at = xml_.find(text); at != xml_.npos; at = xml_.find(text, at + 1)) ++count;
    return count;
  }

  std::string xml_;
  MemoryPort port_;
  CNodeMapRef map_;
};

// The names a walk from "Root" reaches in the text.
std::set<std::string> CategoryTreeInText(const std::string& xml) {
  std::map<std::string, std::vector<std::string>> features;
  for (const DescriptionElement& category : ElementsOf(xml, "Category")) {
    features[category.name] = ChildTexts(category.body, "pFeature");
  }
  std::set<std::string> reached{"Root"};
  std::vector<std::string> open{"Root"};
  while (!open.empty()) {
    const std::string next = open.back();
    open.pop_back();
    for (const std::string& feature : features[next]) {
      if (reached.insert(feature).second) open.push_back(feature);
    }
  }
  return reached;
}

void Walk(INode* node, std::set<std::string>& reached) {
  if (!reached.insert(node->GetName().str()).second) return;
  NodeList_t children;
  node->GetChildren(children, ctReadingChildren);
  if (node->GetPrincipalInterfaceType() != intfICategory) return;
  for (INode* child : children) Walk(child, reached);
}

TEST_P(CameraDescription, RootWalksTheWholeCategoryTree) {
  std::set<std::string> expected;
  for (const std::string& name : CategoryTreeInText(xml_)) {
    if (map_._GetNode(name.c_str())) expected.insert(name);
  }
  std::set<std::string> reached;
  Walk(map_._GetNode("Root"), reached);
  EXPECT_GT(reached.size(), 10u);
  EXPECT_EQ(reached, expected);
}

TEST_P(CameraDescription, EveryReadableFeatureReadsOrNamesTheNodeThatFailed) {
  NodeList_t nodes;
  map_._GetNodes(nodes);
  int read = 0;
  int failed = 0;
  for (INode* node : nodes) {
    const std::string name = node->GetName().str();
    try {
      CValuePtr value(node);
      if (!value || !IsReadable(node)) continue;
      if (node->GetPrincipalInterfaceType() == intfICommand) {
        CCommandPtr(node)->IsDone();
      } else {
        value->ToString();
      }
      ++read;
    } catch (const GenICam::GenericException& error) {
      ++failed;
      EXPECT_NE(std::string(error.GetDescription()).find("'" + name + "'"), std::string::npos)
          << error.GetDescription();
    }
  }
  // Zeroed memory is not always a valid value, but it is for most features.
  EXPECT_GT(read, 10 * failed);
  EXPECT_GT(port_.reads, 0);
}

// The interface that each element of the description must give its node.
struct ElementInterface {
  const char* tag;
  EInterfaceType type;
  std::function<bool(INode*)> offers;
};

template <class T>
bool Offers(INode* node) {
  return dynamic_cast<T*>(node) != nullptr;
}

TEST_P(CameraDescription, EachElementBecomesANodeOfItsInterface) {
  const ElementInterface interfaces[] = {
      {"Integer", intfIInteger, Offers<IInteger>},
      {"IntReg", intfIInteger, Offers<IInteger>},
      {"MaskedIntReg", intfIInteger, Offers<IInteger>},
      {"IntSwissKnife", intfIInteger, Offers<IInteger>},
      {"IntConverter", intfIInteger, Offers<IInteger>},
      {"StructEntry", intfIInteger, Offers<IInteger>},
      {"Float", intfIFloat, Offers<IFloat>},
      {"FloatReg", intfIFloat, Offers<IFloat>},
      {"SwissKnife", intfIFloat, Offers<IFloat>},
      {"Converter", intfIFloat, Offers<IFloat>},
      {"Boolean", intfIBoolean, Offers<IBoolean>},
      {"Command", intfICommand, Offers<ICommand>},
      {"String", intfIString, Offers<IString>},
      {"StringReg", intfIString, Offers<IString>},
      {"Register", intfIRegister, Offers<IRegister>},
      {"Category", intfICategory, Offers<ICategory>},
      {"Enumeration", intfIEnumeration, Offers<IEnumeration>},
      {"Port", intfIPort, Offers<IPort>},
  };
  size_t checked = 0;
  for (const ElementInterface& expected : interfaces) {
    for (const DescriptionElement& element : UniqueElements(expected.tag)) {
      INode* node = map_._GetNode(element.name.c_str());
      ASSERT_NE(node, nullptr) << expected.tag << " " << element.name;
      EXPECT_EQ(node->GetPrincipalInterfaceType(), expected.type) << element.name;
      EXPECT_TRUE(expected.offers(node)) << element.name;
      ++checked;
    }
  }
  for (const DescriptionElement& enumeration : UniqueElements("Enumeration")) {
    for (const DescriptionElement& entry : ElementsOf(enumeration.body, "EnumEntry")) {
      INode* node = map_._GetNode(("EnumEntry_" + enumeration.name + "_" + entry.name).c_str());
      ASSERT_NE(node, nullptr) << enumeration.name << " " << entry.name;
      EXPECT_EQ(node->GetPrincipalInterfaceType(), intfIEnumEntry);
      EXPECT_EQ(CEnumEntryPtr(node)->GetSymbolic(), entry.name);
      ++checked;
    }
  }
  EXPECT_GT(checked, 50u);
}

// A register whose mode and caching the text tells alone: a fixed address and no node that
// decides its availability.
bool Plain(const DescriptionElement& element) {
  return element.Count("Address") == 1 && element.Has("AccessMode") &&
         !element.Has("pIsImplemented") && !element.Has("pIsAvailable") &&
         !element.Has("pIsLocked") && !element.Has("pAddress") && !element.Has("pIndex") &&
         element.body.find("<IntSwissKnife") == std::string::npos &&
         element.body.find("<pIndex") == std::string::npos;
}

std::vector<DescriptionElement> PlainRegisters(
    const std::function<std::vector<DescriptionElement>(const std::string&)>& unique) {
  std::vector<DescriptionElement> registers;
  for (const char* tag : {"IntReg", "MaskedIntReg", "FloatReg", "StringReg", "Register"}) {
    for (const DescriptionElement& element : unique(tag)) {
      if (Plain(element)) registers.push_back(element);
    }
  }
  return registers;
}

TEST_P(CameraDescription, RegistersHaveTheAccessModeOfTheirDescription) {
  const std::map<std::string, EAccessMode> modes{{"RO", RO}, {"WO", WO}, {"RW", RW}};
  size_t checked = 0;
  for (const DescriptionElement& element :
       PlainRegisters([this](const std::string& tag) { return UniqueElements(tag); })) {
    const auto mode = modes.find(element.Child("AccessMode"));
    ASSERT_NE(mode, modes.end()) << element.name;
    EXPECT_EQ(map_._GetNode(element.name.c_str())->GetAccessMode(), mode->second) << element.name;
    ++checked;
  }
  EXPECT_GT(checked, 0u);
}

TEST_P(CameraDescription, ReadsHonourTheCachingModeOfEachRegister) {
  size_t checked = 0;
  for (const DescriptionElement& element :
       PlainRegisters([this](const std::string& tag) { return UniqueElements(tag); })) {
    INode* node = map_._GetNode(element.name.c_str());
    if (!IsReadable(node)) continue;
    const int64_t address = std::stoll(element.Child("Address"), nullptr, 0);
    CValuePtr value(node);
    port_.readsAt.clear();
    try {
      value->ToString();
      value->ToString();
    } catch (const GenICam::GenericException&) {
      continue;  // a value that zeroed memory does not make
    }
    const bool noCache = element.Child("Cachable") == "NoCache";
    EXPECT_EQ(port_.readsAt[address], noCache ? 2 : 1) << element.name;
    ++checked;
  }
  EXPECT_GT(checked, 0u);
}

TEST_P(CameraDescription, WritingAnInvalidatorRereadsTheRegistersItInvalidates) {
  size_t checked = 0;
  for (const DescriptionElement& element :
       PlainRegisters([this](const std::string& tag) { return UniqueElements(tag); })) {
    const std::string invalidator = element.Child("pInvalidator");
    if (invalidator.empty() || element.Child("Cachable") == "NoCache") continue;
    INode* node = map_._GetNode(element.name.c_str());
    CIntegerPtr trigger = map_._GetNode(invalidator.c_str());
    if (!IsReadable(node) || !trigger || !IsWritable(trigger)) continue;
    const int64_t address = std::stoll(element.Child("Address"), nullptr, 0);
    try {
      CValuePtr(node)->ToString();
      port_.readsAt.clear();
      CValuePtr(node)->ToString();
      ASSERT_EQ(port_.readsAt[address], 0) << element.name << " is not cached";
      trigger->SetValue(1, false);
      CValuePtr(node)->ToString();
    } catch (const GenICam::GenericException&) {
      continue;
    }
    EXPECT_EQ(port_.readsAt[address], 1) << element.name << " after a write to " << invalidator;
    ++checked;
  }
  if (checked == 0) GTEST_SKIP() << "no plain register with a writable invalidator";
}

std::string ParamName(const ::testing::TestParamInfo<std::string>& info) {
  std::string name = info.param;
  for (char& c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Descriptions, CameraDescription,
                         ::testing::Values(kFakeCamera, "Adimec_Q12A180CXP_1_1_5",
                                           "Mikrotron_CXP_MC206xS11", "Teledyne_ShadoBox",
                                           "Tucsen_CXP_Dhyana6060BSI"),
                         ParamName);

TEST(FakeCamera, AWriteToWidthReachesThePayloadSizeAndItsCallback) {
  CNodeMapRef map;
  map._LoadXMLFromString(FakeCameraXml());
  MemoryPort port;
  map._Connect(&port);
  CIntegerPtr payload = map._GetNode("PayloadSize");
  EXPECT_EQ(payload->GetValue(), 0);
  int calls = 0;
  Register(map._GetNode("PayloadSize"), [&](INode*) { ++calls; });
  CIntegerPtr(map._GetNode("Height"))->SetValue(4, false);
  CIntegerPtr(map._GetNode("Width"))->SetValue(8, false);
  CEnumerationPtr(map._GetNode("PixelFormat"))->FromString("Mono16");
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(payload->GetValue(), 8 * 4 * 2);
}

TEST(MalformedDescription, IsRefusedAndTheParserIsHeardInTheLogOnly) {
  const std::string path = std::string(VESK_GENICAM_XML_DIR) + "/Allied_Vision_1800_U-811m.xml";
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no camera description " << path;
  CapturedLog::SetDefaultLevel(1);
  CapturedLog::SetAllLevels(1);
  CNodeMapRef map;
  ::testing::internal::CaptureStderr();
  EXPECT_THROW(map._LoadXMLFromFile(path.c_str()), GenICam::RuntimeException);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  bool heard = false;
  for (const CapturedLine& line : CapturedLog::Take()) {
    heard = heard || (line.level == 5 && line.text.find("XML: ") != std::string::npos);
  }
  EXPECT_TRUE(heard);
  EXPECT_EQ(map._Ptr, nullptr);
}

TEST(GLibLog, WarningsOfAravisGoToTheLibraryLoggerAtLevelFour) {
  CapturedLog::SetDefaultLevel(1);
  CapturedLog::SetAllLevels(1);
  CNodeMapRef map;
  map._LoadXMLFromString(FakeCameraXml());
  CapturedLog::Take();
  ::testing::internal::CaptureStderr();
  // Aravis logs in GLib's default domain.
  g_log(nullptr, G_LOG_LEVEL_WARNING, "register %d\nnot answered", 7);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  const std::vector<CapturedLine> lines = CapturedLog::Take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].level, 4u);
  EXPECT_NE(lines[0].text.find("|Aravis: register 7 not answered"), std::string::npos)
      << lines[0].text;
}

}  // namespace
}  // namespace vesk::test
