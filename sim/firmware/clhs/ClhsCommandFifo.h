#ifndef VESK_SIM_FIRMWARE_CLHS_CLHS_COMMAND_FIFO_H
#define VESK_SIM_FIRMWARE_CLHS_CLHS_COMMAND_FIFO_H

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "sim/core/DeviceModel.h"

namespace vesk::sim {

// The X-Core command channel of one firmware channel: the transmit FIFO that the host fills word
// by word and sends with a command, and the receive FIFO it reads acknowledges from, word by
// word. A word's bytes travel as they stand in memory, low byte first. Safe to use from several
// threads.
class ClhsCommandFifo {
 public:
  // False when the packet could not reach the camera.
  using Sender = std::function<bool(const Packet&)>;

  static constexpr uint64_t kTxBusy = 1u << 0;
  static constexpr uint64_t kTxFailed = 1u << 1;
  static constexpr uint64_t kTxFull = 1u << 2;
  static constexpr uint64_t kRxArrived = 1u << 0;
  static constexpr uint64_t kRxWord = 1u << 7;
  static constexpr uint64_t kRxFailed = 1u << 24;
  static constexpr uint64_t kWordValid = uint64_t{1} << 32;
  // Room for the largest command: a header of 6 words and 992 bytes of data, and a little more.
  static constexpr size_t kTxWords = 256;
  static constexpr size_t kRxPackets = 16;

  explicit ClhsCommandFifo(Sender send) : send_(std::move(send)) {}

  // ---- The host's side ----
  void WriteData(uint64_t word);
  // Operation in bits 0 to 3 (1 send, 2 clear), subchannel in 4 and 5, channel from 6 on; only
  // the command channel's packets leave.
  void Command(uint64_t value);
  uint64_t TxStatus() const;
  // Once the words of an acknowledge are all read, the next look shows none waiting, so that the
  // reader ends there; the look after shows the next acknowledge.
  uint64_t RxStatus();
  // The next word of the acknowledge at the front with kWordValid, or 0.
  uint64_t ReadData();
  // A core reset held: both FIFOs empty, nothing goes out, nothing comes in.
  void SetReset(bool held);

  // ---- The camera's side ----
  // A packet that is not whole words of a header at least is a failed receive.
  void Acknowledge(const Packet& packet);

 private:
  void Send(std::unique_lock<std::mutex>& lock);

  const Sender send_;
  mutable std::mutex mutex_;
  bool reset_ = false;
  std::vector<uint32_t> tx_;
  uint64_t txStatus_ = 0;
  std::deque<std::vector<uint32_t>> rx_;
  size_t readAt_ = 0;  // into rx_.front()
  bool rxFailed_ = false;
};

}  // namespace vesk::sim

#endif
