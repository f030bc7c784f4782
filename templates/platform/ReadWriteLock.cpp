#include "templates/platform/ReadWriteLock.h"

namespace vesk::templates::platform {

ReadWriteLock::ReadWriteLock() {
  pthread_rwlockattr_t attributes;
  pthread_rwlockattr_init(&attributes);
  pthread_rwlockattr_setpshared(&attributes, PTHREAD_PROCESS_PRIVATE);
  pthread_rwlock_init(&lock_, &attributes);
  pthread_rwlockattr_destroy(&attributes);
}

ReadWriteLock::~ReadWriteLock() { pthread_rwlock_destroy(&lock_); }

}  // namespace vesk::templates::platform
