#ifndef VESK_SIM_FIRMWARE_CLHS_CLHS_TRANSCEIVER_H
#define VESK_SIM_FIRMWARE_CLHS_CLHS_TRANSCEIVER_H

#include <chrono>
#include <cstdint>
#include <mutex>

#include "sim/core/LinkChannel.h"

namespace vesk::sim {

// The transceiver and PCS of one physical port: the resets its setup register holds, the link
// signal that follows the cable, and the packet counter. Safe to use from several threads.
class ClhsTransceiver {
 public:
  // The 10G line rate of the X protocol: a camera whose speeds lack it never locks.
  static constexpr uint32_t kLineRate = 10312;
  // How long the signal stays away once a burst of line errors took it.
  static constexpr auto kSignalDrop = std::chrono::milliseconds(300);

  // pllResetBit and rxResetBit: the bits of the setup register that hold the PLL and the
  // receiver in reset, which differ between the status forms.
  ClhsTransceiver(LinkChannel& channel, uint64_t pllResetBit, uint64_t rxResetBit);

  void SetSetup(uint64_t value);
  bool PllReset() const;
  bool RxReset() const;
  // A camera's link runs at the line rate on the cable, and no burst took it lately.
  bool Signal();
  // The signal, out of every reset; pllLocked says whether the PLL that feeds it runs.
  bool Up(bool pllLocked);

  // Packets that crossed in the low 16 bits; PCS errors in bits 16 to 23: one more at each look
  // while the link is down, and the link's line errors. They stand while it is up.
  uint64_t PacketCounter(bool pllLocked);
  void CountPacket();

 private:
  using Clock = std::chrono::steady_clock;

  void TakeLineErrors();

  LinkChannel& channel_;
  const uint64_t pllResetBit_;
  const uint64_t rxResetBit_;
  mutable std::mutex mutex_;
  uint64_t setup_ = 0;
  uint64_t packets_ = 0;
  uint64_t errors_ = 0;
  uint64_t lineErrorsSeen_ = 0;
  Clock::time_point downUntil_;
};

}  // namespace vesk::sim

#endif
