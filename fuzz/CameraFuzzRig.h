#ifndef VESK_FUZZ_CAMERA_FUZZ_RIG_H
#define VESK_FUZZ_CAMERA_FUZZ_RIG_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "sim/core/CameraUnit.h"
#include "sim/core/LinkChannel.h"

// The frame of the fuzz targets that feed bytes to a simulated camera's device model: one camera
// of the default model behind a link channel that keeps every answer.
namespace vesk::fuzz {

using sim::Packet;

// Aborts, naming the rule, when an answer breaks it: libFuzzer keeps the input.
inline void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "answer breaks its rule: %s\n", what);
  std::abort();
}

// The input after its first byte, and whether that byte is odd: then the target mends the bytes in
// one respect of its own (a checksum, say), so that inputs reach past that check.
struct FuzzInput {
  bool mend;
  Packet bytes;
};

inline FuzzInput Split(const uint8_t* data, size_t size) {
  return {(data[0] & 1) != 0, Packet(data + 1, data + size)};
}

// Made anew for every input: a write that moves the link (a baud rate, a connection
// configuration) would leave it unlocked for the next one.
struct CameraFuzzRig {
  using DeviceMaker = std::shared_ptr<sim::DeviceModel> (*)(const sim::Cable&, sim::LinkChannel&);

  CameraFuzzRig() {
    unit->camera = sim::Camera::Create("AreaScan", {}, sim::XmlForm::Zipped, sim::Endianness::Big);
  }

  // Plugs the camera's link 0 into the channel; set the channel and unit->described up first.
  void Plug(DeviceMaker make) {
    channel.SetCable({unit, 0}, make({unit, 0}, channel));
    channel.SetReceiver([this](const Packet& packet) { answers.push_back(packet); });
  }

  std::shared_ptr<sim::CameraUnit> unit = std::make_shared<sim::CameraUnit>();
  sim::LinkChannel channel;
  std::vector<Packet> answers;
};

}  // namespace vesk::fuzz

#endif
