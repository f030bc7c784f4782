#ifndef VESK_TEMPLATES_PLATFORM_SPIN_LOCK_VARIABLE_GUARD_H
#define VESK_TEMPLATES_PLATFORM_SPIN_LOCK_VARIABLE_GUARD_H

#include <atomic>
#include <cstdint>

namespace vesk::templates::platform {

// A spin lock over plain words, for state that must be guarded before any other lock can be
// built (library start and stop, the installation directory). With an owner word the lock is
// recursive per thread: a thread that already owns it gets an empty guard that releases nothing.
class SpinLockVariableGuard {
 public:
  SpinLockVariableGuard(std::atomic<uint32_t>* spin, std::atomic<uint64_t>* owner);
  virtual ~SpinLockVariableGuard();
  SpinLockVariableGuard(const SpinLockVariableGuard&) = delete;
  SpinLockVariableGuard& operator=(const SpinLockVariableGuard&) = delete;

  bool IsAcquired() const { return acquired_; }

 private:
  std::atomic<uint32_t>* spin_;
  std::atomic<uint64_t>* owner_;
  bool acquired_ = false;
};

}  // namespace vesk::templates::platform

#endif
