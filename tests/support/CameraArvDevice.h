#ifndef VESK_TESTS_SUPPORT_CAMERA_ARV_DEVICE_H
#define VESK_TESTS_SUPPORT_CAMERA_ARV_DEVICE_H

#include <arv.h>

#include <string>

#include "sim/camera/Camera.h"

namespace vesk::test {

// Aravis's node map over a simulated camera: an ArvDevice whose register reads and writes go to
// Camera::Read and Camera::Write, with the node map that Aravis builds from `xml`. The camera
// must outlive it.
class CameraArvDevice {
 public:
  CameraArvDevice(sim::Camera& camera, const std::string& xml);
  ~CameraArvDevice();
  CameraArvDevice(const CameraArvDevice&) = delete;
  CameraArvDevice& operator=(const CameraArvDevice&) = delete;

  // Null if Aravis refused the XML.
  ArvGc* Genicam() const;
  ArvDevice* Device() const { return device_; }
  // Accesses that the camera refused.
  unsigned RefusedAccesses() const;

 private:
  ArvDevice* device_;
};

}  // namespace vesk::test

#endif
