#ifndef VESK_TESTS_UNIT_SIM_CLHS_WIRE_H
#define VESK_TESTS_UNIT_SIM_CLHS_WIRE_H

// GenCP commands and acknowledges as they pass the X-Core's command FIFOs of a Camera Link HS
// board, built and read from the published layout, apart from the simulator's own code and the
// library's: two prefix words, then the GenCP header and command, big-endian, in whole 32-bit
// words whose bytes stand in memory order.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "tests/unit/sim/GencpWire.h"

namespace vesk::sim::clhswire {

using gencpwire::Bytes;
using gencpwire::Get;
using gencpwire::Put;
using Words = std::vector<uint32_t>;

constexpr size_t kHeader = 16;
constexpr uint16_t kRequestAck = 0x4000;
constexpr uint16_t kResend = 0x8000;

// The memory image of words, low byte of each first.
inline Words ToWords(Bytes bytes) {
  bytes.resize((bytes.size() + 3) & ~size_t{3});
  Words words(bytes.size() / 4);
  for (size_t at = 0; at < words.size(); ++at) {
    for (int shift = 0; shift < 4; ++shift)
      words[at] |= uint32_t{bytes[at * 4 + shift]} << (8 * shift);
  }
  return words;
}

inline Bytes ToBytes(const Words& words) {
  Bytes bytes;
  for (uint32_t word : words) {
    for (int shift = 0; shift < 32; shift += 8)
      bytes.push_back(static_cast<uint8_t>(word >> shift));
  }
  return bytes;
}

inline Words Command(uint16_t command, uint16_t id, uint16_t scd, const Bytes& body,
                     uint16_t flags = kRequestAck) {
  Bytes bytes = {0x40, 0x50, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00};
  Put(bytes, flags, 2);
  Put(bytes, command, 2);
  Put(bytes, scd, 2);
  Put(bytes, id, 2);
  bytes.insert(bytes.end(), body.begin(), body.end());
  return ToWords(bytes);
}

inline Words ReadMem(uint64_t address, uint16_t length, uint16_t id, uint16_t flags = kRequestAck) {
  return Command(0x0800, id, 12, gencpwire::ReadMemScd(address, length), flags);
}

inline Words WriteMem(uint64_t address, const Bytes& data, uint16_t id) {
  return Command(0x0802, id, static_cast<uint16_t>(8 + data.size()),
                 gencpwire::WriteMemScd(address, data));
}

struct Ack {
  uint16_t status = 0;
  uint16_t ack = 0;
  uint16_t id = 0;
  Bytes scd;  // as long as the SCD length says
};

// Empty for fewer words than a header, or an SCD length past the words.
inline std::optional<Ack> Parse(const Words& words) {
  const Bytes bytes = ToBytes(words);
  if (bytes.size() < kHeader) return std::nullopt;
  Ack ack;
  ack.status = static_cast<uint16_t>(Get(bytes, 8, 2));
  ack.ack = static_cast<uint16_t>(Get(bytes, 10, 2));
  ack.id = static_cast<uint16_t>(Get(bytes, 14, 2));
  const size_t scd = Get(bytes, 12, 2);
  if (kHeader + scd > bytes.size()) return std::nullopt;
  ack.scd.assign(bytes.begin() + kHeader, bytes.begin() + static_cast<ptrdiff_t>(kHeader + scd));
  return ack;
}

}  // namespace vesk::sim::clhswire

#endif
