#ifndef VESK_SIM_CORE_DEVICE_MODEL_H
#define VESK_SIM_CORE_DEVICE_MODEL_H

#include <cstdint>
#include <vector>

namespace vesk::sim {

using Packet = std::vector<uint8_t>;

class FaultPlan;
enum class Fault;

// A packet that leaves after a while: the link channel's late queue carries it.
struct LatePacket {
  uint32_t delayMs = 0;
  Packet packet;
};

// The camera's half of a transport on one link (sim/device/<transport>/): the transport's
// bootstrap registers and the camera's side of its protocol, over a transport-free camera. Made
// when a cable is plugged in, with the LinkChannel it answers through; dropped when it is pulled.
class DeviceModel {
 public:
  virtual ~DeviceModel() = default;
  // A packet from the board. Answers go back through LinkChannel::ToBoard, now or later.
  virtual void FromBoard(const Packet& packet) = 0;
  // The channel's faults want this answer odd in the way of fault (Odd, Wait, Tentative, Unknown,
  // BadCrc, Error): what the transport sends instead, in order, each after its delay. plan gives
  // the numbers the choice needs, so that a seed repeats it. Unchanged by default.
  virtual std::vector<LatePacket> Oddly(const Packet& answer, Fault /*fault*/,
                                        FaultPlan& /*plan*/) {
    return {{0, answer}};
  }
  // Whether the board's packets reach the device while the link runs at another speed than the
  // device's, as over a separate low-speed uplink. Answers never cross then.
  virtual bool HearsWithoutLock() const { return false; }
};

}  // namespace vesk::sim

#endif
