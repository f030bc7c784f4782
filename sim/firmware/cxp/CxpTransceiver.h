#ifndef VESK_SIM_FIRMWARE_CXP_CXP_TRANSCEIVER_H
#define VESK_SIM_FIRMWARE_CXP_CXP_TRANSCEIVER_H

#include <cstdint>
#include <map>
#include <mutex>

#include "sim/core/LinkChannel.h"
#include "sim/firmware/cxp/CxpPower.h"

namespace vesk::sim {

// The transceiver of one physical port: its bit rate as each form programs it, the lock it shows,
// its error counters and its receive reset. Safe to use from several threads.
class CxpTransceiver {
 public:
  // What a read of a counter adds while the link is down: a receiver without lock sees mostly
  // characters outside the 8b/10b table.
  static constexpr uint64_t kErrorsPerRead = 1000;

  CxpTransceiver(unsigned port, unsigned form, LinkChannel& channel, const CxpPower& power);

  void SetSpeed(uint32_t mbps);
  // A DRP register of the transceiver; the speed follows once the written values make a setting.
  void WriteDrp(uint32_t address, uint32_t value);
  // A speed by its index; an index outside the form's table changes nothing.
  void SetRateIndex(uint64_t index);
  // Cleared by a DRP write or a rate change, set again once the host has seen it cleared.
  bool Ready();

  void SetRxReset(bool held);
  bool InRxReset() const;
  // Powered, out of reset, and the camera runs its link at this speed.
  bool Locked() const;

  struct ErrorCounts {
    uint64_t notInTable;
    uint64_t disparity;
  };
  // Both count while the link is down and stand while it is locked; line errors are characters
  // outside the table. A core reset starts them from 0.
  ErrorCounts Errors();
  void ClearErrors();

 private:
  void MatchDrpSetting();

  const unsigned port_;
  const unsigned form_;
  LinkChannel& channel_;
  const CxpPower& power_;
  mutable std::mutex mutex_;
  std::map<uint32_t, uint32_t> drp_;
  bool busy_ = false;
  bool rxReset_ = false;
  uint64_t errors_ = 0;
  uint64_t lineErrorsSeen_ = 0;
};

}  // namespace vesk::sim

#endif
