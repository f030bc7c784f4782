#ifndef VESK_TESTS_UNIT_SIM_SIM_BOARD_REGISTERS_H
#define VESK_TESTS_UNIT_SIM_SIM_BOARD_REGISTERS_H

// A board of the simulated runtime opened through the board library, for the fixtures that drive
// its firmware: registers by name, a failed access naming the register.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

#include "loader/vesk_hal.h"
#include "sim/include/vesk_sim.h"

namespace vesk::sim {

class SimBoardRegisters {
 protected:
  ~SimBoardRegisters() { Close(); }

  void Close() {
    if (design_) VSimDesignFree(std::exchange(design_, nullptr));
    if (device_) VHalFreeDevice(std::exchange(device_, nullptr));
  }

  int Id(const std::string& name) { return VSimDesignGetRegisterByName(design_, name.c_str()); }
  uint64_t Read(const std::string& name) {
    uint64_t value = 0;
    EXPECT_EQ(VHalRegisterRead(device_, Id(name), &value), 0) << name;
    return value;
  }
  void Write(const std::string& name, uint64_t value) {
    EXPECT_EQ(VHalRegisterWrite(device_, Id(name), value), 0) << name;
  }

  PLdevice* device_ = nullptr;
  fpga_design* design_ = nullptr;
};

}  // namespace vesk::sim

#endif
