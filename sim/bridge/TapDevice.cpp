#include "sim/bridge/TapDevice.h"

#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>
#include <thread>

namespace vesk::sim {

namespace {

// Room for a frame of the largest MTU a TAP interface may be given.
constexpr size_t kLargestFrame = 65536;

}  // namespace

TapDevice::TapDevice(const std::string& name) {
  if (name.empty() || name.size() >= IFNAMSIZ) {
    throw std::system_error(EINVAL, std::generic_category(), "TAP interface name '" + name + "'");
  }
  fd_ = open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC);
  if (fd_ < 0) throw std::system_error(errno, std::generic_category(), "/dev/net/tun");
  ifreq request{};
  request.ifr_flags = IFF_TAP | IFF_NO_PI;
  std::memcpy(request.ifr_name, name.c_str(), name.size());
  if (ioctl(fd_, TUNSETIFF, &request) < 0) {
    const int error = errno;
    close(fd_);
    throw std::system_error(error, std::generic_category(), "TAP interface " + name);
  }
  name_.assign(request.ifr_name, strnlen(request.ifr_name, IFNAMSIZ));
}

TapDevice::~TapDevice() { close(fd_); }

std::optional<Packet> TapDevice::Read(int timeoutMs) {
  pollfd ready{fd_, POLLIN, 0};
  const int events = poll(&ready, 1, timeoutMs);
  if (events <= 0) return std::nullopt;
  if (!(ready.revents & POLLIN)) {
    // An interface taken away reports an error at once, every time: wait as if it were quiet.
    std::this_thread::sleep_for(std::chrono::milliseconds(timeoutMs));
    return std::nullopt;
  }
  buffer_.resize(kLargestFrame);
  const ssize_t size = read(fd_, buffer_.data(), buffer_.size());
  if (size <= 0) return std::nullopt;
  return Packet(buffer_.begin(), buffer_.begin() + size);
}

bool TapDevice::Write(const Packet& frame) {
  return write(fd_, frame.data(), frame.size()) == static_cast<ssize_t>(frame.size());
}

}  // namespace vesk::sim
