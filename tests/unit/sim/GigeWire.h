#ifndef VESK_TESTS_UNIT_SIM_GIGE_WIRE_H
#define VESK_TESTS_UNIT_SIM_GIGE_WIRE_H

// Ethernet frames with ARP, IPv4, UDP, GVCP and DHCP inside, built and read from the published
// layouts, apart from the simulator's own code. Addresses are in host order.
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vesk::sim::gige {

using Bytes = std::vector<uint8_t>;
using Mac = std::array<uint8_t, 6>;

constexpr Mac kBroadcast = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
constexpr Mac kHostMac = {0x02, 0x00, 0x00, 0x00, 0x00, 0x01};
constexpr uint32_t kHostIp = 0xA9FE0009;  // 169.254.0.9
constexpr uint16_t kGvcpPort = 3956;

// The IEEE 802.3 CRC, bit by bit.
inline uint32_t BitwiseCrc32(const uint8_t* bytes, size_t length) {
  uint32_t crc = 0xFFFFFFFF;
  for (size_t i = 0; i < length; ++i) {
    crc ^= bytes[i];
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? (crc >> 1) ^ 0xEDB88320 : crc >> 1;
  }
  return ~crc;
}

inline void Put16(Bytes& bytes, uint32_t value) {
  bytes.push_back(static_cast<uint8_t>(value >> 8));
  bytes.push_back(static_cast<uint8_t>(value));
}

inline void Put32(Bytes& bytes, uint32_t value) {
  Put16(bytes, value >> 16);
  Put16(bytes, value & 0xFFFF);
}

inline void PutMac(Bytes& bytes, const Mac& mac) {
  bytes.insert(bytes.end(), mac.begin(), mac.end());
}

inline uint32_t Get16(const Bytes& bytes, size_t at) {
  return uint32_t{bytes.at(at)} << 8 | bytes.at(at + 1);
}

inline uint32_t Get32(const Bytes& bytes, size_t at) {
  return Get16(bytes, at) << 16 | Get16(bytes, at + 2);
}

inline Mac MacAt(const Bytes& bytes, size_t at) {
  Mac mac{};
  for (size_t i = 0; i < 6; ++i) mac[i] = bytes.at(at + i);
  return mac;
}

inline uint16_t Checksum(const Bytes& bytes, size_t from, size_t to, uint32_t sum = 0) {
  for (size_t i = from; i < to; i += 2) sum += Get16(bytes, i);
  while (sum > 0xFFFF) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

inline Bytes Ethernet(const Mac& destination, const Mac& source, uint16_t type,
                      const Bytes& payload) {
  Bytes frame;
  PutMac(frame, destination);
  PutMac(frame, source);
  Put16(frame, type);
  frame.insert(frame.end(), payload.begin(), payload.end());
  return frame;
}

struct Datagram {
  Mac destinationMac = kBroadcast;
  Mac sourceMac = kHostMac;
  uint32_t sourceIp = kHostIp;
  uint32_t destinationIp = 0xFFFFFFFF;
  uint16_t sourcePort = 10000;
  uint16_t destinationPort = kGvcpPort;
  Bytes payload;
};

// IPv4 without options, UDP without checksum; an odd payload is padded for the header sums only.
inline Bytes Udp(const Datagram& datagram) {
  Bytes ip;
  Put16(ip, 0x4500);
  Put16(ip, static_cast<uint32_t>(28 + datagram.payload.size()));
  Put32(ip, 0x00004000);
  Put32(ip, 0x40110000);
  Put32(ip, datagram.sourceIp);
  Put32(ip, datagram.destinationIp);
  const uint16_t sum = Checksum(ip, 0, 20);
  ip[10] = static_cast<uint8_t>(sum >> 8);
  ip[11] = static_cast<uint8_t>(sum);
  Put16(ip, datagram.sourcePort);
  Put16(ip, datagram.destinationPort);
  Put16(ip, static_cast<uint32_t>(8 + datagram.payload.size()));
  Put16(ip, 0);
  ip.insert(ip.end(), datagram.payload.begin(), datagram.payload.end());
  return Ethernet(datagram.destinationMac, datagram.sourceMac, 0x0800, ip);
}

// The datagram in a frame: IPv4 without options, UDP; empty for anything else.
inline std::optional<Datagram> ParseUdp(const Bytes& frame) {
  if (frame.size() < 42 || Get16(frame, 12) != 0x0800 || frame[14] != 0x45 || frame[23] != 17) {
    return std::nullopt;
  }
  Datagram datagram;
  datagram.destinationMac = MacAt(frame, 0);
  datagram.sourceMac = MacAt(frame, 6);
  datagram.sourceIp = Get32(frame, 26);
  datagram.destinationIp = Get32(frame, 30);
  datagram.sourcePort = static_cast<uint16_t>(Get16(frame, 34));
  datagram.destinationPort = static_cast<uint16_t>(Get16(frame, 36));
  const size_t size = Get16(frame, 38);
  if (size < 8 || 34 + size > frame.size() || Checksum(frame, 14, 34) != 0) return std::nullopt;
  datagram.payload.assign(frame.begin() + 42, frame.begin() + static_cast<ptrdiff_t>(34 + size));
  return datagram;
}

// A GVCP command: key 0x42, flags, command, length, request id, then the payload.
inline Bytes Gvcp(uint16_t command, const Bytes& payload, uint16_t id, uint8_t flags = 0x01) {
  Bytes bytes{0x42, flags};
  Put16(bytes, command);
  Put16(bytes, static_cast<uint32_t>(payload.size()));
  Put16(bytes, id);
  bytes.insert(bytes.end(), payload.begin(), payload.end());
  return bytes;
}

inline Bytes Words(std::initializer_list<uint32_t> words) {
  Bytes bytes;
  for (uint32_t word : words) Put32(bytes, word);
  return bytes;
}

struct GvcpAck {
  uint32_t status = 0;
  uint32_t code = 0;
  uint32_t id = 0;
  Bytes payload;
};

inline std::optional<GvcpAck> ParseAck(const Bytes& bytes) {
  if (bytes.size() < 8 || bytes.size() < 8 + Get16(bytes, 4)) return std::nullopt;
  GvcpAck ack{Get16(bytes, 0), Get16(bytes, 2), Get16(bytes, 6), {}};
  ack.payload.assign(bytes.begin() + 8, bytes.begin() + 8 + Get16(bytes, 4));
  return ack;
}

// An ARP request (op 1) or reply (op 2) for IPv4 over Ethernet.
inline Bytes Arp(uint16_t op, const Mac& sender, uint32_t senderIp, const Mac& target,
                 uint32_t targetIp) {
  Bytes arp;
  Put32(arp, 0x00010800);
  Put32(arp, 0x06040000 | op);
  PutMac(arp, sender);
  Put32(arp, senderIp);
  PutMac(arp, target);
  Put32(arp, targetIp);
  return Ethernet(op == 1 ? kBroadcast : target, sender, 0x0806, arp);
}

// A DHCP message of the host (client port 68 to server port 67), type as option 53.
inline Bytes Dhcp(uint8_t type, uint32_t transaction, uint32_t requested = 0) {
  Bytes bootp{1, 1, 6, 0};
  Put32(bootp, transaction);
  Put32(bootp, 0x00008000);  // broadcast answers wanted
  bootp.resize(28, 0);
  PutMac(bootp, kHostMac);
  bootp.resize(236, 0);
  Put32(bootp, 0x63825363);
  bootp.insert(bootp.end(), {53, 1, type});
  if (requested) {
    bootp.insert(bootp.end(), {50, 4});
    Put32(bootp, requested);
  }
  bootp.push_back(255);
  Datagram datagram;
  datagram.sourceIp = 0;
  datagram.sourcePort = 68;
  datagram.destinationPort = 67;
  datagram.payload = bootp;
  return Udp(datagram);
}

// The value of a DHCP option of a message (the BOOTP payload); empty when it has none.
inline Bytes DhcpOption(const Bytes& bootp, uint8_t option) {
  for (size_t at = 240; at + 1 < bootp.size() && bootp[at] != 255;) {
    if (bootp[at] == 0) {
      ++at;
      continue;
    }
    const size_t length = bootp[at + 1];
    if (bootp[at] == option) {
      return Bytes(bootp.begin() + static_cast<ptrdiff_t>(at + 2),
                   bootp.begin() + static_cast<ptrdiff_t>(at + 2 + length));
    }
    at += 2 + length;
  }
  return {};
}

}  // namespace vesk::sim::gige

#endif
