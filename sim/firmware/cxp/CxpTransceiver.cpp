#include "sim/firmware/cxp/CxpTransceiver.h"

#include <array>
#include <iterator>

#include "sim/firmware/cxp/CxpForm.h"

namespace vesk::sim {

namespace {

constexpr std::array<uint32_t, 7> kSpeeds = {1250, 2500, 3125, 5000, 6250, 10000, 12500};
// The rate-index forms of the first cores stop at 6.25 Gbit/s.
constexpr size_t kRateIndexSpeeds = 5;

struct DrpSetting {
  uint32_t speed;
  std::array<uint32_t, 4> values;
};

// Form A: the receive and transmit dividers (27, 28, 31, 32); form B: 0xA9, 0x5E and 0x88.
constexpr std::array<uint32_t, 4> kDrpAAddresses = {27, 28, 31, 32};
constexpr DrpSetting kDrpA[] = {{1250, {0x78C0, 0x20, 0x78C0, 0x20}},
                                {2500, {0x38C0, 0x20, 0x38C0, 0x20}},
                                {3125, {0x78C6, 0x20, 0x78C6, 0x20}},
                                {5000, {0x38C4, 0x20, 0x38C4, 0x20}},
                                {6250, {0x38C6, 0x20, 0x38C6, 0x20}}};
constexpr std::array<uint32_t, 3> kDrpBAddresses = {0xA9, 0x5E, 0x88};
constexpr DrpSetting kDrpB[] = {{1250, {0x1010, 0x1082, 0x22}},
                                {2500, {0x1020, 0x1082, 0x11}},
                                {3125, {0x1020, 0x1083, 0x11}},
                                {5000, {0x1040, 0x1082, 0}},
                                {6250, {0x1040, 0x1083, 0}}};

}  // namespace

CxpTransceiver::CxpTransceiver(unsigned port, unsigned form, LinkChannel& channel,
                               const CxpPower& power)
    : port_(port), form_(form), channel_(channel), power_(power) {}

void CxpTransceiver::SetSpeed(uint32_t mbps) { channel_.SetSpeed(mbps); }

void CxpTransceiver::WriteDrp(uint32_t address, uint32_t value) {
  std::lock_guard<std::mutex> lock(mutex_);
  drp_[address] = value;
  busy_ = true;
  MatchDrpSetting();
}

void CxpTransceiver::MatchDrpSetting() {
  const bool formA = form_ == kCxpDrpA;
  const size_t count = formA ? kDrpAAddresses.size() : kDrpBAddresses.size();
  const DrpSetting* settings = formA ? kDrpA : kDrpB;
  for (size_t row = 0; row < std::size(kDrpA); ++row) {
    bool all = true;
    for (size_t at = 0; at < count && all; ++at) {
      auto found = drp_.find(formA ? kDrpAAddresses[at] : kDrpBAddresses[at]);
      all = found != drp_.end() && found->second == settings[row].values[at];
    }
    if (all) {
      channel_.SetSpeed(settings[row].speed);
      return;
    }
  }
}

void CxpTransceiver::SetRateIndex(uint64_t index) {
  const size_t count = form_ == kCxpTransceiverRegs ? kSpeeds.size() : kRateIndexSpeeds;
  std::lock_guard<std::mutex> lock(mutex_);
  busy_ = true;
  if (index < count) channel_.SetSpeed(kSpeeds[index]);
}

bool CxpTransceiver::Ready() {
  std::lock_guard<std::mutex> lock(mutex_);
  const bool ready = !busy_;
  busy_ = false;
  return ready;
}

void CxpTransceiver::SetRxReset(bool held) {
  std::lock_guard<std::mutex> lock(mutex_);
  rxReset_ = held;
  if (held) errors_ = 0;
}

bool CxpTransceiver::InRxReset() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return rxReset_;
}

bool CxpTransceiver::Locked() const {
  return !InRxReset() && power_.Powered(port_) && channel_.Locked();
}

CxpTransceiver::ErrorCounts CxpTransceiver::Errors() {
  const bool locked = Locked();
  const uint64_t lineErrors = channel_.LineErrors();
  std::lock_guard<std::mutex> lock(mutex_);
  if (!locked) errors_ += kErrorsPerRead;
  return {errors_ + lineErrors - lineErrorsSeen_, errors_};
}

void CxpTransceiver::ClearErrors() {
  const uint64_t lineErrors = channel_.LineErrors();
  std::lock_guard<std::mutex> lock(mutex_);
  errors_ = 0;
  lineErrorsSeen_ = lineErrors;
}

}  // namespace vesk::sim
