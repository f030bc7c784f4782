#ifndef VESK_TESTS_UNIT_ZIP_BYTE_FIELDS_H
#define VESK_TESTS_UNIT_ZIP_BYTE_FIELDS_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"

namespace vesk::test {

// Byte buffers and their little-endian fields, as zip archives and pcap captures lay them out.
using Bytes = std::vector<uint8_t>;

inline Bytes BytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }
inline Bytes ReadBytes(const std::string& path) { return BytesOf(ReadText(path)); }

// The field of `width` bytes at `at`.
inline uint32_t Le(const Bytes& bytes, size_t at, int width = 4) {
  uint32_t value = 0;
  for (int i = width - 1; i >= 0; --i) value = value << 8 | bytes[at + i];
  return value;
}

// Bytes beyond the fourth are zero.
inline void PutLe(Bytes& bytes, size_t at, uint32_t value, int width = 4) {
  for (int i = 0; i < width; ++i)
    bytes[at + i] = i < 4 ? static_cast<uint8_t>(value >> (8 * i)) : 0;
}

// Appends fields, each a value and its width.
inline void AppendLe(Bytes& bytes, std::initializer_list<std::pair<uint32_t, int>> fields) {
  for (const auto& [value, width] : fields) {
    bytes.resize(bytes.size() + width);
    PutLe(bytes, bytes.size() - width, value, width);
  }
}

}  // namespace vesk::test

#endif
