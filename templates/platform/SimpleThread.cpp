#include "templates/platform/SimpleThread.h"

#include <system_error>

namespace vesk::templates::platform {

SimpleThread::~SimpleThread() { Join(); }

bool SimpleThread::Start() {
  std::lock_guard<std::mutex> joining(joinMutex_);
  std::lock_guard<std::mutex> lock(mutex_);
  if (started_) return true;
  // A run that has returned has let go of mutex_ already; its thread is at most on its way out.
  if (thread_.joinable()) thread_.join();
  started_ = true;
  try {
    thread_ = std::thread(&SimpleThread::ThreadFunction, this);
  } catch (const std::system_error&) {
    started_ = false;
  }
  return started_;
}

void SimpleThread::Join() {
  std::lock_guard<std::mutex> joining(joinMutex_);
  std::thread running;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    running = std::move(thread_);
  }
  if (running.joinable()) running.join();
}

bool SimpleThread::IsRunning() {
  std::lock_guard<std::mutex> lock(mutex_);
  return started_;
}

void SimpleThread::ThreadFunction() {
  run();
  std::lock_guard<std::mutex> lock(mutex_);
  started_ = false;
}

}  // namespace vesk::templates::platform
