#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "templates/container/ManagedDataArray.h"
#include "templates/container/SynchronizedQueue.h"
#include "templates/platform/RevocableWait.h"
#include "templates/platform/SimpleThread.h"

namespace vesk::templates {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// A bound for things that should happen at once; long enough for a loaded sanitizer run.
constexpr auto kPrompt = 10s;

template <class Function>
std::chrono::milliseconds Timed(Function function) {
  Clock::time_point start = Clock::now();
  function();
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
}

TEST(RevocableWait, RevokingEndsWaitsUntilTheOwnerResets) {
  platform::RevocableWait wait;
  auto waiter = std::async(std::launch::async, [&] { wait.RevocableWaitFor(600000); });
  std::this_thread::sleep_for(50ms);
  wait.Revoke();
  EXPECT_EQ(waiter.wait_for(kPrompt), std::future_status::ready) << "revoke did not wake";
  EXPECT_LT(Timed([&] { wait.RevocableWaitFor(600000); }), kPrompt) << "revoked wait waited";
  wait.Reset();
  EXPECT_GE(Timed([&] { wait.RevocableWaitFor(100); }), 100ms);
}

// Runs until told to stop, counting its runs.
class CountingThread : public platform::SimpleThread {
 public:
  ~CountingThread() override {
    Stop();
    Join();
  }
  void Stop() {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
    changed_.notify_all();
  }
  void AwaitRuns(int runs) {
    std::unique_lock<std::mutex> lock(mutex_);
    ASSERT_TRUE(changed_.wait_for(lock, kPrompt, [&] { return runs_ == runs; }));
  }
  int Runs() {
    std::lock_guard<std::mutex> lock(mutex_);
    return runs_;
  }

 protected:
  void run() override {
    std::unique_lock<std::mutex> lock(mutex_);
    ++runs_;
    changed_.notify_all();
    // Ended by Stop(), at the latest from the destructor.
    changed_.wait(lock, [this] { return stop_; });
    stop_ = false;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stop_ = false;
  int runs_ = 0;
};

TEST(SimpleThread, StartsOncePerRunCanRunAgainAndIsStoppedWhenDestroyed) {
  auto thread = std::make_unique<CountingThread>();
  EXPECT_FALSE(thread->IsRunning());
  ASSERT_TRUE(thread->Start());
  ASSERT_TRUE(thread->Start());
  thread->AwaitRuns(1);
  EXPECT_TRUE(thread->IsRunning());
  thread->Stop();
  thread->Join();
  EXPECT_FALSE(thread->IsRunning());
  EXPECT_EQ(thread->Runs(), 1) << "a second Start while running made a second thread";
  ASSERT_TRUE(thread->Start());
  thread->AwaitRuns(2);
  auto destroyed = std::async(std::launch::async, [&] { thread.reset(); });
  EXPECT_EQ(destroyed.wait_for(kPrompt), std::future_status::ready);
}

using Queue = container::SynchronizedQueue<std::unique_ptr<int>>;

TEST(SynchronizedQueue, KeepsTheOrderBetweenThreadsThroughAFullQueue) {
  Queue queue(2);
  constexpr int kCount = 2000;
  std::thread producer([&] {
    for (int i = 0; i < kCount; ++i) queue.Push(std::make_unique<int>(i));
  });
  std::vector<int> received;
  for (int i = 0; i < kCount; ++i) received.push_back(*queue.Pop());
  producer.join();
  for (int i = 0; i < kCount; ++i) ASSERT_EQ(received[i], i);
}

TEST(SynchronizedQueue, APopFromAFullQueueOfOneLetsTheBlockedPushIn) {
  Queue queue(1);
  queue.Push(std::make_unique<int>(1));
  auto pusher = std::async(std::launch::async, [&] { queue.Push(std::make_unique<int>(2)); });
  EXPECT_EQ(pusher.wait_for(50ms), std::future_status::timeout) << "pushed into a full queue";
  EXPECT_EQ(*queue.Pop(), 1);
  bool pushed = pusher.wait_for(kPrompt) == std::future_status::ready;
  if (!pushed) queue.Interrupt();  // so that the test ends
  ASSERT_TRUE(pushed) << "the push stayed blocked after a pop";
  EXPECT_EQ(*queue.Pop(), 2);
}

TEST(SynchronizedQueue, InterruptWakesBothSidesAndWithholdsWhatIsLeft) {
  Queue empty(1);
  auto popper = std::async(std::launch::async, [&] { empty.Pop(); });
  Queue full(1);
  full.Push(std::make_unique<int>(1));
  auto pusher = std::async(std::launch::async, [&] { full.Push(std::make_unique<int>(2)); });
  std::this_thread::sleep_for(50ms);
  empty.Interrupt();
  full.Interrupt();
  ASSERT_EQ(popper.wait_for(kPrompt), std::future_status::ready);
  ASSERT_EQ(pusher.wait_for(kPrompt), std::future_status::ready);
  EXPECT_THROW(popper.get(), container::SynchronizedQueueInterruptException);
  EXPECT_THROW(pusher.get(), container::SynchronizedQueueInterruptException);
  EXPECT_EQ(full.Size(), 1u);
  EXPECT_THROW(full.Pop(), container::SynchronizedQueueInterruptException);
}

TEST(ManagedDataArray, CopiesSharesAndEndsWithAZeroByte) {
  const char text[] = {'a', 'b', 'c'};
  container::ManagedDataArrayPtr array = container::ManagedDataArray::Copy(text, sizeof text);
  ASSERT_EQ(array->size, 3u);
  EXPECT_STREQ(array->data, "abc");
  container::ManagedDataArrayPtr empty = container::ManagedDataArray::Create(0);
  EXPECT_EQ(empty->data[0], '\0');
  // The bytes live as long as any owner of them.
  boost::shared_ptr<char[]> bytes = array->bytes;
  array.reset();
  EXPECT_EQ(bytes[2], 'c');
}

}  // namespace
}  // namespace vesk::templates
