// A 4-byte register read round trip through the simulator alone, as a Camera Link HS port makes
// it: the command's words pushed into the X-Core's transmit FIFO and sent, the receive status
// polled, the acknowledge's words read out, the camera answering from its bootstrap registers.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "bench/SimBoard.h"
#include "tests/unit/sim/ClhsWire.h"

namespace {

// An acknowledge of four bytes of data: prefix, header and one word.
constexpr size_t kAckWords = 5;
constexpr uint64_t kSend = 2 << 6 | 1;
constexpr int kMaxPolls = 1000;

void ReadRoundTrip(benchmark::State& state) {
  SimBoard board(
      "<rig><board type='2657' ports='2' design='clhs-single-status'/>"
      "<camera id='cam' speeds='10312'><link board='0' port='0'/></camera></rig>");
  if (!board.Ok()) return state.SkipWithError("no board");
  PLdevice* device = board.Device();
  const int data = board.Id("ClhsTxCmdData_0");
  const int command = board.Id("ClhsTxCmdCommand_0");
  const int txStatus = board.Id("ClhsTxCmdStatus_0");
  const int rxStatus = board.Id("ClhsRxCmdStatus_0");
  const int rxData = board.Id("ClhsRxCmdData_0");
  const vesk::sim::clhswire::Words request = vesk::sim::clhswire::ReadMem(0x10000, 4, 1);
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
    if (words != kAckWords) {
      state.SkipWithError("no acknowledge");
      break;
    }
  }
}
BENCHMARK(ReadRoundTrip);

}  // namespace

BENCHMARK_MAIN();
