#include "sim/firmware/clhs/ClhsTransceiver.h"

namespace vesk::sim {

namespace {

constexpr uint64_t kPacketMask = 0xFFFF;
constexpr uint64_t kErrorMask = 0xFF;
constexpr unsigned kErrorShift = 16;

}  // namespace

ClhsTransceiver::ClhsTransceiver(LinkChannel& channel, uint64_t pllResetBit, uint64_t rxResetBit)
    : channel_(channel),
      pllResetBit_(pllResetBit),
      rxResetBit_(rxResetBit),
      lineErrorsSeen_(channel.LineErrors()) {
  channel_.SetSpeed(kLineRate);
}

void ClhsTransceiver::SetSetup(uint64_t value) {
  std::lock_guard<std::mutex> lock(mutex_);
  setup_ = value;
}

bool ClhsTransceiver::PllReset() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return setup_ & pllResetBit_;
}

bool ClhsTransceiver::RxReset() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return setup_ & (rxResetBit_ | pllResetBit_);
}

void ClhsTransceiver::TakeLineErrors() {
  const uint64_t lineErrors = channel_.LineErrors();
  if (lineErrors == lineErrorsSeen_) return;
  errors_ += lineErrors - lineErrorsSeen_;
  lineErrorsSeen_ = lineErrors;
  downUntil_ = Clock::now() + kSignalDrop;
}

bool ClhsTransceiver::Signal() {
  const bool locked = channel_.Locked();
  std::lock_guard<std::mutex> lock(mutex_);
  TakeLineErrors();
  return locked && Clock::now() >= downUntil_;
}

bool ClhsTransceiver::Up(bool pllLocked) { return pllLocked && !RxReset() && Signal(); }

uint64_t ClhsTransceiver::PacketCounter(bool pllLocked) {
  const bool up = Up(pllLocked);
  std::lock_guard<std::mutex> lock(mutex_);
  if (!up) ++errors_;
  return (packets_ & kPacketMask) | (errors_ & kErrorMask) << kErrorShift;
}

void ClhsTransceiver::CountPacket() {
  std::lock_guard<std::mutex> lock(mutex_);
  ++packets_;
}

}  // namespace vesk::sim
