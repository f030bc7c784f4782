#include "vesk_genicam/impl/GbeBufferRW.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "lwip/def.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

namespace {

constexpr unsigned char kGvcpKey = 0x42;
// READMEM_ACK echoes the address in front of its data.
constexpr unsigned int kReadMemAddressEcho = 4;

unsigned int RoundUpTo4(unsigned int length) { return (length + 3) & ~3u; }

void PutBe16(unsigned char* at, unsigned int value) {
  const uint16_t wire = lwip_htons(static_cast<uint16_t>(value));
  std::memcpy(at, &wire, sizeof wire);
}

void PutBe32(unsigned char* at, unsigned int value) {
  const uint32_t wire = lwip_htonl(value);
  std::memcpy(at, &wire, sizeof wire);
}

// Turns the 16-bit word at `at` from wire to host order in place and gives its value.
unsigned int SwapBe16(unsigned char* at) {
  uint16_t word;
  std::memcpy(&word, at, sizeof word);
  word = lwip_htons(word);
  std::memcpy(at, &word, sizeof word);
  return word;
}

bool HasDataPayload(unsigned int command) {
  return command == GVCP_PACKETRESEND_CMD || command == GVCP_ACTION_CMD ||
         command == GVCP_WRITEREG_CMD;
}

}  // namespace

CGbeBufferRW::CGbeBufferRW(unsigned int command, unsigned int address, unsigned int requestId,
                           unsigned char* data, unsigned int length, unsigned char flags)
    : data_(data),
      length_(length),
      command_(command),
      address_(address),
      requestId_(requestId),
      flags_(flags) {}

bool CGbeBufferRW::PayloadSize(unsigned int& size) const {
  switch (command_) {
    case GVCP_DISCOVERY_CMD:
      size = 0;
      return true;
    case GVCP_PACKETRESEND_CMD:
    case GVCP_ACTION_CMD:
      size = length_;
      return true;
    case GVCP_READREG_CMD:
      size = RoundUpTo4(length_);
      return true;
    case GVCP_WRITEREG_CMD:
      size = RoundUpTo4(length_) * 2;
      return true;
    case GVCP_READMEM_CMD:
      size = 8;
      return true;
    default:
      return false;
  }
}

bool CGbeBufferRW::GetPacket(unsigned char** packet, unsigned int& size) {
  unsigned int payloadSize = 0;
  if (!packet || !PayloadSize(payloadSize)) return false;
  if (!data_ && length_ > 0 && HasDataPayload(command_)) return false;
  size = kGvcpHeaderSize + payloadSize;
  unsigned char* bytes = new unsigned char[size]();
  bytes[0] = kGvcpKey;
  bytes[1] = flags_;
  PutBe16(bytes + 2, command_);
  PutBe16(bytes + 4, payloadSize);
  PutBe16(bytes + 6, requestId_ & 0xFFFF);
  WritePayload(bytes + kGvcpHeaderSize);
  *packet = bytes;
  return true;
}

void CGbeBufferRW::WritePayload(unsigned char* payload) const {
  switch (command_) {
    case GVCP_PACKETRESEND_CMD:
    case GVCP_ACTION_CMD:
      if (length_ > 0) std::memcpy(payload, data_, length_);
      break;
    case GVCP_READREG_CMD:
      // The address grows by one per word, not by four; callers read a single register.
      for (unsigned int word = 0; word < RoundUpTo4(length_) / 4; ++word) {
        PutBe32(payload + 4 * word, address_ + word);
      }
      break;
    case GVCP_WRITEREG_CMD:
      WriteRegisterPayload(payload);
      break;
    case GVCP_READMEM_CMD:
      // The upper half of the count word is reserved and stays zero for any control-sized read.
      PutBe32(payload, address_);
      PutBe32(payload + 4, RoundUpTo4(length_));
      break;
    default:
      break;
  }
}

// Address and value pairs; values come in host order, a short last one padded with zeros.
void CGbeBufferRW::WriteRegisterPayload(unsigned char* payload) const {
  for (unsigned int word = 0; word < RoundUpTo4(length_) / 4; ++word) {
    uint32_t value = 0;
    std::memcpy(&value, data_ + 4 * word, std::min(4u, length_ - 4 * word));
    PutBe32(payload + 8 * word, address_ + word);
    PutBe32(payload + 8 * word + 4, value);
  }
}

int CGbeBufferRW::GetDataFromRawPacket(unsigned char* raw, unsigned int rawSize, unsigned char* out,
                                       unsigned int outSize, unsigned int& outLength) {
  outLength = 0;
  if (!raw || !out) return MLO_ERR_INVALID_DATA;
  if (rawSize < kGvcpHeaderSize) return MLO_ERR_GENCP_INVALID_PACKET;
  const unsigned int status = SwapBe16(raw);
  const unsigned int acknowledge = SwapBe16(raw + 2);
  unsigned int payloadLength = SwapBe16(raw + 4);
  SwapBe16(raw + 6);  // The acknowledge id: a late answer is still taken.
  if (status != 0) return MLO_ERR_ACCESS_DENIED;
  if (acknowledge != command_ + 1) return MLO_ERR_GENCP_INVALID_PACKET;

  unsigned int offset = kGvcpHeaderSize;
  switch (acknowledge) {
    case GVCP_WRITEREG_ACK:
      return MLO_OK;
    case GVCP_READMEM_ACK:
      offset += kReadMemAddressEcho;
      payloadLength = payloadLength > kReadMemAddressEcho ? payloadLength - kReadMemAddressEcho : 0;
      break;
    case GVCP_DISCOVERY_ACK:
    case GVCP_READREG_ACK:
      break;
    default:
      return MLO_ERR_GENCP_INVALID_PACKET;
  }
  // The length field is the device's word; the packet's own size bounds the copy.
  const unsigned int available = rawSize > offset ? rawSize - offset : 0;
  outLength = std::min({payloadLength, outSize, available});
  if (outLength > 0) std::memcpy(out, raw + offset, outLength);
  return MLO_OK;
}
