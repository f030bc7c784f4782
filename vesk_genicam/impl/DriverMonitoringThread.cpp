#include "vesk_genicam/impl/DriverMonitoringThread.h"

#include <chrono>

CDriverMonitoringThread::~CDriverMonitoringThread() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wakeUp_.notify_all();
  Join();
}

void CDriverMonitoringThread::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_) {
    lock.unlock();
    driver_->DoAsyncMonitoring();
    lock.lock();
    const auto deadline = std::chrono::system_clock::now() + std::chrono::seconds(1);
    wakeUp_.wait_until(lock, deadline, [this] { return stop_; });
  }
}
