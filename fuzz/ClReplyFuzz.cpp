// Serial bytes come from whatever sits at the far end of the Camera Link cable, noise included:
// finding a reply must stay inside the bytes whatever the length field claims. When the first
// input byte is odd, the checksums of the first candidate frame are made to hold, so that inputs
// reach past them, and then the frame must be found whenever it is whole and on channel 0.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "vesk_genicam/impl/ClBufferRW.h"
#include "vesk_genicam/impl/ClBufferRet.h"

namespace {

constexpr size_t kHeader = 16;

unsigned int Be16(const unsigned char* at) { return static_cast<unsigned int>(at[0] << 8 | at[1]); }

// Where the first frame would stand and whether it is whole; stamps its checksums.
bool Seal(std::vector<unsigned char>& bytes, size_t& start) {
  start = 0;
  while (start + 1 < bytes.size() && !(bytes[start] == 1 && bytes[start + 1] == 0)) ++start;
  if (start + kHeader >= bytes.size()) return false;
  unsigned char* frame = bytes.data() + start;
  const size_t scd = Be16(frame + 12);
  if (bytes.size() - start < scd + kHeader) return false;
  const unsigned short header = CClBufferRW::Checksum(frame + 6, 10);
  const unsigned short full = CClBufferRW::Checksum(frame + 6, static_cast<unsigned int>(10 + scd));
  std::memcpy(frame + 2, &header, 2);
  std::memcpy(frame + 4, &full, 2);
  return Be16(frame + 6) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  std::vector<unsigned char> bytes(data + 1, data + size);
  size_t start = 0;
  const bool sealed = (data[0] & 1) && Seal(bytes, start);
  CClBufferRet stream(bytes.data(), static_cast<unsigned int>(bytes.size()));
  unsigned int offset = 0, length = 0;
  const bool valid = stream.IsValidPacket(offset, length);
  if (sealed && (!valid || offset != start)) __builtin_trap();
  if (!valid) return 0;
  if (length < kHeader || offset + length > bytes.size()) __builtin_trap();
  CClBufferRet reply(bytes.data() + offset, length);
  if (reply.GetDataLength() + kHeader != length) __builtin_trap();
  if (reply.GetDataLength() > 0) {
    volatile unsigned char last = reply.GetData()[reply.GetDataLength() - 1];
    (void)last;
  }
  return 0;
}
