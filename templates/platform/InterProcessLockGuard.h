#ifndef VESK_TEMPLATES_PLATFORM_INTER_PROCESS_LOCK_GUARD_H
#define VESK_TEMPLATES_PLATFORM_INTER_PROCESS_LOCK_GUARD_H

#include "templates/patterns/GenericLockGuard.h"

namespace vesk::templates::platform {

class InterProcessLockGuard : public patterns::GenericLockGuard {
 public:
  using GenericLockGuard::GenericLockGuard;
};

}  // namespace vesk::templates::platform

#endif
