#ifndef VESK_SIM_DEVICE_CXP_CXP_DEVICE_H
#define VESK_SIM_DEVICE_CXP_CXP_DEVICE_H

#include <memory>

#include "sim/core/DeviceModel.h"
#include "sim/core/LinkChannel.h"
#include "sim/device/cxp/CxpBootstrap.h"

namespace vesk::sim {

// The camera's half of CoaXPress on one of its links: control commands in, acknowledgements out,
// with and without tags, over the camera's bootstrap registers. A packet is what lies between the
// start and end of packet K-codes.
class CxpDevice : public DeviceModel {
 public:
  CxpDevice(LinkChannel& channel, unsigned link, std::shared_ptr<CxpBootstrap> bootstrap);
  ~CxpDevice() override;

  void FromBoard(const Packet& packet) override;
  std::vector<LatePacket> Oddly(const Packet& answer, Fault fault, FaultPlan& plan) override;
  // The uplink runs at its own low rate, whatever the downlink does.
  bool HearsWithoutLock() const override { return true; }

 private:
  struct Command;

  void Answer(const Command& command);
  void Acknowledge(const Command& command, uint8_t status, const std::vector<uint8_t>& payload);

  LinkChannel& channel_;
  const unsigned link_;
  const std::shared_ptr<CxpBootstrap> bootstrap_;
};

// The device of the camera's link on cable; null for a camera without a model.
std::shared_ptr<DeviceModel> MakeCxpDevice(const Cable& cable, LinkChannel& channel);

}  // namespace vesk::sim

#endif
