#ifndef VESK_SIM_CORE_NOTIFIER_H
#define VESK_SIM_CORE_NOTIFIER_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "loader/vesk_hal.h"

namespace vesk::sim {

class Board;

// The notification thread of one open board handle: runs the handle's callback for each
// notification of the board, in order. Destroying it stops and joins the thread, so it must not
// be destroyed from its own callback.
class Notifier {
 public:
  Notifier(Board& board, VHalAsyncNotifyCallback callback, void* userData);
  ~Notifier();
  Notifier(const Notifier&) = delete;
  Notifier& operator=(const Notifier&) = delete;

  // Notifications beyond this many waiting are dropped.
  static constexpr size_t kMaxWaiting = 1024;

  void Post(unsigned long what, unsigned long detail);
  bool RunsOnThisThread() const { return std::this_thread::get_id() == thread_.get_id(); }

 private:
  void Run();

  Board& board_;
  const int boardIndex_;
  const VHalAsyncNotifyCallback callback_;
  void* const userData_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::pair<unsigned long, unsigned long>> waiting_;
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace vesk::sim

#endif
