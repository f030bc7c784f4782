#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <tuple>

#include "sim/core/Simulator.h"
#include "sim/include/vesk_sim.h"

namespace vesk::sim {
namespace {

using ::testing::HasSubstr;

const char kRig[] = R"(<rig>
  <board type="2656" ports="4" design="cxp-camera-ctrl"/>
  <board type="2657" ports="2" design="clhs">
    <faults port="1" seed="5" drop="1000"/>
  </board>
  <camera id="dual" speeds="3125 6250">
    <link board="0" port="0"/>
    <link board="0" port="1"/>
    <faults silentAfter="0"/>
  </camera>
  <camera id="loose"><link/></camera>
</rig>)";

class SimulatorTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(simulator_.LoadText(kRig, "test rig"), 0); }
  // The status, camera and link of a port's cable.
  std::tuple<int, int, unsigned> Cable(int board, unsigned port) {
    int camera = -1;
    unsigned link = 9;
    const int status = simulator_.CableAt(board, port, camera, link);
    return {status, camera, link};
  }

  Simulator simulator_;
};

TEST_F(SimulatorTest, BuildsTheRigWithItsCablesAndFaults) {
  EXPECT_EQ(simulator_.BoardCount(), 2);
  EXPECT_EQ(simulator_.CameraCount(), 2);
  EXPECT_EQ(simulator_.FindCamera("loose"), 1);
  EXPECT_EQ(simulator_.FindCamera("none"), VSIM_ERROR_NO_SUCH_CAMERA);
  std::shared_ptr<CameraUnit> dual = simulator_.CameraAt(0);
  ASSERT_NE(dual, nullptr);
  ASSERT_NE(dual->camera, nullptr);
  EXPECT_EQ(dual->described.model, Camera::ModelNames().front());
  EXPECT_EQ(dual->faults.Next(), Fault::Silent);
  EXPECT_EQ(Cable(0, 1), std::make_tuple(0, 0, 1u));
  EXPECT_EQ(std::get<0>(Cable(0, 2)), VSIM_ERROR_NO_CABLE);
  EXPECT_EQ(simulator_.BoardAt(0)->CameraStatus(1), 1);
  EXPECT_EQ(simulator_.BoardAt(1)->PortAt(1)->Faults().Next(), Fault::Drop);
  EXPECT_EQ(simulator_.BoardAt(2), nullptr);
}

TEST_F(SimulatorTest, PlugAndUnplugKeepOneLinkPerPortAndOnePortPerLink) {
  EXPECT_EQ(simulator_.Plug(0, 2, 1, 0), 0);
  EXPECT_EQ(simulator_.BoardAt(0)->CameraStatus(2), 1);
  EXPECT_EQ(simulator_.Plug(0, 3, 1, 0), VSIM_ERROR_PORT_IN_USE);       // the link is in port 2
  EXPECT_EQ(simulator_.Plug(0, 2, 0, 0), VSIM_ERROR_PORT_IN_USE);       // the port is taken
  EXPECT_EQ(simulator_.Plug(0, 3, 1, 1), VSIM_ERROR_INVALID_ARGUMENT);  // one link only
  EXPECT_EQ(simulator_.Plug(0, 4, 1, 0), VSIM_ERROR_NO_SUCH_PORT);
  EXPECT_EQ(simulator_.Plug(2, 0, 1, 0), VSIM_ERROR_NO_SUCH_BOARD);
  EXPECT_EQ(simulator_.Plug(0, 3, 2, 0), VSIM_ERROR_NO_SUCH_CAMERA);

  EXPECT_EQ(simulator_.Unplug(0, 0), 0);
  EXPECT_EQ(simulator_.Unplug(0, 0), VSIM_ERROR_NO_CABLE);
  EXPECT_EQ(simulator_.BoardAt(0)->CameraStatus(0), 0);
  EXPECT_EQ(simulator_.Plug(1, 0, 0, 0), 0);  // the unplugged link moves to another board
  EXPECT_EQ(Cable(1, 0), std::make_tuple(0, 0, 0u));
}

