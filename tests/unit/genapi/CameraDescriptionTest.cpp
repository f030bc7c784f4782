// The node map over camera descriptions that nobody here wrote: Aravis's fake camera and the
// descriptions of real cameras, each served from zeroed memory.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "genapi/GenApi.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Descriptions.h"
#include "tests/support/TempDir.h"
#include "tests/unit/genapi/MemoryPort.h"
#include "tests/unit/genapi/ProbeCamera.h"
#include "tools/logging/ClassLogger.h"

namespace vesk::test {
namespace {

using namespace GenApi;
using ::testing::Contains;
using ::testing::HasSubstr;

const char kFakeCamera[] = "AravisFakeCamera";
// A row whose name ends so is the description of the rest of its name, pretty printed.
const std::string kPrettyPrinted = "_PrettyPrinted";

// The text of each element that holds no other on lines of its own, indented, as pretty printers
// lay it out: every name that a node refers to stands apart from its tags.
std::string PrettyPrinted(const std::string& xml) {
  std::string text;
  size_t from = 0;
  for (size_t close = xml.find("</"); close != xml.npos; close = xml.find("</", close + 2)) {
    const size_t tagEnd = xml.rfind('>', close);
    const size_t tagStart = xml.rfind('<', tagEnd);
    const bool startTag =
        tagStart >= from && std::isalpha(xml[tagStart + 1]) && xml[tagEnd - 1] != '/';
    if (!startTag || tagEnd + 1 == close) continue;
    text.append(xml, from, tagEnd + 1 - from);
    text += "\n        " + xml.substr(tagEnd + 1, close - tagEnd - 1) + "\n      ";
    from = close;
  }
  return text.append(xml, from, xml.npos);
}

// The descriptions are read a second time here, without an XML parser, so that the tests compare
// the node map with what the text says.

// The text with its comments cut out: descriptions keep old elements in comments.
std::string WithoutComments(const std::string& xml) {
  std::string text;
  size_t from = 0;
  for (size_t start = xml.find("<!--"); start != xml.npos; start = xml.find("<!--", from)) {
    text += xml.substr(from, start - from);
    const size_t end = xml.find("-->", start);
    if (end == xml.npos) return text;
    from = end + 3;
  }
  return text + xml.substr(from);
}

// The texts of all children of that name, in order, without the blanks around them.
std::vector<std::string> ChildTexts(const std::string& body, const std::string& child) {
  std::vector<std::string> texts;
  const std::string open = "<" + child + ">";
  for (size_t at = body.find(open); at != body.npos; at = body.find(open, at + 1)) {
    const size_t first = body.find_first_not_of(" \t\r\n", at + open.size());
    const size_t last = body.find_last_not_of(" \t\r\n", body.find('<', first) - 1);
    texts.push_back(last < first ? "" : body.substr(first, last - first + 1));
  }
  return texts;
}

struct DescriptionElement {
  std::string name;
  std::string body;  // the text between the start and the end tag

  size_t Count(const std::string& child) const { return ChildTexts(body, child).size(); }
  // The text of the first child element of that name, or "".
  std::string Child(const std::string& child) const {
    const std::vector<std::string> texts = ChildTexts(body, child);
    return texts.empty() ? "" : texts.front();
  }
};

// Every element with that tag and a Name attribute. Elements of that tag do not nest.
std::vector<DescriptionElement> ElementsOf(const std::string& xml, const std::string& tag) {
  std::vector<DescriptionElement> elements;
  const std::string open = "<" + tag;
  for (size_t at = xml.find(open); at != xml.npos; at = xml.find(open, at + 1)) {
    if (!std::isspace(static_cast<unsigned char>(xml[at + open.size()]))) continue;
    const size_t tagEnd = xml.find('>', at);
    const size_t nameAt = xml.find(" Name=\"", at);
    if (tagEnd == xml.npos || nameAt == xml.npos || nameAt > tagEnd) continue;
    const size_t nameStart = nameAt + 7;
    const size_t close = xml[tagEnd - 1] == '/' ? tagEnd + 1 : xml.find("</" + tag + ">", tagEnd);
    elements.push_back({xml.substr(nameStart, xml.find('"', nameStart) - nameStart),
                        xml.substr(tagEnd + 1, close - tagEnd - 1)});
  }
  return elements;
}

// A register whose mode and caching the text tells alone: a fixed address and no node that
// decides its availability.
bool Plain(const DescriptionElement& element) {
  for (const char* child : {"pIsImplemented", "pIsAvailable", "pIsLocked", "pAddress"}) {
    if (element.Count(child) > 0) return false;
  }
  return element.Count("Address") == 1 && element.Count("AccessMode") > 0 &&
         element.body.find("<IntSwissKnife") == std::string::npos &&
         element.body.find("<pIndex") == std::string::npos;
}

// A description connected to zeroed memory.
class CameraDescription : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    std::string name = GetParam();
    const bool pretty =
        name.size() > kPrettyPrinted.size() &&
        name.compare(name.size() - kPrettyPrinted.size(), name.npos, kPrettyPrinted) == 0;
    if (pretty) name.resize(name.size() - kPrettyPrinted.size());
    if (name == kFakeCamera) {
      xml_ = FakeCameraDescription();
    } else {
      const std::string path = std::string(VESK_GENICAM_XML_DIR) + "/" + name + ".xml";
      if (!std::filesystem::exists(path)) GTEST_SKIP() << "no camera description " << path;
      xml_ = ReadText(path);
    }
    if (pretty) xml_ = PrettyPrinted(xml_);
    map_._LoadXMLFromString(xml_);
    ASSERT_TRUE(map_._Connect(&port_, "Device"));
    xml_ = WithoutComments(xml_);
  }

