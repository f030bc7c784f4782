#ifndef VESK_BENCH_SIM_BOARD_H
#define VESK_BENCH_SIM_BOARD_H

#include <string>

#include "loader/vesk_hal.h"
#include "sim/include/vesk_sim.h"

// Board 0 of a rig given as text, opened through the simulated runtime alone, for benchmarks
// that measure the simulator without the library.
class SimBoard {
 public:
  explicit SimBoard(const std::string& rig) {
    ok_ = VSimLoadRigText(rig.c_str(), "bench rig") == 0;
    device_ = VHalInitDevice(0);
    design_ = VSimDesignLoad(device_);
  }
  ~SimBoard() {
    VSimDesignFree(design_);
    VHalFreeDevice(device_);
  }
  SimBoard(const SimBoard&) = delete;
  SimBoard& operator=(const SimBoard&) = delete;

  bool Ok() const { return ok_ && design_; }
  int Id(const char* name) const { return VSimDesignGetRegisterByName(design_, name); }
  PLdevice* Device() const { return device_; }

 private:
  bool ok_ = false;
  PLdevice* device_ = nullptr;
  fpga_design* design_ = nullptr;
};

#endif
