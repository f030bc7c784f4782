#ifndef VESK_TESTS_UNIT_SIM_HOST_TAP_H
#define VESK_TESTS_UNIT_SIM_HOST_TAP_H

// The host's end of a TAP interface that a bridge of the simulator made: the interface brought
// up and a packet socket on it, which sends frames onto it and hears what the bridge writes.
#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <optional>
#include <string>

#include "tests/unit/sim/GigeWire.h"

namespace vesk::sim::gige {

class HostTap {
 public:
  explicit HostTap(const std::string& name)
      : socket_(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(ETH_P_ALL))) {
    ifreq request{};
    std::snprintf(request.ifr_name, IFNAMSIZ, "%s", name.c_str());
    if (socket_ < 0 || ioctl(socket_, SIOCGIFFLAGS, &request) != 0) return;
    // Quiet: the host's IPv6 would speak on the wire as soon as the interface is up.
    std::ofstream("/proc/sys/net/ipv6/conf/" + name + "/disable_ipv6") << "1\n";
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
    if (ioctl(socket_, SIOCSIFFLAGS, &request) != 0) return;
    address_.sll_family = AF_PACKET;
    address_.sll_protocol = htons(ETH_P_ALL);
    address_.sll_ifindex = static_cast<int>(if_nametoindex(name.c_str()));
    ready_ = bind(socket_, reinterpret_cast<sockaddr*>(&address_), sizeof address_) == 0;
  }
  ~HostTap() {
    if (socket_ >= 0) close(socket_);
  }
  HostTap(const HostTap&) = delete;
  HostTap& operator=(const HostTap&) = delete;

  bool Ready() const { return ready_; }

  bool Send(const Bytes& frame) {
    return sendto(socket_, frame.data(), frame.size(), 0, reinterpret_cast<sockaddr*>(&address_),
                  sizeof address_) == static_cast<ssize_t>(frame.size());
  }

  // The next frame from the simulator that passes wanted; nothing within timeoutMs. The host's
  // own traffic on the interface (IPv6 solicitations, say) is passed over.
  std::optional<Bytes> Receive(const std::function<bool(const Bytes&)>& wanted,
                               int timeoutMs = 1000) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (auto now = std::chrono::steady_clock::now(); now < deadline;
         now = std::chrono::steady_clock::now()) {
      pollfd ready{socket_, POLLIN, 0};
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now).count();
      if (poll(&ready, 1, static_cast<int>(left) + 1) <= 0) break;
      Bytes frame(2048);
      sockaddr_ll from{};
      socklen_t size = sizeof from;
      const ssize_t got = recvfrom(socket_, frame.data(), frame.size(), 0,
                                   reinterpret_cast<sockaddr*>(&from), &size);
      if (got <= 0 || from.sll_pkttype == PACKET_OUTGOING) continue;
      frame.resize(static_cast<size_t>(got));
      if (wanted(frame)) return frame;
    }
    return std::nullopt;
  }

 private:
  int socket_;
  sockaddr_ll address_{};
  bool ready_ = false;
};

// A GVCP acknowledge from the camera's port; an ARP reply.
inline bool IsGvcpAnswer(const Bytes& frame) {
  const std::optional<Datagram> datagram = ParseUdp(frame);
  return datagram && datagram->sourcePort == kGvcpPort;
}

inline bool IsArpReply(const Bytes& frame) {
  return frame.size() >= 42 && Get16(frame, 12) == 0x0806 && Get16(frame, 20) == 2;
}

}  // namespace vesk::sim::gige

#endif
