// A GVCP READREG of 4 bytes through the library's GigE port (lwIP, the variant's transmitter and
// receive thread, one wait) against the same frame written and its answer read by hand through
// the simulated runtime, on both port variants. The library's share is the ratio of the rows.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "bench/GbeBoard.h"
#include "bench/GigeRoundTrip.h"
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

void Ka4Port(benchmark::State& state) { PortReadReg<CGbeKa4Port>(state, "gige-ka4", 3650); }
BENCHMARK(Ka4Port)->UseRealTime();

void Ka4ByHand(benchmark::State& state) {
  GbeBoard board("gige-ka4", 3650);
  const int reset = board.Id("GigeBufferReset0");
  const int data = board.Id("GigeWriteData0");
  const int complete = board.Id("GigeWriteComplete0");
  if (!board.Ok() || data <= 0) return state.SkipWithError("no GigE board");
  const std::vector<uint32_t> frame = GigeReadRegHalves(kCcp);
  for (auto _ : state) {
    VHalRegisterWrite(board.Device(), reset, 0);
    for (uint32_t half : frame) VHalRegisterWrite(board.Device(), data, half);
    VHalRegisterWrite(board.Device(), complete, 0);
    if (!GigeTakeAnswer(board.Device(), 0, false, 1000))
      return state.SkipWithError("no acknowledge");
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
  for (uint32_t half : GigeReadRegHalves(kCcp)) words.push_back(half);
  words.back() |= 0x40000;  // 30 halves: the last one ends the frame
  for (auto _ : state) {
    for (uint64_t word : words) VHalRegisterWrite(board.Device(), stream, word);
    if (!GigeTakeAnswer(board.Device(), 8, true, 1000))
      return state.SkipWithError("no acknowledge");
  }
}
BENCHMARK(KorvidByHand)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
