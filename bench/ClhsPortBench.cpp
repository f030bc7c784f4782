// CClhsPort's 4-byte register read against the same command sent through the simulated runtime
// by hand. The library's share is the difference between the two rows.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>

#include "bench/ClhsRoundTrip.h"
#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/SimulatedRuntime.h"
#include "vesk_genicam/impl/ClhsPort.h"

namespace {

constexpr unsigned int kDeviceId = 0x10000;
constexpr size_t kAckWords = 5;  // prefix, header and one word of data

// One board with a camera on port 0, its port built as the controller builds it.
class Rig {
 public:
  Rig() {
    ok_ = VSIM(VSimLoadRigText)(
              "<rig><board type='2657' ports='2' design='clhs-single-status'/>"
              "<camera id='cam'><link board='0' port='0'/></camera></rig>",
              "bench rig") == 0;
    device_ = VHalInitDevice(0);
    design_ = DsnLoadBoardDesign(device_);
    if (design_) port_ = std::make_unique<CClhsPort>(0, ClhsIfBoardStatus, device_, design_);
  }
  ~Rig() {
    port_.reset();
    DsnFreeDesign(design_);
    VHalFreeDevice(device_);
  }
  bool Ok() const { return ok_ && port_; }
  PLdevice* Device() const { return device_; }
  int Id(const char* name) const { return DsnGetRegisterByName(design_, name); }
  CClhsPort& Port() { return *port_; }

 private:
  bool ok_ = false;
  PLdevice* device_ = nullptr;
  fpga_design* design_ = nullptr;
  std::unique_ptr<CClhsPort> port_;
};

void PortRead(benchmark::State& state) {
  Rig rig;
  if (!rig.Ok()) return state.SkipWithError("no board");
  uint32_t value = 0;
  for (auto _ : state) {
    if (rig.Port().ReadWord(kDeviceId, value, 200) != 0) return state.SkipWithError("read failed");
  }
}
BENCHMARK(PortRead);

// The port's register dialogue, written out.
void SimulatorRead(benchmark::State& state) {
  Rig rig;
  if (!rig.Ok()) return state.SkipWithError("no board");
  const ClhsCommandRegisters registers = ClhsCommandRegistersOf(rig);
  const vesk::sim::clhswire::Words request = vesk::sim::clhswire::ReadMem(kDeviceId, 4, 1);
  for (auto _ : state) {
    if (!ClhsRawRoundTrip(rig.Device(), registers, request, kAckWords)) {
      return state.SkipWithError("no acknowledge");
    }
  }
}
BENCHMARK(SimulatorRead);

}  // namespace

BENCHMARK_MAIN();
