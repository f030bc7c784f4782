// A 4-byte register read round trip through the simulator alone, as a Camera Link HS port makes
// it: the command's words pushed into the X-Core's transmit FIFO and sent, the receive status
// polled, the acknowledge's words read out, the camera answering from its bootstrap registers.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "bench/ClhsRoundTrip.h"
#include "bench/SimBoard.h"

namespace {

// An acknowledge of four bytes of data: prefix, header and one word.
constexpr size_t kAckWords = 5;

void ReadRoundTrip(benchmark::State& state) {
  SimBoard board(
      "<rig><board type='2657' ports='2' design='clhs-single-status'/>"
      "<camera id='cam' speeds='10312'><link board='0' port='0'/></camera></rig>");
  if (!board.Ok()) return state.SkipWithError("no board");
  const ClhsCommandRegisters registers = ClhsCommandRegistersOf(board);
  const vesk::sim::clhswire::Words request = vesk::sim::clhswire::ReadMem(0x10000, 4, 1);
  for (auto _ : state) {
    if (!ClhsRawRoundTrip(board.Device(), registers, request, kAckWords)) {
      state.SkipWithError("no acknowledge");
      break;
    }
  }
}
BENCHMARK(ReadRoundTrip);

}  // namespace

BENCHMARK_MAIN();
