#include "sim/device/cxp/CxpDevice.h"

#include <algorithm>
#include <optional>

#include "sim/core/ByteOrder.h"
#include "sim/core/CxpCrc.h"
#include "sim/core/FaultPlan.h"
#include "sim/device/cxp/CxpStatus.h"

namespace vesk::sim {

namespace {

constexpr uint8_t kCommand = 0x02;
constexpr uint8_t kTaggedCommand = 0x05;
constexpr uint8_t kAcknowledgement = 0x03;
constexpr uint8_t kTaggedAcknowledgement = 0x06;
constexpr uint32_t kTaggingRevision = 0x20000;

void PutRepeated(Packet& packet, uint8_t byte) { packet.insert(packet.end(), 4, byte); }

bool Repeated(const Packet& packet, size_t at) {
  return std::all_of(packet.begin() + static_cast<ptrdiff_t>(at + 1),
                     packet.begin() + static_cast<ptrdiff_t>(at + 4),
                     [&](uint8_t byte) { return byte == packet[at]; });
}

// The CRC of everything behind the packet-type word, little-endian at the end.
void Seal(Packet& packet) { AppendLe32(packet, CxpCrc(packet.data() + 4, packet.size() - 4)); }

Packet Acknowledgement(std::optional<uint8_t> tag, uint8_t status,
                       const std::vector<uint8_t>& payload) {
  Packet packet;
  PutRepeated(packet, tag ? kTaggedAcknowledgement : kAcknowledgement);
  if (tag) PutRepeated(packet, *tag);
  PutRepeated(packet, status);
  if (status == cxp::kFinalWithPayload || status == cxp::kWait) {
    AppendBe32(packet, static_cast<uint32_t>(payload.size()));
    packet.insert(packet.end(), payload.begin(), payload.end());
  }
  Seal(packet);
  return packet;
}

}  // namespace

struct CxpDevice::Command {
  std::optional<uint8_t> tag;
  uint8_t operation = 0;
  uint32_t size = 0;
  uint32_t address = 0;
  std::vector<uint8_t> payload;
};

CxpDevice::CxpDevice(LinkChannel& channel, unsigned link, std::shared_ptr<CxpBootstrap> bootstrap)
    : channel_(channel), link_(link), bootstrap_(std::move(bootstrap)) {
  bootstrap_->Attach(link_);
}

CxpDevice::~CxpDevice() { bootstrap_->Detach(link_); }

void CxpDevice::FromBoard(const Packet& packet) {
  // What is no command of this camera gets no answer: it cannot tell what was meant.
  if (packet.size() < 8 || !Repeated(packet, 0)) return;
  Command command;
  size_t at = 4;
  if (packet[0] == kTaggedCommand) {
    if (bootstrap_->Revision() < kTaggingRevision || !Repeated(packet, at)) return;
    command.tag = packet[at];
    at += 4;
  } else if (packet[0] != kCommand) {
    return;
  }
  if (packet.size() < at + 4) return;
  const size_t crcAt = packet.size() - 4;
  if (Le32(&packet[crcAt]) != CxpCrc(packet.data() + 4, crcAt - 4)) {
    Acknowledge(command, cxp::kBadCrc, {});
    return;
  }
  if (crcAt < at + 8) {
    Acknowledge(command, cxp::kBadSize, {});
    return;
  }
  command.operation = packet[at];
  command.size = Be32(&packet[at]) & 0xFFFFFF;
  command.address = Be32(&packet[at + 4]);
  command.payload.assign(packet.begin() + static_cast<ptrdiff_t>(at + 8),
                         packet.begin() + static_cast<ptrdiff_t>(crcAt));
  Answer(command);
}

void CxpDevice::Answer(const Command& command) {
  const bool write = command.operation == 1;
  if (command.operation > 1) return Acknowledge(command, cxp::kInvalidOperation, {});
  if (command.size > bootstrap_->PacketSizeLimit()) return Acknowledge(command, cxp::kTooLarge, {});
  if (command.size == 0 || command.payload.size() != (write ? command.size : 0)) {
    return Acknowledge(command, cxp::kBadSize, {});
  }
  if (!write) {
    std::vector<uint8_t> bytes(command.size);
    const uint8_t status = bootstrap_->Read(link_, command.address, bytes.data(), bytes.size());
    return Acknowledge(command, status,
                       status == cxp::kFinalWithPayload ? bytes : std::vector<uint8_t>{});
  }
  const CxpWriteResult result =
      bootstrap_->Write(link_, command.address, command.payload.data(), command.payload.size());
  if (result.acknowledged) Acknowledge(command, result.status, {});
  // The acknowledgement still goes at the old speed; then the links change.
  if (result.config) bootstrap_->Configure(*result.config);
}

void CxpDevice::Acknowledge(const Command& command, uint8_t status,
                            const std::vector<uint8_t>& payload) {
  channel_.ToBoard(Acknowledgement(command.tag, status, payload));
}

std::vector<LatePacket> CxpDevice::Oddly(const Packet& answer, Fault fault, FaultPlan& plan) {
  const std::optional<uint8_t> tag = answer.size() > 4 && answer[0] == kTaggedAcknowledgement
                                         ? std::optional<uint8_t>(answer[4])
                                         : std::nullopt;
  const uint32_t delayMs = plan.Settings().delayMs;
  if (fault == Fault::Odd) {
    constexpr Fault kOdd[] = {Fault::Wait, Fault::Tentative, Fault::Unknown};
    fault = kOdd[plan.Draw(3)];
  }
  switch (fault) {
    case Fault::Wait: {
      Packet delay;
      AppendBe32(delay, delayMs);
      return {{0, Acknowledgement(tag, cxp::kWait, delay)}, {delayMs, answer}};
    }
    case Fault::Tentative:
      return {{0, Acknowledgement(tag, cxp::kTentative, {})}, {delayMs, answer}};
    case Fault::Unknown:
      // Between the codes of the answers and those of the errors, none of which means anything.
      return {{0, Acknowledgement(tag, static_cast<uint8_t>(0x05 + plan.Draw(0x3B)), {})}};
    case Fault::Error:
      return {
          {0, Acknowledgement(tag, static_cast<uint8_t>(cxp::kInvalidAddress + plan.Draw(7)), {})}};
    case Fault::BadCrc: {
      Packet spoiled = answer;
      if (spoiled.size() >= 4) spoiled[spoiled.size() - 4 + plan.Draw(4)] ^= 1u << plan.Draw(8);
      return {{0, spoiled}};
    }
    default:
      return {{0, answer}};
  }
}

std::shared_ptr<DeviceModel> MakeCxpDevice(const Cable& cable, LinkChannel& channel) {
  if (!cable.camera || !cable.camera->camera) return nullptr;
  CameraUnit& unit = *cable.camera;
  auto bootstrap = std::dynamic_pointer_cast<CxpBootstrap>(
      unit.Links([&] { return std::make_shared<CxpBootstrap>(unit.described, *unit.camera); }));
  // A camera whose links another transport made its own answers there only.
  if (!bootstrap) return nullptr;
  return std::make_shared<CxpDevice>(channel, cable.link, std::move(bootstrap));
}

}  // namespace vesk::sim
