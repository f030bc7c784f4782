#ifndef VESK_TEMPLATES_PATTERNS_GENERIC_LOCK_GUARD_H
#define VESK_TEMPLATES_PATTERNS_GENERIC_LOCK_GUARD_H

#include "templates/patterns/GenericLock.h"
#include "templates/patterns/Guard.h"

namespace vesk::templates::patterns {

// Leaves a lock that the caller has just entered, at the end of the scope. With deleteLock the
// guard also owns the lock object.
class GenericLockGuard : public Guard<GenericLock*> {
 public:
  GenericLockGuard(GenericLock* lock, bool locked = true, bool deleteLock = false,
                   bool unlockOnExit = true)
      : Guard(lock), locked_(locked), deleteLock_(deleteLock), unlockOnExit_(unlockOnExit) {}
  ~GenericLockGuard() override {
    if (unlockOnExit_ && locked_ && resource_) resource_->leave();
    if (deleteLock_) delete resource_;
  }

 private:
  bool locked_;
  bool deleteLock_;
  bool unlockOnExit_;
};

}  // namespace vesk::templates::patterns

#endif
