#ifndef VESK_TEMPLATES_PATTERNS_GENERIC_LOCK_H
#define VESK_TEMPLATES_PATTERNS_GENERIC_LOCK_H

#include <atomic>

namespace vesk::templates::patterns {

// A named lock. enter() and leave() keep count of the levels taken through them, so that a guard
// gives back only what was entered.
class GenericLock {
 public:
  explicit GenericLock(bool recursive) : recursive_(recursive) {}
  virtual ~GenericLock() = default;
  GenericLock(const GenericLock&) = delete;
  GenericLock& operator=(const GenericLock&) = delete;

  virtual void acquire() = 0;
  virtual bool try_acquire(unsigned int timeoutMs) = 0;
  virtual void release() = 0;
  virtual bool isAcquired() = 0;

  void enter() {
    acquire();
    ++lockCount_;
  }
  // Releases one entered level; nothing when none is open.
  void leave() {
    int count = lockCount_.load();
    while (count > 0 && !lockCount_.compare_exchange_weak(count, count - 1)) {
    }
    if (count > 0) release();
  }
  int lockCount() const { return lockCount_.load(); }
  bool isRecursive() const { return recursive_; }

 private:
  std::atomic<int> lockCount_{0};
  const bool recursive_;
};

}  // namespace vesk::templates::patterns

#endif
