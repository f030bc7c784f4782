#include "sim/firmware/cxp/CxpPower.h"

namespace vesk::sim {

namespace {

// A camera draws 250 mA at 24 V; in each monitor's units:
constexpr uint64_t kGen1Sense = 625;  // 0.4 mA
constexpr uint64_t kGen1Vin = 960;    // 25 mV
constexpr uint64_t kGen1AdIn = 1022;  // divider reading of the sense line
constexpr uint64_t kShunt = 1250;     // 0.2 mA, second generation and PL
constexpr uint64_t kBusVolts = 6000;  // 4 mV, second generation and PL
constexpr unsigned kPlStatusShift = 30;

bool Within(int type, int low, int high) { return type >= low && type <= high; }

}  // namespace

CxpBoardGroup CxpBoardGroupOf(int type) {
  if (Within(type, 2641, 2650)) return CxpBoardGroup::Gen1;
  if (Within(type, 1872, 1881)) return CxpBoardGroup::Gen2;
  for (int gen2 : {29968, 29969, 30016, 30017, 30097, 30101}) {
    if (type == gen2) return CxpBoardGroup::Gen2;
  }
  if (Within(type, 2656, 2658) || Within(type, 2660, 2663) || Within(type, 2915, 2918) ||
      type == 2913 || type == 2920) {
    return CxpBoardGroup::Pl;
  }
  return CxpBoardGroup::Other;
}

CxpPower::CxpPower(int boardType, std::vector<LinkChannel*> channels)
    : group_(CxpBoardGroupOf(boardType)),
      channels_(std::move(channels)),
      enabled_(channels_.size(), true),
      tripped_(channels_.size(), false) {}

CxpPower::State CxpPower::StateOf(unsigned port) const {
  if (port >= enabled_.size() || !enabled_[port]) return State::Off;
  return tripped_[port] ? State::Tripped : State::On;
}

bool CxpPower::Powered(unsigned port) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return StateOf(port) == State::On;
}

uint32_t CxpPower::EnabledMask() const {
  std::lock_guard<std::mutex> lock(mutex_);
  uint32_t mask = 0;
  for (size_t port = 0; port < enabled_.size(); ++port) {
    if (enabled_[port]) mask |= 1u << port;
  }
  return mask;
}

void CxpPower::SetEnabledMask(uint32_t mask) {
  for (unsigned port = 0; port < channels_.size(); ++port) SetEnabled(port, (mask >> port) & 1);
}

void CxpPower::SetEnabled(unsigned port, bool enabled) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (port >= enabled_.size()) return;
  enabled_[port] = enabled;
  if (!enabled) tripped_[port] = false;
}

void CxpPower::Trip(unsigned port) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (port < tripped_.size() && enabled_[port]) tripped_[port] = true;
}

// Good, off and tripped as each monitor codes them.
uint64_t CxpPower::Status(State state) const {
  const unsigned code = state == State::On ? 0 : state == State::Off ? 1 : 2;
  switch (group_) {
    case CxpBoardGroup::Gen1:
    case CxpBoardGroup::Gen2:
      return uint64_t{1} << (code == 2 ? 4 : code);
    case CxpBoardGroup::Pl:
      return uint64_t{1} << (kPlStatusShift + code);
    case CxpBoardGroup::Other:
      break;
  }
  return 0;
}

uint64_t CxpPower::Read(Reading reading, unsigned port) const {
  State state;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    state = StateOf(port);
  }
  const bool on = state == State::On;
  const bool load = on && channels_[port]->GetCable().camera;
  switch (reading) {
    case Reading::Status:
      if (group_ != CxpBoardGroup::Pl) return Status(state);
      return Status(state) | (on ? kBusVolts << 16 : 0) | (load ? kShunt : 0);
    case Reading::Sense:
      return load ? kGen1Sense : 0;
    case Reading::Vin:
      return on ? kGen1Vin : 0;
    case Reading::AdIn:
      return on ? kGen1AdIn : 0;
    case Reading::ShuntVoltage:
      return load ? kShunt : 0;
    case Reading::BusVoltage:
      return on ? kBusVolts : 0;
  }
  return 0;
}

}  // namespace vesk::sim
