#ifndef VESK_TEMPLATES_PLATFORM_RECURSIVE_MUTEX_H
#define VESK_TEMPLATES_PLATFORM_RECURSIVE_MUTEX_H

#include <pthread.h>

#include <atomic>

namespace vesk::templates::platform {

// A recursive pthread mutex that counts how many lock levels are currently held.
class RecursiveMutex {
 public:
  RecursiveMutex();
  virtual ~RecursiveMutex();
  RecursiveMutex(const RecursiveMutex&) = delete;
  RecursiveMutex& operator=(const RecursiveMutex&) = delete;

  void Lock();
  void Unlock();
  int GetHolders() const { return holders_.load(); }

 private:
  pthread_mutex_t mutex_;
  pthread_mutexattr_t attributes_;
  std::atomic<int> holders_{0};
};

}  // namespace vesk::templates::platform

#endif
