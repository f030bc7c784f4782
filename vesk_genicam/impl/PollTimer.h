#ifndef VESK_GENICAM_IMPL_POLLTIMER_H
#define VESK_GENICAM_IMPL_POLLTIMER_H

#include <cstdint>

// The time-out of a busy poll of firmware registers, in ms of the monotonic clock. The clock is
// first read at the first dry poll, so that a poll whose data is there at once reads none; a
// reading behind the first never counts as expiry.
class PollTimer {
 public:
  explicit PollTimer(unsigned int timeoutMs) : timeoutMs_(timeoutMs) {}
  bool Expired();
  uint64_t ElapsedMs() const;
  // Starts the time anew, as at construction.
  void Restart() { started_ = false; }

 private:
  static uint64_t NowMs();
  const unsigned int timeoutMs_;
  bool started_ = false;
  uint64_t start_ = 0;
};

#endif
