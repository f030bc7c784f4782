#include "sim/core/FaultPlan.h"

#include <array>
#include <utility>

namespace vesk::sim {

namespace {

std::array<std::pair<uint32_t, Fault>, 10> Chances(const FaultSettings& settings) {
  return {{{settings.dropPerMille, Fault::Drop},
           {settings.corruptPerMille, Fault::Corrupt},
           {settings.oddPerMille, Fault::Odd},
           {settings.delayPerMille, Fault::Delay},
           {settings.waitPerMille, Fault::Wait},
           {settings.tentativePerMille, Fault::Tentative},
           {settings.unknownPerMille, Fault::Unknown},
           {settings.badCrcPerMille, Fault::BadCrc},
           {settings.errorPerMille, Fault::Error},
           {settings.burstPerMille, Fault::Burst}}};
}

}  // namespace

uint64_t ChancesPerMille(const FaultSettings& settings) {
  uint64_t sum = 0;
  for (const auto& chance : Chances(settings)) sum += chance.first;
  return sum;
}

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
  for (auto [chance, fault] : Chances(settings_)) {
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
