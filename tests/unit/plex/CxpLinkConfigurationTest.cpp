#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>

#include "core/plex/CxpLinkConfiguration.h"
#include "tests/support/TempDir.h"

namespace {

using vesk::core::plex::CxpLinkConfiguration;
using vesk::test::ReadText;
using vesk::test::TempDir;
using vesk::test::WriteText;

// The message of the runtime_error that `call` raises, empty if it raises none.
std::string ErrorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

std::string ReadError(const std::string& family, const char* text) {
  return ErrorOf([&] { CxpLinkConfiguration::Create(family)->ReadFromString(text); });
}

// A group's master id, master physical index, speed, stream packet size, link count and its
// four link slots as physical/PL index; "-" where unset.
std::string Group(const CxpLinkConfiguration& model, uint32_t group) {
  const auto text = [](uint32_t value) {
    return value == CxpLinkConfiguration::kUnset ? std::string("-") : std::to_string(value);
  };
  std::string fields = "id " + text(model.GetMasterId(group)) + " master " +
                       text(model.GetMasterPhysicalIndex(group)) + " speed " +
                       text(model.GetSpeed(group)) + " size " +
                       text(model.GetStreamPacketSize(group)) + " links " +
                       text(model.GetLinkCount(group)) + ":";
  for (uint32_t n = 0; n < 4; ++n) {
    fields += " " + text(model.GetPhysicalIndex(group, n)) + "/" + text(model.GetPLIndex(group, n));
  }
  return fields;
}

// Group 0: slots 1 and 2 are gaps, each lacking one index. Group 1: a filled slot beyond its link
// count of 0, a speed the file cannot name.
void FillTwoGroups(CxpLinkConfiguration& model) {
  const uint32_t unset = CxpLinkConfiguration::kUnset;
  model.SetLinks(4);
  model.SetLinkGroupCount(2);
  model.SetMasterId(0, 7);
  model.SetSpeed(0, 6250);
  model.SetStreamPacketSize(0, 8192);
  model.SetLinkCount(0, 2);
  model.SetMasterPhysicalIndex(0, 3);
  const uint32_t slots[][2] = {{2, 0}, {9, unset}, {unset, 9}, {3, 1}};
  for (uint32_t n = 0; n < 4; ++n) {
    model.SetPhysicalIndex(0, n, slots[n][0]);
    model.SetPLIndex(0, n, slots[n][1]);
  }
  model.SetSpeed(1, 777);
  model.SetPhysicalIndex(1, 0, 0);
  model.SetPLIndex(1, 0, 0);
}

const char kTwoGroups[] =
    "<cxpconfiguration links=\"4\" linkgroups=\"2\">\n"
    "\t<linkgroup masterId=\"7\" speed=\"6250\" streampacketsize=\"8192\">\n"
    "\t\t<link phyIndex=\"2\" plIndex=\"0\" linkIndex=\"0\" isMaster=\"true\"/>\n"
    "\t\t<link phyIndex=\"3\" plIndex=\"1\" linkIndex=\"3\"/>\n"
    "\t</linkgroup>\n"
    "\t<linkgroup masterId=\"0\" speed=\"\" streampacketsize=\"4096\">\n"
    "\t</linkgroup>\n"
    "</cxpconfiguration>\n";

// The text with the root of another family.
std::string Rooted(std::string text, const std::string& family) {
  const std::string root = "cxpconfiguration";
  for (size_t at = text.find(root); at != std::string::npos; at = text.find(root, at + 1)) {
    text.replace(at, 3, family);
  }
  return text;
}

// Reads `path` into a new model of the family and writes it again; the text written.
std::string Rewritten(const std::string& family, const std::string& path) {
  auto model = CxpLinkConfiguration::Create(family);
  model->ReadFromFile(path);
  model->WriteToFile(path + ".again");
  return ReadText(path + ".again");
}

TEST(CxpLinkConfigurationTest, WrittenFilesHaveTheirFixedFormatAndReadBackByteForByte) {
  TempDir dir;
  const std::string written = kTwoGroups;
  // The empty speed reads back as the default.
  std::string readBack = written;
  readBack.replace(readBack.find("speed=\"\""), 8, "speed=\"1250\"");
  for (const std::string family : {"cxp", "clhs", "cl", "gige"}) {
    auto model = CxpLinkConfiguration::Create(family);
    FillTwoGroups(*model);
    const std::string path = dir.File(family);
    model->WriteToFile(path);
    if (family == "gige") {
      const size_t first = written.find('\n') + 1;
      EXPECT_EQ(ReadText(path), written.substr(first, written.rfind("</") - first))
          << "an unknown family writes the groups alone";
      continue;
    }
    EXPECT_EQ(ReadText(path), Rooted(written, family));
    const std::string second = Rewritten(family, path);
    EXPECT_EQ(second, Rooted(readBack, family));
    WriteText(path, second);
    EXPECT_EQ(Rewritten(family, path), second) << family;
  }

  // The master is whatever sits in slot 0.
  auto again = CxpLinkConfiguration::Create("cxp");
  again->ReadFromFile(dir.File("cxp"));
  EXPECT_EQ(Group(*again, 0), "id 7 master 2 speed 6250 size 8192 links 2: 2/0 -/- -/- 3/1");
  EXPECT_EQ(Group(*again, 1), "id 0 master - speed 1250 size 4096 links 0: -/- -/- -/- -/-");

  // The file is truncated; a configuration without groups is its root alone.
  again->Reset();
  again->WriteToFile(dir.File("cxp"));
  EXPECT_EQ(ReadText(dir.File("cxp")),
            "<cxpconfiguration links=\"0\" linkgroups=\"0\">\n</cxpconfiguration>\n");
}

// A text of one group around `links`.
std::string InGroup(const std::string& links) {
  return "<cxpconfiguration links='1' linkgroups='1'><linkgroup>" + links +
         "</linkgroup></cxpconfiguration>";
}

TEST(CxpLinkConfigurationTest, EveryReadErrorHasItsText) {
  const std::string parse = "Error parsing XML file '<buffer>': ";
  const std::string of = " of XML file '<buffer>'";
  const std::string root = "Illegal root node found in XML file '<buffer>'";
  // RapidXml 1.13 never raises "expected attribute name": it takes the name's first character
  // before it looks for an empty name.
  const std::string cases[][3] = {
      {"cxp", "", "XML file is empty: '<buffer>'"},
      {"cxp", "<a>", parse + "unexpected end of data"},
      {"cxp", "a", parse + "expected <"},
      {"cxp", "<>", parse + "expected element name"},
      {"cxp", "<a b/>", parse + "expected ="},
      {"cxp", "<a b=1/>", parse + "expected ' or \""},
      {"cxp", "<?xml version='1.0'?><!-- no element -->", root},
      {"cxp", "<clhsconfiguration links='1' linkgroups='1'/>", root},
      {"cl", "<clconfiguration linkgroups='1'/>",
       "Attribute 'links' not found in <clconfiguration>" + of},
      {"clhs", "<clhsconfiguration links='' linkgroups='1'/>",
       "Attribute 'links' not found in <clhsconfiguration>" + of},
      {"cxp", "<cxpconfiguration links='x' linkgroups='1'/>",
       "Illegal value of attribute 'links' in <cxpconfiguration>" + of},
      {"cl", "<clconfiguration links='1'/>",
       "Attribute 'linkgroups' not found in <clconfiguration>" + of},
      {"clhs", "<clhsconfiguration links='1' linkgroups='4294967296'/>",
       "Illegal value of attribute 'linkgroups' in <clhsconfiguration>" + of},
      {"gige", "<anything links='1'/>", "Attribute 'linkgroups' not found in <anything>" + of},
      {"cxp", "<cxpconfiguration links='5' linkgroups='1'/>",
       "No more than 4 physical links and linkgroups allowed!"},
      {"cxp", "<cxpconfiguration links='1' linkgroups='5'/>",
       "No more than 4 physical links and linkgroups allowed!"},
      {"cxp", InGroup("</linkgroup><linkgroup masterId='m'>"),
       "Illegal value of attribute 'masterId' in <linkgroup>" + of},
      {"cxp", InGroup("</linkgroup><linkgroup>"), "link group index out of bounds."},
      {"cxp", InGroup("<link/><link/><link/><link/><link/>"),
       "No more than 4 links per linkgroup allowed!"},
      {"cxp", InGroup("<link plIndex='0'/>"), "Attribute 'phyIndex' not found in <link>" + of},
      {"cxp", InGroup("<link phyIndex='-' plIndex='0'/>"),
       "Illegal value of attribute 'phyIndex' in <link>" + of},
      {"cxp", InGroup("<link phyIndex='0' plIndex=''/>"),
       "Attribute 'plIndex' not found in <link>" + of},
      {"cxp", InGroup("<link phyIndex='0' plIndex='z'/>"),
       "Illegal value of attribute 'plIndex' in <link>" + of},
      {"cxp", InGroup("<link phyIndex='0' plIndex='0' linkIndex=' '/>"),
       "Illegal value of attribute 'linkIndex' in <link>" + of},
      {"cxp", InGroup("<link phyIndex='0' plIndex='0' linkIndex='4'/>"),
       "link index out of bounds."},
  };
  for (const auto& c : cases) EXPECT_EQ(ReadError(c[0], c[1].c_str()), c[2]) << c[1];
  EXPECT_EQ(ReadError("cxp", nullptr), "XML file is empty: '<buffer>'");

  TempDir dir;
  auto model = CxpLinkConfiguration::Create("cxp");
  const std::string missing = dir.File("missing.xml");
  const std::string empty = dir.File("empty.xml");
  WriteText(empty, "");
  EXPECT_EQ(ErrorOf([&] { model->ReadFromFile(missing); }),
            "Error opening file '" + missing + "' for reading!");
  EXPECT_EQ(ErrorOf([&] { model->ReadFromFile(dir.Path()); }),
            "Error opening file '" + dir.Path() + "' for reading!");
  EXPECT_EQ(ErrorOf([&] { model->WriteToFile(dir.Path()); }),
            "Error opening file '" + dir.Path() + "' for writing!");
  EXPECT_EQ(ErrorOf([&] { model->ReadFromFile(empty); }), "XML file is empty: '" + empty + "'");
}

// A configuration whose root holds `depth` - 1 more levels of unknown elements, from line 2 on.
std::string Nested(size_t depth) {
  std::string text = "<cxpconfiguration links='1' linkgroups='0'>\n";
  for (size_t i = 1; i < depth; ++i) text += "<x>";
  for (size_t i = 1; i < depth; ++i) text += "</x>";
  return text + "</cxpconfiguration>";
}

// The parser descends once per level: a file nested without end must not take the stack.
TEST(CxpLinkConfigurationTest, NestingDeeperThanAnyConfigurationIsRefusedWithItsLine) {
  const std::string tooDeep = "': elements nested deeper than 16 levels, at line 2";
  const std::string cases[][2] = {
      {Nested(16), ""},
      {Nested(17), "Error parsing XML file '<buffer>" + tooDeep},
      {Nested(100000), "Error parsing XML file '<buffer>" + tooDeep},
      {"<!--" + Nested(20) + "-->" + Nested(3), ""},
      {"<cxpconfiguration links='1' linkgroups='0' note=\"" + Nested(20) + "\"/>", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(ReadError("cxp", c[0].c_str()), c[1]) << c[0].size();

  TempDir dir;
  const std::string file = dir.File("deep.xml");
  WriteText(file, Nested(100000));
  EXPECT_EQ(ErrorOf([&] { CxpLinkConfiguration::Create("cxp")->ReadFromFile(file); }),
            "Error parsing XML file '" + file + tooDeep);
}

TEST(CxpLinkConfigurationTest, ReaderTakesWhatTheWriterNeverWrites) {
  auto model = CxpLinkConfiguration::Create("clhs");
  model->ReadFromString(
      "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!DOCTYPE x>\n<!-- by hand -->\n"
      "<clhsconfiguration links=' 3abc' linkgroups='9' linkgroups='3' extra='1'>\n"
      "  <note/>text\n"
      "  <linkgroup speed='3125' streampacketsize='big'>\n"
      "    <link plIndex='5' phyIndex='1' linkIndex='2' isMaster='yes'/>\n"
      "    <link phyIndex='0' plIndex='4' linkIndex='0'/><!-- the next one has no index: 2 -->\n"
      "    <link phyIndex='3' plIndex='6' isMaster='True'/><other/>\n"
      "  </linkgroup>\n"
      "  <linkgroup masterId='9' speed='3000' streampacketsize='  1024 bytes'>\n"
      "    <link phyIndex='2' plIndex='1' isMaster='1'/><link phyIndex='3' plIndex='0'/>\n"
      "  </linkgroup>\n"
      "</clhsconfiguration>");
  EXPECT_EQ(model->GetLinks(), 3u);
  EXPECT_EQ(model->GetLinkGroupCount(), 3u) << "the last attribute of a name wins";

  // A master off slot 0 with masterId absent: its physical index + 1 becomes the master id. A
  // saved master id stays; a speed the file cannot name and an unreadable size are defaults.
  EXPECT_EQ(Group(*model, 0), "id 2 master 1 speed 3125 size 4096 links 3: 0/4 -/- 3/6 -/-");
  EXPECT_EQ(Group(*model, 1), "id 9 master 2 speed 1250 size 1024 links 2: 2/1 3/0 -/- -/-");
  // The third group was never in the text.
  EXPECT_EQ(Group(*model, 2), "id 0 master - speed 1250 size 4096 links 0: -/- -/- -/- -/-");

  // Without an isMaster the first link in the document is the master; any family takes any root.
  auto other = CxpLinkConfiguration::Create("");
  other->ReadFromString(
      "<x links='1' linkgroups='1'><linkgroup><link phyIndex='3' plIndex='0' linkIndex='1'/>"
      "<link phyIndex='2' plIndex='1' linkIndex='0'/></linkgroup></x>");
  EXPECT_EQ(Group(*other, 0), "id 0 master 3 speed 1250 size 4096 links 2: 2/1 3/0 -/- -/-");
}

TEST(CxpLinkConfigurationTest, AccessorsCheckTheirRanges) {
  auto model = CxpLinkConfiguration::Create("cxp");
  const std::string groupError = "link group index out of bounds.";
  EXPECT_EQ(ErrorOf([&] { model->GetSpeed(0); }), groupError);
  model->SetLinks(0xFFFFFFFF);
  EXPECT_EQ(model->GetLinks(), 0xFFFFFFFFu) << "links are not checked";
  model->SetLinkGroupCount(3);
  model->SetLinkGroupCount(5);
  EXPECT_EQ(model->GetLinkGroupCount(), 3u);
  model->SetLinkCount(2, 4);
  model->SetLinkCount(2, 5);
  EXPECT_EQ(model->GetLinkCount(2), 4u);

  // The group is checked before the link.
  EXPECT_EQ(ErrorOf([&] { model->SetMasterId(3, 1); }), groupError);
  EXPECT_EQ(ErrorOf([&] { model->GetPLIndex(3, 4); }), groupError);
  EXPECT_EQ(ErrorOf([&] { model->SetPhysicalIndex(2, 4, 1); }), "link index out of bounds.");
  EXPECT_EQ(ErrorOf([&] { model->GetPLIndex(2, 4); }), "link index out of bounds.");

  // Reset forgets the counts only; the groups come back as they were.
  model->SetMasterId(1, 5);
  model->Reset();
  EXPECT_EQ(model->GetLinks(), 0u);
  EXPECT_EQ(ErrorOf([&] { model->GetMasterId(0); }), groupError);
  model->SetLinkGroupCount(2);
  EXPECT_EQ(model->GetMasterId(1), 5u);
}

TEST(CxpLinkConfigurationTest, FailedReadsKeepWhatWasStoredBefore) {
  auto model = CxpLinkConfiguration::Create("cxp");
  EXPECT_THROW(model->ReadFromString("<cxpconfiguration links='3' linkgroups='7'/>"),
               std::runtime_error);
  EXPECT_EQ(model->GetLinks(), 3u);
  EXPECT_EQ(model->GetLinkGroupCount(), 7u) << "the count is stored before it is checked";
  EXPECT_EQ(ErrorOf([&] { model->GetSpeed(4); }), "link group index out of bounds.");

  model->Reset();
  EXPECT_THROW(
      model->ReadFromString(
          "<cxpconfiguration links='2' linkgroups='2'>"
          "<linkgroup masterId='4' speed='5000'><link phyIndex='1' plIndex='1'/></linkgroup>"
          "<linkgroup masterId='6' speed='2500' streampacketsize='512'><link phyIndex='0' "
          "plIndex='0'/>"
          "<link phyIndex='0' plIndex='0' linkIndex='9'/></linkgroup>"
          "</cxpconfiguration>"),
      std::runtime_error);
  EXPECT_EQ(Group(*model, 0), "id 4 master 1 speed 5000 size 4096 links 1: 1/1 -/- -/- -/-");
  EXPECT_EQ(Group(*model, 1), "id 0 master - speed 2500 size 512 links 2: 0/0 -/- -/- -/-");
}

TEST(CxpLinkConfigurationTest, ReloadReadsTheLastFileAgainAndSwallowsItsErrors) {
  TempDir dir;
  const std::string file = dir.File("board.xml");
  auto model = CxpLinkConfiguration::Create("cl");
  WriteText(file, "<clconfiguration links='2' linkgroups='1'/>");
  model->ReadFromFile(file);
  model->ReadFromString("<clconfiguration links='4' linkgroups='0'/>");
  model->Reload();
  EXPECT_EQ(model->GetLinks(), 2u) << "a string read does not replace the file name";

  WriteText(file, "<clconfiguration links='3' linkgroups='5'/>");
  EXPECT_NO_THROW(model->Reload());
  EXPECT_EQ(model->GetLinks(), 3u);
  std::filesystem::remove(file);
  EXPECT_NO_THROW(model->Reload());

  // A read that fails to open still names the file for the next reload.
  EXPECT_THROW(model->ReadFromFile(file), std::runtime_error);
  WriteText(file, "<clconfiguration links='1' linkgroups='1'/>");
  model->Reload();
  EXPECT_EQ(model->GetLinks(), 1u);
}

}  // namespace
