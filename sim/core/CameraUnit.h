#ifndef VESK_SIM_CORE_CAMERA_UNIT_H
#define VESK_SIM_CORE_CAMERA_UNIT_H

#include <functional>
#include <memory>
#include <mutex>

#include "sim/camera/Camera.h"
#include "sim/core/FaultPlan.h"
#include "sim/core/LinkState.h"
#include "sim/core/Rig.h"

namespace vesk::sim {

// A camera of the rig: its description (whose links say where they were plugged when the rig
// loaded), the camera model that answers for it, its faults and its transport's link state.
struct CameraUnit {
  RigCamera described;
  std::unique_ptr<Camera> camera;
  FaultPlan faults;

  // The link state, made by make when the first device model of the camera asks for it.
  std::shared_ptr<LinkState> Links(const std::function<std::shared_ptr<LinkState>()>& make) {
    std::lock_guard<std::mutex> lock(linksMutex_);
    if (!links_) links_ = make();
    return links_;
  }
  // Null until a device model made it: the links then run at every speed the rig gives.
  std::shared_ptr<LinkState> Links() const {
    std::lock_guard<std::mutex> lock(linksMutex_);
    return links_;
  }

 private:
  mutable std::mutex linksMutex_;
  std::shared_ptr<LinkState> links_;
};

}  // namespace vesk::sim

#endif
