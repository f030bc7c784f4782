// A GVCP READREG of 4 bytes through the library's GigE port (lwIP, the variant's transmitter and
// receive thread, one wait) against the same frame written and its answer read by hand through
// the simulated runtime, on both port variants. The library's share is the ratio of the rows.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "bench/GbeBoard.h"
#include "tests/unit/sim/GigeWire.h"
#include "vesk_genicam/impl/GbeKa4Port.h"
#include "vesk_genicam/impl/GbeKorvid4GPort.h"

namespace {

constexpr unsigned short kReadReg = 0x80;
constexpr unsigned int kCcp = 0x0A00;

template <class Port>
void PortReadReg(benchmark::State& state, const char* design, int type) {
  GbeBoard board(design, type);
  CGbePortBase* port = board.Ok() ? board.MakePort<Port>() : nullptr;
  if (!port) return state.SkipWithError("no camera taken over");
  unsigned char value[4] = {};
  for (auto _ : state) {
    unsigned int received = 0;
    if (port->ExecCmd(kReadReg, kCcp, value, 4, received, 1, 1000, true) != 0 || received != 4)
      return state.SkipWithError("read failed");
  }
}

// READREG of CCP by broadcast, padded to the least frame, as 16-bit halves.
std::vector<uint32_t> ReadRegHalves() {
  using namespace vesk::sim::gige;
  Datagram datagram;
  datagram.payload = Gvcp(kReadReg, Words({kCcp}), 1);
  Bytes frame = Udp(datagram);
  frame.resize(60, 0);
  std::vector<uint32_t> halves;
  for (size_t i = 0; i < frame.size(); i += 2) halves.push_back(frame[i] | frame[i + 1] << 8);
  return halves;
}

bool TakeAnswer(PLdevice* device, int queue, bool countsWholeWords) {
  uint32_t header = 0;
  if (VHalDataQueueReadBufferLong(device, queue, &header, 4, 1000) != 4) return false;
  uint32_t words[512];
  const uint32_t count = countsWholeWords ? (header & 0xFFFF) + ((header >> 16) ? 1 : 0) : header;
  return VHalDataQueueReadBufferLong(device, queue, words, count * 4, 1000) ==
         static_cast<int>(count * 4);
}

void Ka4Port(benchmark::State& state) { PortReadReg<CGbeKa4Port>(state, "gige-ka4", 3650); }
BENCHMARK(Ka4Port)->UseRealTime();

void Ka4ByHand(benchmark::State& state) {
  GbeBoard board("gige-ka4", 3650);
  const int reset = board.Id("GigeBufferReset0");
  const int data = board.Id("GigeWriteData0");
  const int complete = board.Id("GigeWriteComplete0");
  if (!board.Ok() || data <= 0) return state.SkipWithError("no GigE board");
  const std::vector<uint32_t> frame = ReadRegHalves();
  for (auto _ : state) {
    VHalRegisterWrite(board.Device(), reset, 0);
    for (uint32_t half : frame) VHalRegisterWrite(board.Device(), data, half);
    VHalRegisterWrite(board.Device(), complete, 0);
    if (!TakeAnswer(board.Device(), 0, false)) return state.SkipWithError("no acknowledge");
  }
}
BENCHMARK(Ka4ByHand)->UseRealTime();

void KorvidPort(benchmark::State& state) {
  PortReadReg<CGbeKorvid4GPort>(state, "gige-korvid", 2898);
}
BENCHMARK(KorvidPort)->UseRealTime();

void KorvidByHand(benchmark::State& state) {
  GbeBoard board("gige-korvid", 2898);
  const int stream = board.Id("GigeTxControlWriteData_0");
  if (!board.Ok() || stream <= 0) return state.SkipWithError("no GigE board");
  std::vector<uint64_t> words = {0x30707, 0x30707, 0x30707, 0x30707, 0x30707,
                                 0x30707, 0x155FB, 0x5555,  0x5555,  0xD555};
  for (uint32_t half : ReadRegHalves()) words.push_back(half);
  words.back() |= 0x40000;  // 30 halves: the last one ends the frame
  for (auto _ : state) {
    for (uint64_t word : words) VHalRegisterWrite(board.Device(), stream, word);
    if (!TakeAnswer(board.Device(), 8, true)) return state.SkipWithError("no acknowledge");
  }
}
BENCHMARK(KorvidByHand)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
