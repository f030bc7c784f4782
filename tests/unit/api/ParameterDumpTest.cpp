// The camera parameter dump over Aravis's fake camera: its description served by a camera
// object whose port reads and writes the fake camera's own registers. Files are written, read,
// edited and loaded back as an application would.
#include <arv.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <locale>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "genapi/GenApi.h"
#include "tests/support/Descriptions.h"
#include "tests/support/TempDir.h"
#include "tests/unit/api/ApiTestBoard.h"
#include "vesk_genicam/impl/CameraInterface.h"
#include "vesk_genicam/impl/vesk_genicam_dump.h"

namespace vesk::test {
namespace {

using namespace GenApi;

// The fake camera's memory behind a test port. A read of failAddress runs fail.
class FakeCameraPort : public TestPort {
 public:
  FakeCameraPort() : camera_(arv_fake_camera_new("DUMP-TEST")) {
    size_t size = 0;
    const char* text = arv_fake_camera_get_genicam_xml(camera_, &size);
    xml.assign(text, size);
  }
  ~FakeCameraPort() override { g_object_unref(camera_); }

  void Read(void* buffer, int64_t address, int64_t length) override {
    if (address == failAddress) fail();
    arv_fake_camera_read_memory(camera_, static_cast<guint32>(address),
                                static_cast<guint32>(length), buffer);
  }
  void Write(const void* buffer, int64_t address, int64_t length) override {
    ++writes;
    arv_fake_camera_write_memory(camera_, static_cast<guint32>(address),
                                 static_cast<guint32>(length), buffer);
  }

  bool Acquiring() { return arv_fake_camera_get_acquisition_status(camera_); }

  int64_t failAddress = -1;
  std::function<void()> fail;
  int writes = 0;

 private:
  ArvFakeCamera* camera_;
};

std::string Category(const std::string& name, const std::vector<std::string>& features) {
  std::string text = "<Category Name=\"" + name + "\">";
  for (const std::string& feature : features) text += "<pFeature>" + feature + "</pFeature>";
  return text + "</Category>\n";
}

// Root, then C1 to C`count`, each listing the next one.
std::string CategoryChain(int count) {
  std::string nodes = Category("Root", {"C1"});
  for (int i = 1; i < count; ++i) {
    const std::string next = "C" + std::to_string(i + 1);
    nodes += Category("C" + std::to_string(i), {next});
  }
  return nodes + Category("C" + std::to_string(count), {});
}

// Numbers as German writes them: 1.024 and 2,5.
class GermanNumbers : public std::numpunct<char> {
 protected:
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

// The application's global locale made German for the scope, whether the machine has one or not.
class GermanLocale {
 public:
  GermanLocale()
      : previous_(std::locale::global(std::locale(std::locale::classic(), new GermanNumbers))) {}
  ~GermanLocale() { std::locale::global(previous_); }

 private:
  const std::locale previous_;
};

class ParameterDump : public ::testing::Test {
 protected:
  ParameterDump() : camera(&port, &controller) {}

  void SetUp() override {
    ASSERT_EQ(camera.ConnectCamera(), 0);
    CapturedLog::SetDefaultLevel(1);
    CapturedLog::SetAllLevels(1);
    CapturedLog::Take();
  }

  MloCameraHandle* Handle() { return reinterpret_cast<MloCameraHandle*>(&camera); }
  INode* Node(const char* name) { return camera.GetCameraNodeMap()->_GetNode(name); }
  CIntegerPtr Integer(const char* name) { return Node(name); }
  CFloatPtr Float(const char* name) { return Node(name); }
  CEnumerationPtr Enumeration(const char* name) { return Node(name); }
  std::string Symbolic(const char* name) { return Enumeration(name)->ToString().str(); }

  int Save() { return Mlo_SaveCameraParameters(Handle(), file.c_str()); }
  int Load(const std::string& text, unsigned int flags) {
    WriteText(file, text);
    return Mlo_LoadCameraParameters(Handle(), file.c_str(), flags);
  }

