#ifndef VESK_BENCH_GBE_BOARD_H
#define VESK_BENCH_GBE_BOARD_H

#include <memory>
#include <string>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/SimulatedRuntime.h"
#include "vesk_genicam/impl/GbePortBase.h"

// Board 0 of a GigE variant with the camera on port 0, opened through the library's stubs, for
// benchmarks of the library's GigE ports.
class GbeBoard {
 public:
  GbeBoard(const char* design, int type) {
    const std::string rig = "<rig><board type='" + std::to_string(type) + "' ports='1' design='" +
                            design +
                            "'/><camera id='cam'><link board='0' port='0'/></camera></rig>";
    ok_ = VSIM(VSimLoadRigText)(rig.c_str(), "bench rig") == 0;
    device_ = VHalInitDevice(0);
    design_ = DsnLoadBoardDesign(device_);
  }
  ~GbeBoard() {
    port_.reset();
    if (design_) DsnFreeDesign(design_);
    if (device_) VHalFreeDevice(device_);
  }
  GbeBoard(const GbeBoard&) = delete;
  GbeBoard& operator=(const GbeBoard&) = delete;

  bool Ok() const { return ok_ && design_; }
  PLdevice* Device() const { return device_; }
  int Id(const char* name) const { return DsnGetRegisterByName(design_, name); }

  // The port as the controller makes it, the camera taken over by broadcast.
  template <class Port>
  CGbePortBase* MakePort() {
    port_ = std::make_unique<Port>(0, device_, design_);
    port_->SetAutoIp(false);
    port_->Connect();
    return port_->IsConnected() ? port_.get() : nullptr;
  }

 private:
  bool ok_ = false;
  PLdevice* device_ = nullptr;
  fpga_design* design_ = nullptr;
  std::unique_ptr<CGbePortBase> port_;
};

#endif
