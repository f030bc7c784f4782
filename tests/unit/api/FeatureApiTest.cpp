// Feature access by name over a camera object whose test port serves Aravis's fake camera, or a
// small description of features that only go one way; the lines are read back through the
// capturing dispatcher.
#include <arv.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/CapturedLog.h"
#include "tests/support/TestPort.h"
#include "vesk_genicam/impl/ApiArguments.h"
#include "vesk_genicam/impl/ApiCall.h"
#include "vesk_genicam/impl/CameraInterface.h"

namespace vesk::test {
namespace {

using genicam::FormatCamera;

std::string FakeCameraDescription() {
  ArvFakeCamera* camera = arv_fake_camera_new("FEATURE-TEST");
  size_t size = 0;
  const char* xml = arv_fake_camera_get_genicam_xml(camera, &size);
  std::string text(xml, size);
  g_object_unref(camera);
  return text;
}

// Features that go one way only, which the fake camera lacks.
std::string OneWayDescription() {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<RegisterDescription ModelName="OneWay" VendorName="Vesk" ToolTip="One way features"
    StandardNameSpace="None" SchemaMajorVersion="1" SchemaMinorVersion="1"
    SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
    ProductGuid="0c51e0a8-51d6-4a4b-8f1e-2b7d5a0c9e11"
    VersionGuid="0c51e0a8-51d6-4a4b-8f1e-2b7d5a0c9e12"
    xmlns="http://www.genicam.org/GenApi/Version_1_1"
    xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">
  <Integer Name="Secret"><pValue>SecretReg</pValue></Integer>
  <IntReg Name="SecretReg">
    <Address>0x10</Address><Length>4</Length><AccessMode>WO</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess>
  </IntReg>
  <Boolean Name="Arm"><pValue>ArmReg</pValue></Boolean>
  <IntReg Name="ArmReg">
    <Address>0x14</Address><Length>4</Length><AccessMode>WO</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess>
  </IntReg>
  <Enumeration Name="Trap">
    <EnumEntry Name="Open"><Value>1</Value></EnumEntry>
    <EnumEntry Name="Shut"><Value>2</Value></EnumEntry>
    <pValue>TrapReg</pValue>
  </Enumeration>
  <IntReg Name="TrapReg">
    <Address>0x18</Address><Length>4</Length><AccessMode>WO</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess>
  </IntReg>
  <Enumeration Name="Fixed">
    <EnumEntry Name="Only"><Value>1</Value></EnumEntry>
    <pValue>FixedReg</pValue>
  </Enumeration>
  <IntReg Name="FixedReg">
    <Address>0x1c</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess>
  </IntReg>
  <StringReg Name="Note">
    <Address>0x20</Address><Length>8</Length><AccessMode>WO</AccessMode><pPort>Device</pPort>
  </StringReg>
  <Port Name="Device"/>
</RegisterDescription>
)";
}

// Registers of the fake camera.
constexpr int64_t kWidth = 0x100;
constexpr int64_t kSensorWidth = 0x11c;
constexpr int64_t kAcquisitionCommand = 0x124;
constexpr int64_t kFramePeriod = 0x138;
constexpr int64_t kTestBoolean = 0x1f0;
constexpr int64_t kTestString = 0x200;

using Call = std::function<int(MloCameraHandle*)>;
// A case's call of the handle c.
#define CALL(expression) [](MloCameraHandle* c) { return expression; }

struct Case {
  const char* what;
  Call call;
  int code;
  // The one failure line's message.
  std::string message;
};

class FeatureApiTest : public ::testing::Test {
 protected:
  FeatureApiTest() : camera(&port, nullptr) {
    port.xml = FakeCameraDescription();
    port.PutBig32(kSensorWidth, 2048);
  }
  void SetUp() override { CapturedLog::SetDefaultLevel(1); }

  MloCameraHandle* Handle() { return reinterpret_cast<MloCameraHandle*>(&camera); }

  void Connect(const std::string& xml) {
    camera.SetGenicamConnected(false);
    port.xml = xml;
    ASSERT_EQ(camera.ConnectCamera(), 0);
    CapturedLog::Take();
  }

