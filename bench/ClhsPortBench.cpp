// CClhsPort's 4-byte register read against the same command sent through the simulated runtime
// by hand. The library's share is the difference between the two rows.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/SimulatedRuntime.h"
#include "tests/unit/sim/ClhsWire.h"
#include "vesk_genicam/impl/ClhsPort.h"

namespace {

constexpr unsigned int kDeviceId = 0x10000;
constexpr uint64_t kSend = 2 << 6 | 1;
constexpr size_t kAckWords = 5;  // prefix, header and one word of data
constexpr int kMaxPolls = 1000;

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

// The port's register dialogue, written out: transmitter status, the words, send, transmitter
// status, then the receive status polled and the acknowledge's words read.
void SimulatorRead(benchmark::State& state) {
  Rig rig;
  if (!rig.Ok()) return state.SkipWithError("no board");
  PLdevice* device = rig.Device();
  const int data = rig.Id("ClhsTxCmdData_0");
  const int command = rig.Id("ClhsTxCmdCommand_0");
  const int txStatus = rig.Id("ClhsTxCmdStatus_0");
  const int rxStatus = rig.Id("ClhsRxCmdStatus_0");
  const int rxData = rig.Id("ClhsRxCmdData_0");
  const vesk::sim::clhswire::Words request = vesk::sim::clhswire::ReadMem(kDeviceId, 4, 1);
  for (auto _ : state) {
    uint64_t status = 0;
    VHalRegisterRead(device, txStatus, &status);
    for (uint32_t word : request) VHalRegisterWrite(device, data, word);
    VHalRegisterWrite(device, command, kSend);
    VHalRegisterRead(device, txStatus, &status);
    int polls = 0;
    do {
      VHalRegisterRead(device, rxStatus, &status);
    } while (!(status & 1) && ++polls < kMaxPolls);
    size_t words = 0;
    while (status & 0x80) {
      uint64_t value = 0;
      VHalRegisterRead(device, rxData, &value);
      words += value >> 32 & 1;
      VHalRegisterRead(device, rxStatus, &status);
    }
    if (words != kAckWords) return state.SkipWithError("no acknowledge");
  }
}
BENCHMARK(SimulatorRead);

}  // namespace

BENCHMARK_MAIN();
