#ifndef VESK_TEMPLATES_PLATFORM_READ_WRITE_LOCK_H
#define VESK_TEMPLATES_PLATFORM_READ_WRITE_LOCK_H

#include <pthread.h>

namespace vesk::templates::platform {

// A process-private pthread read-write lock.
class ReadWriteLock {
 public:
  ReadWriteLock();
  virtual ~ReadWriteLock();
  ReadWriteLock(const ReadWriteLock&) = delete;
  ReadWriteLock& operator=(const ReadWriteLock&) = delete;

  void LockRead() { pthread_rwlock_rdlock(&lock_); }
  void LockWrite() { pthread_rwlock_wrlock(&lock_); }
  void Unlock() { pthread_rwlock_unlock(&lock_); }

 private:
  pthread_rwlock_t lock_;
};

// Scope guards of a ReadWriteLock.
class ReadLockGuard {
 public:
  explicit ReadLockGuard(ReadWriteLock& lock) : lock_(lock) { lock_.LockRead(); }
  ~ReadLockGuard() { lock_.Unlock(); }
  ReadLockGuard(const ReadLockGuard&) = delete;
  ReadLockGuard& operator=(const ReadLockGuard&) = delete;

 private:
  ReadWriteLock& lock_;
};

class WriteLockGuard {
 public:
  explicit WriteLockGuard(ReadWriteLock& lock) : lock_(lock) { lock_.LockWrite(); }
  ~WriteLockGuard() { lock_.Unlock(); }
  WriteLockGuard(const WriteLockGuard&) = delete;
  WriteLockGuard& operator=(const WriteLockGuard&) = delete;

 private:
  ReadWriteLock& lock_;
};

}  // namespace vesk::templates::platform

#endif
