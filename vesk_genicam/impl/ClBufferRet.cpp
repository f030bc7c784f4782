#include "vesk_genicam/impl/ClBufferRet.h"

#include <cstring>

#include "vesk_genicam/impl/ClBufferRW.h"

namespace {

constexpr unsigned int kHeaderSize = 16;
constexpr unsigned int kSummedFrom = 6;
constexpr unsigned int kCommonHeaderSummed = 10;

unsigned short Be16(const unsigned char* at) {
  return static_cast<unsigned short>(at[0] << 8 | at[1]);
}

bool ChecksumHolds(const unsigned char* frame, unsigned int at, unsigned int byteCount) {
  const unsigned short sum = CClBufferRW::Checksum(frame + kSummedFrom, byteCount);
  return std::memcmp(frame + at, &sum, sizeof sum) == 0;
}

}  // namespace

CClBufferRet::CClBufferRet(unsigned char* data, unsigned int size)
    : data_(new unsigned char[size]), size_(size) {
  if (size > 0) std::memcpy(data_, data, size);
}

CClBufferRet::~CClBufferRet() { delete[] data_; }

bool CClBufferRet::IsValidPacket(unsigned int& offset, unsigned int& length) {
  if (data_ == nullptr || size_ <= kHeaderSize) return false;
  unsigned int start = 0;
  while (start + 1 < size_ && !(data_[start] == 0x01 && data_[start + 1] == 0x00)) ++start;
  // A reply carries at least one byte behind its header.
  if (start + 1 >= size_ || size_ - start <= kHeaderSize) return false;
  const unsigned char* frame = data_ + start;
  if (Be16(frame + 6) != 0) return false;
  const unsigned int scdLength = Be16(frame + 12);
  if (size_ - start < scdLength + kHeaderSize) return false;
  if (!ChecksumHolds(frame, 2, kCommonHeaderSummed) ||
      !ChecksumHolds(frame, 4, kCommonHeaderSummed + scdLength)) {
    return false;
  }
  offset = start;
  length = scdLength + kHeaderSize;
  return true;
}

unsigned short CClBufferRet::FieldAt(unsigned int offset) const {
  return offset + 2 <= size_ ? Be16(data_ + offset) : 0;
}

unsigned short CClBufferRet::GetPacketId() { return FieldAt(14); }

unsigned short CClBufferRet::GetDataLength() { return FieldAt(12); }

unsigned char* CClBufferRet::GetData() {
  return size_ >= kHeaderSize ? data_ + kHeaderSize : nullptr;
}
