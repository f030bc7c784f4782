// Any bytes sent to a CoaXPress camera get at most one acknowledgement, and that one is whole: the
// packet type of the command, its tag, a status of the standard, the length its status asks for
// and a CRC that holds. The first input byte, when odd, makes the rest carry a correct CRC, so
// that inputs reach past the CRC check.
#include <cstddef>
#include <cstdint>

#include "fuzz/CameraFuzzRig.h"
#include "sim/core/CxpCrc.h"
#include "sim/device/cxp/CxpDevice.h"

using vesk::fuzz::Check;
using vesk::sim::Packet;

namespace {

uint32_t WordAt(const Packet& packet, size_t at) {
  return uint32_t{packet[at]} << 24 | uint32_t{packet[at + 1]} << 16 |
         uint32_t{packet[at + 2]} << 8 | packet[at + 3];
}

void CheckAck(const Packet& command, const Packet& ack) {
  const bool tagged = command[0] == 0x05;
  Check(ack.size() >= (tagged ? 16u : 12u), "an acknowledgement has its header and CRC");
  Check(WordAt(ack, 0) == (tagged ? 0x06060606u : 0x03030303u), "its type answers the command's");
  size_t at = 4;
  if (tagged) {
    Check(WordAt(ack, at) == command[4] * 0x01010101u, "it carries the command's tag");
    at += 4;
  }
  const uint8_t status = ack[at];
  Check(WordAt(ack, at) == status * 0x01010101u, "the status is one byte four times");
  Check(status <= 1 || (status >= 0x40 && status <= 0x46) || status == 0x80,
        "the status is one the standard gives a camera's answer");
  at += 4;
  if (status == 0) {
    Check(ack.size() >= at + 8, "a read answer has its size");
    at += 4 + WordAt(ack, at);
  }
  Check(ack.size() == at + 4, "the length is what the status and size say");
  const uint32_t crc = ack[at] | ack[at + 1] << 8 | ack[at + 2] << 16 | uint32_t{ack[at + 3]} << 24;
  Check(crc == vesk::sim::CxpCrc(ack.data() + 4, at - 4), "the CRC holds");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  auto [mend, command] = vesk::fuzz::Split(data, size);
  if (mend && command.size() >= 8) {
    const uint32_t crc = vesk::sim::CxpCrc(command.data() + 4, command.size() - 8);
    for (size_t i = 0; i < 4; ++i)
      command[command.size() - 4 + i] = static_cast<uint8_t>(crc >> (8 * i));
  }
  vesk::fuzz::CameraFuzzRig rig;
  rig.unit->described.links.resize(2);
  rig.unit->described.defaultLinks = 2;
  rig.unit->described.controlPacketSize = 256;
  rig.Plug(vesk::sim::MakeCxpDevice);
  rig.channel.ToCamera(command);
  Check(rig.answers.size() <= 1, "one acknowledgement at most");
  if (!rig.answers.empty()) CheckAck(command, rig.answers[0]);
  return 0;
}
