#include "vesk_genicam/impl/PollTimer.h"

#include <time.h>

uint64_t PollTimer::NowMs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

bool PollTimer::Expired() {
  if (!started_) {
    started_ = true;
    start_ = NowMs();
    return false;
  }
  return ElapsedMs() > timeoutMs_;
}

uint64_t PollTimer::ElapsedMs() const {
  const uint64_t now = started_ ? NowMs() : start_;
  return now > start_ ? now - start_ : 0;
}
