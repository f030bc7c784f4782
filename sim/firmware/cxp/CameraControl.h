#ifndef VESK_SIM_FIRMWARE_CXP_CAMERA_CONTROL_H
#define VESK_SIM_FIRMWARE_CXP_CAMERA_CONTROL_H

#include <array>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

namespace vesk::sim {

enum class PortControl {
  Power,
  DataPathState,
  DataPathSpeed,
  StandardVersion,
  LedState,
  CameraConnections,
  AcquisitionState,
};

// The CoaXPress camera controller of the queue-form boards: the state that the VHalCameraCtrl
// calls set, per port, for the firmware model to act on. Safe to use from several threads.
class CameraControl {
 public:
  // Nibble k (k = 0 .. 7) holds the physical port of firmware port k, nibble 8 + k the firmware
  // port of physical port k.
  static constexpr uint64_t kIdentityMap = 0x7654321076543210;

  explicit CameraControl(unsigned ports) : ports_(ports) {}

  // Every port back to 0, the map to the identity.
  void Reset();
  void SetPortMap(uint64_t selector);
  uint64_t PortMap() const;
  int Set(PortControl item, unsigned port, unsigned value);
  int Get(PortControl item, unsigned port, unsigned& value) const;
  // Told after every change, outside the lock; set while the board is built or destroyed.
  void SetObserver(std::function<void()> observer) { observer_ = std::move(observer); }

 private:
  void Changed();

  static constexpr size_t kItems = static_cast<size_t>(PortControl::AcquisitionState) + 1;
  using Values = std::array<unsigned, kItems>;

  mutable std::mutex mutex_;
  std::vector<Values> ports_;
  uint64_t portMap_ = kIdentityMap;
  std::function<void()> observer_;
};

}  // namespace vesk::sim

#endif
