#ifndef VESK_SIM_FIRMWARE_CXP_CXP_POWER_H
#define VESK_SIM_FIRMWARE_CXP_CXP_POWER_H

#include <cstdint>
#include <mutex>
#include <vector>

#include "sim/core/LinkChannel.h"

namespace vesk::sim {

// Which power monitor a board type carries; each reports in its own register layout.
enum class CxpBoardGroup { Gen1, Gen2, Pl, Other };
CxpBoardGroup CxpBoardGroupOf(int boardType);

// Power over CoaXPress on the ports of one board: a switch per port, a trip that an overload
// throws and that only switching the port off clears, and the monitor's readings. Every port is
// powered from the start. Safe to use from several threads.
class CxpPower {
 public:
  enum class Reading { Status, Sense, Vin, AdIn, ShuntVoltage, BusVoltage };

  // The channels tell whether a camera draws current; they outlive this.
  CxpPower(int boardType, std::vector<LinkChannel*> channels);

  bool Powered(unsigned port) const;
  uint32_t EnabledMask() const;
  void SetEnabledMask(uint32_t mask);
  void SetEnabled(unsigned port, bool enabled);
  void Trip(unsigned port);

  // The raw register value of the board's group.
  uint64_t Read(Reading reading, unsigned port) const;

 private:
  enum class State { Off, On, Tripped };
  State StateOf(unsigned port) const;
  uint64_t Status(State state) const;

  const CxpBoardGroup group_;
  const std::vector<LinkChannel*> channels_;
  mutable std::mutex mutex_;
  std::vector<bool> enabled_;
  std::vector<bool> tripped_;
};

}  // namespace vesk::sim

#endif
