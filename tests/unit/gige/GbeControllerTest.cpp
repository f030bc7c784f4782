// The GigE controller on simulated boards: ports by board type and the checks and answers of its
// properties that need no camera.
#include <gtest/gtest.h>

#include <string>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/SimulatedRuntime.h"
#include "vesk_genicam/impl/GbeController.h"

namespace {

class GbeControllerBoard {
 public:
  explicit GbeControllerBoard(int type) {
    const std::string rig =
        "<rig><board type='" + std::to_string(type) + "' ports='2' design='gige-ka4'/></rig>";
    loaded_ = VSIM(VSimLoadRigText)(rig.c_str(), "controller rig");
    device_ = VHalInitDevice(0);
    design_ = DsnLoadBoardDesign(device_);
  }
  ~GbeControllerBoard() {
    if (design_) DsnFreeDesign(design_);
    if (device_) VHalFreeDevice(device_);
  }
  bool Ok() const { return loaded_ == 0 && design_; }
  PLdevice* device_ = nullptr;
  fpga_design* design_ = nullptr;

 private:
  int loaded_ = -1;
};

TEST(GbeController, ABoardTypeWithoutAPortClassHasNullPorts) {
  GbeControllerBoard board(2897);
  ASSERT_TRUE(board.Ok());
  CGbeController controller(board.device_, board.design_);
  EXPECT_EQ(controller.GetNrOfPorts(), 2u);
  EXPECT_EQ(controller.GetPort(0), nullptr);
  EXPECT_EQ(controller.GetPort(2), nullptr);
  EXPECT_TRUE(CGbeController::IsZeltor(2897));
  EXPECT_FALSE(CGbeController::IsZeltor(3650));
}

struct PropertyRow {
  const char* name;
  bool set;
  bool nullValue;
  unsigned int type;
  unsigned int port;
  int expected;
  unsigned int value;  // what a get gives
};

TEST(GbeController, PropertiesCheckTheirArgumentsInOrder) {
  GbeControllerBoard board(3652);
  ASSERT_TRUE(board.Ok());
  CGbeController controller(board.device_, board.design_);
  ASSERT_NE(controller.GetPort(1), nullptr);
  EXPECT_EQ(controller.GetDiscoverySelector(), 0x7654321076543210u);
  EXPECT_EQ(controller.ForceResetControlCore(0, 0), -2000);
  EXPECT_EQ(controller.ForceTransceiverBitrate(0, 0), -1991);
  const PropertyRow rows[] = {
      {"GbeTimeOut", false, false, 1, 0, 0, 1000},  {"GbeDHCP", false, false, 1, 1, 0, 0},
      {"GbeNrLinks", false, false, 1, 1, 0, 1},     {"GbeNoSuch", false, false, 4, 9, -2000, 0},
      {"GbeTimeOut", false, true, 4, 9, -1017, 0},  {"GbeTimeOut", false, false, 4, 9, -1990, 0},
      {"GbeTimeOut", false, false, 1, 2, -1009, 0}, {"GbeDHCP", true, false, 1, 1, 0, 0},
      {"GbeDHCP", true, false, 4, 1, -1990, 0},     {"GbeNoSuch", true, false, 1, 1, -2000, 0}};
  for (const PropertyRow& row : rows) {
    unsigned int value = row.set ? 1 : 0xFFFF;
    unsigned int port = row.port;
    char* name = const_cast<char*>(row.name);
    void* target = row.nullValue ? nullptr : &value;
    const int result = row.set ? controller.SetProperty(name, target, row.type, &port)
                               : controller.GetProperty(name, target, row.type, &port);
    EXPECT_EQ(result, row.expected) << row.name;
    if (!row.set && result == 0) EXPECT_EQ(value, row.value) << row.name;
  }
  unsigned int dhcp = 0;
  unsigned int port = 1;
  ASSERT_EQ(controller.GetProperty(const_cast<char*>("GbeDHCP"), &dhcp, 1, &port), 0);
  EXPECT_EQ(dhcp, 1u) << "set by the row above";
  unsigned int statics[3] = {};
  ASSERT_EQ(controller.GetProperty(const_cast<char*>("GbeIpStatic"), statics, 1, &port), 0);
  EXPECT_EQ(statics[0], 0xA9FE0009u);
  EXPECT_EQ(statics[1], 0xFFFF0000u);
}

}  // namespace