  // Elements whose name is given once only, so that the node is certainly theirs.
  std::vector<DescriptionElement> UniqueElements(const std::string& tag) const {
    std::vector<DescriptionElement> unique;
    for (const DescriptionElement& element : ElementsOf(xml_, tag)) {
      const std::string name = " Name=\"" + element.name + "\"";
      if (xml_.find(name, xml_.find(name) + 1) == xml_.npos) unique.push_back(element);
    }
    return unique;
  }

  std::vector<DescriptionElement> PlainRegisters() const {
    std::vector<DescriptionElement> registers;
    for (const char* tag : {"IntReg", "MaskedIntReg", "FloatReg", "StringReg", "Register"}) {
      for (const DescriptionElement& element : UniqueElements(tag)) {
        if (Plain(element)) registers.push_back(element);
      }
    }
    return registers;
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

template <class T>
bool Offers(INode* node) {
  return dynamic_cast<T*>(node) != nullptr;
}

// The interface that the elements of these tags must give their nodes.
struct ElementInterface {
  EInterfaceType type;
  bool (*offers)(INode*);
  std::vector<const char*> tags;
};

TEST_P(CameraDescription, RootWalksTheCategoryTreeAndEachElementIsANodeOfItsInterface) {
  std::set<std::string> expected;
  for (const std::string& name : CategoryTreeInText(xml_)) {
    if (map_._GetNode(name.c_str())) expected.insert(name);
  }
  std::set<std::string> reached;
  Walk(map_._GetNode("Root"), reached);
  EXPECT_GT(reached.size(), 10u);
  EXPECT_EQ(reached, expected);

  const ElementInterface interfaces[] = {
      {intfIInteger,
       Offers<IInteger>,
       {"Integer", "IntReg", "MaskedIntReg", "IntSwissKnife", "IntConverter", "StructEntry"}},
      {intfIFloat, Offers<IFloat>, {"Float", "FloatReg", "SwissKnife", "Converter"}},
      {intfIBoolean, Offers<IBoolean>, {"Boolean"}},
      {intfICommand, Offers<ICommand>, {"Command"}},
      {intfIString, Offers<IString>, {"String", "StringReg"}},
      {intfIRegister, Offers<IRegister>, {"Register"}},
      {intfICategory, Offers<ICategory>, {"Category"}},
      {intfIEnumeration, Offers<IEnumeration>, {"Enumeration"}},
      {intfIPort, Offers<IPort>, {"Port"}}};
  size_t checked = 0;
  for (const ElementInterface& expected : interfaces) {
    for (const char* tag : expected.tags) {
      for (const DescriptionElement& element : UniqueElements(tag)) {
        INode* node = map_._GetNode(element.name.c_str());
        ASSERT_NE(node, nullptr) << tag << " " << element.name;
        EXPECT_EQ(node->GetPrincipalInterfaceType(), expected.type) << element.name;
        EXPECT_TRUE(expected.offers(node)) << element.name;
        ++checked;
      }
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
      EXPECT_THAT(error.GetDescription(), HasSubstr("'" + name + "'"));
    }
  }
  // Zeroed memory is not always a valid value, but it is for most features.
  EXPECT_GT(read, 10 * failed);
  EXPECT_FALSE(port_.readsAt.empty());
}

TEST_P(CameraDescription, RegistersHaveTheAccessModeAndCachingOfTheirDescription) {
  const std::map<std::string, EAccessMode> modes{{"RO", RO}, {"WO", WO}, {"RW", RW}};
  size_t checked = 0;
  size_t cached = 0;
  for (const DescriptionElement& element : PlainRegisters()) {
    INode* node = map_._GetNode(element.name.c_str());
    const auto mode = modes.find(element.Child("AccessMode"));
    ASSERT_NE(mode, modes.end()) << element.name;
    EXPECT_EQ(node->GetAccessMode(), mode->second) << element.name;
    ++checked;
    if (!IsReadable(node)) continue;
    const int64_t address = std::stoll(element.Child("Address"), nullptr, 0);
    port_.readsAt.clear();
    try {
      CValuePtr(node)->ToString();
      CValuePtr(node)->ToString();
    } catch (const GenICam::GenericException&) {
      continue;  // a value that zeroed memory does not make
    }
    const bool noCache = element.Child("Cachable") == "NoCache";
    EXPECT_EQ(port_.readsAt[address], noCache ? 2 : 1) << element.name;
    ++cached;
  }
  EXPECT_GT(checked, 0u);
  EXPECT_GT(cached, 0u);
}

TEST_P(CameraDescription, WritingAnInvalidatorRereadsTheRegistersItInvalidates) {
  size_t checked = 0;
  for (const DescriptionElement& element : PlainRegisters()) {
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

INSTANTIATE_TEST_SUITE_P(Descriptions, CameraDescription,
                         ::testing::Values(kFakeCamera, "Adimec_Q12A180CXP_1_1_5",
                                           "Mikrotron_CXP_MC206xS11", "Teledyne_ShadoBox",
                                           "Tucsen_CXP_Dhyana6060BSI",
                                           "AravisFakeCamera_PrettyPrinted",
                                           "Teledyne_ShadoBox_PrettyPrinted"),
                         [](const auto& info) { return info.param; });

TEST(FakeCamera, AWriteToWidthReachesThePayloadSizeAndItsCallback) {
  CNodeMapRef map;
  map._LoadXMLFromString(FakeCameraDescription());
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
  const std::string xml = FakeCameraDescription();
  CapturedLog::SetDefaultLevel(1);
  CapturedLog::SetAllLevels(1);
  CNodeMapRef map;
  ::testing::internal::CaptureStderr();
  EXPECT_THROW(map._LoadXMLFromString(xml.substr(0, xml.size() / 2)), GenICam::RuntimeException);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_THAT(CapturedLog::TakeFailures(), Contains(HasSubstr("XML: ")));
  EXPECT_EQ(map._Ptr, nullptr);
}

// This camera's file begins with a line naming the camera.
TEST(MalformedDescription, TextBeforeTheDeclarationIsRefusedAsSuch) {
  const std::string path = std::string(VESK_GENICAM_XML_DIR) + "/Allied_Vision_1800_U-811m.xml";
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no camera description " << path;
  CNodeMapRef map;
  EXPECT_THAT(DescriptionOf<GenICam::RuntimeException>([&] { map._LoadXMLFromFile(path.c_str()); }),
              HasSubstr("text before its XML declaration"));
}

TEST(GLibLog, WarningsOfAravisGoToTheLibraryLoggerAtLevelFour) {
  CapturedLog::SetDefaultLevel(1);
  CapturedLog::SetAllLevels(1);
  CNodeMapRef map;
  map._LoadXMLFromString(FakeCameraDescription());
  CapturedLog::Take();
  ::testing::internal::CaptureStderr();
  // Aravis logs in GLib's default domain.
  g_log(nullptr, G_LOG_LEVEL_WARNING, "register %d\nnot answered", 7);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  const std::vector<CapturedLine> lines = CapturedLog::Take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].level, 4u);
  EXPECT_EQ(lines[0].text, "thread-id=" + std::to_string(tools::logging::CurrentThreadId()) +
                               "|Aravis: register 7 not answered");
}

}  // namespace
}  // namespace vesk::test
