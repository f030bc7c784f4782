#include "sim/core/Notifier.h"

#include <algorithm>
#include <chrono>

#include "sim/core/Board.h"

namespace vesk::sim {

Notifier::Notifier(Board& board)
    : board_(board), boardIndex_(board.Index()), thread_(&Notifier::Run, this) {
  board_.Subscribe(this);
}

Notifier::~Notifier() { Stop(); }

void Notifier::Add(VHalAsyncNotifyCallback callback, void* userData) {
  std::lock_guard<std::mutex> lock(mutex_);
  const Listener listener{callback, userData};
  if (std::find(listeners_.begin(), listeners_.end(), listener) == listeners_.end()) {
    listeners_.push_back(listener);
  }
}

bool Notifier::Remove(VHalAsyncNotifyCallback callback, void* userData) {
  std::unique_lock<std::mutex> lock(mutex_);
  const Listener listener{callback, userData};
  auto found = std::find(listeners_.begin(), listeners_.end(), listener);
  if (found == listeners_.end()) return false;
  listeners_.erase(found);
  // The callback's own user data may go once this returns. A running callback is the user's: the
  // wait is as long as the join of a handle that closes.
  if (!RunsOnThisThread()) changed_.wait(lock, [&] { return running_ != listener; });
  return true;
}

void Notifier::Stop() {
  std::lock_guard<std::mutex> stopping(stopMutex_);
  if (stopped_) return;
  stopped_ = true;
  board_.Unsubscribe(this);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void Notifier::Post(unsigned long what, unsigned long detail) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (waiting_.size() >= kMaxWaiting) return;
    waiting_.emplace_back(what, detail);
  }
  changed_.notify_all();
}

void Notifier::Run() {
  // Post and Stop wake the thread; the bound keeps every wait of the simulator finite.
  constexpr auto kIdle = std::chrono::milliseconds(200);
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_) {
    if (waiting_.empty()) {
      changed_.wait_for(lock, kIdle);
      continue;
    }
    const auto [what, detail] = waiting_.front();
    waiting_.pop_front();
    // Those registered now, less any that go while the others run.
    const std::vector<Listener> listeners = listeners_;
    for (const Listener& listener : listeners) {
      if (stop_) break;
      if (std::find(listeners_.begin(), listeners_.end(), listener) == listeners_.end()) continue;
      running_ = listener;
      lock.unlock();
      listener.first(boardIndex_, what, detail, 0, listener.second);
      lock.lock();
      running_.reset();
      changed_.notify_all();
    }
  }
}

}  // namespace vesk::sim
