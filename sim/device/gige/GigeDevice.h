#ifndef VESK_SIM_DEVICE_GIGE_GIGE_DEVICE_H
#define VESK_SIM_DEVICE_GIGE_GIGE_DEVICE_H

#include <memory>

#include "sim/core/DeviceModel.h"
#include "sim/core/EthernetFrame.h"
#include "sim/core/LinkChannel.h"
#include "sim/device/gige/GigeBootstrap.h"

namespace vesk::sim {

// The camera's half of GigE Vision on its link, with an Ethernet, ARP, IPv4 and UDP of its own:
// ARP requests for its address are answered, GVCP commands on UDP port 3956 acknowledged
// (DISCOVERY, READREG, WRITEREG, READMEM, WRITEMEM) over the camera's bootstrap registers. A
// packet is an Ethernet frame with its check sequence; a frame whose sequence fails is dropped.
class GigeDevice : public DeviceModel {
 public:
  GigeDevice(LinkChannel& channel, std::shared_ptr<GigeBootstrap> bootstrap);

  void FromBoard(const Packet& packet) override;
  // A PENDING_ACK before the answer (Wait, Tentative), BUSY (Error), a status GVCP does not
  // define (Unknown), a spoiled check sequence (BadCrc). Frames other than acknowledges only
  // lose their check sequence.
  std::vector<LatePacket> Oddly(const Packet& answer, Fault fault, FaultPlan& plan) override;

 private:
  void AnswerArp(const Packet& frame);
  void AnswerGvcp(const ethernet::Udp& request);
  uint16_t Execute(const GvcpPeer& peer, uint16_t command, const Packet& payload, Packet& answer);
  uint16_t ReadRegisters(const GvcpPeer& peer, const Packet& payload, Packet& answer);
  uint16_t WriteRegisters(const GvcpPeer& peer, const Packet& payload, Packet& answer);
  uint16_t ReadMemory(const GvcpPeer& peer, const Packet& payload, Packet& answer);
  uint16_t WriteMemory(const GvcpPeer& peer, const Packet& payload, Packet& answer);

  LinkChannel& channel_;
  const std::shared_ptr<GigeBootstrap> bootstrap_;
};

// The device of the camera's link on cable; null for a camera without a model.
std::shared_ptr<DeviceModel> MakeGigeDevice(const Cable& cable, LinkChannel& channel);

}  // namespace vesk::sim

#endif
