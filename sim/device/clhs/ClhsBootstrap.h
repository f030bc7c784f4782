#ifndef VESK_SIM_DEVICE_CLHS_CLHS_BOOTSTRAP_H
#define VESK_SIM_DEVICE_CLHS_CLHS_BOOTSTRAP_H

#include <cstddef>
#include <cstdint>
#include <mutex>

#include "sim/camera/Camera.h"
#include "sim/core/LinkState.h"
#include "sim/core/Rig.h"
#include "sim/device/GencpRegisters.h"

namespace vesk::sim {

// The bootstrap registers of a Camera Link HS camera in front of its own register memory: the
// GenCP map with the manifest of its XML, and the Camera Link HS registers from 0x10000 on, whose
// connection index tells the link that reads it. Shared by the camera's links, so that the device
// id written over the master is what every link reads. Accesses answer a GenCP status. Safe from
// several threads.
class ClhsBootstrap : public LinkState {
 public:
  static constexpr uint64_t kDeviceId = 0x10000;
  static constexpr uint64_t kConnectionIndex = 0x10004;
  // Addresses below this are the bootstrap's; the camera answers for the rest.
  static constexpr uint64_t kEnd = 0x20000;

  // camera outlives the bootstrap.
  ClhsBootstrap(const RigCamera& described, Camera& camera);

  // The links run at any speed the rig gives the camera.
  bool Runs(unsigned link, uint32_t speed) const override;

  uint16_t Read(unsigned link, uint64_t address, uint8_t* bytes, size_t length);
  // A device id written over an extension link is ignored: the master's holds.
  uint16_t Write(unsigned link, uint64_t address, const uint8_t* bytes, size_t length);

 private:
  const RigCamera& described_;
  Camera& camera_;
  mutable std::mutex mutex_;
  GencpRegisters registers_;
};

}  // namespace vesk::sim

#endif
