// Camera Link boards through the exported functions alone, on the simulated runtime: the baud
// search, features, parameters, answers that go wrong, cameras that come and go. A port waits a
// second for each rate at which its camera stays silent, so each suite scans one board and shares
// it, and the cameras answer at their first rate, but for one.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ApiBoard.h"

namespace {

constexpr uint32_t kGencpVersion = 0x00010003;
constexpr int kGencpInvalidPacket = -1603;

using vesk::test::ThreadCount;
using Events = vesk::test::ApiEvents;

// Board 0 of a rig, opened and handed to the library, and scanned once.
class ClBoard : public vesk::test::ApiBoard {
 public:
  explicit ClBoard(const std::string& rig) : ApiBoard(rig) {
    if (Ok()) scanned_ = Mlo_scanPortsEx(Handle(), 0x3, 5000, 0, 0);
  }
  int Scanned() const { return scanned_; }
  MloCameraHandle* Camera(unsigned int port) const {
    MloCameraHandle* camera = nullptr;
    EXPECT_EQ(Mlo_getCamera(Handle(), port, &camera), 0);
    EXPECT_NE(camera, nullptr);
    return camera;
  }

 private:
  int scanned_ = -1;
};

std::string CameraTag(const char* id, unsigned int port, const char* extra) {
  return std::string("<camera id='") + id + "' xml='zipped' " + extra + "><link board='0' port='" +
         std::to_string(port) + "'/></camera>";
}

// Two base channels: a camera that starts at 9600 and can go to 57600, and one that answers at
// 115200 only, found by the port's search after four silent rates.
class ClDiscovery : public ::testing::Test {
 public:
  static void SetUpTestSuite() {
    board_ = new ClBoard("<rig><board type='1872' ports='2' design='cl-base'/>" +
                         CameraTag("first", 0,
                                   "vendor='Acme' modelName='Line 1' speeds='9600 19200 57600' "
                                   "defaultSpeed='9600'") +
                         CameraTag("fast", 1, "speeds='115200'") + "</rig>");
  }
  static void TearDownTestSuite() { delete board_; }

 protected:
  void SetUp() override { ASSERT_TRUE(board_->Ok()); }
  void TearDown() override {
    const VSimFaults none = {1, 0, 0, 0, 0, 0, -1};
    VSIM(VSimSetCameraFaultsEx)(0, &none, nullptr);
  }
  static void Faults(const VSimFaults& faults, const VSimProtocolFaults& protocol = {}) {
    ASSERT_EQ(VSIM(VSimSetCameraFaultsEx)(0, &faults, &protocol), 0);
  }
  static int ReadVersion(MloCameraHandle* camera) {
    uint32_t value = 0;
    const int code = Mlo_registerReadFromCamera(camera, &value, 0);
    return code == 0 && value != kGencpVersion ? -1 : code;
  }

