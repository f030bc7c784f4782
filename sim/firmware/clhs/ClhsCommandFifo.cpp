#include "sim/firmware/clhs/ClhsCommandFifo.h"

#include "sim/core/ByteOrder.h"

namespace vesk::sim {

namespace {

constexpr uint64_t kOperation = 0xF;
constexpr uint64_t kSend = 1;
constexpr uint64_t kClear = 2;
constexpr unsigned kChannelShift = 6;
constexpr uint64_t kCommandChannel = 2;
constexpr size_t kAckHeaderBytes = 16;

}  // namespace

void ClhsCommandFifo::WriteData(uint64_t word) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (reset_ || tx_.size() >= kTxWords) return;
  tx_.push_back(static_cast<uint32_t>(word));
  if (tx_.size() == kTxWords) txStatus_ |= kTxFull;
}

void ClhsCommandFifo::Command(uint64_t value) {
  std::unique_lock<std::mutex> lock(mutex_);
  switch (value & kOperation) {
    case kSend:
      if (value >> kChannelShift == kCommandChannel) return Send(lock);
      tx_.clear();
      txStatus_ = 0;
      return;
    case kClear:
      tx_.clear();
      txStatus_ = 0;
      return;
    default:
      return;
  }
}

// An acknowledge still waiting belongs to a command given up: the next command drops it.
void ClhsCommandFifo::Send(std::unique_lock<std::mutex>& lock) {
  Packet packet;
  packet.reserve(tx_.size() * 4);
  for (uint32_t word : tx_) AppendLe32(packet, word);
  tx_.clear();
  txStatus_ = 0;
  rx_.clear();
  readAt_ = 0;
  rxFailed_ = false;
  if (reset_) {
    txStatus_ = kTxFailed;
    return;
  }
  lock.unlock();
  // The camera may answer before this returns.
  const bool sent = send_(packet);
  lock.lock();
  if (!sent) txStatus_ |= kTxFailed;
}

uint64_t ClhsCommandFifo::TxStatus() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return txStatus_;
}

uint64_t ClhsCommandFifo::RxStatus() {
  std::lock_guard<std::mutex> lock(mutex_);
  const uint64_t failed = rxFailed_ ? kRxFailed : 0;
  if (!rx_.empty() && readAt_ == rx_.front().size()) {
    rx_.pop_front();
    readAt_ = 0;
    return failed;
  }
  if (rx_.empty()) return failed;
  return failed | kRxArrived | (readAt_ < rx_.front().size() ? kRxWord : 0);
}

uint64_t ClhsCommandFifo::ReadData() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (rx_.empty() || readAt_ >= rx_.front().size()) return 0;
  return kWordValid | rx_.front()[readAt_++];
}

void ClhsCommandFifo::SetReset(bool held) {
  std::lock_guard<std::mutex> lock(mutex_);
  reset_ = held;
  if (!held) return;
  tx_.clear();
  txStatus_ = 0;
  rx_.clear();
  readAt_ = 0;
  rxFailed_ = false;
}

void ClhsCommandFifo::Acknowledge(const Packet& packet) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (reset_) return;
  if (packet.size() % 4 != 0 || packet.size() < kAckHeaderBytes) {
    rxFailed_ = true;
    return;
  }
  if (rx_.size() >= kRxPackets) return;
  std::vector<uint32_t> words(packet.size() / 4);
  for (size_t at = 0; at < words.size(); ++at) words[at] = Le32(&packet[at * 4]);
  rx_.push_back(std::move(words));
}

}  // namespace vesk::sim
