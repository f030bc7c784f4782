#ifndef VESK_SIM_FIRMWARE_CXP_CXP_QUEUE_CHANNEL_H
#define VESK_SIM_FIRMWARE_CXP_CXP_QUEUE_CHANNEL_H

#include <cstddef>
#include <cstdint>
#include <functional>

#include "sim/core/DataQueue.h"
#include "sim/core/DeviceModel.h"

namespace vesk::sim {

// The control channel of one firmware port in the queue form. The host writes a header word (bit
// 21 for a tagged packet, the low 16 bits the words that follow) and the packet body into the
// transmit queue; the firmware adds the type word and the CRC. Acknowledgements come back as a
// length word of the same layout and the words behind the type word, without the CRC.
class CxpQueueChannel {
 public:
  using Sender = std::function<void(const Packet&)>;

  static constexpr uint32_t kTagged = 0x00200000;

  // Installs itself as the transmit queue's write handler; the queues outlive it.
  CxpQueueChannel(DataQueue& receive, DataQueue& transmit, Sender send);
  ~CxpQueueChannel();
  CxpQueueChannel(const CxpQueueChannel&) = delete;
  CxpQueueChannel& operator=(const CxpQueueChannel&) = delete;

  void Acknowledge(const Packet& packet);

 private:
  int FromHost(const uint8_t* bytes, size_t size);

  DataQueue& receive_;
  DataQueue& transmit_;
  const Sender send_;
};

}  // namespace vesk::sim

#endif
