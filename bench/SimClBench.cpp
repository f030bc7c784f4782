// A 4-byte register read round trip through the simulator alone, as a Camera Link port makes it:
// the serial queues cleared, the GenCP frame written and flushed, the answer read from the receive
// queue as it comes, the camera answering from its bootstrap registers.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/ClRoundTrip.h"
#include "loader/vesk_hal.h"
#include "sim/include/vesk_sim.h"

namespace {

// An acknowledgement of four bytes of data.
constexpr int kAckSize = 20;

void ReadRoundTrip(benchmark::State& state) {
  const char rig[] =
      "<rig><board type='1872' ports='2' design='cl-base'/>"
      "<camera id='cam' xml='zipped'><link board='0' port='0'/></camera></rig>";
  if (VSimLoadRigText(rig, "bench rig") != 0) return state.SkipWithError("no rig");
  PLdevice* device = VHalInitDevice(0);
  int rx = -1, tx = -1;
  if (VHalClSerInit(device, 0, 9600, &rx, &tx) != 0) {
    VHalFreeDevice(device);
    return state.SkipWithError("no serial channel");
  }
  const vesk::sim::clwire::Bytes request = vesk::sim::clwire::ReadMem(0x0000, 4, 1);
  for (auto _ : state) {
    if (!ClRawRoundTrip(device, rx, tx, request, kAckSize)) {
      state.SkipWithError("no acknowledgement");
      break;
    }
  }
  VHalFreeDevice(device);
}
BENCHMARK(ReadRoundTrip);

}  // namespace

BENCHMARK_MAIN();
