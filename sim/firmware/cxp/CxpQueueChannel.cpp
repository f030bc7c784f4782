#include "sim/firmware/cxp/CxpQueueChannel.h"

#include "sim/core/ByteOrder.h"
#include "sim/firmware/cxp/CxpPacket.h"

namespace vesk::sim {

CxpQueueChannel::CxpQueueChannel(DataQueue& receive, DataQueue& transmit, Sender send)
    : receive_(receive), transmit_(transmit), send_(std::move(send)) {
  transmit_.SetWriteHandler(
      [this](const uint8_t* bytes, size_t size) { return FromHost(bytes, size); });
}

CxpQueueChannel::~CxpQueueChannel() { transmit_.SetWriteHandler(nullptr); }

// Each write holds whole packets, their words as the host holds them: the bytes in wire order,
// read as a little-endian value; one whose length word does not fit is dropped with the rest.
int CxpQueueChannel::FromHost(const uint8_t* bytes, size_t size) {
  size_t at = 0;
  while (at + 4 <= size) {
    const uint32_t header = Le32(bytes + at);
    const size_t body = size_t{header & 0xFFFF} * 4;
    if (body == 0 || at + 4 + body > size) break;
    send_(CxpFramed((header & kTagged) ? kCxpTaggedCommand : kCxpCommand, bytes + at + 4, body));
    at += 4 + body;
  }
  return static_cast<int>(size);
}

void CxpQueueChannel::Acknowledge(const Packet& packet) {
  if (packet.size() < 12 || packet.size() % 4 != 0) return;
  if (packet[0] != kCxpAck && packet[0] != kCxpTaggedAck) return;
  // The firmware takes the CRC off, so it is the one to check it: a spoiled packet never arrives.
  if (CxpCheckedType(packet) == 0) return;
  const size_t words = packet.size() / 4 - 2;  // neither the type word nor the CRC
  Packet out;
  out.reserve(packet.size() - 4);
  AppendLe32(out, static_cast<uint32_t>(words) | (packet[0] == kCxpTaggedAck ? kTagged : 0));
  out.insert(out.end(), packet.begin() + 4, packet.end() - 4);
  receive_.Push(out.data(), out.size());
}

}  // namespace vesk::sim
