#include "sim/core/DataQueue.h"

#include <algorithm>
#include <chrono>

#include "sim/include/vesk_sim.h"

namespace vesk::sim {

namespace {

// Whole units only: a word is never split between two reads.
size_t Move(std::deque<uint8_t>& from, uint8_t* to, size_t size, size_t unit) {
  const size_t count = std::min(size, from.size()) / unit * unit;
  std::copy_n(from.begin(), count, to);
  from.erase(from.begin(), from.begin() + static_cast<std::ptrdiff_t>(count));
  return count;
}

}  // namespace

int DataQueue::Read(uint8_t* bytes, size_t size, unsigned timeoutMs) {
  if (!bytes || !WholeUnits(size)) return VSIM_ERROR_INVALID_ARGUMENT;
  if (size == 0) return 0;
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return !toHost_.empty(); });
  return static_cast<int>(Move(toHost_, bytes, size, static_cast<size_t>(unit_)));
}

int DataQueue::Write(const uint8_t* bytes, size_t size, unsigned timeoutMs) {
  if (!bytes || !WholeUnits(size)) return VSIM_ERROR_INVALID_ARGUMENT;
  if (size == 0) return 0;
  std::unique_lock<std::mutex> lock(mutex_);
  if (std::shared_ptr<const WriteHandler> handler = handler_) {
    lock.unlock();  // the handler may answer into this queue
    const int status = (*handler)(bytes, size);
    return status < 0 ? status : static_cast<int>(size);
  }
  if (size > kCapacity) return VSIM_ERROR_INVALID_ARGUMENT;
  const bool room = changed_.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                      [&] { return fromHost_.size() + size <= kCapacity; });
  if (!room) return 0;
  fromHost_.insert(fromHost_.end(), bytes, bytes + size);
  return static_cast<int>(size);
}

int DataQueue::Waiting() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int>(toHost_.size() / static_cast<size_t>(unit_));
}

void DataQueue::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  toHost_.clear();
  fromHost_.clear();
  changed_.notify_all();
}

int DataQueue::AcquireLock(const void* owner) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (owner_) return VSIM_ERROR_QUEUE_LOCKED;
  owner_ = owner;
  return 0;
}

int DataQueue::ReleaseLock(const void* owner) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!owner_ || owner_ != owner) return VSIM_ERROR_NOT_LOCKED;
  owner_ = nullptr;
  return 0;
}

bool DataQueue::ClaimedByOther(const void* handle) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return owner_ && owner_ != handle;
}

void DataQueue::ReleaseLockOf(const void* owner) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (owner_ == owner) owner_ = nullptr;
}

void DataQueue::SetWriteHandler(WriteHandler handler) {
  std::lock_guard<std::mutex> lock(mutex_);
  handler_ = handler ? std::make_shared<const WriteHandler>(std::move(handler)) : nullptr;
}

size_t DataQueue::Push(const uint8_t* bytes, size_t size) {
  if (!bytes) return 0;
  std::lock_guard<std::mutex> lock(mutex_);
  const size_t room = kCapacity - toHost_.size();
  const size_t count =
      std::min(size, room) / static_cast<size_t>(unit_) * static_cast<size_t>(unit_);
  toHost_.insert(toHost_.end(), bytes, bytes + count);
  if (count) changed_.notify_all();
  return count;
}

size_t DataQueue::Take(uint8_t* bytes, size_t size) {
  if (!bytes) return 0;
  std::lock_guard<std::mutex> lock(mutex_);
  const size_t moved = Move(fromHost_, bytes, size, static_cast<size_t>(unit_));
  if (moved) changed_.notify_all();
  return moved;
}

}  // namespace vesk::sim
