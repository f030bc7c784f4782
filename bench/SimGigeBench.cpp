// A GVCP register read round trip through the simulator alone: the host's register writes of one
// Ethernet frame, the firmware's framing and check sequence, the simulated camera's IPv4, UDP and
// GVCP, and the answer read from the port's receive queue. Both port variants.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

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

// READREG of the version register by broadcast, padded to the least frame, as 16-bit words.
std::vector<uint32_t> ReadRegFrame() {
  Datagram datagram;
  datagram.payload = Gvcp(0x80, Words({0}), 1);
  Bytes frame = Udp(datagram);
  frame.resize(60, 0);
  std::vector<uint32_t> halves;
  for (size_t i = 0; i < frame.size(); i += 2) halves.push_back(frame[i] | frame[i + 1] << 8);
  return halves;
}

// Reads the answer's header word and the words behind it; false when none came.
bool TakeAnswer(PLdevice* device, int queue, bool countsWholeWords) {
  uint32_t header = 0;
  if (VHalDataQueueReadBufferLong(device, queue, &header, 4, 0) != 4) return false;
  uint32_t words[512];
  const uint32_t count = countsWholeWords ? (header & 0xFFFF) + ((header >> 16) ? 1 : 0) : header;
  return VHalDataQueueReadBufferLong(device, queue, words, count * 4, 0) ==
         static_cast<int>(count * 4);
}

void Ka4(benchmark::State& state) {
  SimBoard rig(Rig("gige-ka4", 3650));
  const int reset = rig.Id("GigeBufferReset0");
  const int data = rig.Id("GigeWriteData0");
  const int complete = rig.Id("GigeWriteComplete0");
  if (!rig.Ok() || data <= 0) return state.SkipWithError("no GigE board");
  const std::vector<uint32_t> frame = ReadRegFrame();
  PLdevice* device = rig.Device();
  for (auto _ : state) {
    VHalRegisterWrite(device, reset, 0);
    for (uint32_t half : frame) VHalRegisterWrite(device, data, half);
    VHalRegisterWrite(device, complete, 0);
    if (!TakeAnswer(device, 0, false)) return state.SkipWithError("no acknowledge");
  }
}
BENCHMARK(Ka4);

void Korvid(benchmark::State& state) {
  SimBoard rig(Rig("gige-korvid", 2898));
  const int stream = rig.Id("GigeTxControlWriteData_0");
  if (!rig.Ok() || stream <= 0) return state.SkipWithError("no GigE board");
  std::vector<uint64_t> words = {0x30707, 0x30707, 0x30707, 0x30707, 0x30707,
                                 0x30707, 0x155FB, 0x5555,  0x5555,  0xD555};
  for (uint32_t half : ReadRegFrame()) words.push_back(half);
  words.back() |= 0x40000;  // 30 halves: the last one ends the frame
  PLdevice* device = rig.Device();
  for (auto _ : state) {
    for (uint64_t word : words) VHalRegisterWrite(device, stream, word);
    if (!TakeAnswer(device, 8, true)) return state.SkipWithError("no acknowledge");
  }
}
BENCHMARK(Korvid);

}  // namespace

BENCHMARK_MAIN();
