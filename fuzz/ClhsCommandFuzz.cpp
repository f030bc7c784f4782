// Any packet out of the X-Core to a Camera Link HS camera gets at most one acknowledge, and that
// one whole: the prefix, whole words that hold the SCD it claims, an acknowledge id that answers a
// memory command and the request id of the command. The first input byte, when odd, puts the
// prefix in front, so that inputs reach past it.
#include <cstddef>
#include <cstdint>

#include "fuzz/CameraFuzzRig.h"
#include "sim/device/clhs/ClhsDevice.h"

using vesk::fuzz::Check;
using vesk::sim::Packet;

namespace {

constexpr size_t kHeader = 16;
constexpr uint8_t kPrefix[8] = {0x40, 0x50, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00};

unsigned Be16(const Packet& bytes, size_t at) { return bytes[at] << 8 | bytes[at + 1]; }

void CheckAck(const Packet& sent, const Packet& ack) {
  Check(ack.size() >= kHeader && ack.size() % 4 == 0, "an acknowledge is whole words of a header");
  for (size_t at = 0; at < sizeof kPrefix; ++at) Check(ack[at] == kPrefix[at], "it has the prefix");
  const size_t scd = Be16(ack, 12);
  Check(kHeader + scd <= ack.size() && ack.size() < kHeader + scd + 4, "its words hold its SCD");
  Check(Be16(ack, 10) & 1, "its id is an acknowledge id");
  Check(sent.size() >= kHeader && Be16(ack, 14) == Be16(sent, 14), "it answers the request id");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  auto [mend, bytes] = vesk::fuzz::Split(data, size);
  if (mend) bytes.insert(bytes.begin(), kPrefix, kPrefix + sizeof kPrefix);
  vesk::fuzz::CameraFuzzRig rig;
  rig.Plug(vesk::sim::MakeClhsDevice);
  rig.channel.ToCamera(bytes);
  Check(rig.answers.size() <= 1, "one answer at most");
  for (const Packet& ack : rig.answers) CheckAck(bytes, ack);
  return 0;
}
