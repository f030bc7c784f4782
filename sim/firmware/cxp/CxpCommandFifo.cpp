#include "sim/firmware/cxp/CxpCommandFifo.h"

#include "sim/core/ByteOrder.h"
#include "sim/firmware/cxp/CxpPacket.h"

namespace vesk::sim {

namespace {

constexpr uint64_t kControlCode = 1ull << 32;
// Acknowledgements wait in the FIFO; a host that never reads them loses the oldest.
constexpr size_t kAckCapacity = 1 << 16;

}  // namespace

void CxpCommandFifo::Write(uint64_t value) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (value == kStartOfPacket) {
    inPacket_ = true;
    sent_ = false;
    words_.clear();
  } else if (value == kEndOfPacket) {
    if (inPacket_) Finish(lock);
  } else if (value & kControlCode) {
    inPacket_ = false;  // a stray control code breaks the packet
  } else if (inPacket_) {
    words_.push_back(static_cast<uint32_t>(value));
  }
}

void CxpCommandFifo::Finish(std::unique_lock<std::mutex>& lock) {
  inPacket_ = false;
  Packet packet;
  packet.reserve(words_.size() * 4);
  for (uint32_t word : words_) AppendLe32(packet, word);
  const uint8_t type = CxpCheckedType(packet);
  if (type != kCxpCommand && type != kCxpTaggedCommand) return;
  sent_ = true;
  lock.unlock();  // the camera may answer at once, into this FIFO
  send_(packet);
}

uint64_t CxpCommandFifo::Read() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (acks_.empty()) return kEmpty;
  const uint64_t value = acks_.front();
  acks_.pop_front();
  return value;
}

bool CxpCommandFifo::Sent() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return sent_;
}

void CxpCommandFifo::Acknowledge(const Packet& packet) {
  if (packet.size() < 8 || packet.size() % 4 != 0) return;
  if (packet[0] != kCxpAck && packet[0] != kCxpTaggedAck) return;
  // Only acknowledgements with a size field keep their CRC word for the host to check; of the
  // others the host reads the tag and status alone.
  const size_t statusAt = packet[0] == kCxpTaggedAck ? 8 : 4;
  const bool sized = packet.size() > statusAt &&
                     (packet[statusAt] == kCxpFinalWithPayload || packet[statusAt] == kCxpWait);
  const size_t end = sized ? packet.size() : packet.size() - 4;
  std::lock_guard<std::mutex> lock(mutex_);
  for (size_t at = 4; at < end; at += 4) acks_.push_back(Le32(&packet[at]));
  acks_.push_back(kAckEnd);
  while (acks_.size() > kAckCapacity) acks_.pop_front();
}

}  // namespace vesk::sim