  TestController controller;
  FakeCameraPort port;
  CCameraInterface camera;
  TempDir directory;
  std::string file = directory.File("camera.txt");
};

TEST_F(ParameterDump, ArgumentsAreCheckedInOrderWithTheirCodesAndLines) {
  TestPort otherPort;
  CCameraInterface unconnected(&otherPort, &controller);
  auto* away = reinterpret_cast<MloCameraHandle*>(&unconnected);
  MloCameraHandle* c = Handle();
  const std::string missing = directory.File("no/such/folder/camera.txt");
  const char* const kNoCamera = "Invalid boardHandle";
  const char* const kNoMap = "Invalid XML connection ";
  const char* const kNoFile = " Invalid param File Name";
  ExpectChecks({
      CALL(Mlo_SaveCameraParameters(nullptr, nullptr), -1001, kNoCamera),
      CALL(Mlo_SaveCameraParameters(away, nullptr), -1100, kNoMap),
      CALL(Mlo_SaveCameraParameters(c, nullptr), -1003, kNoFile),
      CALL(Mlo_SaveCameraParameters(c, missing.c_str()), -1003, nullptr),
      CALL(Mlo_LoadCameraParameters(nullptr, nullptr, 1), -1001, kNoCamera),
      CALL(Mlo_LoadCameraParameters(away, nullptr, 1), -1100, kNoMap),
      CALL(Mlo_LoadCameraParameters(c, nullptr, 1), -1003, kNoFile),
      CALL(Mlo_LoadCameraParameters(c, missing.c_str(), 1), -1003, nullptr),
  });
  Mlo_SaveCameraParameters(away, nullptr);
  Mlo_LoadCameraParameters(away, nullptr, 1);
  const std::string entry = ",handle=(P15MloCameraHandle)" + Pointer(away) + "|Entering Mlo_";
  EXPECT_EQ(TakeEntries(), (std::vector<std::string>{entry + "SaveCameraParameters",
                                                     entry + "LoadCameraParameters"}));
}

// A dump that did not reach the disk is no saved dump.
TEST_F(ParameterDump, ASaveThatCannotBeWrittenFails) {
  ExpectChecks({
      CALL(Mlo_SaveCameraParameters(Handle(), "/dev/full"), -1006,
           "Error saving parameter file '/dev/full'"),
  });
}

TEST_F(ParameterDump, SaveWritesEachKindOfFeatureInItsForm) {
  Integer("Width")->SetValue(640);
  Float("ExposureTimeAbs")->SetValue(1234567);
  ASSERT_EQ(Float("ExposureTimeAbs")->GetValue(), 1234567.0);
  ASSERT_EQ(Save(), 0);
  const std::vector<std::string> lines = ReadLines(file);
  ASSERT_GT(lines.size(), 20u);
  EXPECT_EQ(lines[0], "# --- GenICam parameter dump");
  EXPECT_EQ(lines[1], "");
  auto has = [&](const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  };
  EXPECT_TRUE(has("Width=640"));
  EXPECT_TRUE(has("AcquisitionMode=Continuous"));
  EXPECT_TRUE(has("TestRegister=" + std::to_string(Integer("TestRegister")->GetValue())));
  // Read-only values are comments, floats have six significant digits.
  EXPECT_TRUE(has("#DeviceVendorName=\"Aravis\""));
  EXPECT_TRUE(has("#SensorWidth=" + std::to_string(Integer("SensorWidth")->GetValue())));
  EXPECT_TRUE(has("ExposureTimeAbs=1.23457e+06"));
  // Only the category tree from "Root" is walked; a category gives no line of its own.
  const std::regex form(
      R"(#?[A-Za-z_][A-Za-z0-9_]*(=.*)?|# [A-Za-z_][A-Za-z0-9_]*: (not supported|genicam exception - .*|exception - .*|unknown exception)|)");
  for (size_t i = 1; i < lines.size(); ++i) {
    EXPECT_TRUE(std::regex_match(lines[i], form)) << lines[i];
    EXPECT_NE(lines[i], "#ImageFormatControl");
    EXPECT_EQ(lines[i].find("Root"), std::string::npos) << lines[i];
    EXPECT_EQ(lines[i].find("GainRaw"), std::string::npos) << lines[i];
  }
  // Commands show whether they are done and are never written back as they stand.
  for (const std::string command : {"AcquisitionStart", "AcquisitionStop", "TriggerSoftware"}) {
    EXPECT_TRUE(has("#" + command) || has("#" + command + "=1") || has("#" + command + "=0"))
        << command;
  }
  Float("ExposureTimeAbs")->SetValue(100);
  ASSERT_EQ(Mlo_LoadCameraParameters(Handle(), file.c_str(), 1), 0);
  EXPECT_EQ(Float("ExposureTimeAbs")->GetValue(), 1234570.0) << "a float comes back rounded";
}

TEST_F(ParameterDump, SavedValuesComeBackInStrictAndLaxLoads) {
  for (unsigned int flags : {1u, 0u}) {
    SCOPED_TRACE(flags);
    Integer("Width")->SetValue(320);
    Integer("TestRegister")->SetValue(3);
    Enumeration("AcquisitionMode")->FromString("SingleFrame");
    Enumeration("TriggerMode")->FromString("On");
    Float("ExposureTimeAbs")->SetValue(2500.25);
    ASSERT_EQ(Save(), 0);
    const std::string saved = ReadText(file);

    Integer("Width")->SetValue(512);
    Integer("TestRegister")->SetValue(7);
    Enumeration("AcquisitionMode")->FromString("MultiFrame");
    Enumeration("TriggerMode")->FromString("Off");
    Float("ExposureTimeAbs")->SetValue(9000);
    EXPECT_EQ(Mlo_LoadCameraParameters(Handle(), file.c_str(), flags), 0);

    EXPECT_EQ(Integer("Width")->GetValue(), 320);
    EXPECT_EQ(Integer("TestRegister")->GetValue(), 3);
    EXPECT_EQ(Symbolic("AcquisitionMode"), "SingleFrame");
    EXPECT_EQ(Symbolic("TriggerMode"), "On");
    EXPECT_NEAR(Float("ExposureTimeAbs")->GetValue(), 2500.25, 1.0) << "six digits: 2500.25";
    EXPECT_FALSE(port.Acquiring()) << "a command in a dump must not run";
    ASSERT_EQ(Save(), 0);
    EXPECT_EQ(ReadText(file), saved) << "a load of a dump gives the same dump";
  }
}

// A line without "=" is skipped in both modes.
TEST_F(ParameterDump, StrictStopsAtTheFirstLineThatDoesNotFitAndLaxSkipsIt) {
  for (const std::string bad :
       {"NoSuchFeature=1", "TestStringReg=unquoted", "AcquisitionMode=Unknown",
        "Width=", "GainRaw=many", "DeviceVendorName"}) {
    for (unsigned int flags : {1u, 0u}) {
      SCOPED_TRACE(bad + (flags ? " strict" : " lax"));
      Integer("Width")->SetValue(512);
      Integer("Height")->SetValue(512);
      const bool stops = flags && bad.find('=') != std::string::npos;
      EXPECT_EQ(Load("Width=64\n" + bad + "\nHeight=32\n", flags), stops ? -1102 : 0);
      EXPECT_EQ(Integer("Width")->GetValue(), 64) << "lines before stay applied";
      EXPECT_EQ(Integer("Height")->GetValue(), stops ? 512 : 32);
    }
  }
}

// A zero byte would cut the name short where the map looks it up; a last line without its line
// end may be a value cut short. Both are refused like a line that does not fit, with its number.
TEST_F(ParameterDump, ALineWithAZeroByteOrWithoutItsEndIsRefusedWithItsNumber) {
  for (const std::string& broken : {std::string("Width\0junk=32\n", 14), std::string("Width=3")}) {
    for (unsigned int flags : {1u, 0u}) {
      SCOPED_TRACE(std::to_string(broken.size()) + (flags ? " strict" : " lax"));
      Integer("Width")->SetValue(512);
      Integer("GainRaw")->SetValue(0);
      CapturedLog::Take();
      EXPECT_EQ(Load("GainRaw=1\n# a comment\n" + broken, flags), flags ? -1102 : 0);
      EXPECT_EQ(Integer("Width")->GetValue(), 512);
      EXPECT_EQ(Integer("GainRaw")->GetValue(), 1);
      std::vector<std::string> refusals;
      for (const CapturedLine& line : CapturedLog::Take()) {
        if (line.text.find("Parameter dump line ") != std::string::npos)
          refusals.push_back(line.text);
      }
      ASSERT_EQ(refusals.size(), 1u);
      EXPECT_NE(refusals[0].find("|Parameter dump line 3 refused"), std::string::npos)
          << refusals[0];
    }
  }
}

TEST_F(ParameterDump, LinesAreTrimmedCommentsSkippedAndHandWrittenCommandsRun) {
  Integer("Width")->SetValue(512);
  ASSERT_EQ(
      Load("  Width \t=  128px \r\n#Height=32\n\n GainRaw=5=6\nAcquisitionMode = MultiFrame\n", 1),
      0);
  EXPECT_EQ(Integer("Width")->GetValue(), 128) << "the number ends at the first non-digit";
  EXPECT_NE(Integer("Height")->GetValue(), 32);
  EXPECT_EQ(Integer("GainRaw")->GetValue(), 5);
  EXPECT_EQ(Symbolic("AcquisitionMode"), "MultiFrame");

  // Features outside the category tree are found by name all the same.
  ASSERT_EQ(Load("TestBoolean=1\nTestStringReg=\" a b \"\n", 1), 0);
  EXPECT_EQ(Integer("TestRegister")->GetValue(), 321) << "the boolean's on value";
  EXPECT_EQ(CStringPtr(Node("TestStringReg"))->GetValue(), " a b ");

  ASSERT_FALSE(port.Acquiring());
  ASSERT_EQ(Load("AcquisitionStart=1\n", 1), 0);
  EXPECT_TRUE(port.Acquiring());
  ASSERT_EQ(Load("AcquisitionStop=0\n", 1), 0);
  EXPECT_TRUE(port.Acquiring()) << "0 does not execute";
}

// A feature whose access mode depends on a register that cannot be read is one failed feature,
// whichever of its conditions reads the register.
TEST_F(ParameterDump, AFeatureWhoseAccessCannotBeReadBecomesACommentAndTheSaveGoesOn) {
  for (const std::string condition : {"pIsImplemented", "pIsAvailable", "pIsLocked"}) {
    SCOPED_TRACE(condition);
    TestPort gatedPort;
    gatedPort.xml =
        DescriptionWith(Category("Root", {"Before", "Gated", "After"}) +
                        R"(<Integer Name="Before"><Value>1</Value></Integer>
           <Integer Name="Gated"><)" +
                        condition + ">Gate</" + condition + R"(><Value>5</Value></Integer>
           <Integer Name="After"><Value>2</Value></Integer>
           <IntReg Name="Gate"><Address>0x10</Address><Length>4</Length><AccessMode>RO</AccessMode>
             <pPort>Device</pPort><Cachable>NoCache</Cachable><Sign>Unsigned</Sign>
             <Endianess>LittleEndian</Endianess></IntReg>)");
    CCameraInterface gatedCamera(&gatedPort, &controller);
    ASSERT_EQ(gatedCamera.ConnectCamera(), 0);
    gatedPort.failure = [] { throw GenICam::TimeoutException("no acknowledge", "port", 1); };
    EXPECT_EQ(
        Mlo_SaveCameraParameters(reinterpret_cast<MloCameraHandle*>(&gatedCamera), file.c_str()),
        0);
    EXPECT_EQ(ReadText(file),
              "# --- GenICam parameter dump\n\nBefore=1\n"
              "# Gated: genicam exception - no acknowledge\nAfter=2\n");
  }
}

// A dump is read elsewhere: its numbers are the same whatever locale the application chose.
TEST_F(ParameterDump, NumbersAreWrittenAndReadInTheClassicFormUnderAnyLocale) {
  Integer("Width")->SetValue(1024);
  Float("ExposureTimeAbs")->SetValue(2500);
  const GermanLocale german;
  ASSERT_EQ(Save(), 0);
  EXPECT_THAT(ReadLines(file), testing::Contains("Width=1024"));
  EXPECT_THAT(ReadLines(file), testing::Contains("ExposureTimeAbs=2500"));
  EXPECT_EQ(Load("Width=640\nExposureTimeAbs=1234.5\n", 1), 0);
  EXPECT_EQ(Integer("Width")->GetValue(), 640);
  EXPECT_NEAR(Float("ExposureTimeAbs")->GetValue(), 1234.5, 1.0) << "whole microseconds";
}

// A value the camera refuses is no result code: its exception leaves the load, whatever the
// mode, after the lines before it were applied; the exit is still traced.
TEST_F(ParameterDump, ARefusedValueLeavesTheLoadAsItsException) {
  const std::string width = "Width=" + std::to_string(Integer("Width")->GetMax() + 1);
  for (unsigned int flags : {1u, 0u}) {
    SCOPED_TRACE(flags);
    Integer("GainRaw")->SetValue(0);
    CapturedLog::Take();
    EXPECT_THROW(Load("GainRaw=2\n" + width + "\nHeight=32\n", flags), GenICam::GenericException);
    EXPECT_EQ(Integer("GainRaw")->GetValue(), 2);
    const ApiLines lines = TakeApiLines();
    EXPECT_EQ(lines.failures, std::vector<std::string>{});
    ASSERT_EQ(lines.trace.size(), 2u);
    EXPECT_NE(lines.trace[1].find("|Leaving Mlo_LoadCameraParameters"), std::string::npos);
  }
}

TEST_F(ParameterDump, AFeatureThatCannotBeReadBecomesACommentAndTheSaveGoesOn) {
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] { throw GenICam::TimeoutException("no acknowledge", "port", 1); },
       "# Width: genicam exception - no acknowledge"},
      {[] { throw std::runtime_error("no answer"); }, "# Width: exception - no answer"},
      {[] { throw 5; }, "# Width: unknown exception"},
  };
  port.failAddress = 0x100;  // Width's register in the fake camera
  for (const auto& [fail, line] : cases) {
    port.fail = fail;
    camera.GetCameraNodeMap()->_InvalidateNodes();
    ASSERT_EQ(Save(), 0);
    EXPECT_NE(ReadText(file).find("\n" + line + "\nHeight="), std::string::npos) << ReadText(file);
  }
}

