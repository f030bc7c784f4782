#ifndef VESK_SIM_FIRMWARE_GIGE_GIGE_FRAME_STREAM_H
#define VESK_SIM_FIRMWARE_GIGE_GIGE_FRAME_STREAM_H

#include <cstdint>
#include <optional>

#include "sim/core/DeviceModel.h"

namespace vesk::sim {

// The transmit stream of a port that takes a frame as 16-bit lanes in the manner of XGMII: bits
// 0 to 15 carry two bytes, low first; bits 16 and 17 mark the low and the high byte as control
// characters (0x07 idle, 0xFB start); bit 18 ends the frame. Between start and end come the
// preamble (six 0x55), the delimiter 0xD5 and the frame. Not thread-safe: one writer per port.
class GigeFrameStream {
 public:
  // A whole frame, without preamble, when the word ended one; what ends without a sound
  // preamble is dropped.
  std::optional<Packet> Write(uint64_t word);

 private:
  void Lane(uint8_t byte, bool control);

  bool started_ = false;
  bool terminated_ = false;  // a control character ended the data before the end mark
  Packet bytes_;
};

}  // namespace vesk::sim

#endif
