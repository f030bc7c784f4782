#ifndef VESK_SIM_DEVICE_CL_CL_BOOTSTRAP_H
#define VESK_SIM_DEVICE_CL_CL_BOOTSTRAP_H

#include <cstddef>
#include <cstdint>
#include <mutex>

#include "sim/camera/Camera.h"
#include "sim/core/LinkState.h"
#include "sim/core/Rig.h"
#include "sim/device/GencpRegisters.h"

namespace vesk::sim {

// The GenCP bootstrap registers of a Camera Link camera in front of its own register memory: the
// technology-agnostic map, the manifest of its XML and the serial bootstrap registers with the
// baud rates. The serial channel runs at one rate, the one the camera listens and answers at.
// Accesses answer a GenCP status. Safe from several threads.
class ClBootstrap : public LinkState {
 public:
  // Addresses below this are the bootstrap's; the camera answers for the rest.
  static constexpr uint64_t kEnd = 0x10000;
  static constexpr uint64_t kSbrm = 0x2000;

  // camera outlives the bootstrap.
  ClBootstrap(const RigCamera& described, Camera& camera);

  bool Runs(unsigned link, uint32_t speed) const override;
  uint32_t Baud() const;

  uint16_t Read(uint64_t address, uint8_t* bytes, size_t length);
  // A write of the current baud rate register gives the new rate in baud, which the camera takes
  // once it has answered at the old one (SetBaud); 0 otherwise.
  uint16_t Write(uint64_t address, const uint8_t* bytes, size_t length, uint32_t& baud);
  void SetBaud(uint32_t baud);

 private:
  Camera& camera_;
  uint32_t supported_ = 0;  // a bit per baud rate, as the serial bootstrap register shows it

  mutable std::mutex mutex_;
  uint32_t baud_;
  GencpRegisters registers_;
};

}  // namespace vesk::sim

#endif
