#include "sim/core/Notifier.h"

#include <chrono>

#include "sim/core/Board.h"

namespace vesk::sim {

Notifier::Notifier(Board& board, VHalAsyncNotifyCallback callback, void* userData)
    : board_(board),
      boardIndex_(board.Index()),
      callback_(callback),
      userData_(userData),
      thread_(&Notifier::Run, this) {
  board_.Subscribe(this);
}

Notifier::~Notifier() {
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
  // Post and the destructor wake the thread; the bound keeps every wait of the simulator finite.
  constexpr auto kIdle = std::chrono::milliseconds(200);
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_) {
    if (waiting_.empty()) {
      changed_.wait_for(lock, kIdle);
      continue;
    }
    const auto [what, detail] = waiting_.front();
    waiting_.pop_front();
    lock.unlock();
    callback_(boardIndex_, what, detail, 0, userData_);
    lock.lock();
  }
}

}  // namespace vesk::sim
