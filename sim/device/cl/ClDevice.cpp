#include "sim/device/cl/ClDevice.h"

#include <algorithm>

#include "sim/core/ByteOrder.h"
#include "sim/core/FaultPlan.h"
#include "sim/device/Gencp.h"

namespace vesk::sim {

namespace {

// Preamble, the two checksums, channel id, flags or status, command id, SCD length, request id.
constexpr size_t kHeader = 16;
constexpr size_t kAddressSize = 8;
constexpr size_t kReadScd = 12;
// The checksums cover the channel id, the common header and, for the second, the SCD.
constexpr size_t kSummedFrom = 6;
constexpr size_t kCommonHeader = 10;
constexpr uint8_t kNoiseFloor = 0x02;  // line noise here never holds a preamble's 01

// One's complement sum of big-endian 16-bit words, an odd byte padded with zero, inverted.
uint16_t Checksum(const uint8_t* bytes, size_t count) {
  uint32_t sum = 0;
  for (size_t at = 0; at < count; at += 2) {
    sum += uint32_t{bytes[at]} << 8 | (at + 1 < count ? bytes[at + 1] : 0);
  }
  while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

bool HeaderHolds(const uint8_t* frame) {
  return Be16(frame + 2) == Checksum(frame + kSummedFrom, kCommonHeader);
}

void Seal(Packet& frame) {
  Put16(frame.data() + 2, Checksum(frame.data() + kSummedFrom, kCommonHeader));
  Put16(frame.data() + 4, Checksum(frame.data() + kSummedFrom, frame.size() - kSummedFrom));
}

Packet Acknowledgement(uint16_t status, uint16_t ack, uint16_t id, const Packet& scd) {
  Packet frame(kHeader);
  Put16(&frame[0], 0x0100);
  Put16(&frame[8], status);
  Put16(&frame[10], ack);
  Put16(&frame[12], static_cast<uint16_t>(scd.size()));
  Put16(&frame[14], id);
  frame.insert(frame.end(), scd.begin(), scd.end());
  Seal(frame);
  return frame;
}

}  // namespace

ClDevice::ClDevice(LinkChannel& channel, std::shared_ptr<ClBootstrap> bootstrap)
    : channel_(channel), bootstrap_(std::move(bootstrap)) {}

void ClDevice::FromBoard(const Packet& bytes) {
  for (const Packet& frame : Frames(bytes)) Answer(frame);
}

std::vector<Packet> ClDevice::Frames(const Packet& bytes) {
  std::lock_guard<std::mutex> lock(mutex_);
  held_.insert(held_.end(), bytes.begin(), bytes.end());
  std::vector<Packet> frames;
  size_t at = 0;
  while (held_.size() - at >= kHeader) {
    const uint8_t* frame = held_.data() + at;
    if (frame[0] != 0x01 || frame[1] != 0x00 || !HeaderHolds(frame)) {
      ++at;  // not a frame's start: skip the byte
      continue;
    }
    const size_t size = kHeader + Be16(frame + 12);
    if (held_.size() - at < size) break;  // the rest is still coming
    if (Be16(frame + 4) == Checksum(frame + kSummedFrom, size - kSummedFrom)) {
      frames.emplace_back(frame, frame + size);
      at += size;
    } else {
      ++at;
    }
  }
  held_.erase(held_.begin(), held_.begin() + static_cast<ptrdiff_t>(at));
  return frames;
}

void ClDevice::Answer(const Packet& frame) {
  const uint16_t flags = Be16(&frame[8]);
  const uint16_t command = Be16(&frame[10]);
  const uint16_t id = Be16(&frame[14]);
  const size_t scd = frame.size() - kHeader;
  // Channel 0 is the camera's control channel; a command that asks for no answer gets none.
  if (Be16(&frame[6]) != 0 || !(flags & gencp::kRequestAck)) return;
  const uint8_t* address = &frame[kHeader];
  if (command == gencp::kReadMemory) {
    if (scd != kReadScd) {
      return channel_.ToBoard(
          Acknowledgement(gencp::kInvalidParameter, gencp::kReadMemoryAck, id, {}));
    }
    Packet data(Be16(address + kAddressSize + 2));
    const uint16_t status = bootstrap_->Read(Be64(address), data.data(), data.size());
    return channel_.ToBoard(Acknowledgement(status, gencp::kReadMemoryAck, id,
                                            status == gencp::kSuccess ? data : Packet{}));
  }
  if (command != gencp::kWriteMemory) {
    return channel_.ToBoard(Acknowledgement(gencp::kNotImplemented, command | 1u, id, {}));
  }
  if (scd < kAddressSize) {
    return channel_.ToBoard(
        Acknowledgement(gencp::kInvalidParameter, gencp::kWriteMemoryAck, id, {0, 0, 0, 0}));
  }
  const size_t length = scd - kAddressSize;
  uint32_t baud = 0;
  const uint16_t status = bootstrap_->Write(Be64(address), address + kAddressSize, length, baud);
  const uint32_t written = status == gencp::kSuccess ? static_cast<uint32_t>(length) : 0;
  Packet reply = {0, 0, static_cast<uint8_t>(written >> 8), static_cast<uint8_t>(written)};
  channel_.ToBoard(Acknowledgement(status, gencp::kWriteMemoryAck, id, reply));
  // The answer went at the old rate; from now on the camera listens at the new one.
  if (baud != 0) {
    bootstrap_->SetBaud(baud);
    std::lock_guard<std::mutex> lock(mutex_);
    held_.clear();
  }
}

std::vector<LatePacket> ClDevice::Oddly(const Packet& answer, Fault fault, FaultPlan& plan) {
  if (answer.size() < kHeader) return {{0, answer}};
  const uint32_t delayMs = plan.Settings().delayMs;
  switch (fault) {
    case Fault::Odd: {
      // Line noise between the frames, ahead of the answer.
      Packet noisy(1 + plan.Draw(8));
      for (uint8_t& byte : noisy)
        byte = static_cast<uint8_t>(kNoiseFloor + plan.Draw(256 - kNoiseFloor));
      noisy.insert(noisy.end(), answer.begin(), answer.end());
      return {{0, noisy}};
    }
    case Fault::Wait:
    case Fault::Tentative: {
      Packet scd = {0, 0, static_cast<uint8_t>(delayMs >> 8), static_cast<uint8_t>(delayMs)};
      return {{0, Acknowledgement(gencp::kSuccess, gencp::kPendingAck, Be16(&answer[14]), scd)},
              {delayMs, answer}};
    }
    case Fault::Unknown:
      return {{0, Acknowledgement(static_cast<uint16_t>(0x8100 + plan.Draw(0x100)),
                                  Be16(&answer[10]), Be16(&answer[14]), {})}};
    case Fault::Error: {
      // The answer to the request before this one.
      Packet stale = answer;
      Put16(&stale[14], static_cast<uint16_t>(Be16(&answer[14]) - 1u));
      Seal(stale);
      return {{0, stale}};
    }
    case Fault::BadCrc: {
      Packet spoiled = answer;
      spoiled[2 + plan.Draw(4)] ^= static_cast<uint8_t>(1u << plan.Draw(8));
      return {{0, spoiled}};
    }
    default:
      return {{0, answer}};
  }
}

std::shared_ptr<DeviceModel> MakeClDevice(const Cable& cable, LinkChannel& channel) {
  if (!cable.camera || !cable.camera->camera) return nullptr;
  CameraUnit& unit = *cable.camera;
  auto bootstrap = std::dynamic_pointer_cast<ClBootstrap>(
      unit.Links([&] { return std::make_shared<ClBootstrap>(unit.described, *unit.camera); }));
  // A camera whose links another transport made its own answers there only.
  if (!bootstrap) return nullptr;
  return std::make_shared<ClDevice>(channel, std::move(bootstrap));
}

}  // namespace vesk::sim
