#include "sim/firmware/cxp/CxpPacket.h"

namespace vesk::sim {

uint32_t CxpCrc(const uint8_t* bytes, size_t size) {
  uint32_t crc = 0xFFFFFFFF;
  for (size_t at = 0; at < size; ++at) {
    crc ^= bytes[at];
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320 & (0u - (crc & 1)));
  }
  return crc;
}

uint32_t CxpWordAt(const uint8_t* bytes) {
  return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 |
         uint32_t{bytes[3]} << 24;
}

void CxpAppendWord(Packet& packet, uint32_t word) {
  for (int shift = 0; shift < 32; shift += 8) packet.push_back(static_cast<uint8_t>(word >> shift));
}

Packet CxpFramed(uint8_t type, const uint8_t* body, size_t size) {
  Packet packet(4, type);
  packet.insert(packet.end(), body, body + size);
  CxpAppendWord(packet, CxpCrc(body, size));
  return packet;
}

uint8_t CxpCheckedType(const Packet& packet) {
  if (packet.size() < 8 || packet.size() % 4 != 0) return 0;
  const uint8_t type = packet[0];
  if (packet[1] != type || packet[2] != type || packet[3] != type) return 0;
  const size_t crcAt = packet.size() - 4;
  return CxpCrc(packet.data() + 4, crcAt - 4) == CxpWordAt(packet.data() + crcAt) ? type : 0;
}

}  // namespace vesk::sim
