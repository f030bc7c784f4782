#ifndef VESK_SIM_FIRMWARE_CXP_CXP_COMMAND_FIFO_H
#define VESK_SIM_FIRMWARE_CXP_CXP_COMMAND_FIFO_H

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "sim/core/DeviceModel.h"

namespace vesk::sim {

// The control channel of one firmware port in the register forms: the transmit FIFO that the host
// fills with 64-bit writes (bit 32 a control code, bit 33 the end of a packet) and the acknowledge
// FIFO it reads back. Safe to use from several threads.
class CxpCommandFifo {
 public:
  using Sender = std::function<void(const Packet&)>;

  static constexpr uint64_t kStartOfPacket = 0x1FBFBFBFBull;  // K27.7 four times
  static constexpr uint64_t kEndOfPacket = 0x3FDFDFDFDull;    // K29.7 four times, last
  static constexpr uint64_t kAckEnd = 0x1FDFDFDFDull;         // K29.7 behind an acknowledgement
  static constexpr uint64_t kEmpty = 1ull << 33;

  // send gets each well-framed command whose CRC holds, as it crosses the coax.
  explicit CxpCommandFifo(Sender send) : send_(std::move(send)) {}

  // ---- The host's side ----
  void Write(uint64_t value);
  // The next word of an acknowledgement, its end mark, or kEmpty.
  uint64_t Read();
  // True once the last command has gone out.
  bool Sent() const;

  // ---- The camera's side ----
  // Words behind the packet-type word, then the end mark; the CRC last before it where the
  // acknowledgement has a size field.
  void Acknowledge(const Packet& packet);

 private:
  void Finish(std::unique_lock<std::mutex>& lock);

  const Sender send_;
  mutable std::mutex mutex_;
  bool inPacket_ = false;
  bool sent_ = false;
  std::vector<uint32_t> words_;
  std::deque<uint64_t> acks_;
};

}  // namespace vesk::sim

#endif