// Without features the dump is its head alone; without a map the GenICam handler ends the save.
TEST_F(ParameterDump, AMapWithoutFeaturesGivesTheHeadAlone) {
  TestPort emptyPort;
  emptyPort.xml = DescriptionWith(R"(<Category Name="Root" NameSpace="Standard"/>)");
  CCameraInterface emptyCamera(&emptyPort, &controller);
  ASSERT_EQ(emptyCamera.ConnectCamera(), 0);
  ASSERT_EQ(
      Mlo_SaveCameraParameters(reinterpret_cast<MloCameraHandle*>(&emptyCamera), file.c_str()), 0);
  EXPECT_EQ(ReadText(file), "# --- GenICam parameter dump\n\n");
  std::ostringstream stream;
  EXPECT_FALSE(genicam::dumpCameraParameters(stream, nullptr));
  EXPECT_TRUE(stream.str().empty());

  camera.GetCameraNodeMap()->_Destroy();  // the reference stays, its map is gone
  CapturedLog::Take();
  EXPECT_EQ(Save(), -1999);
  const std::vector<std::string> failures = CapturedLog::TakeFailures();
  ASSERT_EQ(failures.size(), 1u);
  EXPECT_NE(failures[0].find("|GenICam exception while "), std::string::npos) << failures[0];
  EXPECT_NE(failures[0].find("Feature not present (reference not valid)"), std::string::npos);
}

