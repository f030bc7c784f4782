#ifndef VESK_SIM_CORE_ETHERNET_FRAME_H
#define VESK_SIM_CORE_ETHERNET_FRAME_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "sim/core/DeviceModel.h"

namespace vesk::sim {

// Ethernet frames as they cross a GigE link channel: header, payload padded to the least frame,
// and the frame check sequence, so that a bit spoiled on the way shows as a CRC error. IPv4 and
// UDP as the simulator's own small stack reads and writes them.
namespace ethernet {

using Mac = std::array<uint8_t, 6>;

constexpr Mac kBroadcastMac = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
constexpr uint32_t kBroadcastIp = 0xFFFFFFFF;
constexpr uint16_t kTypeIpv4 = 0x0800;
constexpr uint16_t kTypeArp = 0x0806;
constexpr size_t kHeaderSize = 14;
constexpr size_t kLeastFrame = 60;  // without the check sequence
constexpr size_t kFcsSize = 4;

// IEEE 802.3: reflected 0x04C11DB7 from all ones, inverted at the end.
uint32_t Crc32(const uint8_t* bytes, size_t size);
// frame padded to the least frame, then its check sequence, low byte first.
Packet WithFcs(Packet frame);
// The frame without its check sequence; empty when the sequence does not hold.
std::optional<Packet> WithoutFcs(const Packet& wire);

uint16_t Get16(const Packet& packet, size_t at);
uint32_t Get32(const Packet& packet, size_t at);
void Put16(Packet& packet, size_t at, uint16_t value);
void Put32(Packet& packet, size_t at, uint32_t value);
Mac MacAt(const Packet& packet, size_t at);
void PutMac(Packet& packet, size_t at, const Mac& mac);

// The one's complement sum of RFC 1071 over bytes, continuing sum.
uint16_t InternetChecksum(const uint8_t* bytes, size_t size, uint32_t sum = 0);

// A UDP datagram in an IPv4 packet in an Ethernet frame; addresses in host order.
struct Udp {
  Mac destinationMac{};
  Mac sourceMac{};
  uint32_t sourceIp = 0;
  uint32_t destinationIp = 0;
  uint16_t sourcePort = 0;
  uint16_t destinationPort = 0;
  Packet payload;
};

// Empty unless the frame holds an unfragmented IPv4 UDP datagram whose header checksum and (when
// not zero) UDP checksum hold.
std::optional<Udp> ParseUdp(const Packet& frame);
// The frame of the datagram, both checksums filled in, without padding or check sequence.
Packet BuildUdp(const Udp& datagram);

}  // namespace ethernet
}  // namespace vesk::sim

#endif
