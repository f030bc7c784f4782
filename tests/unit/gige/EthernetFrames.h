#ifndef VESK_TESTS_UNIT_GIGE_ETHERNET_FRAMES_H
#define VESK_TESTS_UNIT_GIGE_ETHERNET_FRAMES_H

#include <array>
#include <cstdint>
#include <vector>

namespace vesk::test {

// Ethernet frames written out by hand from the published IPv4, UDP and ARP layouts, so that
// the network stack's own coders are checked against something other than themselves.
using Bytes = std::vector<uint8_t>;
using Mac = std::array<uint8_t, 6>;

constexpr Mac kBroadcastMac = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
constexpr uint16_t kGvcpPort = 3956;

inline void PutBe(Bytes& bytes, uint32_t value, int width) {
  for (int i = width - 1; i >= 0; --i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

inline uint32_t Be(const Bytes& bytes, size_t at, int width) {
  uint32_t value = 0;
  for (int i = 0; i < width; ++i) value = value << 8 | bytes.at(at + i);
  return value;
}

inline void PutMac(Bytes& bytes, const Mac& mac) {
  bytes.insert(bytes.end(), mac.begin(), mac.end());
}

inline Bytes EthernetHeader(const Mac& destination, const Mac& source, uint16_t etherType) {
  Bytes frame;
  PutMac(frame, destination);
  PutMac(frame, source);
  PutBe(frame, etherType, 2);
  return frame;
}

// The one's complement sum of the IPv4 header's 16-bit words.
inline uint16_t Ipv4Checksum(const uint8_t* header) {
  uint32_t sum = 0;
  for (int i = 0; i < 20; i += 2) sum += static_cast<uint32_t>(header[i] << 8 | header[i + 1]);
  while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

// A UDP datagram without checksum in an unfragmented IPv4 packet; addresses in host order.
inline Bytes UdpFrame(const Mac& destinationMac, const Mac& sourceMac, uint32_t sourceIp,
                      uint32_t destinationIp, uint16_t sourcePort, uint16_t destinationPort,
                      const Bytes& payload) {
  Bytes frame = EthernetHeader(destinationMac, sourceMac, 0x0800);
  const size_t ip = frame.size();
  PutBe(frame, 0x4500, 2);
  PutBe(frame, static_cast<uint32_t>(28 + payload.size()), 2);
  PutBe(frame, 0, 4);       // identification, flags, fragment offset
  PutBe(frame, 0x4011, 2);  // time to live 64, protocol UDP
  PutBe(frame, 0, 2);
  PutBe(frame, sourceIp, 4);
  PutBe(frame, destinationIp, 4);
  const uint16_t checksum = Ipv4Checksum(frame.data() + ip);
  frame[ip + 10] = static_cast<uint8_t>(checksum >> 8);
  frame[ip + 11] = static_cast<uint8_t>(checksum);
  PutBe(frame, sourcePort, 2);
  PutBe(frame, destinationPort, 2);
  PutBe(frame, static_cast<uint32_t>(8 + payload.size()), 2);
  PutBe(frame, 0, 2);
  frame.insert(frame.end(), payload.begin(), payload.end());
  return frame;
}

// An ARP packet of `operation` (1 request, 2 reply) in its Ethernet frame; addresses in host
// order.
inline Bytes ArpFrame(uint16_t operation, const Mac& destinationMac, const Mac& senderMac,
                      uint32_t senderIp, const Mac& targetMac, uint32_t targetIp) {
  Bytes frame = EthernetHeader(destinationMac, senderMac, 0x0806);
  PutBe(frame, 1, 2);       // Ethernet
  PutBe(frame, 0x0800, 2);  // IPv4
  PutBe(frame, 0x0604, 2);  // address lengths
  PutBe(frame, operation, 2);
  PutMac(frame, senderMac);
  PutBe(frame, senderIp, 4);
  PutMac(frame, targetMac);
  PutBe(frame, targetIp, 4);
  return frame;
}

// Who has `targetIp`? asks `senderMac` at `senderIp`.
inline Bytes ArpRequest(const Mac& senderMac, uint32_t senderIp, uint32_t targetIp) {
  return ArpFrame(1, kBroadcastMac, senderMac, senderIp, Mac{}, targetIp);
}

}  // namespace vesk::test

#endif
