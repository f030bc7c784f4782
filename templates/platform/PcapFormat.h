#ifndef VESK_TEMPLATES_PLATFORM_PCAP_FORMAT_H
#define VESK_TEMPLATES_PLATFORM_PCAP_FORMAT_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace vesk::templates::platform {

// The classic pcap file format, little-endian, as both capture writers produce it.
using PcapFileHeader = std::array<uint8_t, 24>;
using PcapRecordHeader = std::array<uint8_t, 16>;

constexpr uint32_t kPcapLinkTypeEthernet = 1;
// User type 0, where a protocol analyser lets the engineer choose the dissector.
constexpr uint32_t kPcapLinkTypeUser0 = 147;

inline void PutPcapLe(uint8_t* at, uint32_t value, size_t width) {
  for (size_t i = 0; i < width; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

inline PcapFileHeader MakePcapFileHeader(uint32_t linkType) {
  PcapFileHeader header{};
  PutPcapLe(&header[0], 0xA1B2C3D4, 4);
  PutPcapLe(&header[4], 2, 2);       // major version
  PutPcapLe(&header[6], 4, 2);       // minor version
  PutPcapLe(&header[16], 65535, 4);  // snapshot length
  PutPcapLe(&header[20], linkType, 4);
  return header;
}

// The captured length and the length on the wire are always the same here.
inline PcapRecordHeader MakePcapRecordHeader(uint32_t seconds, uint32_t microseconds,
                                             uint32_t length) {
  PcapRecordHeader header{};
  PutPcapLe(&header[0], seconds, 4);
  PutPcapLe(&header[4], microseconds, 4);
  PutPcapLe(&header[8], length, 4);
  PutPcapLe(&header[12], length, 4);
  return header;
}

}  // namespace vesk::templates::platform

#endif
