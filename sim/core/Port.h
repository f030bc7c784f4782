#ifndef VESK_SIM_CORE_PORT_H
#define VESK_SIM_CORE_PORT_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "sim/core/CameraUnit.h"
#include "sim/core/FaultPlan.h"

namespace vesk::sim {

// What is plugged into a port: one link of one camera, or nothing when camera is null.
struct Cable {
  std::shared_ptr<CameraUnit> camera;
  unsigned link = 0;
};

struct PortCounters {
  uint64_t packetsToCamera = 0;
  uint64_t packetsFromCamera = 0;
};

// A physical port of a board. Safe to use from several threads.
class Port {
 public:
  Cable GetCable() const;
  void SetCable(Cable cable);

  FaultPlan& Faults() { return faults_; }

  // Transport models count the packets that cross the port.
  void CountPacket(bool toCamera);
  PortCounters Counters() const;
  void ResetCounters();

  // The Camera Link serial channel's rate; 0 until it is opened.
  unsigned Baud() const { return baud_; }
  void SetBaud(unsigned baud) { baud_ = baud; }

 private:
  mutable std::mutex mutex_;
  Cable cable_;
  FaultPlan faults_;
  std::atomic<uint64_t> toCamera_{0};
  std::atomic<uint64_t> fromCamera_{0};
  std::atomic<unsigned> baud_{0};
};

}  // namespace vesk::sim

#endif
