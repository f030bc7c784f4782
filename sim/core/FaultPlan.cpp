#include "sim/core/FaultPlan.h"

namespace vesk::sim {

void FaultPlan::Set(const FaultSettings& settings) {
  std::lock_guard<std::mutex> lock(mutex_);
  settings_ = settings;
  random_.seed(settings.seed);
  answers_ = 0;
}

FaultSettings FaultPlan::Settings() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return settings_;
}

Fault FaultPlan::Next() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (settings_.silentAfter >= 0 && answers_ >= settings_.silentAfter) return Fault::Silent;
  ++answers_;
  // mt19937's output is fixed by the standard; the distributions of <random> are not.
  uint32_t draw = random_() % 1000;
  for (auto [chance, fault] : {std::pair{settings_.dropPerMille, Fault::Drop},
                               {settings_.corruptPerMille, Fault::Corrupt},
                               {settings_.oddPerMille, Fault::Odd},
                               {settings_.delayPerMille, Fault::Delay}}) {
    if (draw < chance) return fault;
    draw -= chance;
  }
  return Fault::None;
}

uint32_t FaultPlan::Draw(uint32_t bound) {
  std::lock_guard<std::mutex> lock(mutex_);
  return bound ? random_() % bound : 0;
}

}  // namespace vesk::sim
