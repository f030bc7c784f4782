// The Camera Link firmware and camera through the board library and the control API: GenCP
// frames built here from the standard's layout cross the serial queues.
#include <gtest/gtest.h>

#include <string>

#include "loader/vesk_hal.h"
#include "sim/include/vesk_sim.h"

namespace vesk::sim {
namespace {

struct DesignRow {
  const char* design;
  unsigned ports;
  const char* name;
  bool hasValue;
  uint64_t value;
};

class ClDesign : public ::testing::Test, public ::testing::WithParamInterface<DesignRow> {};

TEST_P(ClDesign, TellsItsPortsAndMode) {
  const DesignRow& row = GetParam();
  const std::string rig = "<rig><board type='1872' ports='" + std::to_string(row.ports) +
                          "' design='" + row.design + "'/></rig>";
  ASSERT_EQ(VSimLoadRigText(rig.c_str(), "cl rig"), 0);
  PLdevice* device = VHalInitDevice(0);
  ASSERT_NE(device, nullptr);
  fpga_design* design = VSimDesignLoad(device);
  ASSERT_NE(design, nullptr);
  const int id = VSimDesignGetRegisterByName(design, row.name);
  uint64_t value = 99;
  EXPECT_GT(id, 0) << row.name;
  EXPECT_EQ(VHalRegisterRead(device, id, &value), 0);
  if (row.hasValue) EXPECT_EQ(value, row.value);
  VSimDesignFree(design);
  VHalFreeDevice(device);
}

INSTANTIATE_TEST_SUITE_P(
    Designs, ClDesign,
    ::testing::Values(DesignRow{"cl-port-config-medium", 1, "AACamPortConfig", true, 1},
                      DesignRow{"cl-port-config-full", 1, "AACamPortConfig", true, 2},
                      DesignRow{"cl-base-full", 2, "Device1\\Process0\\Camera\\BaseMode", false, 0},
                      DesignRow{"cl-base-full", 2, "Device1\\Process0\\Cam\\FullMode", false, 0}));

}  // namespace
}  // namespace vesk::sim
