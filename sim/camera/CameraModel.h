#ifndef VESK_SIM_CAMERA_CAMERA_MODEL_H
#define VESK_SIM_CAMERA_CAMERA_MODEL_H

#include <string>
#include <vector>

#include "sim/camera/Camera.h"
#include "sim/camera/Feature.h"

namespace vesk::sim {

// A built-in camera: its identity and its feature table, in the order of its XML. The strings
// DeviceVendorName, DeviceModelName, DeviceSerialNumber, DeviceVersion and DeviceUserID take
// their text from the camera's identity.
struct CameraModel {
  std::string name;
  CameraIdentity identity;
  std::string toolTip;
  std::vector<Feature> features;
};

CameraModel AreaScanModel();
CameraModel LineScanModel();

}  // namespace vesk::sim

#endif
