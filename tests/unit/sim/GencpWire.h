#ifndef VESK_TESTS_UNIT_SIM_GENCP_WIRE_H
#define VESK_TESTS_UNIT_SIM_GENCP_WIRE_H

// What GenCP commands carry on every transport, built and read from the standard's layout, apart
// from the simulator's own code and the library's: big-endian fields and the memory commands'
// SCDs.
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vesk::sim::gencpwire {

using Bytes = std::vector<uint8_t>;

inline void Put(Bytes& bytes, uint64_t value, int size) {
  for (int at = size - 1; at >= 0; --at) bytes.push_back(static_cast<uint8_t>(value >> 8 * at));
}

inline uint64_t Get(const Bytes& bytes, size_t at, int size) {
  uint64_t value = 0;
  for (int index = 0; index < size; ++index) value = value << 8 | bytes.at(at + index);
  return value;
}

// READMEM: the address, then the length in a 4-byte field.
inline Bytes ReadMemScd(uint64_t address, uint16_t length) {
  Bytes scd;
  Put(scd, address, 8);
  Put(scd, length, 4);
  return scd;
}

// WRITEMEM: the address, then the data.
inline Bytes WriteMemScd(uint64_t address, const Bytes& data) {
  Bytes scd;
  Put(scd, address, 8);
  scd.insert(scd.end(), data.begin(), data.end());
  return scd;
}

}  // namespace vesk::sim::gencpwire

#endif
