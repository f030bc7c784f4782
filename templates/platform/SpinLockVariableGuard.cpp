#include "templates/platform/SpinLockVariableGuard.h"

#include <pthread.h>
#include <sched.h>

namespace vesk::templates::platform {

namespace {
uint64_t CurrentThread() { return static_cast<uint64_t>(pthread_self()); }
}  // namespace

SpinLockVariableGuard::SpinLockVariableGuard(std::atomic<uint32_t>* spin,
                                             std::atomic<uint64_t>* owner)
    : spin_(spin), owner_(owner) {
  if (owner_ && owner_->load() == CurrentThread()) return;
  while (spin_->exchange(1, std::memory_order_acquire) == 1) sched_yield();
  if (owner_) owner_->store(CurrentThread());
  acquired_ = true;
}

SpinLockVariableGuard::~SpinLockVariableGuard() {
  if (!acquired_) return;
  if (owner_) owner_->store(0);
  spin_->store(0, std::memory_order_release);
}

}  // namespace vesk::templates::platform
