#ifndef VESK_SIM_CORE_DATA_QUEUE_H
#define VESK_SIM_CORE_DATA_QUEUE_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "sim/core/DesignVariant.h"

namespace vesk::sim {

// One data queue of a board, in bytes or 32-bit words. The host reads what the firmware pushes;
// what the host writes goes to the firmware model's handler, or, without one, is kept for Take.
// Sizes are in bytes and must be whole units. Safe to use from several threads.
class DataQueue {
 public:
  // Gets every write of the host as it comes and answers with a status.
  using WriteHandler = std::function<int(const uint8_t* bytes, size_t size)>;

  // Each direction holds at most this many bytes.
  static constexpr size_t kCapacity = 1 << 20;

  explicit DataQueue(QueueUnit unit) : unit_(unit) {}

  QueueUnit Unit() const { return unit_; }

  // ---- The host's side ----
  // Waits up to timeoutMs for the first unit, then takes what there is; bytes taken, 0 when
  // nothing came.
  int Read(uint8_t* bytes, size_t size, unsigned timeoutMs);
  // Bytes accepted, or the handler's negative status. Without a handler, waits up to timeoutMs
  // for room for all of them; 0 when none came.
  int Write(const uint8_t* bytes, size_t size, unsigned timeoutMs);
  // Units waiting for the host.
  int Waiting() const;
  // Drops what waits in both directions.
  void Clear();
  // owner stands for the open board handle that claims the queue.
  int AcquireLock(const void* owner);
  int ReleaseLock(const void* owner);
  void ReleaseLockOf(const void* owner);
  // Whether another handle than this one has claimed the queue: its reads, writes and clears
  // are refused then.
  bool ClaimedByOther(const void* handle) const;

  // ---- The firmware's side ----
  void SetWriteHandler(WriteHandler handler);
  // Bytes taken; what does not fit is refused.
  size_t Push(const uint8_t* bytes, size_t size);
  // What the host wrote, oldest first; bytes moved.
  size_t Take(uint8_t* bytes, size_t size);

 private:
  bool WholeUnits(size_t size) const { return size % static_cast<size_t>(unit_) == 0; }

  const QueueUnit unit_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<uint8_t> toHost_;
  std::deque<uint8_t> fromHost_;
  std::shared_ptr<const WriteHandler> handler_;
  const void* owner_ = nullptr;
};

}  // namespace vesk::sim

#endif
