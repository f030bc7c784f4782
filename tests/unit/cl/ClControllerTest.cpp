// CClController on simulated Camera Link boards of every design, a camera on every port, so that
// each port finds its camera at the first rate.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/SimulatedRuntime.h"
#include "vesk_genicam/impl/ClController.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using vesk::test::CapturedLog;

struct Design {
  const char* name;
  int type;
  unsigned int ports;  // of the design, each with a camera
  unsigned int found;
  int mode;
};

// Board i of the rig has design kDesigns[i].
const Design kDesigns[] = {
    {"cl-base", 1872, 2, 2, 0},
    {"cl-medium", 1873, 1, 1, 1},
    {"cl-full", 2911, 1, 1, 2},
    {"cl-base-full", 30101, 2, 2, 2},
    {"cl-port-config", 2624, 2, 2, 0},
    {"cl-port-config-medium", 2629, 1, 1, 1},
    {"cl-port-config-full", 2626, 1, 1, 2},
    // A type that looks at the parameters, on a design that tells its ports by the register.
    {"cl-port-config", 1876, 2, 1, -1},
};
constexpr int kBoards = sizeof kDesigns / sizeof kDesigns[0];
constexpr int kSingle = 1;  // a one-port board

std::string Rig() {
  std::string boards;
  std::string cameras;
  for (int board = 0; board < kBoards; ++board) {
    const Design& design = kDesigns[board];
    boards += "<board type='" + std::to_string(design.type) + "' ports='" +
              std::to_string(design.ports) + "' design='" + design.name + "'/>";
    for (unsigned int port = 0; port < design.ports; ++port) {
      cameras += "<camera id='c" + std::to_string(board) + std::to_string(port) +
                 "' xml='zipped' speeds='9600 19200'><link board='" + std::to_string(board) +
                 "' port='" + std::to_string(port) + "'/></camera>";
    }
  }
  return "<rig>" + boards + cameras + "</rig>";
}

// The events of a controller's callback.
class Events {
 public:
  using Event = std::pair<unsigned int, unsigned int>;
  static void Callback(unsigned int event, unsigned int ports, void* user) {
    auto* events = static_cast<Events*>(user);
    std::lock_guard<std::mutex> lock(events->mutex_);
    events->seen_.emplace_back(event, ports);
    events->changed_.notify_all();
  }
  // The events once count have come, or what came within a few seconds.
  std::vector<Event> Wait(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(6), [&] { return seen_.size() >= count; });
    return std::exchange(seen_, {});
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Event> seen_;
};

class ClControllerRig : public ::testing::Test {
 public:
  static void SetUpTestSuite() {
    char error[512] = "";
    const int loaded = VSIM(VSimLoadRigText)(Rig().c_str(), "cl controller rig");
    VSIM(VSimGetLastError)(error, sizeof error);
    ASSERT_EQ(loaded, 0) << error;
    // Held open for the suite: the runtime, and the rig with it, would go with the last handle.
    anchor_ = VHalInitDevice(0);
  }
  static void TearDownTestSuite() { VHalFreeDevice(anchor_); }

 protected:
  void TearDown() override {
    controller_.reset();
    if (design_) DsnFreeDesign(design_);
    if (device_) VHalFreeDevice(device_);
  }
  CClController& Controller(int board) {
    device_ = VHalInitDevice(board);
    design_ = DsnLoadBoardDesign(device_);
    controller_ = std::make_unique<CClController>(device_, design_);
    return *controller_;
  }
  CClPort& Port(unsigned int index) { return *static_cast<CClPort*>(controller_->GetPort(index)); }

  static inline PLdevice* anchor_ = nullptr;
  PLdevice* device_ = nullptr;
  fpga_design* design_ = nullptr;
  std::unique_ptr<CClController> controller_;
};

class ClControllerDesigns : public ClControllerRig, public ::testing::WithParamInterface<int> {};

TEST_P(ClControllerDesigns, CountsThePortsAndTellsTheMode) {
  const Design& design = kDesigns[GetParam()];
  CClController& controller = Controller(GetParam());
  EXPECT_EQ(controller.GetNrOfPorts(), design.found);
  EXPECT_EQ(controller.GetCameraLinkMode(), design.mode);
  EXPECT_EQ(controller.GetPort(design.found), nullptr);
  for (unsigned int i = 0; i < design.found; ++i) EXPECT_TRUE(Port(i).IsConnected()) << i;
}

INSTANTIATE_TEST_SUITE_P(Designs, ClControllerDesigns, ::testing::Range(0, kBoards),
                         [](const ::testing::TestParamInfo<int>& info) {
                           return std::to_string(info.param);
                         });

TEST_F(ClControllerRig, PropertiesCheckTheirArgumentsAndReadTheGencpVersion) {
  CClController& controller = Controller(0);
  uint32_t value = 0;
  uint32_t port = 1;
  uint32_t beyond = 2;
  char magic[] = "MagicValue";
  char other[] = "Other";
  EXPECT_EQ(controller.GetProperty(magic, nullptr, 1, &port), MLO_ERR_INVALID_POINTER);
  EXPECT_EQ(controller.GetProperty(magic, &value, 3, &port), MLO_ERR_INVALID_TYPE);
  EXPECT_EQ(controller.GetProperty(magic, &value, 1, nullptr), MLO_ERR_INVALID_ARGUMENT);
  EXPECT_EQ(controller.GetProperty(magic, &value, 1, &beyond), MLO_ERR_OUT_OF_RANGE);
  EXPECT_EQ(controller.GetProperty(other, &value, 1, &port), MLO_ERR_NOT_IMPLEMENTED);
  EXPECT_EQ(controller.SetProperty(magic, &value, 1, &port), MLO_ERR_NOT_IMPLEMENTED);
  ASSERT_EQ(controller.GetProperty(magic, &value, 1, &port), 0);
  EXPECT_EQ(value, 0x00010003u);
  EXPECT_EQ(controller.ForceTransceiverBitrate(0, 9600), MLO_ERR_NOT_IMPLEMENTED);
  EXPECT_EQ(controller.ForceResetControlCore(0, 0), MLO_ERR_NOT_IMPLEMENTED);
}

