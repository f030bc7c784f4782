#ifndef VESK_SIM_CORE_PORT_H
#define VESK_SIM_CORE_PORT_H

#include <atomic>

#include "sim/core/LinkChannel.h"

namespace vesk::sim {

// A physical port of a board: the link channel to what is plugged in, and the rate that the host
// set for its Camera Link serial channel. Safe to use from several threads.
class Port : public LinkChannel {
 public:
  // 0 until the serial channel is opened.
  unsigned Baud() const { return baud_; }
  void SetBaud(unsigned baud) { baud_ = baud; }

 private:
  std::atomic<unsigned> baud_{0};
};

}  // namespace vesk::sim

#endif
