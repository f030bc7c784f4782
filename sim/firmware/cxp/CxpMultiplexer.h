#ifndef VESK_SIM_FIRMWARE_CXP_CXP_MULTIPLEXER_H
#define VESK_SIM_FIRMWARE_CXP_CXP_MULTIPLEXER_H

#include <atomic>
#include <cstdint>

#include "sim/firmware/cxp/CxpForm.h"

namespace vesk::sim {

// The port multiplexer between the firmware ports (control channels, queues, operators) and the
// physical ports (transceivers, power, cables). Nibble k (k = 0 .. 7) of the selector is the
// physical port of firmware port k, nibble 8 + k the firmware port of physical port k. A nibble
// past the board's ports routes nowhere. Safe to use from several threads.
class CxpMultiplexer {
 public:
  static constexpr uint64_t kNowhere = ~uint64_t{0};

  uint64_t Selector() const { return selector_.load(); }
  void Set(uint64_t selector) { selector_ = selector; }
  // The design's table of selectors for a board of that many ports; kNowhere past its end.
  static uint64_t FromIndex(uint64_t index, unsigned ports);

  unsigned PhysicalOf(unsigned firmwarePort) const { return Nibble(firmwarePort); }
  unsigned FirmwareOf(unsigned physicalPort) const { return Nibble(8 + physicalPort); }

 private:
  unsigned Nibble(unsigned at) const {
    return at < 16 ? static_cast<unsigned>(selector_.load() >> (4 * at)) & 0xF : 0xF;
  }

  std::atomic<uint64_t> selector_{kCxpIdentitySelector};
};

}  // namespace vesk::sim

#endif
