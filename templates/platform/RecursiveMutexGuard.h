#ifndef VESK_TEMPLATES_PLATFORM_RECURSIVE_MUTEX_GUARD_H
#define VESK_TEMPLATES_PLATFORM_RECURSIVE_MUTEX_GUARD_H

#include "templates/patterns/Guard.h"
#include "templates/platform/RecursiveMutex.h"

namespace vesk::templates::platform {

// Holds a RecursiveMutex for its scope. SetLocked(false) gives the lock back early (around a
// join, say) and SetLocked(true) takes it again; the destructor releases only what is held.
class RecursiveMutexGuard : public patterns::Guard<RecursiveMutex*> {
 public:
  explicit RecursiveMutexGuard(RecursiveMutex* mutex) : Guard(mutex) { SetLocked(true); }
  ~RecursiveMutexGuard() override { SetLocked(false); }

  void SetLocked(bool locked) {
    if (locked == locked_) return;
    if (locked) {
      resource_->Lock();
    } else {
      resource_->Unlock();
    }
    locked_ = locked;
  }
  bool IsLocked() const { return locked_; }

 private:
  bool locked_ = false;
};

}  // namespace vesk::templates::platform

#endif
