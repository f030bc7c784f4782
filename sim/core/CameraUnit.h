#ifndef VESK_SIM_CORE_CAMERA_UNIT_H
#define VESK_SIM_CORE_CAMERA_UNIT_H

#include <memory>

#include "sim/camera/Camera.h"
#include "sim/core/FaultPlan.h"
#include "sim/core/Rig.h"

namespace vesk::sim {

// A camera of the rig: its description (whose links say where they were plugged when the rig
// loaded), the camera model that answers for it, and its faults.
struct CameraUnit {
  RigCamera spec;
  std::unique_ptr<Camera> camera;
  FaultPlan faults;
};

}  // namespace vesk::sim

#endif
