#include "sim/firmware/gige/GigeFrameStream.h"

#include <algorithm>

namespace vesk::sim {

namespace {

constexpr uint8_t kStart = 0xFB;
constexpr uint8_t kPreamble = 0x55;
constexpr uint8_t kDelimiter = 0xD5;
constexpr size_t kPreambleSize = 6;
constexpr uint64_t kLowControl = 1u << 16;
constexpr uint64_t kHighControl = 1u << 17;
constexpr uint64_t kEnd = 1u << 18;

}  // namespace

void GigeFrameStream::Lane(uint8_t byte, bool control) {
  if (control) {
    if (byte == kStart) {
      started_ = true;
      terminated_ = false;
      bytes_.clear();
    } else if (started_) {
      terminated_ = true;
    }
    return;
  }
  if (started_ && !terminated_) bytes_.push_back(byte);
}

std::optional<Packet> GigeFrameStream::Write(uint64_t word) {
  Lane(static_cast<uint8_t>(word), word & kLowControl);
  Lane(static_cast<uint8_t>(word >> 8), word & kHighControl);
  if (!(word & kEnd)) return std::nullopt;
  const bool framed = started_ && bytes_.size() > kPreambleSize &&
                      std::all_of(bytes_.begin(), bytes_.begin() + kPreambleSize,
                                  [](uint8_t byte) { return byte == kPreamble; }) &&
                      bytes_[kPreambleSize] == kDelimiter;
  std::optional<Packet> frame;
  if (framed) frame = Packet(bytes_.begin() + kPreambleSize + 1, bytes_.end());
  started_ = false;
  terminated_ = false;
  bytes_.clear();
  return frame;
}

}  // namespace vesk::sim
