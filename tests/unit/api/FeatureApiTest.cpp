// Feature access by name over a camera object whose test port serves Aravis's fake camera, or a
// small description of features that only go one way; the lines are read back through the
// capturing dispatcher.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/Descriptions.h"
#include "tests/support/TestPort.h"
#include "tests/unit/api/ApiTestBoard.h"
#include "vesk_genicam/impl/ApiArguments.h"
#include "vesk_genicam/impl/CameraInterface.h"

namespace vesk::test {
namespace {

// Features that go one way only, which the fake camera lacks. Registers are little-endian.
std::string OneWayDescription() {
  return DescriptionWith(R"(<Integer Name="Secret"><pValue>SecretReg</pValue></Integer>
  <IntReg Name="SecretReg"><Address>0x10</Address><Length>4</Length><AccessMode>WO</AccessMode>
    <pPort>Device</pPort></IntReg>
  <Boolean Name="Arm"><pValue>ArmReg</pValue></Boolean>
  <IntReg Name="ArmReg"><Address>0x14</Address><Length>4</Length><AccessMode>WO</AccessMode>
    <pPort>Device</pPort></IntReg>
  <Enumeration Name="Trap"><pValue>TrapReg</pValue>
    <EnumEntry Name="Open"><Value>1</Value></EnumEntry>
    <EnumEntry Name="Shut"><Value>2</Value></EnumEntry>
  </Enumeration>
  <IntReg Name="TrapReg"><Address>0x18</Address><Length>4</Length><AccessMode>WO</AccessMode>
    <pPort>Device</pPort></IntReg>
  <Enumeration Name="Fixed"><pValue>FixedReg</pValue>
    <EnumEntry Name="Only"><Value>1</Value></EnumEntry>
  </Enumeration>
  <IntReg Name="FixedReg"><Address>0x1c</Address><Length>4</Length><AccessMode>RO</AccessMode>
    <pPort>Device</pPort></IntReg>
  <StringReg Name="Note"><Address>0x20</Address><Length>8</Length><AccessMode>WO</AccessMode>
    <pPort>Device</pPort></StringReg>)");
}

// Registers of the fake camera.
constexpr int64_t kWidth = 0x100;
constexpr int64_t kSensorWidth = 0x11c;
constexpr int64_t kAcquisitionCommand = 0x124;
constexpr int64_t kAcquisitionMode = 0x12c;
constexpr int64_t kFramePeriod = 0x138;
constexpr int64_t kTestBoolean = 0x1f0;
constexpr int64_t kTestString = 0x200;

class FeatureApiTest : public ::testing::Test {
 protected:
  FeatureApiTest() : camera(&port, nullptr) {
    port.xml = FakeCameraDescription();
    port.PutBig32(kSensorWidth, 2048);
  }
  void SetUp() override { CapturedLog::SetDefaultLevel(1); }

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

  // Checks of calls on c.
  void Expect(const std::vector<CheckCase>& cases) { ExpectChecks(arguments, cases); }

