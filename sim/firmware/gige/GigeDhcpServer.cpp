#include "sim/firmware/gige/GigeDhcpServer.h"

namespace vesk::sim {

namespace {

using ethernet::Get16;
using ethernet::Get32;

constexpr uint16_t kServerPort = 67;
constexpr uint16_t kClientPort = 68;
constexpr uint32_t kMagicCookie = 0x63825363;
constexpr size_t kOptions = 240;  // behind the fixed BOOTP fields and the cookie
constexpr size_t kClientMac = 28;
constexpr uint8_t kBootRequest = 1;
constexpr uint8_t kBootReply = 2;
constexpr uint32_t kFirstLease = 100;
constexpr uint32_t kLeaseSeconds = 86400;

enum Option : uint8_t {
  kPad = 0,
  kSubnetMask = 1,
  kRouter = 3,
  kRequestedIp = 50,
  kLeaseTime = 51,
  kMessageType = 53,
  kServerId = 54,
  kEnd = 255,
};

enum MessageType : uint8_t { kDiscover = 1, kOffer = 2, kRequest = 3, kAck = 5, kNak = 6 };

// The value of an option; empty when the message lacks it or its options run over.
std::optional<Packet> OptionOf(const Packet& message, uint8_t option) {
  for (size_t at = kOptions; at < message.size() && message[at] != kEnd;) {
    if (message[at] == kPad) {
      ++at;
      continue;
    }
    if (at + 1 >= message.size() || at + 2 + message[at + 1] > message.size()) break;
    const size_t length = message[at + 1];
    if (message[at] == option) {
      return Packet(message.begin() + static_cast<ptrdiff_t>(at + 2),
                    message.begin() + static_cast<ptrdiff_t>(at + 2 + length));
    }
    at += 2 + length;
  }
  return std::nullopt;
}

uint32_t WordOption(const Packet& message, uint8_t option) {
  const std::optional<Packet> value = OptionOf(message, option);
  return value && value->size() == 4 ? Get32(*value, 0) : 0;
}

void AppendOption(Packet& message, uint8_t option, uint32_t word) {
  message.insert(message.end(), {option, 4, 0, 0, 0, 0});
  ethernet::Put32(message, message.size() - 4, word);
}

}  // namespace

GigeDhcpServer::GigeDhcpServer(uint32_t subnet)
    : subnet_(subnet), mac_{0x02,
                            0x56,
                            0x53,
                            0x44,
                            static_cast<uint8_t>(subnet >> 16),
                            static_cast<uint8_t>(subnet >> 8)} {}

uint32_t GigeDhcpServer::LeaseFor(const ethernet::Mac& client) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = leases_.find(client);
  if (found != leases_.end()) return found->second;
  const auto address = subnet_ | (kFirstLease + static_cast<uint32_t>(leases_.size()));
  leases_.emplace(client, address);
  return address;
}

std::optional<Packet> GigeDhcpServer::Answer(const Packet& frame) {
  const std::optional<ethernet::Udp> datagram = ethernet::ParseUdp(frame);
  if (!datagram || datagram->destinationPort != kServerPort) return std::nullopt;
  const Packet& message = datagram->payload;
  if (message.size() <= kOptions || message[0] != kBootRequest || message[1] != 1 ||
      message[2] != 6 || Get32(message, kOptions - 4) != kMagicCookie) {
    return std::nullopt;
  }
  const std::optional<Packet> type = OptionOf(message, kMessageType);
  if (!type || type->size() != 1 || ((*type)[0] != kDiscover && (*type)[0] != kRequest)) {
    return std::nullopt;
  }
  const uint32_t server = subnet_ | 1;
  const ethernet::Mac client = ethernet::MacAt(message, kClientMac);
  const uint32_t lease = LeaseFor(client);
  uint8_t answer = kOffer;
  if ((*type)[0] == kRequest) {
    const uint32_t serverId = WordOption(message, kServerId);
    if (serverId && serverId != server) return std::nullopt;  // the client chose another server
    const uint32_t requested = WordOption(message, kRequestedIp);
    answer = (requested ? requested : Get32(message, 12)) == lease ? kAck : kNak;
  }
  Packet reply(message.begin(), message.begin() + kOptions);
  std::fill(reply.begin() + 8, reply.begin() + kClientMac, 0);  // secs .. giaddr
  reply[0] = kBootReply;
  reply[3] = 0;
  ethernet::Put16(reply, 10, Get16(message, 10));  // the client's broadcast flag
  if (answer != kNak) ethernet::Put32(reply, 16, lease);
  ethernet::Put32(reply, 20, server);
  reply.insert(reply.end(), {kMessageType, 1, answer});
  AppendOption(reply, kServerId, server);
  if (answer != kNak) {
    AppendOption(reply, kLeaseTime, kLeaseSeconds);
    AppendOption(reply, kSubnetMask, 0xFFFFFF00);
    AppendOption(reply, kRouter, server);
  }
  reply.push_back(kEnd);
  ethernet::Udp udp;
  udp.destinationMac = ethernet::kBroadcastMac;
  udp.sourceMac = mac_;
  udp.sourceIp = server;
  udp.destinationIp = ethernet::kBroadcastIp;
  udp.sourcePort = kServerPort;
  udp.destinationPort = kClientPort;
  udp.payload = std::move(reply);
  return ethernet::BuildUdp(udp);
}

}  // namespace vesk::sim