struct ScanRow {
  int board;
  unsigned int mask;
  int result;
};

class ClControllerScan : public ClControllerRig, public ::testing::WithParamInterface<ScanRow> {};

// Each live port becomes a camera of its own at its camera's fastest rate; a mask that leaves out
// either channel is refused, but the ports still get their XML locations.
TEST_P(ClControllerScan, MakesEachLivePortAMasterAtItsFastestRate) {
  const ScanRow& row = GetParam();
  CClController& controller = Controller(row.board);
  controller.ResetMultiplexer();
  EXPECT_FALSE(Port(0).IsConnected());
  ASSERT_EQ(controller.Discovery(row.mask, 0, 0, 0, nullptr), row.result);
  for (unsigned int i = 0; i < controller.GetNrOfPorts(); ++i) {
    CClPort& port = Port(i);
    const bool found = row.result == 0;
    EXPECT_EQ(port.GetPortType(), found ? PortTypeMaster : PortTypeUnconnected) << i;
    EXPECT_EQ(port.GetSpeed(), found ? 19200u : kNoLinkSpeed) << i;
    EXPECT_EQ(port.GetLogicPort(), found ? i << 16 : 0xFFFFFFFF) << i;
    EXPECT_EQ(std::string(port.GetCameraInfo()->GetFamilyName()), found ? "Camera Link" : "");
  }
}

INSTANTIATE_TEST_SUITE_P(Masks, ClControllerScan,
                         ::testing::Values(ScanRow{0, 0x3, 0}, ScanRow{0, 0x7, 0},
                                           ScanRow{kSingle, 0x3, 0},
                                           ScanRow{0, 0x1, MLO_ERR_INVALID_PORT},
                                           ScanRow{0, 0x2, MLO_ERR_INVALID_PORT}));

TEST_F(ClControllerRig, ARefusedMaskStillGivesConnectedPortsTheirXmlLocation) {
  CClController& controller = Controller(0);
  EXPECT_EQ(controller.Discovery(0x1, 0, 0, 0, nullptr), MLO_ERR_INVALID_PORT);
  EXPECT_NE(Port(0).GetXmlName().find(".zip;"), std::string::npos) << Port(0).GetXmlName();
}

// A port whose camera clock goes is reset at once and forgets the camera's rates; the clock's
// return is told once the camera has had time to power up and its rate is found again.
TEST_F(ClControllerRig, CamerasWhoseClockGoesAndComesAreTold) {
  Events events;
  CClController& controller = Controller(0);
  controller.SetCallBackFnct(Events::Callback, &events);
  int camera = -1;
  unsigned int link = 0;
  ASSERT_EQ(VSIM(VSimGetCable)(0, 1, &camera, &link), 0);
  ASSERT_EQ(VSIM(VSimUnplug)(0, 1), 0);
  EXPECT_EQ(events.Wait(1), (std::vector<Events::Event>{{ControllerEventPortsLost, 0x2}}));
  EXPECT_FALSE(Port(1).IsConnected());
  EXPECT_EQ(Port(1).SetSpeed(0), MLO_ERR_INVALID_LINK_SPEED);
  EXPECT_TRUE(Port(0).IsConnected());
  ASSERT_EQ(VSIM(VSimPlug)(0, 1, camera, link), 0);
  EXPECT_EQ(events.Wait(1), (std::vector<Events::Event>{{ControllerEventPortsConnected, 0x2}}));
  EXPECT_EQ(Port(1).GetSpeed(), 9600u);
  EXPECT_EQ(Port(1).SetSpeed(0), 0);
}

// With both clocks gone the ports have forgotten their cameras, and a discovery finds none.
TEST(ClControllerLog, ADiscoveryWithoutCamerasSaysSo) {
  ASSERT_EQ(VSIM(VSimLoadRigText)(Rig().c_str(), "cl controller rig"), 0);
  PLdevice* device = VHalInitDevice(0);
  fpga_design* design = DsnLoadBoardDesign(device);
  {
    Events events;
    CClController controller(device, design);
    controller.SetCallBackFnct(Events::Callback, &events);
    for (unsigned int port : {0u, 1u}) {
      ASSERT_EQ(VSIM(VSimUnplug)(0, port), 0);
      ASSERT_EQ(events.Wait(1).size(), 1u);
    }
    CapturedLog::SetDefaultLevel(3);
    CapturedLog::SetAllLevels(3);
    CapturedLog::Take();
    EXPECT_EQ(controller.Discovery(0x3, 0, 0, 0, nullptr), MLO_ERR_NO_CAMERA_FOUND);
    EXPECT_THAT(CapturedLog::TakeFailures(), Contains(HasSubstr("No physical connections found")));
    controller.SetCallBackFnct(nullptr, nullptr);
  }
  DsnFreeDesign(design);
  VHalFreeDevice(device);
}

}  // namespace