  TestPort port;
  CCameraInterface camera;
  MloCameraHandle* c = reinterpret_cast<MloCameraHandle*>(&camera);
  // The arguments that every line about c shows.
  const std::string arguments = genicam::FormatCamera(c);
  int64_t integer = 0;
  double real = 0;
  unsigned state = 0;
  const char* text = nullptr;
};

TEST_F(FeatureApiTest, NullArgumentsAreRefusedInTheirOrder) {
  MloCameraHandle* const none = nullptr;
  const char* const kNoValue = "Invalid value pointer";
  const char* const kNoCamera = "Invalid camera handle";
  const char* const kNoMap = "Failed to get camera node map";
  ExpectChecks(
      genicam::FormatCamera(none),
      {
          // Value pointers are tested before the handle, except by the string and symbolic reads.
          CALL(Mlo_getIntegerValue(none, "Width", nullptr), -1991, kNoValue),
          CALL(Mlo_getIntegerValueLimits(none, "Width", &integer, nullptr, &integer), -1991,
               kNoValue),
          CALL(Mlo_getBooleanValue(none, "X", nullptr), -1991, kNoValue),
          CALL(Mlo_getFloatValue(none, "X", nullptr), -1991, kNoValue),
          CALL(Mlo_setStringValue(none, "X", nullptr), -1991, "Invalid value"),
          CALL(Mlo_setEnumerationValue(none, "X", nullptr), -1991, "Invalid value"),
          CALL(Mlo_getEnumerationValue(none, "X", nullptr), -1991, kNoValue),
          CALL(Mlo_isCommandDone(none, "X", nullptr), -1991, kNoValue),
          CALL(Mlo_getStringValue(none, "X", nullptr), -1000, kNoCamera),
          CALL(Mlo_getEnumerationValueAsString(none, "X", nullptr), -1000, kNoCamera),
          CALL(Mlo_setIntegerValue(none, nullptr, 1), -1000, kNoCamera),
          CALL(Mlo_executeCommand(none, "X"), -1000, kNoCamera),
          CALL(Mlo_startAcquisition(none, 1), -1000, kNoCamera),
          CALL(Mlo_stopAcquisition(none, 1), -1000, kNoCamera),
      });
  Expect({
      CALL(Mlo_getStringValue(c, "X", nullptr), -1991, kNoValue),
      CALL(Mlo_getEnumerationValueAsString(c, "X", nullptr), -1991, kNoValue),
      CALL(Mlo_setIntegerValue(c, nullptr, 1), -1102, "Invalid feature name"),
      CALL(Mlo_getFloatValue(c, "", &real), -1102, "Invalid feature name"),
      CALL(Mlo_executeCommand(c, ""), -1102, "Invalid feature name"),
      // Every function needs the GenICam connection.
      CALL(Mlo_setIntegerValue(c, "Width", 1), -1100, kNoMap),
      CALL(Mlo_getIntegerValue(c, "Width", &integer), -1100, kNoMap),
      CALL(Mlo_getIntegerValueLimits(c, "Width", &integer, &integer, &integer), -1100, kNoMap),
      CALL(Mlo_setBooleanValue(c, "TestBoolean", 1), -1100, kNoMap),
      CALL(Mlo_getStringValue(c, "DeviceID", &text), -1100, kNoMap),
      CALL(Mlo_setEnumerationValue(c, "AcquisitionMode", "X"), -1100, kNoMap),
      CALL(Mlo_isCommandDone(c, "AcquisitionStart", &state), -1100, kNoMap),
  });
}

// Unknown names, and nodes of another type than the function's, are no feature; read-only
// features are not written.
TEST_F(FeatureApiTest, UnknownNamesAndNodesOfAnotherTypeAreNoFeature) {
  Connect(FakeCameraDescription());
  const char* const kNoWidth = "Failed to get feature Width";
  Expect({
      CALL(Mlo_setIntegerValue(c, "PixelFormat", 1), -1102, "Failed to get feature PixelFormat"),
      CALL(Mlo_getIntegerValue(c, "Widht", &integer), -1102, "Failed to get feature Widht"),
      CALL(Mlo_getFloatValue(c, "Width", &real), -1102, kNoWidth),
      CALL(Mlo_getBooleanValue(c, "Width", &state), -1102, kNoWidth),
      CALL(Mlo_setStringValue(c, "Width", "1"), -1102, kNoWidth),
      CALL(Mlo_getEnumerationValueAsString(c, "Width", &text), -1102, kNoWidth),
      // An enumeration entry's name.
      CALL(Mlo_executeCommand(c, "Continuous"), -1102, "Failed to get feature Continuous"),
      CALL(Mlo_setIntegerValue(c, "SensorWidth", 640), -1105, "Feature SensorWidth is read only"),
      CALL(Mlo_setStringValue(c, "DeviceVendorName", "Me"), -1105,
           "Feature DeviceVendorName is read only"),
  });
  EXPECT_EQ(port.GetBig32(kSensorWidth), 2048u);
}

TEST_F(FeatureApiTest, FeaturesThatGoOneWayAreRefusedBeforeThePort) {
  Connect(OneWayDescription());
  port.memory.clear();
  state = 7;
  Expect({
      CALL(Mlo_getIntegerValue(c, "Secret", &integer), -1105, "Feature Secret is read only"),
      CALL(Mlo_getIntegerValueLimits(c, "Secret", &integer, &integer, &integer), -1105,
           "Feature Secret is read only"),
      CALL(Mlo_getBooleanValue(c, "Arm", &state), -1105, "Feature Arm is read only"),
      CALL(Mlo_getEnumerationValue(c, "Trap", &integer), -1104, "Value is write only"),
      CALL(Mlo_getEnumerationValueAsString(c, "Trap", &text), -1104, "Value is write only"),
      CALL(Mlo_setEnumerationValue(c, "Trap", "Ajar"), -1991, "Invalid enum value"),
  });
  EXPECT_EQ(state, 7u) << "a failed boolean read leaves the value alone";
  EXPECT_TRUE(port.memory.empty()) << "nothing went to the port";

  // A read-only enumeration is left to the node, which throws.
  EXPECT_EQ(Mlo_setEnumerationValue(c, "Fixed", "Only"), -1999);
  ExpectFailuresWith({"|GenICam exception while setting enum value Only in Fixed: "});
  // String reads have no access test of their own; the node refuses.
  EXPECT_EQ(Mlo_getStringValue(c, "Note", &text), -1999);
  ExpectFailuresWith({"|GenICam exception while getting string value Note: "});

  EXPECT_EQ(Mlo_setEnumerationValue(c, "Trap", "Shut"), 0);
  EXPECT_EQ(port.Get32(0x18), 2u);
  EXPECT_EQ(Mlo_setIntegerValue(c, "Secret", 99), 0);
  EXPECT_EQ(port.Get32(0x10), 99u);
}

TEST_F(FeatureApiTest, ValuesGoToTheCameraAndComeBack) {
  Connect(FakeCameraDescription());
  // Simple reads use the cache of the node map.
  port.PutBig32(kWidth, 512);
  ASSERT_EQ(Mlo_getIntegerValue(c, "Width", &integer), 0);
  port.PutBig32(kWidth, 1024);
  ASSERT_EQ(Mlo_getIntegerValue(c, "Width", &integer), 0);
  EXPECT_EQ(integer, 512) << "a cached register is not read again";
  camera.GetCameraNodeMap()->_InvalidateNodes();
  ASSERT_EQ(Mlo_getIntegerValue(c, "Width", &integer), 0);
  EXPECT_EQ(integer, 1024);

  ASSERT_EQ(Mlo_setIntegerValue(c, "Width", 640), 0);
  EXPECT_EQ(port.GetBig32(kWidth), 640u);
  int64_t min = 0, max = 0, inc = 0;
  ASSERT_EQ(Mlo_getIntegerValueLimits(c, "Width", &min, &max, &inc), 0);
  EXPECT_EQ(std::vector<int64_t>({min, max, inc}), std::vector<int64_t>({1, 2048, 1}));

  ASSERT_EQ(Mlo_setBooleanValue(c, "TestBoolean", 5), 0);
  EXPECT_EQ(port.GetBig32(kTestBoolean), 321u) << "any non-zero value is true";
  ASSERT_EQ(Mlo_getBooleanValue(c, "TestBoolean", &state), 0);
  EXPECT_EQ(state, 1u);
  ASSERT_EQ(Mlo_setBooleanValue(c, "TestBoolean", 0), 0);
  EXPECT_EQ(port.GetBig32(kTestBoolean), 123u);
  ASSERT_EQ(Mlo_getBooleanValue(c, "TestBoolean", &state), 0);
  EXPECT_EQ(state, 0u);

  ASSERT_EQ(Mlo_setFloatValue(c, "AcquisitionFrameRate", 25.0), 0);
  EXPECT_EQ(port.GetBig32(kFramePeriod), 40000u);
  ASSERT_EQ(Mlo_getFloatValue(c, "AcquisitionFrameRate", &real), 0);
  EXPECT_DOUBLE_EQ(real, 25.0);

  ASSERT_EQ(Mlo_setStringValue(c, "TestStringReg", "vesk"), 0);
  EXPECT_EQ(port.memory[kTestString], 'v');
  EXPECT_EQ(port.memory[kTestString + 3], 'k');
  const char* again = nullptr;
  ASSERT_EQ(Mlo_getStringValue(c, "TestStringReg", &text), 0);
  ASSERT_EQ(Mlo_getStringValue(c, "TestStringReg", &again), 0);
  EXPECT_STREQ(text, "vesk");
  EXPECT_EQ(text, again) << "an unchanged string is handed out once";

  ASSERT_EQ(Mlo_setEnumerationValue(c, "AcquisitionMode", "SingleFrame"), 0);
  EXPECT_EQ(port.GetBig32(kAcquisitionMode), 2u);
  ASSERT_EQ(Mlo_getEnumerationValue(c, "AcquisitionMode", &integer), 0);
  EXPECT_EQ(integer, 2);
  ASSERT_EQ(Mlo_getEnumerationValueAsString(c, "AcquisitionMode", &text), 0);
  EXPECT_STREQ(text, "SingleFrame");

  ASSERT_EQ(Mlo_executeCommand(c, "AcquisitionStart"), 0);
  EXPECT_EQ(port.GetBig32(kAcquisitionCommand), 1u);
  ASSERT_EQ(Mlo_isCommandDone(c, "AcquisitionStart", &state), 0);
  EXPECT_EQ(state, 1u) << "a write-only command register is done at once";
  EXPECT_TRUE(CapturedLog::TakeFailures().empty());

  // A value that no entry has reads as a number, but not as a name.
  port.PutBig32(kAcquisitionMode, 77);
  camera.GetCameraNodeMap()->_InvalidateNodes();
  ASSERT_EQ(Mlo_getEnumerationValue(c, "AcquisitionMode", &integer), 0);
  EXPECT_EQ(integer, 77);
  Expect({CALL(Mlo_getEnumerationValueAsString(c, "AcquisitionMode", &text), -1014,
               "Invalid data in feature")});
}

TEST_F(FeatureApiTest, ExceptionsOfEachKindAreToldWithTheAction) {
  Connect(FakeCameraDescription());
  port.failure = [] { throw std::runtime_error("link down"); };
  const char* const kGainAuto = "Standard exception while getting enum value GainAuto: link down";
  Expect({
      CALL(Mlo_getIntegerValue(c, "Width", &integer), -1999,
           "Standard exception while getting feature Width: link down"),
      CALL(Mlo_getEnumerationValue(c, "GainAuto", &integer), -1999, kGainAuto),
      CALL(Mlo_getEnumerationValueAsString(c, "GainAuto", &text), -1999, kGainAuto),
  });
  port.failure = [] { throw 5; };
  Expect({
      CALL(Mlo_getFloatValue(c, "ExposureTimeAbs", &real), -1999,
           "Unexpected exception while getting feature ExposureTimeAbs"),
      // The limits read the maximum.
      CALL(Mlo_getIntegerValueLimits(c, "Height", &integer, &integer, &integer), -1999,
           "Unexpected exception while getting feature Height"),
      // The unexpected case of an enumeration set has lost a blank.
      CALL(Mlo_setEnumerationValue(c, "GainAuto", "Once"), -1999,
           "Unexpected exception while setting enum value Oncein GainAuto"),
  });
  port.failure = nullptr;

  // The node refuses a value out of its range: verification is on for simple setters.
  EXPECT_EQ(Mlo_setIntegerValue(c, "Width", 4096), -1999);
  ExpectFailuresWith({"|GenICam exception while setting feature Width: "});
  EXPECT_EQ(port.GetBig32(kWidth), 0u);

  // An empty map throws in the lookup, which tells it as a get whatever the call.
  camera.SetCameraNodeMap(new GenApi::CNodeMapRef());
  EXPECT_EQ(Mlo_setFloatValue(c, "ExposureTimeAbs", 1.0), -1999);
  EXPECT_EQ(Mlo_executeCommand(c, "AcquisitionStart"), -1999);
  ExpectFailuresWith({"|GenICam exception while getting feature ExposureTimeAbs: ",
                      "|GenICam exception while getting feature AcquisitionStart: "});

  // Commands are left to the camera's register, which only the small description can read back.
  Connect(TestCameraDescription());
  port.failure = [] { throw std::out_of_range("no register"); };
  Expect({
      CALL(Mlo_isCommandDone(c, "AcquisitionStart", &state), -1999,
           "Standard exception while getting command state AcquisitionStart: no register"),
      CALL(Mlo_executeCommand(c, "AcquisitionStart"), -1999,
           "Standard exception while executing command AcquisitionStart: no register"),
  });
}

TEST_F(FeatureApiTest, AcquisitionNeedsASynchronisedLink) {
  Connect(FakeCameraDescription());
  port.PutBig32(kAcquisitionCommand, 9);
  Expect({CALL(Mlo_startAcquisition(c, 1), -1202, "Tranceiver not sysncronized")});
  EXPECT_EQ(port.preparations, 0);
  EXPECT_EQ(port.GetBig32(kAcquisitionCommand), 9u) << "no command was sent";

  port.synchronized = true;
  ASSERT_EQ(Mlo_startAcquisition(c, 3), 0);
  EXPECT_EQ(port.preparations, 1);
  EXPECT_EQ(port.GetBig32(kAcquisitionCommand), 1u);

  port.synchronized = false;
  ASSERT_EQ(Mlo_stopAcquisition(c, 4), 0) << "stopping does not ask the link";
  EXPECT_EQ(port.GetBig32(kAcquisitionCommand), 0u);

  Connect(TestCameraDescription());
  Expect({CALL(Mlo_stopAcquisition(c, 0), -1102, "Failed to get feature AcquisitionStop")});
}

TEST_F(FeatureApiTest, TraceNamesTheFeatureAndTheValue) {
  Connect(FakeCameraDescription());
  ASSERT_EQ(Mlo_setIntegerValue(c, "Width", 640), 0);
  ASSERT_EQ(Mlo_getIntegerValue(c, "Width", &integer), 0);
  ASSERT_EQ(Mlo_setFloatValue(c, "ExposureTimeAbs", 12.5), 0);
  ASSERT_EQ(Mlo_setEnumerationValue(c, "GainAuto", "Once"), 0);
  port.synchronized = true;
  ASSERT_EQ(Mlo_startAcquisition(c, 7), 0);

  // Each entry names the feature and the value; the start of an acquisition runs the command.
  const std::string handle = arguments + "|Entering ";
  EXPECT_EQ(TakeEntries(), (std::vector<std::string>{
                               handle + "Mlo_setIntegerValue; Feature: Width; Value: 640",
                               handle + "Mlo_getIntegerValue; Feature: Width",
                               handle + "Mlo_setFloatValue; Feature: ExposureTimeAbs; Value: 12.5",
                               handle + "Mlo_setEnumerationValue; Feature: GainAuto; Value: Once",
                               handle + "Mlo_startAcquisition; value: 7",
                               handle + "Mlo_executeCommand; Feature: AcquisitionStart",
                           }));
}

}  // namespace
}  // namespace vesk::test
