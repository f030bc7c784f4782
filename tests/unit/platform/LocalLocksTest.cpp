#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "templates/platform/ReadWriteLock.h"
#include "templates/platform/RecursiveMutexGuard.h"
#include "templates/platform/SpinLockVariableGuard.h"

namespace vesk::templates::platform {
namespace {

uint64_t Self() { return static_cast<uint64_t>(pthread_self()); }

// Unsynchronised counting under a Guard built of `lock`: a lock that lets two threads in loses
// increments, the yield between read and write makes sure of it (and ThreadSanitizer reports the
// race).
template <class Guard, class... Lock>
int CountUnder(Lock&&... lock) {
  int counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        Guard guard(lock...);
        const int read = counter;
        std::this_thread::yield();
        counter = read + 1;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  return counter;
}

TEST(SpinLockVariableGuard, ReentryIsEmptyAndReleasesNothing) {
  std::atomic<uint32_t> spin{0};
  std::atomic<uint64_t> owner{0};
  {
    SpinLockVariableGuard outer(&spin, &owner);
    EXPECT_TRUE(outer.IsAcquired());
    EXPECT_EQ(owner.load(), Self());
    {
      SpinLockVariableGuard inner(&spin, &owner);
      EXPECT_FALSE(inner.IsAcquired());
    }
    EXPECT_EQ(spin.load(), 1u) << "leaving the inner scope released the lock";
    EXPECT_EQ(owner.load(), Self());
  }
  EXPECT_EQ(spin.load(), 0u);
  EXPECT_EQ(owner.load(), 0u);
}

TEST(SpinLockVariableGuard, ExcludesOtherThreadsWithAndWithoutOwnerWord) {
  std::atomic<uint32_t> spin{0};
  std::atomic<uint64_t> owner{0};
  EXPECT_EQ(CountUnder<SpinLockVariableGuard>(&spin, &owner), 8000);
  EXPECT_EQ(CountUnder<SpinLockVariableGuard>(&spin, nullptr), 8000);
}

TEST(RecursiveMutexGuard, GivenBackEarlyAndRetakenKeepsTheHolderCount) {
  RecursiveMutex mutex;
  {
    RecursiveMutexGuard outer(&mutex);
    RecursiveMutexGuard inner(&mutex);
    EXPECT_EQ(mutex.GetHolders(), 2);
    inner.SetLocked(false);
    EXPECT_EQ(mutex.GetHolders(), 1);
    inner.SetLocked(false);
    EXPECT_EQ(mutex.GetHolders(), 1) << "giving back twice";
    inner.SetLocked(true);
    EXPECT_EQ(mutex.GetHolders(), 2);
  }
  EXPECT_EQ(mutex.GetHolders(), 0);
  EXPECT_EQ(CountUnder<RecursiveMutexGuard>(&mutex), 8000);
  // A guard given back lets another thread in.
  RecursiveMutexGuard guard(&mutex);
  guard.SetLocked(false);
  bool entered = false;
  std::thread([&] {
    RecursiveMutexGuard inner(&mutex);
    entered = true;
  }).join();
  EXPECT_TRUE(entered);
}

TEST(ReadWriteLock, WritersExcludeEachOtherAndReaders) {
  ReadWriteLock lock;
  EXPECT_EQ(CountUnder<WriteLockGuard>(lock), 8000);

  int value = 0;
  std::thread writer([&] {
    for (int i = 0; i < 2000; ++i) {
      WriteLockGuard guard(lock);
      ++value;
    }
  });
  int changesSeenByReaders = 0;
  for (int i = 0; i < 2000; ++i) {
    ReadLockGuard guard(lock);
    const int before = value;
    std::this_thread::yield();
    if (value != before) ++changesSeenByReaders;
  }
  writer.join();
  EXPECT_EQ(changesSeenByReaders, 0);

  ReadLockGuard first(lock);
  ReadLockGuard second(lock);  // readers share
}

}  // namespace
}  // namespace vesk::templates::platform
