#include "vesk_genicam/impl/CxpBufferRW.h"

#include <algorithm>
#include <cstring>

#include "lwip/def.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

namespace {

// Words around the payload: header, command and address; a tag word more when tagged.
constexpr unsigned int kFrameWords = 3;
constexpr unsigned int kWriteOperation = 1;

// Status 0 is told apart by length, so it is not here.
int StatusResult(unsigned int status) {
  switch (status) {
    case 0x01010101:
      return FinalAck;
    case 0x02020202:
      return TentativeAck;
    case 0x03030303:
      return ChannelResetAck;
    case 0x04040404:
      return WaitAck;
    case 0x40404040:
      return MLO_ERR_CXP_INVALID_ADDRESS;
    case 0x41414141:
      return MLO_ERR_CXP_INVALID_DATA;
    case 0x42424242:
      return MLO_ERR_CXP_INVALID_OPCODE;
    case 0x43434343:
      return MLO_ERR_CXP_WRITE_READ_ONLY;
    case 0x44444444:
      return MLO_ERR_CXP_READ_WRITE_ONLY;
    case 0x45454545:
      return MLO_ERR_CXP_SIZE_TOO_LARGE;
    case 0x46464646:
      return MLO_ERR_CXP_SIZE_INCONSISTENT;
    case 0x80808080:
      return MLO_ERR_CXP_CRC;
    default:
      return MLO_ERR_CXP_MALFORMED;
  }
}

}  // namespace

CCxpBufferRW::CCxpBufferRW(unsigned int address, unsigned int* data, unsigned int sizeWords,
                           unsigned int maxPacketWords, bool tagged, unsigned char tag, bool write)
    : address_(address),
      data_(data),
      sizeWords_(sizeWords),
      maxPacketWords_(maxPacketWords),
      maxPayloadWords_(maxPacketWords_ - kFrameWords - (tagged ? 1 : 0)),
      writeFlag_(write),
      tagged_(tagged),
      tag_(tag) {}

bool CCxpBufferRW::GetPacket(std::unique_ptr<unsigned int[]>& packet, unsigned int& packetWords,
                             unsigned int& payloadWords, unsigned int headerWord) {
  if (sizeWords_ == 0) return false;
  const unsigned int chunk = std::min(sizeWords_, maxPayloadWords_);
  payloadWords = writeFlag_ ? chunk : 0;
  packetWords = kFrameWords + (tagged_ ? 1 : 0) + payloadWords;
  packet.reset(new unsigned int[packetWords]());
  unsigned int at = 0;
  packet[at++] = headerWord;
  if (tagged_) packet[at++] = tag_ * 0x01010101u;
  packet[at++] = lwip_htonl(chunk * 4) | (writeFlag_ ? kWriteOperation : 0);
  packet[at++] = lwip_htonl(address_);
  if (payloadWords > 0) std::memcpy(&packet[at], data_, payloadWords * sizeof(unsigned int));
  return true;
}

int CCxpBufferRW::CheckPacketType(unsigned int* words, unsigned int wordCount) {
  const unsigned int statusIndex = tagged_ ? 1 : 0;
  if (wordCount <= statusIndex) return MLO_ERR_INVALID_DATA;
  const unsigned int status = words[statusIndex];
  if (status == 0) {
    // Size and at least one more word must follow the status.
    return wordCount > statusIndex + 2 ? FinalAckPayload : MLO_ERR_GENCP_INVALID_PACKET;
  }
  return StatusResult(status);
}

int CCxpBufferRW::GetDataFromRawPacket(unsigned int* words, unsigned int wordCount,
                                       unsigned int* out, unsigned int outWords,
                                       unsigned int& gotWords, unsigned char& tag) {
  gotWords = 0;
  if (wordCount < (tagged_ ? 2u : 1u)) return MLO_ERR_INVALID_DATA;
  if (tagged_) {
    unsigned char bytes[4];
    std::memcpy(bytes, &words[0], sizeof bytes);
    tag = bytes[0] | bytes[1] | bytes[2] | bytes[3];
  }
  const int type = CheckPacketType(words, wordCount);
  if (type != 0) return type;
  const unsigned int sizeIndex = tagged_ ? 2 : 1;
  const unsigned int dataWords = lwip_htonl(words[sizeIndex]) >> 2;
  const unsigned int end = sizeIndex + dataWords + 1;
  if (wordCount == end + 1 && words[end] != CUtility::CalcualteCRC(words, end)) {
    return MLO_ERR_GENCP_CRC;
  }
  // A length that fits neither form copies nothing, and the port sends the request again.
  if (wordCount != end && wordCount != end + 1) return 0;
  gotWords = std::min(dataWords, outWords);
  if (gotWords > 0) std::memcpy(out, &words[sizeIndex + 1], gotWords * sizeof(unsigned int));
  return 0;
}
