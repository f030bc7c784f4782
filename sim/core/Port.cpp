#include "sim/core/Port.h"

namespace vesk::sim {

Cable Port::GetCable() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return cable_;
}

void Port::SetCable(Cable cable) {
  std::lock_guard<std::mutex> lock(mutex_);
  cable_ = std::move(cable);
}

void Port::CountPacket(bool toCamera) { ++(toCamera ? toCamera_ : fromCamera_); }

PortCounters Port::Counters() const { return {toCamera_.load(), fromCamera_.load()}; }

void Port::ResetCounters() {
  toCamera_ = 0;
  fromCamera_ = 0;
}

}  // namespace vesk::sim
