#ifndef VESK_SIM_FIRMWARE_GIGE_GIGE_DHCP_SERVER_H
#define VESK_SIM_FIRMWARE_GIGE_GIGE_DHCP_SERVER_H

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>

#include "sim/core/DeviceModel.h"
#include "sim/core/EthernetFrame.h"

namespace vesk::sim {

// A DHCP server on the network of one GigE port, as a rig may put there: it offers a client an
// address of a small pool (the same one each time it asks) and acknowledges a request for it,
// refusing any other. Answers go by broadcast, which a client without an address hears. Safe
// from several threads.
class GigeDhcpServer {
 public:
  // The server is subnet.1 of subnet/24; clients get subnet.100 and up.
  explicit GigeDhcpServer(uint32_t subnet);

  // The answer to a frame of the network, without check sequence; empty for a frame that is no
  // DISCOVER or REQUEST to a DHCP server.
  std::optional<Packet> Answer(const Packet& frame);

 private:
  uint32_t LeaseFor(const ethernet::Mac& client);

  const uint32_t subnet_;
  const ethernet::Mac mac_;
  std::mutex mutex_;
  std::map<ethernet::Mac, uint32_t> leases_;
};

}  // namespace vesk::sim

#endif