// A camera's categories that are no tree, a cycle or a chain deeper than the stack, fail the save
// with an error that names the category where the walk stopped.
TEST_F(ParameterDump, CategoriesThatAreNoTreeFailTheSaveNamingTheCategory) {
  const std::pair<std::string, std::string> cases[] = {
      {Category("Root", {"A"}) + Category("A", {"A"}), "'A'"},
      {Category("Root", {"A"}) + Category("A", {"B"}) + Category("B", {"A"}), "'A'"},
      {Category("Root", {"A"}) + Category("A", {"B"}) + Category("B", {"Root"}), "'Root'"},
      {CategoryChain(20000), "'C"},
  };
  for (const auto& [nodes, named] : cases) {
    SCOPED_TRACE(nodes.substr(0, 120));
    TestPort treePort;
    treePort.xml = DescriptionWith(nodes);
    CCameraInterface treeCamera(&treePort, &controller);
    ASSERT_EQ(treeCamera.ConnectCamera(), 0);
    CapturedLog::Take();
    EXPECT_EQ(
        Mlo_SaveCameraParameters(reinterpret_cast<MloCameraHandle*>(&treeCamera), file.c_str()),
        -1999);
    const std::vector<std::string> failures = CapturedLog::TakeFailures();
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_NE(failures[0].find("|GenICam exception while saving camera parameters: "),
              std::string::npos)
        << failures[0];
    EXPECT_NE(failures[0].find("Category " + named), std::string::npos) << failures[0];
  }
}

