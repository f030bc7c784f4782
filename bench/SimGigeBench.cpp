// A GVCP register read round trip through the simulator alone: the host's register writes of one
// Ethernet frame, the firmware's framing and check sequence, the simulated camera's IPv4, UDP and
// GVCP, and the answer read from the port's receive queue. Both port variants.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/GigeRoundTrip.h"
#include "bench/SimBoard.h"
#include "loader/vesk_hal.h"
#include "sim/include/vesk_sim.h"
#include "tests/unit/sim/GigeWire.h"

namespace {

using namespace vesk::sim::gige;

// A board of the variant with the simulator's camera on port 0.
std::string Rig(const char* design, int type) {
  return "<rig><board type='" + std::to_string(type) + "' ports='1' design='" + design +
         "'/><camera id='cam' speeds='1000'><link board='0' port='0'/></camera></rig>";
}

void Ka4(benchmark::State& state) {
  SimBoard rig(Rig("gige-ka4", 3650));
  const int reset = rig.Id("GigeBufferReset0");
  const int data = rig.Id("GigeWriteData0");
  const int complete = rig.Id("GigeWriteComplete0");
  if (!rig.Ok() || data <= 0) return state.SkipWithError("no GigE board");
  const std::vector<uint32_t> frame = GigeReadRegHalves(0);
  PLdevice* device = rig.Device();
  for (auto _ : state) {
    VHalRegisterWrite(device, reset, 0);
    for (uint32_t half : frame) VHalRegisterWrite(device, data, half);
    VHalRegisterWrite(device, complete, 0);
    if (!GigeTakeAnswer(device, 0, false, 0)) return state.SkipWithError("no acknowledge");
  }
}
BENCHMARK(Ka4);

void Korvid(benchmark::State& state) {
  SimBoard rig(Rig("gige-korvid", 2898));
  const int stream = rig.Id("GigeTxControlWriteData_0");
  if (!rig.Ok() || stream <= 0) return state.SkipWithError("no GigE board");
  std::vector<uint64_t> words = {0x30707, 0x30707, 0x30707, 0x30707, 0x30707,
                                 0x30707, 0x155FB, 0x5555,  0x5555,  0xD555};
  for (uint32_t half : GigeReadRegHalves(0)) words.push_back(half);
  words.back() |= 0x40000;  // 30 halves: the last one ends the frame
  PLdevice* device = rig.Device();
  for (auto _ : state) {
    for (uint64_t word : words) VHalRegisterWrite(device, stream, word);
    if (!GigeTakeAnswer(device, 8, true, 0)) return state.SkipWithError("no acknowledge");
  }
}
BENCHMARK(Korvid);

}  // namespace

BENCHMARK_MAIN();
