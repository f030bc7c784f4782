// A 4-byte register read through CClPort against the same GenCP frame sent through the simulated
// runtime by hand, both over the library's stubs. The port row carries the ratio of the two as its
// counter "x_simulator": what the polling thread, the reply list and the wait add to the round
// trip of the serial channel and camera.
#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <string>

#include "bench/ClRoundTrip.h"
#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/SimulatedRuntime.h"
#include "vesk_genicam/impl/ClPort.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kAckSize = 20;  // an acknowledgement of four bytes of data
constexpr int kRawTrips = 2000;

// Board 0 with a camera on its first channel, which answers at the port's first rate.
class Rig {
 public:
  Rig() {
    const char rig[] =
        "<rig><board type='1872' ports='2' design='cl-base'/>"
        "<camera id='cam' xml='zipped' speeds='9600'><link board='0' port='0'/></camera></rig>";
    ok_ = VSIM(VSimLoadRigText)(rig, "bench rig") == 0;
    device_ = VHalInitDevice(0);
  }
  ~Rig() { VHalFreeDevice(device_); }
  bool Ok() const { return ok_ && device_; }
  PLdevice* Device() const { return device_; }

 private:
  bool ok_ = false;
  PLdevice* device_ = nullptr;
};

// Mean ns of a raw round trip; 0 when one failed.
double RawRoundTripNs(PLdevice* device) {
  int rx = -1;
  int tx = -1;
  if (VHalClSerInit(device, 0, 9600, &rx, &tx) != 0) return 0;
  const vesk::sim::clwire::Bytes request = vesk::sim::clwire::ReadMem(0x0000, 4, 1);
  const Clock::time_point start = Clock::now();
  for (int trip = 0; trip < kRawTrips; ++trip)
    if (!ClRawRoundTrip(device, rx, tx, request, kAckSize)) return 0;
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / kRawTrips;
}

void SimulatorRead(benchmark::State& state) {
  Rig rig;
  int rx = -1;
  int tx = -1;
  if (!rig.Ok() || VHalClSerInit(rig.Device(), 0, 9600, &rx, &tx) != 0)
    return state.SkipWithError("no serial channel");
  const vesk::sim::clwire::Bytes request = vesk::sim::clwire::ReadMem(0x0000, 4, 1);
  for (auto _ : state) {
    if (!ClRawRoundTrip(rig.Device(), rx, tx, request, kAckSize)) {
      return state.SkipWithError("no acknowledgement");
    }
  }
}
BENCHMARK(SimulatorRead);

void PortRead(benchmark::State& state) {
  Rig rig;
  if (!rig.Ok()) return state.SkipWithError("no rig");
  double portNs = 0;
  {
    CClPort port(0, rig.Device());
    if (!port.IsConnected()) return state.SkipWithError("no camera found");
    unsigned char word[4];
    const Clock::time_point start = Clock::now();
    for (auto _ : state) {
      if (port.ReadPacket(0, word, 4, 0) != 0) return state.SkipWithError("read failed");
    }
    portNs = std::chrono::duration<double, std::nano>(Clock::now() - start).count() /
             static_cast<double>(state.iterations());
  }
  // Measured once the port has gone, so that its polling thread takes none of the replies.
  const double rawNs = RawRoundTripNs(rig.Device());
  if (rawNs > 0) state.counters["x_simulator"] = portNs / rawNs;
}
BENCHMARK(PortRead);

}  // namespace

BENCHMARK_MAIN();
