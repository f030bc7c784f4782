#include "sim/core/CxpCrc.h"

#include <array>

namespace vesk::sim {

namespace {

std::array<uint32_t, 256> MakeTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) ? 0xEDB88320u : 0);
    table[i] = value;
  }
  return table;
}

}  // namespace

uint32_t CxpCrc(const uint8_t* bytes, size_t length) {
  static const std::array<uint32_t, 256> table = MakeTable();
  uint32_t crc = 0xFFFFFFFF;
  for (size_t i = 0; i < length; ++i) crc = (crc >> 8) ^ table[(crc ^ bytes[i]) & 0xFF];
  return crc;
}

}  // namespace vesk::sim
