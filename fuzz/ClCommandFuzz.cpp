// Any bytes on the serial line to a Camera Link camera get whole GenCP acknowledgements only: a
// preamble, checksums that hold, an acknowledge id that answers a memory command, the request id
// of a frame that was sent, and no more answers than frames could start. The first input byte,
// when odd, makes the checksums of the first frame hold, so that inputs reach past them.
#include <cstddef>
#include <cstdint>

#include "fuzz/CameraFuzzRig.h"
#include "sim/device/cl/ClDevice.h"

using vesk::fuzz::Check;
using vesk::sim::Packet;

namespace {

constexpr size_t kHeader = 16;

unsigned Be16(const Packet& bytes, size_t at) { return bytes[at] << 8 | bytes[at + 1]; }

uint16_t Checksum(const Packet& bytes, size_t from, size_t count) {
  uint32_t sum = 0;
  for (size_t at = from; at < from + count; at += 2)
    sum += uint32_t{bytes[at]} << 8 | (at + 1 < from + count ? bytes[at + 1] : 0);
  while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

void Stamp(Packet& bytes, size_t at, uint16_t value) {
  bytes[at] = static_cast<uint8_t>(value >> 8);
  bytes[at + 1] = static_cast<uint8_t>(value);
}

void Seal(Packet& bytes) {
  for (size_t at = 0; at + kHeader <= bytes.size(); ++at) {
    if (bytes[at] != 1 || bytes[at + 1] != 0) continue;
    const size_t scd = Be16(bytes, at + 12);
    if (at + kHeader + scd > bytes.size()) return;
    Stamp(bytes, at + 2, Checksum(bytes, at + 6, 10));
    Stamp(bytes, at + 4, Checksum(bytes, at + 6, 10 + scd));
    return;
  }
}

bool SentId(const Packet& bytes, unsigned id) {
  for (size_t at = 0; at + kHeader <= bytes.size(); ++at) {
    if (bytes[at] == 1 && bytes[at + 1] == 0 && Be16(bytes, at + 14) == id) return true;
  }
  return false;
}

void CheckAck(const Packet& sent, const Packet& ack) {
  Check(ack.size() >= kHeader && Be16(ack, 0) == 0x0100, "an acknowledgement has its header");
  Check(ack.size() == kHeader + Be16(ack, 12), "its length is what its SCD length says");
  Check(Be16(ack, 2) == Checksum(ack, 6, 10), "the header checksum holds");
  Check(Be16(ack, 4) == Checksum(ack, 6, ack.size() - 6), "the full checksum holds");
  Check(Be16(ack, 6) == 0, "it comes on the control channel");
  Check(Be16(ack, 10) & 1, "its id is an acknowledge id");
  Check(SentId(sent, Be16(ack, 14)), "it answers a request id that was sent");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  auto [mend, bytes] = vesk::fuzz::Split(data, size);
  if (mend) Seal(bytes);
  vesk::fuzz::CameraFuzzRig rig;
  rig.channel.SetSpeed(9600);
  rig.Plug(vesk::sim::MakeClDevice);
  // Split in two, as a serial line may deliver it.
  const size_t half = bytes.size() / 2;
  rig.channel.ToCamera(Packet(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(half)));
  rig.channel.ToCamera(Packet(bytes.begin() + static_cast<ptrdiff_t>(half), bytes.end()));
  Check(rig.answers.size() <= bytes.size() / kHeader, "no more answers than frames");
  for (const Packet& ack : rig.answers) CheckAck(bytes, ack);
  return 0;
}
