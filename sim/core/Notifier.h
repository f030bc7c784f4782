#ifndef VESK_SIM_CORE_NOTIFIER_H
#define VESK_SIM_CORE_NOTIFIER_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "loader/vesk_hal.h"

namespace vesk::sim {

class Board;

// The notification thread of one open board handle: runs each callback registered on the handle
// for each notification of the board, callbacks in the order of registration, notifications in
// order. It must not be stopped or destroyed from its own callbacks.
class Notifier {
 public:
  explicit Notifier(Board& board);
  ~Notifier();
  Notifier(const Notifier&) = delete;
  Notifier& operator=(const Notifier&) = delete;

  // Notifications beyond this many waiting are dropped.
  static constexpr size_t kMaxWaiting = 1024;

  // A callback with its user data is kept once, however often it is added.
  void Add(VHalAsyncNotifyCallback callback, void* userData);
  // False for a pair that is not kept. Once it returns, the callback is not called again, and,
  // unless this is its own thread, is not running.
  bool Remove(VHalAsyncNotifyCallback callback, void* userData);
  // Leaves the board and joins the thread: once it returns, no callback runs. Idempotent.
  void Stop();

  void Post(unsigned long what, unsigned long detail);
  bool RunsOnThisThread() const { return std::this_thread::get_id() == thread_.get_id(); }

 private:
  using Listener = std::pair<VHalAsyncNotifyCallback, void*>;

  void Run();

  Board& board_;
  const int boardIndex_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::pair<unsigned long, unsigned long>> waiting_;
  std::vector<Listener> listeners_;
  std::optional<Listener> running_;
  bool stop_ = false;
  std::mutex stopMutex_;  // one Stop at a time; the first leaves the board
  bool stopped_ = false;
  std::thread thread_;
};

}  // namespace vesk::sim

#endif
