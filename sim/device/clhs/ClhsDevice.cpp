#include "sim/device/clhs/ClhsDevice.h"

#include <algorithm>

#include "sim/core/ByteOrder.h"
#include "sim/core/FaultPlan.h"
#include "sim/device/Gencp.h"

namespace vesk::sim {

namespace {

// The X-Core's two words ahead of the GenCP header, as they stand in memory.
constexpr uint8_t kPrefix[8] = {0x40, 0x50, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00};
constexpr size_t kPrefixSize = sizeof kPrefix;
constexpr size_t kHeader = kPrefixSize + 8;
constexpr size_t kAddressSize = 8;
constexpr size_t kReadScd = 12;
// A read answers this much at most: what the X-Core takes in one packet.
constexpr size_t kMaxRead = 992;

// Prefix, status, acknowledge id, SCD length, request id, then the SCD padded to whole words.
Packet Acknowledge(uint16_t status, uint16_t ack, uint16_t id, const Packet& scd) {
  Packet packet(kPrefix, kPrefix + kPrefixSize);
  packet.resize(kHeader);
  Put16(&packet[8], status);
  Put16(&packet[10], ack);
  Put16(&packet[12], static_cast<uint16_t>(scd.size()));
  Put16(&packet[14], id);
  packet.insert(packet.end(), scd.begin(), scd.end());
  packet.resize((packet.size() + 3) & ~size_t{3});
  return packet;
}

}  // namespace

ClhsDevice::ClhsDevice(LinkChannel& channel, unsigned link,
                       std::shared_ptr<ClhsBootstrap> bootstrap)
    : channel_(channel), link_(link), bootstrap_(std::move(bootstrap)) {}

void ClhsDevice::FromBoard(const Packet& packet) {
  if (packet.size() < kHeader || !std::equal(kPrefix, kPrefix + kPrefixSize, packet.begin())) {
    return;  // not a command of the X-Core's control channel
  }
  const uint16_t flags = Be16(&packet[8]);
  const uint16_t id = Be16(&packet[14]);
  if (!(flags & gencp::kRequestAck)) return;
  Packet answer;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if ((flags & gencp::kResend) && answered_ && id == lastId_) {
      answer = lastAnswer_;
    } else {
      answer = Answer(packet);
      answered_ = true;
      lastId_ = id;
      lastAnswer_ = answer;
    }
  }
  channel_.ToBoard(answer);
}

Packet ClhsDevice::Answer(const Packet& packet) {
  const uint16_t command = Be16(&packet[10]);
  const size_t scd = Be16(&packet[12]);
  const uint16_t id = Be16(&packet[14]);
  const size_t room = packet.size() - kHeader;
  if (command != gencp::kReadMemory && command != gencp::kWriteMemory) {
    return Acknowledge(gencp::kNotImplemented, command | 1u, id, {});
  }
  const uint16_t ack = command | 1u;
  if (scd > room || scd < kAddressSize) return Acknowledge(gencp::kInvalidHeader, ack, id, {});
  const uint8_t* address = &packet[kHeader];
  if (command == gencp::kReadMemory) {
    if (scd != kReadScd) return Acknowledge(gencp::kInvalidHeader, ack, id, {});
    Packet data(Be16(address + kAddressSize + 2));
    if (data.size() > kMaxRead) return Acknowledge(gencp::kInvalidParameter, ack, id, {});
    const uint16_t status = bootstrap_->Read(link_, Be64(address), data.data(), data.size());
    return Acknowledge(status, ack, id, status == gencp::kSuccess ? data : Packet{});
  }
  // Written bytes are acknowledged without the optional length field, so that a host may write
  // any length.
  const uint16_t status =
      bootstrap_->Write(link_, Be64(address), address + kAddressSize, scd - kAddressSize);
  return Acknowledge(status, ack, id, {});
}

std::vector<LatePacket> ClhsDevice::Oddly(const Packet& answer, Fault fault, FaultPlan& plan) {
  if (answer.size() < kHeader) return {{0, answer}};
  const uint16_t ack = Be16(&answer[10]);
  const uint16_t id = Be16(&answer[14]);
  const uint32_t delayMs = plan.Settings().delayMs;
  switch (fault) {
    case Fault::Wait:
    case Fault::Tentative: {
      const Packet scd = {0, 0, static_cast<uint8_t>(delayMs >> 8), static_cast<uint8_t>(delayMs)};
      return {{0, Acknowledge(gencp::kSuccess, gencp::kPendingAck, id, scd)}, {delayMs, answer}};
    }
    case Fault::Error:
      // The command came spoiled, as far as the camera can tell: the host is to send it again.
      return {{0, Acknowledge(gencp::kInvalidHeader, ack, id, {})}};
    case Fault::Unknown:
      return {{0, Acknowledge(static_cast<uint16_t>(0x8100 + plan.Draw(0x100)), ack, id, {})}};
    case Fault::Odd:
      // The answer to the request before this one.
      return {{0, Acknowledge(Be16(&answer[8]), ack, static_cast<uint16_t>(id - 1),
                              Packet(answer.begin() + kHeader, answer.end()))}};
    case Fault::BadCrc: {
      // Cut off within a word: the X-Core takes it for a failed receive.
      const size_t cut = 1 + plan.Draw(3);
      return {{0, Packet(answer.begin(), answer.end() - static_cast<ptrdiff_t>(cut))}};
    }
    default:
      return {{0, answer}};
  }
}

std::shared_ptr<DeviceModel> MakeClhsDevice(const Cable& cable, LinkChannel& channel) {
  if (!cable.camera || !cable.camera->camera) return nullptr;
  CameraUnit& unit = *cable.camera;
  auto bootstrap = std::dynamic_pointer_cast<ClhsBootstrap>(
      unit.Links([&] { return std::make_shared<ClhsBootstrap>(unit.described, *unit.camera); }));
  // A camera whose links another transport made its own answers there only.
  if (!bootstrap) return nullptr;
  return std::make_shared<ClhsDevice>(channel, cable.link, std::move(bootstrap));
}

}  // namespace vesk::sim
