// Acknowledgements come from whatever sits at the far end of the cable: decoding must stay inside
// the packet and the output buffer whatever the size field claims. The first input byte, when its
// second bit is set, makes the last word a CRC that holds, so that inputs reach past the CRC check.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "vesk_genicam/impl/CxpBufferRW.h"
#include "vesk_genicam/impl/Utility.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const bool tagged = data[0] & 1;
  const bool withCrc = data[0] & 2;
  // The room the port gave for the payload.
  const unsigned int outWords = data[1];
  std::vector<unsigned int> words((size - 2) / 4);
  if (!words.empty()) std::memcpy(words.data(), data + 2, words.size() * 4);
  const auto wordCount = static_cast<unsigned int>(words.size());
  if (withCrc && wordCount > 0) {
    words.back() = CUtility::CalcualteCRC(words.data(), wordCount - 1);
  }
  std::vector<unsigned int> out(outWords);
  unsigned int gotWords = 0;
  unsigned char tag = 0;
  CCxpBufferRW buffer(0, nullptr, 1, 30, tagged, 0, false);
  const int result =
      buffer.GetDataFromRawPacket(words.data(), wordCount, out.data(), outWords, gotWords, tag);
  if (gotWords > outWords || gotWords > wordCount || (result != 0 && gotWords != 0)) {
    __builtin_trap();
  }
  return 0;
}
