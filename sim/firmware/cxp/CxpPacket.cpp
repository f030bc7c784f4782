#include "sim/firmware/cxp/CxpPacket.h"

#include "sim/core/ByteOrder.h"
#include "sim/core/CxpCrc.h"

namespace vesk::sim {

Packet CxpFramed(uint8_t type, const uint8_t* body, size_t size) {
  Packet packet(4, type);
  packet.insert(packet.end(), body, body + size);
  AppendLe32(packet, CxpCrc(body, size));
  return packet;
}

uint8_t CxpCheckedType(const Packet& packet) {
  if (packet.size() < 8 || packet.size() % 4 != 0) return 0;
  const uint8_t type = packet[0];
  if (packet[1] != type || packet[2] != type || packet[3] != type) return 0;
  const size_t crcAt = packet.size() - 4;
  return CxpCrc(packet.data() + 4, crcAt - 4) == Le32(packet.data() + crcAt) ? type : 0;
}

}  // namespace vesk::sim
