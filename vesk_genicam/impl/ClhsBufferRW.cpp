#include "vesk_genicam/impl/ClhsBufferRW.h"

#include <cstring>

#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

namespace {

// Two words ahead of the GenCP header, taken by the X-Core; the first as a host value, the second
// as bytes.
constexpr unsigned int kPrefix0 = 0x00005040;
constexpr unsigned char kPrefix1[4] = {0x00, 0x01, 0x00, 0x00};
constexpr unsigned int kHeaderWords = 6;  // prefix, GenCP header, address
constexpr unsigned int kRequestWords = 7;
constexpr unsigned int kAckHeaderBytes = 16;
constexpr unsigned int kReadScd = 12;
constexpr unsigned int kAddressSize = 8;
constexpr unsigned int kWriteAckScd = 4;
constexpr unsigned short kRequestAcknowledge = 0x4000;
constexpr unsigned short kResend = 0x8000;

unsigned short Be16(const unsigned char* at) {
  return static_cast<unsigned short>(at[0] << 8 | at[1]);
}

}  // namespace

CClhsBufferRW::CClhsBufferRW(unsigned long address, unsigned int command, unsigned int requestId,
                             unsigned int* data, unsigned int length, bool requestAck, bool resend)
    : requestAck_(requestAck),
      resend_(resend),
      data_(data),
      length_(length),
      address_(address),
      command_(command),
      requestId_(requestId) {}

int CClhsBufferRW::GetPacket(unsigned int** words, unsigned int& count) {
  if (words == nullptr) return 0;
  const bool write = command_ == kClhsWriteMemory;
  const unsigned int dataWords = (length_ + 3) / 4;
  count = write ? kHeaderWords + dataWords : kRequestWords;
  unsigned int* request = new unsigned int[count]();
  auto* bytes = reinterpret_cast<unsigned char*>(request);
  request[0] = kPrefix0;
  std::memcpy(bytes + 4, kPrefix1, sizeof kPrefix1);
  CUtility::PutBigEndian(bytes + 8,
                         (requestAck_ ? kRequestAcknowledge : 0) | (resend_ ? kResend : 0), 2);
  CUtility::PutBigEndian(bytes + 10, command_, 2);
  CUtility::PutBigEndian(bytes + 14, requestId_, 2);
  CUtility::PutBigEndian(bytes + 16, address_, 8);
  switch (command_) {
    case kClhsReadMemory:
      CUtility::PutBigEndian(bytes + 12, kReadScd, 2);
      CUtility::PutBigEndian(bytes + 26, length_, 2);
      break;
    case kClhsWriteMemory:
      // Unlike the serial frame, the SCD length counts the bytes before padding.
      CUtility::PutBigEndian(bytes + 12, length_ + kAddressSize, 2);
      if (dataWords > 0) std::memcpy(request + kHeaderWords, data_, dataWords * 4);
      break;
    case kClhsReadMemoryAck:
      CUtility::PutBigEndian(bytes + 12, length_, 2);
      break;
    case kClhsWriteMemoryAck:
      request[3] = (request[3] & 0xFFFF0000u) | 1u;
      break;
    default:
      break;
  }
  *words = request;
  return 1;
}

int CClhsBufferRW::DecodeGenCPMemAckPacket(unsigned int* words, unsigned int count, _CPACK& pack,
                                           bool write) {
  if (words == nullptr) return MLO_ERR_INVALID_POINTER;
  if (count < 4) return MLO_ERR_GENCP_INVALID_PACKET;
  const auto* bytes = reinterpret_cast<const unsigned char*>(words);
  pack = _CPACK{};
  pack.status = Be16(bytes + 8);
  pack.ackId = Be16(bytes + 10);
  pack.scdLength = Be16(bytes + 12);
  pack.requestId = Be16(bytes + 14);
  if (!write) {
    pack.dataLength = static_cast<unsigned short>(count * 4 - kAckHeaderBytes);
  } else if (pack.scdLength == kWriteAckScd && count != 4) {
    pack.reserved = Be16(bytes + 16);
    pack.dataLength = Be16(bytes + 18);
  }
  if (pack.ackId == kClhsPendingAck && count != 4) pack.pendingTimeout = Be16(bytes + 18);
  return 0;
}
