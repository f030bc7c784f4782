#ifndef VESK_SIM_BRIDGE_TAP_DEVICE_H
#define VESK_SIM_BRIDGE_TAP_DEVICE_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "sim/core/DeviceModel.h"

namespace vesk::sim {

// A Linux TAP interface seen from its file descriptor: Ethernet frames without check sequence or
// packet information, one per read or write. Opening one makes the interface, if there is none of
// that name, for as long as the descriptor stays open; that takes CAP_NET_ADMIN in the network
// namespace of the caller. Reads and writes never block past their time-out.
class TapDevice {
 public:
  // Throws std::system_error with the host's errno when the interface cannot be had.
  explicit TapDevice(const std::string& name);
  ~TapDevice();
  TapDevice(const TapDevice&) = delete;
  TapDevice& operator=(const TapDevice&) = delete;

  // The name the kernel gave, which may differ from a pattern such as "vsk%d".
  const std::string& Name() const { return name_; }
  // The next frame, or nothing when none came within timeoutMs or the interface has gone. One
  // thread at a time.
  std::optional<Packet> Read(int timeoutMs);
  // False when the host did not take the frame (the interface is down, say): it is lost, as on a
  // wire with nobody listening.
  bool Write(const Packet& frame);

 private:
  int fd_ = -1;
  std::string name_;
  Packet buffer_;  // room for the largest frame, kept for the next read
};

}  // namespace vesk::sim

#endif
