#include "sim/firmware/cxp/CameraControl.h"

#include "sim/include/vesk_sim.h"

namespace vesk::sim {

namespace {

bool IsCxpSpeed(unsigned speed) {
  for (unsigned known : {1250u, 2500u, 3125u, 5000u, 6250u, 10000u, 12500u}) {
    if (speed == known) return true;
  }
  return false;
}

}  // namespace

void CameraControl::Reset() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (Values& values : ports_) values.fill(0);
    portMap_ = kIdentityMap;
  }
  Changed();
}

void CameraControl::SetPortMap(uint64_t selector) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    portMap_ = selector;
  }
  Changed();
}

uint64_t CameraControl::PortMap() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return portMap_;
}

int CameraControl::Set(PortControl item, unsigned port, unsigned value) {
  if (item == PortControl::DataPathSpeed && !IsCxpSpeed(value)) {
    return VSIM_ERROR_INVALID_ARGUMENT;
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (port >= ports_.size()) return VSIM_ERROR_NO_SUCH_PORT;
    ports_[port][static_cast<size_t>(item)] = value;
  }
  Changed();
  return 0;
}

void CameraControl::Changed() {
  if (observer_) observer_();
}

int CameraControl::Get(PortControl item, unsigned port, unsigned& value) const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (port >= ports_.size()) return VSIM_ERROR_NO_SUCH_PORT;
  value = ports_[port][static_cast<size_t>(item)];
  return 0;
}

}  // namespace vesk::sim
