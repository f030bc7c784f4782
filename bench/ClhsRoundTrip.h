#ifndef VESK_BENCH_CLHS_ROUND_TRIP_H
#define VESK_BENCH_CLHS_ROUND_TRIP_H

#include <cstddef>
#include <cstdint>

#include "loader/vesk_hal.h"
#include "tests/unit/sim/ClhsWire.h"

// The X-Core command registers of port 0.
struct ClhsCommandRegisters {
  int data;
  int command;
  int txStatus;
  int rxStatus;
  int rxData;
};

// board: anything that gives a register's id by its name.
template <typename Board>
ClhsCommandRegisters ClhsCommandRegistersOf(const Board& board) {
  return {board.Id("ClhsTxCmdData_0"), board.Id("ClhsTxCmdCommand_0"),
          board.Id("ClhsTxCmdStatus_0"), board.Id("ClhsRxCmdStatus_0"),
          board.Id("ClhsRxCmdData_0")};
}

// One command and its acknowledge of ackWords words through the X-Core, as a Camera Link HS port
// makes it, by hand: transmitter status, the words, send, transmitter status, then the receive
// status polled and the acknowledge's words read. False when the whole acknowledge did not come.
inline bool ClhsRawRoundTrip(PLdevice* device, const ClhsCommandRegisters& registers,
                             const vesk::sim::clhswire::Words& request, size_t ackWords) {
  constexpr uint64_t kSend = 2 << 6 | 1;
  constexpr int kMaxPolls = 1000;
  uint64_t status = 0;
  VHalRegisterRead(device, registers.txStatus, &status);
  for (uint32_t word : request) VHalRegisterWrite(device, registers.data, word);
  VHalRegisterWrite(device, registers.command, kSend);
  VHalRegisterRead(device, registers.txStatus, &status);
  int polls = 0;
  do {
    VHalRegisterRead(device, registers.rxStatus, &status);
  } while (!(status & 1) && ++polls < kMaxPolls);
  size_t words = 0;
  while (status & 0x80) {
    uint64_t value = 0;
    VHalRegisterRead(device, registers.rxData, &value);
    words += value >> 32 & 1;
    VHalRegisterRead(device, registers.rxStatus, &status);
  }
  return words == ackWords;
}

#endif
