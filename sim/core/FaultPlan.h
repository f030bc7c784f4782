#ifndef VESK_SIM_CORE_FAULT_PLAN_H
#define VESK_SIM_CORE_FAULT_PLAN_H

#include <cstdint>
#include <mutex>
#include <random>

#include "sim/core/Rig.h"

namespace vesk::sim {

// Drop, Corrupt, Delay, Silent and Burst act on the wire; the rest ask the device model for an odd
// answer of its protocol (Odd: one of its own choosing).
enum class Fault {
  None,
  Drop,
  Corrupt,
  Odd,
  Delay,
  Silent,
  Wait,
  Tentative,
  Unknown,
  BadCrc,
  Error,
  Burst
};

// The chances of all faults together, per thousand answers: 1000 at most.
uint64_t ChancesPerMille(const FaultSettings& settings);

// The faults of one camera or port as a repeatable sequence: the same settings give the same
// decisions in the same order. Transport models ask once per answer. Safe from several threads,
// though only one thread's order of asking is repeatable.
class FaultPlan {
 public:
  FaultPlan() { Set(FaultSettings{}); }

  // Starts the sequence again from the seed.
  void Set(const FaultSettings& settings);
  FaultSettings Settings() const;

  Fault Next();
  // A number below bound from the same sequence: which bit to corrupt, how odd to answer.
  uint32_t Draw(uint32_t bound);

 private:
  mutable std::mutex mutex_;
  FaultSettings settings_;
  std::mt19937 random_;
  int64_t answers_ = 0;
};

}  // namespace vesk::sim

#endif
