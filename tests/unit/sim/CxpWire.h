#ifndef VESK_TESTS_UNIT_SIM_CXP_WIRE_H
#define VESK_TESTS_UNIT_SIM_CXP_WIRE_H

// CoaXPress control packets as they cross the coax between the K-codes, built and read from the
// standard's layouts, apart from the simulator's own code.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "sim/core/DeviceModel.h"

namespace vesk::sim {

using Bytes = std::vector<uint8_t>;

// Written from the standard's description, apart from the device's table-driven one.
inline uint32_t BitwiseCrc(const uint8_t* bytes, size_t length) {
  uint32_t crc = 0xFFFFFFFF;
  for (size_t i = 0; i < length; ++i) {
    crc ^= bytes[i];
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? (crc >> 1) ^ 0xEDB88320 : crc >> 1;
  }
  return crc;
}

inline void Put(Bytes& bytes, uint32_t word) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<uint8_t>(word >> shift));
}

inline Bytes Word(uint32_t word) {
  Bytes bytes;
  Put(bytes, word);
  return bytes;
}

inline uint32_t WordAt(const Bytes& bytes, size_t at) {
  return uint32_t{bytes[at]} << 24 | uint32_t{bytes[at + 1]} << 16 | uint32_t{bytes[at + 2]} << 8 |
         bytes[at + 3];
}

// A command as the host puts it on the wire. size 0 takes the payload's.
inline Packet Command(uint8_t operation, uint32_t address, uint32_t size, const Bytes& payload = {},
                      std::optional<uint8_t> tag = std::nullopt) {
  Packet packet(4, tag ? 0x05 : 0x02);
  if (tag) packet.insert(packet.end(), 4, *tag);
  Put(packet, uint32_t{operation} << 24 | (size ? size : payload.size()));
  Put(packet, address);
  packet.insert(packet.end(), payload.begin(), payload.end());
  const uint32_t crc = BitwiseCrc(packet.data() + 4, packet.size() - 4);
  for (int shift = 0; shift < 32; shift += 8) packet.push_back(static_cast<uint8_t>(crc >> shift));
  return packet;
}

inline Packet Read(uint32_t address, uint32_t size, std::optional<uint8_t> tag = std::nullopt) {
  return Command(0, address, size, {}, tag);
}

inline Packet Write(uint32_t address, const Bytes& payload,
                    std::optional<uint8_t> tag = std::nullopt) {
  return Command(1, address, 0, payload, tag);
}

struct Ack {
  std::optional<uint8_t> tag;
  int status = -1;
  Bytes payload;  // of a read answer or a wait
  bool crcGood = false;
};

inline Ack Parse(const Packet& packet) {
  Ack ack;
  size_t at = 4;
  if (packet.at(0) == 0x06) ack.tag = packet.at(at), at += 4;
  ack.status = packet.at(at);
  at += 4;
  if (ack.status == 0 || ack.status == 4) {
    const uint32_t size = WordAt(packet, at);
    ack.payload.assign(packet.begin() + static_cast<ptrdiff_t>(at + 4),
                       packet.begin() + static_cast<ptrdiff_t>(at + 4 + size));
    at += 4 + size;
  }
  EXPECT_EQ(packet.size(), at + 4);
  const size_t end = packet.size() - 4;
  const uint32_t crc =
      packet[end] | packet[end + 1] << 8 | packet[end + 2] << 16 | uint32_t{packet[end + 3]} << 24;
  ack.crcGood = crc == BitwiseCrc(packet.data() + 4, end - 4);
  return ack;
}

// An acknowledgement as the camera puts it on the wire.
inline Packet AckPacket(std::optional<uint8_t> tag, uint8_t status, const Bytes& payload = {}) {
  Packet packet(4, tag ? 0x06 : 0x03);
  if (tag) packet.insert(packet.end(), 4, *tag);
  packet.insert(packet.end(), 4, status);
  if (status == 0) Put(packet, static_cast<uint32_t>(payload.size()));
  packet.insert(packet.end(), payload.begin(), payload.end());
  const uint32_t crc = BitwiseCrc(packet.data() + 4, packet.size() - 4);
  for (int shift = 0; shift < 32; shift += 8) packet.push_back(static_cast<uint8_t>(crc >> shift));
  return packet;
}

}  // namespace vesk::sim

#endif
