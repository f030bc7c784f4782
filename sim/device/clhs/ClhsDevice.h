#ifndef VESK_SIM_DEVICE_CLHS_CLHS_DEVICE_H
#define VESK_SIM_DEVICE_CLHS_CLHS_DEVICE_H

#include <memory>
#include <mutex>

#include "sim/core/DeviceModel.h"
#include "sim/core/LinkChannel.h"
#include "sim/device/clhs/ClhsBootstrap.h"

namespace vesk::sim {

// The camera's half of Camera Link HS on one link: GenCP memory commands as the X-Core carries
// them (two prefix words, then the GenCP header and command, big-endian, in whole words), and
// their acknowledges in the same form. A command sent again with the resend flag under the request
// id last answered gets that answer again, without being carried out twice.
class ClhsDevice : public DeviceModel {
 public:
  ClhsDevice(LinkChannel& channel, unsigned link, std::shared_ptr<ClhsBootstrap> bootstrap);

  void FromBoard(const Packet& packet) override;
  std::vector<LatePacket> Oddly(const Packet& answer, Fault fault, FaultPlan& plan) override;

 private:
  // The acknowledge of a command, empty for one that wants none or makes no sense.
  Packet Answer(const Packet& packet);

  LinkChannel& channel_;
  const unsigned link_;
  const std::shared_ptr<ClhsBootstrap> bootstrap_;
  std::mutex mutex_;
  bool answered_ = false;
  uint16_t lastId_ = 0;
  Packet lastAnswer_;
};

// The device of the camera's link on cable; null for a camera without a model.
std::shared_ptr<DeviceModel> MakeClhsDevice(const Cable& cable, LinkChannel& channel);

}  // namespace vesk::sim

#endif
