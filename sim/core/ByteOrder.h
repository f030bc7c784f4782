#ifndef VESK_SIM_CORE_BYTE_ORDER_H
#define VESK_SIM_CORE_BYTE_ORDER_H

#include <cstddef>
#include <cstdint>
#include <vector>

// Numbers in the byte order of the wire, whatever the host's: big-endian as the protocols and
// register maps hold them, little-endian as CRC words and FIFO words carry them.
namespace vesk::sim {

// The number of size bytes (8 at most), the most significant first.
inline uint64_t BeAt(const uint8_t* at, size_t size) {
  uint64_t value = 0;
  for (size_t index = 0; index < size; ++index) value = value << 8 | at[index];
  return value;
}

inline uint16_t Be16(const uint8_t* at) { return static_cast<uint16_t>(BeAt(at, 2)); }
inline uint32_t Be32(const uint8_t* at) { return static_cast<uint32_t>(BeAt(at, 4)); }
inline uint64_t Be64(const uint8_t* at) { return BeAt(at, 8); }

// The low size bytes of value, the most significant first.
inline void PutBe(uint8_t* at, uint64_t value, size_t size) {
  for (size_t index = size; index-- > 0; value >>= 8) at[index] = static_cast<uint8_t>(value);
}

inline void Put16(uint8_t* at, uint16_t value) { PutBe(at, value, 2); }
inline void Put32(uint8_t* at, uint32_t value) { PutBe(at, value, 4); }

inline std::vector<uint8_t> BigEndian(uint64_t value, size_t size) {
  std::vector<uint8_t> bytes(size);
  PutBe(bytes.data(), value, size);
  return bytes;
}

inline void AppendBe32(std::vector<uint8_t>& bytes, uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<uint8_t>(value >> shift));
}

inline uint32_t Le32(const uint8_t* at) {
  return uint32_t{at[0]} | uint32_t{at[1]} << 8 | uint32_t{at[2]} << 16 | uint32_t{at[3]} << 24;
}

inline void AppendLe32(std::vector<uint8_t>& bytes, uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<uint8_t>(value >> shift));
}

}  // namespace vesk::sim

#endif