TEST_F(ParameterDump, RestoreReportsEveryLineAndCanSkipUnchangedValues) {
  using Reports = std::vector<std::pair<std::string, bool>>;
  Reports reports;
  auto report = [](void* user, const std::string& name, bool ok) {
    static_cast<Reports*>(user)->emplace_back(name, ok);
  };
  std::istringstream lines("Width=64\nNoSuchFeature=1\nTestStringReg=bare\nHeight=32\n");
  EXPECT_TRUE(
      genicam::restoreCameraParameters(lines, camera.GetCameraNodeMap(), false, &reports, report));
  EXPECT_EQ(
      reports,
      (Reports{
          {"Width", true}, {"NoSuchFeature", false}, {"TestStringReg", false}, {"Height", true}}));

  const int before = port.writes;
  EXPECT_TRUE(genicam::restoreNodeValue(Node("Width"), "64", true));
  EXPECT_TRUE(
      genicam::restoreNodeValue(Node("AcquisitionMode"), Symbolic("AcquisitionMode"), true));
  EXPECT_EQ(port.writes, before) << "an unchanged value is not written again";
  EXPECT_TRUE(genicam::restoreNodeValue(Node("Width"), "64", false));
  EXPECT_GT(port.writes, before);
  EXPECT_FALSE(genicam::restoreNodeValue(Node("ImageFormatControl"), "1", false))
      << "a category takes no value";
}

}  // namespace
}  // namespace vesk::test