  // The failure lines since the last call hold these parts, one each.
  static void ExpectFailuresWith(const std::vector<std::string>& parts) {
    const std::vector<std::string> failures = CapturedLog::TakeFailures();
    ASSERT_EQ(failures.size(), parts.size());
    for (size_t i = 0; i < parts.size(); ++i) {
      EXPECT_NE(failures[i].find(parts[i]), std::string::npos) << failures[i];
    }
  }

  // Each case gives its code and writes exactly its one failure line; a camera of null is the
  // null handle.
  void Expect(const std::vector<Case>& cases, MloCameraHandle* handle) {
    const std::string arguments =
        "thread-id=" + std::to_string(genicam::CurrentThreadId()) + FormatCamera(handle) + "|";
    for (const Case& c : cases) {
      SCOPED_TRACE(c.what);
      EXPECT_EQ(c.call(handle), c.code);
      EXPECT_EQ(CapturedLog::TakeFailures(), std::vector<std::string>{arguments + c.message});
    }
  }

  TestPort port;
  CCameraInterface camera;
};

int64_t g_integer = 0;
double g_float = 0;
unsigned g_unsigned = 0;
const char* g_text = nullptr;

TEST_F(FeatureApiTest, NullArgumentsAreRefusedInTheirOrder) {
  Connect(FakeCameraDescription());
  Expect(
      {
          {"value pointer before handle", CALL(Mlo_getIntegerValue(c, "Width", nullptr)), -1991,
           "Invalid value pointer"},
          {"limits pointers before handle",
           CALL(Mlo_getIntegerValueLimits(c, "Width", &g_integer, nullptr, &g_integer)), -1991,
           "Invalid value pointer"},
          {"boolean", CALL(Mlo_getBooleanValue(c, "X", nullptr)), -1991, "Invalid value pointer"},
          {"float", CALL(Mlo_getFloatValue(c, "X", nullptr)), -1991, "Invalid value pointer"},
          {"string value to set", CALL(Mlo_setStringValue(c, "X", nullptr)), -1991,
           "Invalid value"},
          {"enumeration name to set", CALL(Mlo_setEnumerationValue(c, "X", nullptr)), -1991,
           "Invalid value"},
          {"enumeration", CALL(Mlo_getEnumerationValue(c, "X", nullptr)), -1991,
           "Invalid value pointer"},
          {"command state", CALL(Mlo_isCommandDone(c, "X", nullptr)), -1991,
           "Invalid value pointer"},
          {"string reads test the handle first", CALL(Mlo_getStringValue(c, "X", nullptr)), -1000,
           "Invalid camera handle"},
          {"symbolic reads test the handle first",
           CALL(Mlo_getEnumerationValueAsString(c, "X", nullptr)), -1000, "Invalid camera handle"},
          {"handle", CALL(Mlo_setIntegerValue(c, nullptr, 1)), -1000, "Invalid camera handle"},
          {"command", CALL(Mlo_executeCommand(c, "X")), -1000, "Invalid camera handle"},
          {"start", CALL(Mlo_startAcquisition(c, 1)), -1000, "Invalid camera handle"},
          {"stop", CALL(Mlo_stopAcquisition(c, 1)), -1000, "Invalid camera handle"},
      },
      nullptr);
  Expect(
      {
          {"string pointer", CALL(Mlo_getStringValue(c, "X", nullptr)), -1991,
           "Invalid value pointer"},
          {"symbolic pointer", CALL(Mlo_getEnumerationValueAsString(c, "X", nullptr)), -1991,
           "Invalid value pointer"},
          {"no name", CALL(Mlo_setIntegerValue(c, nullptr, 1)), -1102, "Invalid feature name"},
          {"empty name", CALL(Mlo_getFloatValue(c, "", &g_float)), -1102, "Invalid feature name"},
          {"empty command", CALL(Mlo_executeCommand(c, "")), -1102, "Invalid feature name"},
      },
      Handle());
}

TEST_F(FeatureApiTest, EveryFunctionNeedsTheGenICamConnection) {
  const std::string noMap = "Failed to get camera node map";
  Expect(
      {
          {"set integer", CALL(Mlo_setIntegerValue(c, "Width", 1)), -1100, noMap},
          {"get integer", CALL(Mlo_getIntegerValue(c, "Width", &g_integer)), -1100, noMap},
          {"limits",
           CALL(Mlo_getIntegerValueLimits(c, "Width", &g_integer, &g_integer, &g_integer)), -1100,
           noMap},
          {"boolean", CALL(Mlo_setBooleanValue(c, "TestBoolean", 1)), -1100, noMap},
          {"string", CALL(Mlo_getStringValue(c, "DeviceID", &g_text)), -1100, noMap},
          {"enumeration", CALL(Mlo_setEnumerationValue(c, "AcquisitionMode", "X")), -1100, noMap},
          {"command", CALL(Mlo_isCommandDone(c, "AcquisitionStart", &g_unsigned)), -1100, noMap},
      },
      Handle());
}

TEST_F(FeatureApiTest, UnknownNamesAndNodesOfAnotherTypeAreNoFeature) {
  Connect(FakeCameraDescription());
  Expect(
      {
          {"integer on an enumeration", CALL(Mlo_setIntegerValue(c, "PixelFormat", 1)), -1102,
           "Failed to get feature PixelFormat"},
          {"unknown name", CALL(Mlo_getIntegerValue(c, "Widht", &g_integer)), -1102,
           "Failed to get feature Widht"},
          {"float on an integer", CALL(Mlo_getFloatValue(c, "Width", &g_float)), -1102,
           "Failed to get feature Width"},
          {"boolean on an integer", CALL(Mlo_getBooleanValue(c, "Width", &g_unsigned)), -1102,
           "Failed to get feature Width"},
          {"string on an integer", CALL(Mlo_setStringValue(c, "Width", "1")), -1102,
           "Failed to get feature Width"},
          {"enumeration on an integer", CALL(Mlo_getEnumerationValueAsString(c, "Width", &g_text)),
           -1102, "Failed to get feature Width"},
          {"command on an enumeration entry's name", CALL(Mlo_executeCommand(c, "Continuous")),
           -1102, "Failed to get feature Continuous"},
      },
      Handle());
}

TEST_F(FeatureApiTest, FeaturesThatGoOneWayAreRefusedBeforeThePort) {
  Connect(OneWayDescription());
  port.memory.clear();
  g_unsigned = 7;
  Expect(
      {
          {"write-only integer", CALL(Mlo_getIntegerValue(c, "Secret", &g_integer)), -1105,
           "Feature Secret is read only"},
          {"write-only limits",
           CALL(Mlo_getIntegerValueLimits(c, "Secret", &g_integer, &g_integer, &g_integer)), -1105,
           "Feature Secret is read only"},
          {"write-only boolean", CALL(Mlo_getBooleanValue(c, "Arm", &g_unsigned)), -1105,
           "Feature Arm is read only"},
          {"write-only enumeration", CALL(Mlo_getEnumerationValue(c, "Trap", &g_integer)), -1104,
           "Value is write only"},
          {"write-only enumeration as text",
           CALL(Mlo_getEnumerationValueAsString(c, "Trap", &g_text)), -1104, "Value is write only"},
          {"no such entry", CALL(Mlo_setEnumerationValue(c, "Trap", "Ajar")), -1991,
           "Invalid enum value"},
      },
      Handle());
  EXPECT_EQ(g_unsigned, 7u) << "a failed boolean read leaves the value alone";
  EXPECT_TRUE(port.memory.empty()) << "nothing went to the port";

  // A read-only enumeration is left to the node, which throws.
  EXPECT_EQ(Mlo_setEnumerationValue(Handle(), "Fixed", "Only"), -1999);
  ExpectFailuresWith({"|GenICam exception while setting enum value Only in Fixed: "});

  // String reads have no access test of their own; the node refuses.
  EXPECT_EQ(Mlo_getStringValue(Handle(), "Note", &g_text), -1999);
  ExpectFailuresWith({"|GenICam exception while getting string value Note: "});

  EXPECT_EQ(Mlo_setEnumerationValue(Handle(), "Trap", "Shut"), 0);
  EXPECT_EQ(port.Get32(0x18), 2u);
  EXPECT_EQ(Mlo_setIntegerValue(Handle(), "Secret", 99), 0);
  EXPECT_EQ(port.Get32(0x10), 99u);
}

TEST_F(FeatureApiTest, ReadOnlyFeaturesAreNotWritten) {
  Connect(FakeCameraDescription());
  Expect(
      {
          {"integer", CALL(Mlo_setIntegerValue(c, "SensorWidth", 640)), -1105,
           "Feature SensorWidth is read only"},
          {"string", CALL(Mlo_setStringValue(c, "DeviceVendorName", "Me")), -1105,
           "Feature DeviceVendorName is read only"},
      },
      Handle());
  EXPECT_EQ(port.GetBig32(kSensorWidth), 2048u);
}

TEST_F(FeatureApiTest, ValuesGoToTheCameraAndComeBack) {
  Connect(FakeCameraDescription());
  MloCameraHandle* c = Handle();

  ASSERT_EQ(Mlo_setIntegerValue(c, "Width", 640), 0);
  EXPECT_EQ(port.GetBig32(kWidth), 640u);
  int64_t min = 0, max = 0, inc = 0;
  ASSERT_EQ(Mlo_getIntegerValueLimits(c, "Width", &min, &max, &inc), 0);
  EXPECT_EQ(min, 1);
  EXPECT_EQ(max, 2048);
  EXPECT_EQ(inc, 1);

  ASSERT_EQ(Mlo_setBooleanValue(c, "TestBoolean", 5), 0);
  EXPECT_EQ(port.GetBig32(kTestBoolean), 321u) << "any non-zero value is true";
  unsigned state = 9;
  ASSERT_EQ(Mlo_getBooleanValue(c, "TestBoolean", &state), 0);
  EXPECT_EQ(state, 1u);
  ASSERT_EQ(Mlo_setBooleanValue(c, "TestBoolean", 0), 0);
  EXPECT_EQ(port.GetBig32(kTestBoolean), 123u);
  ASSERT_EQ(Mlo_getBooleanValue(c, "TestBoolean", &state), 0);
  EXPECT_EQ(state, 0u);

  ASSERT_EQ(Mlo_setFloatValue(c, "AcquisitionFrameRate", 25.0), 0);
  EXPECT_EQ(port.GetBig32(kFramePeriod), 40000u);
  double rate = 0;
  ASSERT_EQ(Mlo_getFloatValue(c, "AcquisitionFrameRate", &rate), 0);
  EXPECT_DOUBLE_EQ(rate, 25.0);

  ASSERT_EQ(Mlo_setStringValue(c, "TestStringReg", "vesk"), 0);
  EXPECT_EQ(port.memory[kTestString], 'v');
  EXPECT_EQ(port.memory[kTestString + 3], 'k');
  const char* first = nullptr;
  const char* second = nullptr;
  ASSERT_EQ(Mlo_getStringValue(c, "TestStringReg", &first), 0);
  ASSERT_EQ(Mlo_getStringValue(c, "TestStringReg", &second), 0);
  EXPECT_STREQ(first, "vesk");
  EXPECT_EQ(first, second) << "an unchanged string is handed out once";

  ASSERT_EQ(Mlo_setEnumerationValue(c, "AcquisitionMode", "SingleFrame"), 0);
  EXPECT_EQ(port.GetBig32(0x12c), 2u);
  int64_t mode = 0;
  ASSERT_EQ(Mlo_getEnumerationValue(c, "AcquisitionMode", &mode), 0);
  EXPECT_EQ(mode, 2);
  const char* symbolic = nullptr;
  ASSERT_EQ(Mlo_getEnumerationValueAsString(c, "AcquisitionMode", &symbolic), 0);
  EXPECT_STREQ(symbolic, "SingleFrame");

  ASSERT_EQ(Mlo_executeCommand(c, "AcquisitionStart"), 0);
  EXPECT_EQ(port.GetBig32(kAcquisitionCommand), 1u);
  unsigned done = 0;
  ASSERT_EQ(Mlo_isCommandDone(c, "AcquisitionStart", &done), 0);
  EXPECT_EQ(done, 1u) << "a write-only command register is done at once";
  EXPECT_TRUE(CapturedLog::TakeFailures().empty());
}

TEST_F(FeatureApiTest, SimpleReadsUseTheCacheOfTheNodeMap) {
  Connect(FakeCameraDescription());
  port.PutBig32(kWidth, 512);
  int64_t width = 0;
  ASSERT_EQ(Mlo_getIntegerValue(Handle(), "Width", &width), 0);
  EXPECT_EQ(width, 512);
  port.PutBig32(kWidth, 1024);
  ASSERT_EQ(Mlo_getIntegerValue(Handle(), "Width", &width), 0);
  EXPECT_EQ(width, 512) << "a cached register is not read again";
  camera.GetCameraNodeMap()->_InvalidateNodes();
  ASSERT_EQ(Mlo_getIntegerValue(Handle(), "Width", &width), 0);
  EXPECT_EQ(width, 1024);
}

TEST_F(FeatureApiTest, AValueWithoutEntryIsInvalidData) {
  Connect(FakeCameraDescription());
  port.PutBig32(0x12c, 77);
  int64_t mode = 0;
  ASSERT_EQ(Mlo_getEnumerationValue(Handle(), "AcquisitionMode", &mode), 0);
  EXPECT_EQ(mode, 77);
  Expect({{"symbolic", CALL(Mlo_getEnumerationValueAsString(c, "AcquisitionMode", &g_text)), -1014,
           "Invalid data in feature"}},
         Handle());
}

TEST_F(FeatureApiTest, ExceptionsOfEachKindAreToldWithTheAction) {
  Connect(FakeCameraDescription());
  port.failure = [] { throw std::runtime_error("link down"); };
  Expect(
      {
          {"integer", CALL(Mlo_getIntegerValue(c, "Width", &g_integer)), -1999,
           "Standard exception while getting feature Width: link down"},
          {"enumeration", CALL(Mlo_getEnumerationValue(c, "GainAuto", &g_integer)), -1999,
           "Standard exception while getting enum value GainAuto: link down"},
          {"symbolic", CALL(Mlo_getEnumerationValueAsString(c, "GainAuto", &g_text)), -1999,
           "Standard exception while getting enum value GainAuto: link down"},
      },
      Handle());

  port.failure = [] { throw 5; };
  Expect(
      {
          {"float", CALL(Mlo_getFloatValue(c, "ExposureTimeAbs", &g_float)), -1999,
           "Unexpected exception while getting feature ExposureTimeAbs"},
          {"limits read the maximum",
           CALL(Mlo_getIntegerValueLimits(c, "Height", &g_integer, &g_integer, &g_integer)), -1999,
           "Unexpected exception while getting feature Height"},
          {"enumeration set has lost a blank", CALL(Mlo_setEnumerationValue(c, "GainAuto", "Once")),
           -1999, "Unexpected exception while setting enum value Oncein GainAuto"},
      },
      Handle());
  port.failure = nullptr;

  // The node refuses a value out of its range: verification is on for simple setters.
  EXPECT_EQ(Mlo_setIntegerValue(Handle(), "Width", 4096), -1999);
  ExpectFailuresWith({"|GenICam exception while setting feature Width: "});
  EXPECT_EQ(port.GetBig32(kWidth), 0u);

  // An empty map throws in the lookup, which tells it as a get whatever the call.
  camera.SetCameraNodeMap(new GenApi::CNodeMapRef());
  EXPECT_EQ(Mlo_setFloatValue(Handle(), "ExposureTimeAbs", 1.0), -1999);
  EXPECT_EQ(Mlo_executeCommand(Handle(), "AcquisitionStart"), -1999);
  ExpectFailuresWith({"|GenICam exception while getting feature ExposureTimeAbs: ",
                      "|GenICam exception while getting feature AcquisitionStart: "});

  // Commands are left to the camera's register, which only the small description can read back.
  Connect(TestCameraDescription());
  port.failure = [] { throw std::out_of_range("no register"); };
  Expect(
      {
          {"command state", CALL(Mlo_isCommandDone(c, "AcquisitionStart", &g_unsigned)), -1999,
           "Standard exception while getting command state AcquisitionStart: no register"},
          {"command", CALL(Mlo_executeCommand(c, "AcquisitionStart")), -1999,
           "Standard exception while executing command AcquisitionStart: no register"},
      },
      Handle());
}

TEST_F(FeatureApiTest, AcquisitionNeedsASynchronisedLink) {
  Connect(FakeCameraDescription());
  port.PutBig32(kAcquisitionCommand, 9);
  Expect({{"start", CALL(Mlo_startAcquisition(c, 1)), -1202, "Tranceiver not sysncronized"}},
         Handle());
  EXPECT_EQ(port.preparations, 0);
  EXPECT_EQ(port.GetBig32(kAcquisitionCommand), 9u) << "no command was sent";

  port.synchronized = true;
  ASSERT_EQ(Mlo_startAcquisition(Handle(), 3), 0);
  EXPECT_EQ(port.preparations, 1);
  EXPECT_EQ(port.GetBig32(kAcquisitionCommand), 1u);

  port.synchronized = false;
  ASSERT_EQ(Mlo_stopAcquisition(Handle(), 4), 0) << "stopping does not ask the link";
  EXPECT_EQ(port.GetBig32(kAcquisitionCommand), 0u);

  Connect(TestCameraDescription());
  Expect({{"no stop command", CALL(Mlo_stopAcquisition(c, 0)), -1102,
           "Failed to get feature AcquisitionStop"}},
         Handle());
}

TEST_F(FeatureApiTest, TraceNamesTheFeatureAndTheValue) {
  Connect(FakeCameraDescription());
  int64_t width = 0;
  ASSERT_EQ(Mlo_setIntegerValue(Handle(), "Width", 640), 0);
  ASSERT_EQ(Mlo_getIntegerValue(Handle(), "Width", &width), 0);
  ASSERT_EQ(Mlo_setFloatValue(Handle(), "ExposureTimeAbs", 12.5), 0);
  ASSERT_EQ(Mlo_setEnumerationValue(Handle(), "GainAuto", "Once"), 0);
  port.synchronized = true;
  ASSERT_EQ(Mlo_startAcquisition(Handle(), 7), 0);

  const std::string handle = FormatCamera(Handle());
  auto entry = [&](const std::string& text) { return handle + "|Entering " + text; };
  auto exit = [&](const std::string& name) { return ",return=0" + handle + "|Leaving " + name; };
  // After the source line, which the test does not pin.
  const std::string threadId = ",thread-id=" + std::to_string(genicam::CurrentThreadId());
  const std::vector<std::string> expected = {
      entry("Mlo_setIntegerValue; Feature: Width; Value: 640"),
      exit("Mlo_setIntegerValue"),
      entry("Mlo_getIntegerValue; Feature: Width"),
      exit("Mlo_getIntegerValue"),
      entry("Mlo_setFloatValue; Feature: ExposureTimeAbs; Value: 12.5"),
      exit("Mlo_setFloatValue"),
      entry("Mlo_setEnumerationValue; Feature: GainAuto; Value: Once"),
      exit("Mlo_setEnumerationValue"),
      entry("Mlo_startAcquisition; value: 7"),
      entry("Mlo_executeCommand; Feature: AcquisitionStart"),
      exit("Mlo_executeCommand"),
      exit("Mlo_startAcquisition"),
  };
  const auto lines = CapturedLog::Take();
  ASSERT_EQ(lines.size(), expected.size());
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i].level, 1u);
    const std::string& text = lines[i].text;
    ASSERT_EQ(text.rfind("source-file=vesk_genicam/impl/vesk_genicam,source-line=", 0), 0u);
    const size_t after = text.find(threadId);
    ASSERT_NE(after, std::string::npos) << text;
    EXPECT_EQ(text.substr(after + threadId.size()), expected[i]);
  }
}

}  // namespace
}  // namespace vesk::test
