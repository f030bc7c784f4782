// Acknowledges come from whatever answers on the camera's network: decoding must stay inside
// the packet and the output buffer whatever the header claims.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "vesk_genicam/impl/GbeBufferRW.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  // The command the port sent, and how much room it gave for the answer, come first.
  static const unsigned int kCommands[] = {GVCP_DISCOVERY_CMD, GVCP_READREG_CMD,
                                           GVCP_WRITEREG_CMD,  GVCP_READMEM_CMD,
                                           GVCP_ACTION_CMD,    GVCP_PACKETRESEND_CMD};
  const unsigned int command = kCommands[data[0] % (sizeof kCommands / sizeof kCommands[0])];
  const unsigned int outSize = data[1] * 4u;
  std::vector<unsigned char> raw(data + 2, data + size);
  std::vector<unsigned char> out(outSize);
  unsigned int outLength = 0;
  CGbeBufferRW buffer(command, 0, 1, out.data(), outSize, kGvcpFlagAcknowledge);
  buffer.GetDataFromRawPacket(raw.data(), static_cast<unsigned int>(raw.size()), out.data(),
                              outSize, outLength);
  if (outLength > outSize) __builtin_trap();
  return 0;
}
