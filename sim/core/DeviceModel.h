#ifndef VESK_SIM_CORE_DEVICE_MODEL_H
#define VESK_SIM_CORE_DEVICE_MODEL_H

#include <cstdint>
#include <vector>

namespace vesk::sim {

using Packet = std::vector<uint8_t>;

// The camera's half of a transport on one link (sim/device/<transport>/): the transport's
// bootstrap registers and the camera's side of its protocol, over a transport-free camera. Made
// when a cable is plugged in, with the LinkChannel it answers through; dropped when it is pulled.
class DeviceModel {
 public:
  virtual ~DeviceModel() = default;
  // A packet from the board. Answers go back through LinkChannel::ToBoard, now or later.
  virtual void FromBoard(const Packet& packet) = 0;
  // The channel's faults want this answer odd: what the transport sends instead (a wait
  // acknowledgement before it, an unknown status word, ...). Unchanged by default.
  virtual std::vector<Packet> Oddly(const Packet& answer) { return {answer}; }
};

}  // namespace vesk::sim

#endif