  static inline ClBoard* board_ = nullptr;
};

TEST_F(ClDiscovery, TheScanFindsEveryCameraAtItsFastestRate) {
  ASSERT_EQ(board_->Scanned(), 0);
  EXPECT_EQ(Mlo_getCameraCount(board_->Handle()), 2);
  MloCameraHandle* first = board_->Camera(0);
  MloCameraHandle* fast = board_->Camera(1);
  EXPECT_EQ(board_->CameraProperty(first, "LinkSpeed"), 57600u);
  EXPECT_EQ(board_->CameraProperty(fast, "LinkSpeed"), 115200u);
  EXPECT_EQ(board_->CameraProperty(fast, "MasterPort"), 1u);
  const MloCameraInfo* info = Mlo_getCameraInfo(first);
  ASSERT_NE(info, nullptr);
  EXPECT_STREQ(info->vendorName, "Acme");
  EXPECT_STREQ(info->modelName, "Line 1");
  EXPECT_EQ(ReadVersion(fast), 0);
}

TEST_F(ClDiscovery, FeaturesByNameAndSavedParametersLoadBack) {
  MloCameraHandle* camera = board_->Camera(0);
  ASSERT_EQ(Mlo_connectCamera(camera), 0);
  ASSERT_EQ(Mlo_setIntegerValue(camera, "Width", 640), 0);
  int64_t width = 0;
  ASSERT_EQ(Mlo_getIntegerValue(camera, "Width", &width), 0);
  EXPECT_EQ(width, 640);
  const std::string parameters = testing::TempDir() + "/cl-parameters.txt";
  ASSERT_EQ(Mlo_SaveCameraParameters(camera, parameters.c_str()), 0);
  ASSERT_EQ(Mlo_setIntegerValue(camera, "Width", 800), 0);
  ASSERT_EQ(Mlo_LoadCameraParameters(camera, parameters.c_str(), 1), 0);
  ASSERT_EQ(Mlo_getIntegerValue(camera, "Width", &width), 0);
  EXPECT_EQ(width, 640);
  EXPECT_EQ(Mlo_disconnectCamera(camera), 0);
}

struct Fault {
  const char* name;
  VSimFaults faults;
  VSimProtocolFaults protocol;
  int result;
};

class ClDiscoveryFaults : public ClDiscovery, public ::testing::WithParamInterface<Fault> {};

// Each command ends within the port's wait, and once the camera answers well again so do the
// commands: the one that a late signal ends early aside.
TEST_P(ClDiscoveryFaults, NoiseStaleRepliesAndSilenceAreSurvived) {
  MloCameraHandle* camera = board_->Camera(0);
  Faults(GetParam().faults, GetParam().protocol);
  EXPECT_EQ(ReadVersion(camera), GetParam().result);
  Faults({1, 0, 0, 0, 0, 0, -1});
  ReadVersion(camera);
  EXPECT_EQ(ReadVersion(camera), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Answers, ClDiscoveryFaults,
    ::testing::Values(
        Fault{"Noise", {1, 0, 0, 1000, 0, 0, -1}, {}, 0},
        Fault{"StaleId", {1, 0, 0, 0, 0, 0, -1}, {0, 0, 0, 0, 1000, 0, 0}, kGencpInvalidPacket},
        Fault{"Silent", {1, 0, 0, 0, 0, 0, 0}, {}, kGencpInvalidPacket}),
    [](const ::testing::TestParamInfo<Fault>& info) { return info.param.name; });

// One camera on a one-channel board: its clock goes and comes back, and the board frees all it
// started.
TEST(ClHotPlug, ACameraWhoseClockGoesIsToldAndComesBackWorking) {
  std::thread([] {}).join();  // a sanitizer starts its helper thread with the first thread
  const unsigned int threadsBefore = ThreadCount();
  Events events;  // outlives the board, whose threads call it until it is freed
  ClBoard board("<rig><board type='1873' ports='1' design='cl-medium'/>" +
                CameraTag("only", 0, "speeds='9600'") + "</rig>");
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(board.Scanned(), 0);
  ASSERT_EQ(Mlo_registerBoardEventCallback(board.Handle(), Events::Callback, &events), 0);
  MloCameraHandle* camera = board.Camera(0);
  // An application thread reads on while the clock goes and the port searches the camera again.
  std::atomic<bool> reading{true};
  std::thread reader([&] {
    uint32_t value = 0;
    while (reading) Mlo_registerReadFromCamera(camera, &value, 0);
  });
  ASSERT_EQ(VSIM(VSimUnplug)(0, 0), 0);
  EXPECT_EQ(events.Wait(1, 8), (std::vector<Events::Event>{{MLO_EVENT_PORTS_LOST, 0x1}}));
  ASSERT_EQ(VSIM(VSimPlug)(0, 0, VSIM(VSimFindCamera)("only"), 0), 0);
  EXPECT_EQ(events.Wait(1, 8), (std::vector<Events::Event>{{MLO_EVENT_PORTS_CONNECTED, 0x1}}));
  reading = false;
  reader.join();
  ASSERT_EQ(Mlo_connectCamera(camera), 0);
  int64_t width = 0;
  EXPECT_EQ(Mlo_getIntegerValue(camera, "Width", &width), 0);
  EXPECT_GT(width, 0);
  board.Free();
  EXPECT_EQ(ThreadCount(), threadsBefore);
}

// A port without a camera is searched at every rate when the board opens; the scan then finds
// nothing.
TEST(ClEmptyPort, AChannelWithoutACameraIsNoCamera) {
  ClBoard board("<rig><board type='1873' ports='1' design='cl-medium'/></rig>");
  ASSERT_TRUE(board.Ok());
  EXPECT_EQ(board.Scanned(), -1210);
  EXPECT_EQ(Mlo_getCameraCount(board.Handle()), 0);
  EXPECT_EQ(Mlo_scanPortsEx(board.Handle(), 0x1, 100, 0, 0), -1208);
}

}  // namespace
