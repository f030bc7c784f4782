// Any bytes sent to a CoaXPress camera get at most one acknowledgement, and that one is whole: the
// packet type of the command, its tag, a status of the standard, the length its status asks for
// and a CRC that holds. The first input byte, when odd, makes the rest carry a correct CRC, so
// that inputs reach past the CRC check.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "sim/core/LinkChannel.h"
#include "sim/device/cxp/CxpCrc.h"
#include "sim/device/cxp/CxpDevice.h"

using vesk::sim::Packet;

namespace {

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "acknowledgement breaks its rule: %s\n", what);
  std::abort();
}

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

struct Bench {
  Bench() {
    unit->described.links.resize(2);
    unit->described.defaultLinks = 2;
    unit->described.controlPacketSize = 256;
    unit->camera = vesk::sim::Camera::Create("AreaScan", {}, vesk::sim::XmlForm::Zipped,
                                             vesk::sim::Endianness::Big);
    channel.SetCable({unit, 0}, vesk::sim::MakeCxpDevice({unit, 0}, channel));
    channel.SetReceiver([this](const Packet& packet) { acks.push_back(packet); });
  }
  std::shared_ptr<vesk::sim::CameraUnit> unit = std::make_shared<vesk::sim::CameraUnit>();
  vesk::sim::LinkChannel channel;
  std::vector<Packet> acks;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  Packet command(data + 1, data + size);
  if ((data[0] & 1) && command.size() >= 8) {
    const uint32_t crc = vesk::sim::CxpCrc(command.data() + 4, command.size() - 8);
    for (size_t i = 0; i < 4; ++i)
      command[command.size() - 4 + i] = static_cast<uint8_t>(crc >> (8 * i));
  }
  // A new camera each time: a connection configuration would leave the link unlocked.
  Bench bench;
  bench.channel.ToCamera(command);
  Check(bench.acks.size() <= 1, "one acknowledgement at most");
  if (!bench.acks.empty()) CheckAck(command, bench.acks[0]);
  return 0;
}
