#include "sim/core/EthernetFrame.h"

#include "sim/core/ByteOrder.h"
#include "sim/core/CxpCrc.h"

namespace vesk::sim::ethernet {

namespace {

constexpr size_t kIpHeaderSize = 20;
constexpr size_t kUdpHeaderSize = 8;
constexpr uint8_t kProtocolUdp = 17;
constexpr uint8_t kTimeToLive = 64;

// The sum of the pseudo header that the UDP checksum covers.
uint32_t PseudoHeaderSum(uint32_t source, uint32_t destination, size_t udpSize) {
  return (source >> 16) + (source & 0xFFFF) + (destination >> 16) + (destination & 0xFFFF) +
         kProtocolUdp + static_cast<uint32_t>(udpSize);
}

}  // namespace

// CoaXPress took the same register and leaves it uninverted.
uint32_t Crc32(const uint8_t* bytes, size_t size) { return ~CxpCrc(bytes, size); }

Packet WithFcs(Packet frame) {
  if (frame.size() < kLeastFrame) frame.resize(kLeastFrame, 0);
  AppendLe32(frame, Crc32(frame.data(), frame.size()));
  return frame;
}

std::optional<Packet> WithoutFcs(const Packet& wire) {
  if (wire.size() < kHeaderSize + kFcsSize) return std::nullopt;
  const size_t end = wire.size() - kFcsSize;
  if (Le32(&wire[end]) != Crc32(wire.data(), end)) return std::nullopt;
  return Packet(wire.begin(), wire.begin() + static_cast<ptrdiff_t>(end));
}

uint16_t Get16(const Packet& packet, size_t at) { return Be16(&packet[at]); }

uint32_t Get32(const Packet& packet, size_t at) { return Be32(&packet[at]); }

void Put16(Packet& packet, size_t at, uint16_t value) { sim::Put16(&packet[at], value); }

void Put32(Packet& packet, size_t at, uint32_t value) { sim::Put32(&packet[at], value); }

Mac MacAt(const Packet& packet, size_t at) {
  Mac mac{};
  for (size_t i = 0; i < mac.size(); ++i) mac[i] = packet[at + i];
  return mac;
}

void PutMac(Packet& packet, size_t at, const Mac& mac) {
  for (size_t i = 0; i < mac.size(); ++i) packet[at + i] = mac[i];
}

uint16_t InternetChecksum(const uint8_t* bytes, size_t size, uint32_t sum) {
  for (size_t i = 0; i + 1 < size; i += 2) sum += uint32_t{bytes[i]} << 8 | bytes[i + 1];
  if (size % 2) sum += uint32_t{bytes[size - 1]} << 8;
  while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

std::optional<Udp> ParseUdp(const Packet& frame) {
  constexpr size_t ip = kHeaderSize;
  if (frame.size() < ip + kIpHeaderSize || Get16(frame, 12) != kTypeIpv4) return std::nullopt;
  const size_t headerSize = size_t{frame[ip] & 0x0Fu} * 4;
  const size_t total = Get16(frame, ip + 2);
  const bool fragment = (Get16(frame, ip + 6) & 0x3FFF) != 0;
  if (frame[ip] >> 4 != 4 || headerSize < kIpHeaderSize || total < headerSize + kUdpHeaderSize ||
      ip + total > frame.size() || fragment || frame[ip + 9] != kProtocolUdp ||
      InternetChecksum(frame.data() + ip, headerSize) != 0) {
    return std::nullopt;
  }
  const size_t udp = ip + headerSize;
  const size_t udpSize = Get16(frame, udp + 4);
  if (udpSize < kUdpHeaderSize || udp + udpSize > ip + total) return std::nullopt;
  Udp datagram;
  datagram.sourceIp = Get32(frame, ip + 12);
  datagram.destinationIp = Get32(frame, ip + 16);
  if (Get16(frame, udp + 6) != 0 &&
      InternetChecksum(frame.data() + udp, udpSize,
                       PseudoHeaderSum(datagram.sourceIp, datagram.destinationIp, udpSize)) != 0) {
    return std::nullopt;
  }
  datagram.destinationMac = MacAt(frame, 0);
  datagram.sourceMac = MacAt(frame, 6);
  datagram.sourcePort = Get16(frame, udp);
  datagram.destinationPort = Get16(frame, udp + 2);
  datagram.payload.assign(frame.begin() + static_cast<ptrdiff_t>(udp + kUdpHeaderSize),
                          frame.begin() + static_cast<ptrdiff_t>(udp + udpSize));
  return datagram;
}

Packet BuildUdp(const Udp& datagram) {
  constexpr size_t ip = kHeaderSize;
  constexpr size_t udp = ip + kIpHeaderSize;
  const size_t udpSize = kUdpHeaderSize + datagram.payload.size();
  Packet frame(udp + kUdpHeaderSize, 0);
  PutMac(frame, 0, datagram.destinationMac);
  PutMac(frame, 6, datagram.sourceMac);
  Put16(frame, 12, kTypeIpv4);
  frame[ip] = 0x45;
  Put16(frame, ip + 2, static_cast<uint16_t>(kIpHeaderSize + udpSize));
  Put16(frame, ip + 6, 0x4000);  // do not fragment
  frame[ip + 8] = kTimeToLive;
  frame[ip + 9] = kProtocolUdp;
  Put32(frame, ip + 12, datagram.sourceIp);
  Put32(frame, ip + 16, datagram.destinationIp);
  Put16(frame, ip + 10, InternetChecksum(frame.data() + ip, kIpHeaderSize));
  Put16(frame, udp, datagram.sourcePort);
  Put16(frame, udp + 2, datagram.destinationPort);
  Put16(frame, udp + 4, static_cast<uint16_t>(udpSize));
  frame.insert(frame.end(), datagram.payload.begin(), datagram.payload.end());
  uint16_t checksum =
      InternetChecksum(frame.data() + udp, udpSize,
                       PseudoHeaderSum(datagram.sourceIp, datagram.destinationIp, udpSize));
  Put16(frame, udp + 6, checksum ? checksum : 0xFFFF);  // zero would mean none
  return frame;
}

}  // namespace vesk::sim::ethernet
