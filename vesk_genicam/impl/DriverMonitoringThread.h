#ifndef VESK_GENICAM_IMPL_DRIVERMONITORINGTHREAD_H
#define VESK_GENICAM_IMPL_DRIVERMONITORINGTHREAD_H

#include <condition_variable>
#include <mutex>

#include "templates/platform/SimpleThread.h"
#include "vesk_genicam/impl/IMonitorInterface.h"

// Ticks the driver's DoAsyncMonitoring once a second until it is destroyed.
class CDriverMonitoringThread : public vesk::templates::platform::SimpleThread {
 public:
  explicit CDriverMonitoringThread(IMonitorInterface* driver) : driver_(driver) {}
  // Stops the ticks and joins.
  ~CDriverMonitoringThread() override;

 protected:
  void run() override;

 private:
  IMonitorInterface* driver_;
  bool stop_ = false;
  std::mutex mutex_;
  std::condition_variable wakeUp_;
};

#endif
