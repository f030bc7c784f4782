#include "sim/device/gige/GigeDevice.h"

#include "sim/core/FaultPlan.h"
#include "sim/device/gige/GvcpStatus.h"

namespace vesk::sim {

namespace {

using ethernet::Get16;
using ethernet::Get32;

constexpr uint16_t kGvcpPort = 3956;
constexpr uint8_t kKey = 0x42;
constexpr uint8_t kAcknowledge = 0x01;
constexpr uint8_t kBroadcastAllowed = 0x10;
constexpr size_t kHeaderSize = 8;
// The most data of a memory access that fits a GVCP packet of 576 bytes.
constexpr uint32_t kMemoryLimit = 536;

constexpr size_t kArpSize = 28;
constexpr uint16_t kArpRequest = 1;
constexpr uint16_t kArpReply = 2;

void Append16(Packet& packet, uint32_t value) {
  packet.push_back(static_cast<uint8_t>(value >> 8));
  packet.push_back(static_cast<uint8_t>(value));
}

void Append32(Packet& packet, uint32_t value) {
  Append16(packet, value >> 16);
  Append16(packet, value & 0xFFFF);
}

struct Acknowledge {
  uint16_t status;
  uint16_t code;
  uint16_t id;
  Packet payload;
};

Packet AcknowledgePayload(const Acknowledge& ack) {
  Packet bytes;
  Append16(bytes, ack.status);
  Append16(bytes, ack.code);
  Append16(bytes, static_cast<uint32_t>(ack.payload.size()));
  Append16(bytes, ack.id);
  bytes.insert(bytes.end(), ack.payload.begin(), ack.payload.end());
  return bytes;
}

}  // namespace

GigeDevice::GigeDevice(LinkChannel& channel, std::shared_ptr<GigeBootstrap> bootstrap)
    : channel_(channel), bootstrap_(std::move(bootstrap)) {}

void GigeDevice::FromBoard(const Packet& packet) {
  const std::optional<Packet> frame = ethernet::WithoutFcs(packet);
  if (!frame) return;
  const ethernet::Mac to = ethernet::MacAt(*frame, 0);
  if (to != bootstrap_->MacAddress() && to != ethernet::kBroadcastMac) return;
  if (Get16(*frame, 12) == ethernet::kTypeArp) return AnswerArp(*frame);
  const std::optional<ethernet::Udp> datagram = ethernet::ParseUdp(*frame);
  if (!datagram || datagram->destinationPort != kGvcpPort) return;
  const uint32_t ip = bootstrap_->Ip();
  const uint32_t subnetBroadcast = ip | ~bootstrap_->SubnetMask();
  const uint32_t destination = datagram->destinationIp;
  if (destination == ip || destination == ethernet::kBroadcastIp ||
      destination == subnetBroadcast) {
    AnswerGvcp(*datagram);
  }
}

void GigeDevice::AnswerArp(const Packet& frame) {
  constexpr size_t at = ethernet::kHeaderSize;
  if (frame.size() < at + kArpSize || Get32(frame, at) != 0x00010800 ||
      Get16(frame, at + 4) != 0x0604 || Get16(frame, at + 6) != kArpRequest ||
      Get32(frame, at + 24) != bootstrap_->Ip()) {
    return;
  }
  const ethernet::Mac asker = ethernet::MacAt(frame, at + 8);
  Packet reply(at + kArpSize, 0);
  ethernet::PutMac(reply, 0, asker);
  ethernet::PutMac(reply, 6, bootstrap_->MacAddress());
  ethernet::Put16(reply, 12, ethernet::kTypeArp);
  ethernet::Put32(reply, at, 0x00010800);
  ethernet::Put16(reply, at + 4, 0x0604);
  ethernet::Put16(reply, at + 6, kArpReply);
  ethernet::PutMac(reply, at + 8, bootstrap_->MacAddress());
  ethernet::Put32(reply, at + 14, bootstrap_->Ip());
  ethernet::PutMac(reply, at + 18, asker);
  ethernet::Put32(reply, at + 24, Get32(frame, at + 14));
  channel_.ToBoard(ethernet::WithFcs(std::move(reply)));
}

void GigeDevice::AnswerGvcp(const ethernet::Udp& request) {
  const Packet& bytes = request.payload;
  if (bytes.size() < kHeaderSize || bytes[0] != kKey) return;
  const uint16_t command = Get16(bytes, 2);
  const size_t length = Get16(bytes, 4);
  // No stream has packets to resend, and no action key of this camera is ever set, so that both
  // stay unanswered.
  if (bytes.size() < kHeaderSize + length || command == gvcp::kPacketResend ||
      command == gvcp::kAction) {
    return;
  }
  const GvcpPeer peer{request.sourceIp, request.sourcePort};
  bootstrap_->Heard(peer);
  Acknowledge ack{0, static_cast<uint16_t>(command + 1), Get16(bytes, 6), {}};
  ack.status = Execute(peer, command,
                       Packet(bytes.begin() + kHeaderSize,
                              bytes.begin() + static_cast<ptrdiff_t>(kHeaderSize + length)),
                       ack.payload);
  if (!(bytes[1] & kAcknowledge)) return;
  ethernet::Udp answer;
  // An application without an address yet, or one outside the camera's subnet that allows it,
  // hears a discovery answer by broadcast.
  const uint32_t mask = bootstrap_->SubnetMask();
  const bool elsewhere = (request.sourceIp & mask) != (bootstrap_->Ip() & mask);
  const bool broadcast = request.sourceIp == 0 || (command == gvcp::kDiscovery &&
                                                   (bytes[1] & kBroadcastAllowed) && elsewhere);
  answer.destinationMac = broadcast ? ethernet::kBroadcastMac : request.sourceMac;
  answer.destinationIp = broadcast ? ethernet::kBroadcastIp : request.sourceIp;
  answer.sourceMac = bootstrap_->MacAddress();
  answer.sourceIp = bootstrap_->Ip();
  answer.sourcePort = kGvcpPort;
  answer.destinationPort = request.sourcePort;
  answer.payload = AcknowledgePayload(ack);
  channel_.ToBoard(ethernet::WithFcs(ethernet::BuildUdp(answer)));
}

uint16_t GigeDevice::Execute(const GvcpPeer& peer, uint16_t command, const Packet& payload,
                             Packet& answer) {
  switch (command) {
    case gvcp::kDiscovery:
      answer = bootstrap_->DiscoveryData();
      return gvcp::kSuccess;
    case gvcp::kReadReg:
      return ReadRegisters(peer, payload, answer);
    case gvcp::kWriteReg:
      return WriteRegisters(peer, payload, answer);
    case gvcp::kReadMem:
      return ReadMemory(peer, payload, answer);
    case gvcp::kWriteMem:
      return WriteMemory(peer, payload, answer);
    default:
      return gvcp::kNotImplemented;
  }
}

// The values of the addresses read before one failed.
uint16_t GigeDevice::ReadRegisters(const GvcpPeer& peer, const Packet& payload, Packet& answer) {
  if (payload.empty() || payload.size() % 4 || payload.size() > kMemoryLimit) {
    return gvcp::kInvalidParameter;
  }
  for (size_t at = 0; at < payload.size(); at += 4) {
    const uint32_t address = Get32(payload, at);
    if (address % 4) return gvcp::kBadAlignment;
    uint8_t value[4] = {};
    if (const uint16_t status = bootstrap_->Read(peer, address, value, 4)) return status;
    answer.insert(answer.end(), value, value + 4);
  }
  return gvcp::kSuccess;
}

// The answer counts the writes done before one failed.
uint16_t GigeDevice::WriteRegisters(const GvcpPeer& peer, const Packet& payload, Packet& answer) {
  uint16_t status = gvcp::kSuccess;
  uint32_t done = 0;
  if (payload.empty() || payload.size() % 8 || payload.size() > kMemoryLimit) {
    status = gvcp::kInvalidParameter;
  }
  for (size_t at = 0; status == gvcp::kSuccess && at < payload.size(); at += 8, ++done) {
    const uint32_t address = Get32(payload, at);
    if (address % 4) {
      status = gvcp::kBadAlignment;
      break;
    }
    status = bootstrap_->Write(peer, address, payload.data() + at + 4, 4);
    if (status) break;
  }
  Append32(answer, done);
  return status;
}

// Address, a reserved half and the count; the answer echoes the address before the data.
uint16_t GigeDevice::ReadMemory(const GvcpPeer& peer, const Packet& payload, Packet& answer) {
  if (payload.size() != 8) return gvcp::kInvalidParameter;
  const uint32_t address = Get32(payload, 0);
  const uint32_t count = Get16(payload, 6);
  Append32(answer, address);
  if (count == 0 || count > kMemoryLimit) return gvcp::kInvalidParameter;
  if (address % 4 || count % 4) return gvcp::kBadAlignment;
  Packet data(count);
  const uint16_t status = bootstrap_->Read(peer, address, data.data(), count);
  if (status == gvcp::kSuccess) answer.insert(answer.end(), data.begin(), data.end());
  return status;
}

// The answer counts the bytes written: all or none.
uint16_t GigeDevice::WriteMemory(const GvcpPeer& peer, const Packet& payload, Packet& answer) {
  const size_t count = payload.size() < 4 ? 0 : payload.size() - 4;
  uint16_t status = gvcp::kSuccess;
  if (count == 0 || count > kMemoryLimit) {
    status = gvcp::kInvalidParameter;
  } else if (Get32(payload, 0) % 4 || count % 4) {
    status = gvcp::kBadAlignment;
  } else {
    status = bootstrap_->Write(peer, Get32(payload, 0), payload.data() + 4, count);
  }
  Append32(answer, status == gvcp::kSuccess ? static_cast<uint32_t>(count) : 0);
  return status;
}

std::vector<LatePacket> GigeDevice::Oddly(const Packet& answer, Fault fault, FaultPlan& plan) {
  if (fault == Fault::BadCrc) {
    Packet spoiled = answer;
    if (spoiled.size() >= ethernet::kFcsSize) {
      spoiled[spoiled.size() - ethernet::kFcsSize + plan.Draw(4)] ^= 1u << plan.Draw(8);
    }
    return {{0, spoiled}};
  }
  const std::optional<Packet> frame = ethernet::WithoutFcs(answer);
  std::optional<ethernet::Udp> datagram = frame ? ethernet::ParseUdp(*frame) : std::nullopt;
  if (!datagram || datagram->sourcePort != kGvcpPort || datagram->payload.size() < kHeaderSize) {
    return {{0, answer}};
  }
  if (fault == Fault::Odd) {
    constexpr Fault kOdd[] = {Fault::Wait, Fault::Error, Fault::Unknown};
    fault = kOdd[plan.Draw(3)];
  }
  const Packet& bytes = datagram->payload;
  Acknowledge ack{Get16(bytes, 0), Get16(bytes, 2), Get16(bytes, 6), {}};
  const uint32_t delayMs = plan.Settings().delayMs;
  auto reframed = [&](const Acknowledge& odd) {
    datagram->payload = AcknowledgePayload(odd);
    return ethernet::WithFcs(ethernet::BuildUdp(*datagram));
  };
  switch (fault) {
    case Fault::Wait:
    case Fault::Tentative: {
      Acknowledge pending{gvcp::kSuccess, gvcp::kPendingAck, ack.id, {}};
      Append32(pending.payload, std::min<uint32_t>(delayMs, 0xFFFF));
      return {{0, reframed(pending)}, {delayMs, answer}};
    }
    case Fault::Error:
      return {{0, reframed({gvcp::kBusy, ack.code, ack.id, {}})}};
    case Fault::Unknown:
      // Above the codes GVCP defines and below its generic error.
      return {
          {0, reframed({static_cast<uint16_t>(0x8100 + plan.Draw(0x100)), ack.code, ack.id, {}})}};
    default:
      return {{0, answer}};
  }
}

std::shared_ptr<DeviceModel> MakeGigeDevice(const Cable& cable, LinkChannel& channel) {
  if (!cable.camera || !cable.camera->camera) return nullptr;
  CameraUnit& unit = *cable.camera;
  auto bootstrap = std::dynamic_pointer_cast<GigeBootstrap>(
      unit.Links([&] { return std::make_shared<GigeBootstrap>(unit.described, *unit.camera); }));
  // A camera whose links another transport made its own answers there only.
  if (!bootstrap) return nullptr;
  return std::make_shared<GigeDevice>(channel, std::move(bootstrap));
}

}  // namespace vesk::sim
