#ifndef VESK_TESTS_UNIT_SIM_CL_WIRE_H
#define VESK_TESTS_UNIT_SIM_CL_WIRE_H

// GenCP frames as they cross the Camera Link serial line, built and read from the standard's
// layout, apart from the simulator's own code and the library's.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tests/unit/sim/GencpWire.h"

namespace vesk::sim::clwire {

using gencpwire::Bytes;
using gencpwire::Get;
using gencpwire::Put;

constexpr size_t kHeader = 16;

// The sum over big-endian 16-bit words, folded, inverted.
inline uint16_t Checksum(const Bytes& bytes, size_t from, size_t count) {
  uint32_t sum = 0;
  for (size_t at = from; at < from + count; at += 2)
    sum += uint32_t{bytes[at]} << 8 | (at + 1 < from + count ? bytes[at + 1] : 0);
  while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

inline Bytes Frame(uint16_t command, uint16_t id, const Bytes& scd, uint16_t flags = 0x4000) {
  Bytes frame;
  Put(frame, 0x0100, 2);
  Put(frame, 0, 4);  // the checksums, below
  Put(frame, 0, 2);  // channel
  Put(frame, flags, 2);
  Put(frame, command, 2);
  Put(frame, scd.size(), 2);
  Put(frame, id, 2);
  frame.insert(frame.end(), scd.begin(), scd.end());
  const uint16_t header = Checksum(frame, 6, 10);
  const uint16_t full = Checksum(frame, 6, frame.size() - 6);
  frame[2] = static_cast<uint8_t>(header >> 8), frame[3] = static_cast<uint8_t>(header);
  frame[4] = static_cast<uint8_t>(full >> 8), frame[5] = static_cast<uint8_t>(full);
  return frame;
}

inline Bytes ReadMem(uint64_t address, uint16_t length, uint16_t id) {
  return Frame(0x0800, id, gencpwire::ReadMemScd(address, length));
}

inline Bytes WriteMem(uint64_t address, const Bytes& data, uint16_t id) {
  return Frame(0x0802, id, gencpwire::WriteMemScd(address, data));
}

struct Ack {
  uint16_t status = 0;
  uint16_t command = 0;
  uint16_t id = 0;
  Bytes scd;
  size_t at = 0;         // where the frame started in what came
  bool checked = false;  // both checksums hold
};

// The first frame in bytes, from its preamble on; none while it is not whole.
inline std::optional<Ack> FirstAck(const Bytes& bytes) {
  for (size_t at = 0; at + kHeader <= bytes.size(); ++at) {
    if (bytes[at] != 0x01 || bytes[at + 1] != 0x00) continue;
    const Bytes frame(bytes.begin() + static_cast<ptrdiff_t>(at), bytes.end());
    const size_t scd = Get(frame, 12, 2);
    if (frame.size() < kHeader + scd) return std::nullopt;
    Ack ack;
    ack.status = static_cast<uint16_t>(Get(frame, 8, 2));
    ack.command = static_cast<uint16_t>(Get(frame, 10, 2));
    ack.id = static_cast<uint16_t>(Get(frame, 14, 2));
    ack.scd.assign(frame.begin() + kHeader, frame.begin() + static_cast<ptrdiff_t>(kHeader + scd));
    ack.at = at;
    ack.checked = Get(frame, 2, 2) == Checksum(frame, 6, 10) &&
                  Get(frame, 4, 2) == Checksum(frame, 6, 10 + scd);
    return ack;
  }
  return std::nullopt;
}

}  // namespace vesk::sim::clwire

#endif
