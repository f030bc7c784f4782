#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <future>
#include <thread>
#include <vector>

#include "sim/core/DataQueue.h"
#include "sim/include/vesk_sim.h"

namespace vesk::sim {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// A bound for things that should happen at once; long enough for a loaded sanitizer run.
constexpr auto kPrompt = 10s;

TEST(DataQueue, TheHostReadsWhatWasPushedInOrderAndInWholeUnits) {
  DataQueue queue(QueueUnit::Word);
  const uint32_t pushed[3] = {1, 2, 3};
  const auto* bytes = reinterpret_cast<const uint8_t*>(pushed);
  EXPECT_EQ(queue.Push(bytes, 12), 12u);
  EXPECT_EQ(queue.Waiting(), 3);
  uint32_t words[2] = {};
  auto* into = reinterpret_cast<uint8_t*>(words);
  EXPECT_EQ(queue.Read(into, 8, 0), 8);
  EXPECT_EQ(std::memcmp(words, pushed, 8), 0);
  EXPECT_EQ(queue.Read(into, 8, 0), 4);  // what there is
  EXPECT_EQ(words[0], 3u);
  EXPECT_EQ(queue.Read(into, 6, 0), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(queue.Push(bytes, 5), 4u);  // a part word is refused
}

TEST(DataQueue, AReadWaitsForItsTimeOutAndNoLonger) {
  DataQueue queue(QueueUnit::Byte);
  uint8_t byte = 0;
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(queue.Read(&byte, 1, 100), 0);
  const auto waited = Clock::now() - start;
  EXPECT_GE(waited, 100ms);
  EXPECT_LT(waited, kPrompt);

  auto reader = std::async(std::launch::async, [&] { return queue.Read(&byte, 1, 60000); });
  std::this_thread::sleep_for(20ms);
  const uint8_t sent = 0x5a;
  queue.Push(&sent, 1);
  ASSERT_EQ(reader.wait_for(kPrompt), std::future_status::ready) << "a push did not wake it";
  EXPECT_EQ(reader.get(), 1);
  EXPECT_EQ(byte, 0x5a);
}

TEST(DataQueue, WritesAreKeptForTheFirmwareUpToTheCapacityOrGoToTheHandler) {
  DataQueue queue(QueueUnit::Byte);
  const auto* abc = reinterpret_cast<const uint8_t*>("abc");
  uint8_t taken[4] = {};
  EXPECT_EQ(queue.Write(abc, 3, 0), 3);
  EXPECT_EQ(queue.Take(taken, 4), 3u);
  EXPECT_EQ(std::memcmp(taken, abc, 3), 0);

  // Full both ways: a write waits out its time-out, a push keeps what fits; a clear drops both.
  std::vector<uint8_t> block(DataQueue::kCapacity);
  EXPECT_EQ(queue.Write(block.data(), block.size(), 0), static_cast<int>(block.size()));
  EXPECT_EQ(queue.Write(block.data(), 1, 10), 0);
  EXPECT_EQ(queue.Take(taken, 1), 1u);
  EXPECT_EQ(queue.Write(block.data(), 1, 0), 1);
  EXPECT_EQ(queue.Push(block.data(), block.size()), block.size());
  EXPECT_EQ(queue.Push(block.data(), 1), 0u);
  queue.Clear();
  EXPECT_EQ(queue.Waiting(), 0);
  EXPECT_EQ(queue.Read(taken, 1, 0), 0);
  EXPECT_EQ(queue.Take(taken, 1), 0u);

  std::vector<uint8_t> seen;
  queue.SetWriteHandler([&](const uint8_t* data, size_t size) {
    seen.assign(data, data + size);
    return size == 3 ? 0 : -77;
  });
  EXPECT_EQ(queue.Write(abc, 3, 0), 3);
  EXPECT_EQ(seen, std::vector<uint8_t>(abc, abc + 3));
  EXPECT_EQ(queue.Write(abc, 2, 0), -77);
  EXPECT_EQ(queue.Take(taken, 4), 0u);
}

TEST(DataQueue, ALockHasOneOwnerAtATime) {
  DataQueue queue(QueueUnit::Word);
  int first = 0;
  int second = 0;
  EXPECT_EQ(queue.ReleaseLock(&first), VSIM_ERROR_NOT_LOCKED);
  EXPECT_EQ(queue.AcquireLock(&first), 0);
  EXPECT_EQ(queue.AcquireLock(&first), VSIM_ERROR_QUEUE_LOCKED);
  EXPECT_EQ(queue.AcquireLock(&second), VSIM_ERROR_QUEUE_LOCKED);
  EXPECT_EQ(queue.ReleaseLock(&second), VSIM_ERROR_NOT_LOCKED);
  queue.ReleaseLockOf(&second);
  EXPECT_EQ(queue.AcquireLock(&second), VSIM_ERROR_QUEUE_LOCKED);
  queue.ReleaseLockOf(&first);
  EXPECT_EQ(queue.AcquireLock(&second), 0);
}

}  // namespace
}  // namespace vesk::sim
