#include "vesk_genicam/impl/ClBufferRW.h"

#include <cstring>
#include <vector>

#include "vesk_genicam/impl/Utility.h"

namespace {

constexpr unsigned int kHeaderSize = 16;  // preamble, checksums and the common header
constexpr unsigned int kReadFrameSize = 28;
constexpr unsigned int kAddressSize = 8;
constexpr unsigned short kRequestAcknowledge = 0x4000;
// The two checksums cover the frame from the channel id on.
constexpr unsigned int kSummedFrom = 6;
constexpr unsigned int kCommonHeaderSummed = 10;

}  // namespace

CClBufferRW::CClBufferRW(unsigned long address, unsigned int command, unsigned int requestId,
                         unsigned int* data, unsigned int length)
    : data_(data), length_(length), address_(address), command_(command), requestId_(requestId) {}

unsigned short CClBufferRW::Checksum(const unsigned char* bytes, unsigned int byteCount) {
  // Copied so that the words are aligned wherever the frame lies; the sum of host-order words
  // stored in host order gives the same two bytes on either byte order.
  std::vector<unsigned short> words(byteCount / 2 + 1, 0);
  std::memcpy(words.data(), bytes, byteCount);
  return static_cast<unsigned short>(CUtility::CalcualteCRC16(words.data(), byteCount, 0));
}

int CClBufferRW::GetPacket(unsigned char** packet, unsigned int& size) {
  if (packet == nullptr) return 0;
  const bool write = command_ == kClWriteMemory;
  const unsigned int padded = (length_ + 3) & ~3u;
  size = write ? kHeaderSize + kAddressSize + padded : kReadFrameSize;
  unsigned char* frame = new unsigned char[size]();
  CUtility::PutBigEndian(frame, 0x0100, 2);
  CUtility::PutBigEndian(frame + 8, kRequestAcknowledge, 2);
  CUtility::PutBigEndian(frame + 10, command_, 2);
  CUtility::PutBigEndian(frame + 12, size - kHeaderSize, 2);
  CUtility::PutBigEndian(frame + 14, requestId_, 2);
  CUtility::PutBigEndian(frame + 16, address_, 8);
  if (write) {
    if (padded > 0) std::memcpy(frame + 24, data_, padded);
  } else if (command_ == kClReadMemory) {
    CUtility::PutBigEndian(frame + 26, length_, 2);
  }
  const unsigned short header = Checksum(frame + kSummedFrom, kCommonHeaderSummed);
  std::memcpy(frame + 2, &header, sizeof header);
  const unsigned short full = Checksum(frame + kSummedFrom, size - kSummedFrom);
  std::memcpy(frame + 4, &full, sizeof full);
  *packet = frame;
  return 1;
}