TEST_F(SimulatorTest, ARigChangesOnlyWhileNoHandleIsOpenAndAFailedLoadLeavesNoBoards) {
  PLdevice* device = simulator_.OpenDevice(1);
  ASSERT_NE(device, nullptr);
  EXPECT_EQ(simulator_.OpenDevice(2), nullptr);
  EXPECT_EQ(simulator_.LoadDefault(), VSIM_ERROR_BUSY);
  fpga_design* design = simulator_.Handles().OpenDesign(device);
  ASSERT_NE(design, nullptr);
  EXPECT_EQ(simulator_.Handles().CloseDevice(device), 0);
  EXPECT_EQ(simulator_.LoadDefault(), VSIM_ERROR_BUSY);  // the design is still open
  EXPECT_EQ(simulator_.Handles().CloseDesign(design), 0);
  EXPECT_EQ(simulator_.LoadDefault(), 0);
  EXPECT_EQ(simulator_.BoardCount(), 8);

  // A failed load leaves no boards and its reason.
  EXPECT_EQ(simulator_.LoadText("<rig><board/></rig>", "broken.xml"), VSIM_ERROR_RIG);
  EXPECT_EQ(simulator_.BoardCount(), VSIM_ERROR_RIG);
  EXPECT_EQ(simulator_.CameraCount(), 0);
  EXPECT_THAT(simulator_.LastError(), HasSubstr("broken.xml:1: <board>: attribute 'type'"));
  EXPECT_EQ(simulator_.LoadFile("/nonexistent/rig.xml"), VSIM_ERROR_RIG);
  EXPECT_THAT(simulator_.LastError(), HasSubstr("'/nonexistent/rig.xml' cannot be read"));
  const char* missingXml =
      "<rig>\n<camera id='x' xmlFile='/nonexistent.xml'><link/></camera></rig>";
  EXPECT_EQ(simulator_.LoadText(missingXml, "xml.rig"), VSIM_ERROR_RIG);
  EXPECT_THAT(simulator_.LastError(), HasSubstr("xml.rig:2: <camera id=\"x\">: "));
  EXPECT_EQ(simulator_.LoadText(kRig, "test rig"), 0);
  EXPECT_EQ(simulator_.LastError(), "");
  EXPECT_EQ(simulator_.BoardCount(), 2);
}

int CountCall(int, unsigned long, unsigned long, unsigned long, void* calls) {
  ++*static_cast<std::atomic<int>*>(calls);
  return 0;
}

// Run under the thread sanitizer, this is what finds a race between the host and the tests.
TEST_F(SimulatorTest, HandlesRegistersCablesAndNotificationsFromSeveralThreads) {
  constexpr int kRounds = 200;
  std::atomic<int> calls{0};
  auto host = [&] {
    for (int round = 0; round < kRounds; ++round) {
      PLdevice* device = simulator_.OpenDevice(0);
      std::shared_ptr<Board> board = simulator_.Handles().BoardOf(device);
      ASSERT_NE(board, nullptr);
      ASSERT_EQ(simulator_.Handles().AddCallback(device, &CountCall, &calls), 0);
      ASSERT_EQ(board->WriteRegister(1, static_cast<uint64_t>(round)), 0);
      uint64_t value = 0;
      ASSERT_EQ(board->ReadRegister(1, value), 0);
      board->Notify(1, 1);
      ASSERT_EQ(simulator_.Handles().CloseDevice(device), 0);
    }
  };
  std::thread first(host);
  std::thread second(host);
  for (int round = 0; round < kRounds; ++round) {
    ASSERT_EQ(simulator_.Plug(0, 3, 1, 0), 0);
    ASSERT_EQ(simulator_.Unplug(0, 3), 0);
  }
  first.join();
  second.join();
  EXPECT_EQ(simulator_.BoardAt(0)->Counters().registerWrites, 2u * kRounds);
  EXPECT_LE(calls.load(), 4 * kRounds);  // a handle may close before its notification runs
  EXPECT_TRUE(simulator_.Handles().Empty());
}

}  // namespace
}  // namespace vesk::sim
