#ifndef VESK_TESTS_SUPPORT_WIRE_BYTES_H
#define VESK_TESTS_SUPPORT_WIRE_BYTES_H

// Packets built by hand, byte by byte, as the published layouts draw them.
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace vesk::test {

using Bytes = std::vector<uint8_t>;

inline uint8_t Byte(uint64_t value) { return static_cast<uint8_t>(value); }

// The value's low bytes, most significant first.
inline Bytes BigEndian(uint64_t value, int count) {
  Bytes bytes;
  for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) bytes.push_back(Byte(value >> shift));
  return bytes;
}
inline Bytes Be16(uint64_t value) { return BigEndian(value, 2); }
inline Bytes Be32(uint64_t value) { return BigEndian(value, 4); }
inline Bytes Be64(uint64_t value) { return BigEndian(value, 8); }

inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// Register contents 1, 2, 3, ... so that a misplaced byte shows.
inline Bytes Payload(size_t count) {
  Bytes bytes(count);
  for (size_t i = 0; i < count; ++i) bytes[i] = Byte(i + 1);
  return bytes;
}

}  // namespace vesk::test

#endif
