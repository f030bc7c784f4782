// Acknowledges come out of the X-Core's receive FIFO as whatever the camera sent: decoding must
// stay inside the words it is given, whatever the SCD length claims. The first input byte chooses
// a read or a write acknowledge; the words follow.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "vesk_genicam/impl/ClhsBufferRW.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const bool write = data[0] & 1;
  // Exactly as many words as the input holds, so that the sanitizer sees any read past them.
  std::vector<unsigned int> words((size - 1) / 4);
  if (!words.empty()) std::memcpy(words.data(), data + 1, words.size() * 4);
  const auto count = static_cast<unsigned int>(words.size());
  _CPACK pack{};
  const int result = CClhsBufferRW::DecodeGenCPMemAckPacket(words.data(), count, pack, write);
  if ((result == 0) != (count >= 4)) __builtin_trap();
  if (result != 0) return 0;
  const auto* bytes = reinterpret_cast<const unsigned char*>(words.data());
  if (pack.requestId != (bytes[14] << 8 | bytes[15])) __builtin_trap();
  if (!write && pack.dataLength != static_cast<unsigned short>(count * 4 - 16)) __builtin_trap();
  if (count == 4 && (pack.reserved != 0 || pack.pendingTimeout != 0)) __builtin_trap();
  return 0;
}
