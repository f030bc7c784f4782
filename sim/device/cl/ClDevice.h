#ifndef VESK_SIM_DEVICE_CL_CL_DEVICE_H
#define VESK_SIM_DEVICE_CL_CL_DEVICE_H

#include <memory>
#include <mutex>

#include "sim/core/DeviceModel.h"
#include "sim/core/LinkChannel.h"
#include "sim/device/cl/ClBootstrap.h"

namespace vesk::sim {

// The camera's half of Camera Link: GenCP memory commands framed for the serial channel, taken
// from the stream of bytes that arrives at the camera's rate, and their acknowledgements. Bytes
// that make no frame are skipped, as a receiver on a serial line must.
class ClDevice : public DeviceModel {
 public:
  ClDevice(LinkChannel& channel, std::shared_ptr<ClBootstrap> bootstrap);

  void FromBoard(const Packet& bytes) override;
  std::vector<LatePacket> Oddly(const Packet& answer, Fault fault, FaultPlan& plan) override;

 private:
  // The whole frames that have come, cut from the bytes held so far.
  std::vector<Packet> Frames(const Packet& bytes);
  void Answer(const Packet& frame);

  LinkChannel& channel_;
  const std::shared_ptr<ClBootstrap> bootstrap_;
  std::mutex mutex_;
  Packet held_;  // the start of a frame still coming
};

// The device of the camera's link on cable; null for a camera without a model.
std::shared_ptr<DeviceModel> MakeClDevice(const Cable& cable, LinkChannel& channel);

}  // namespace vesk::sim

#endif
