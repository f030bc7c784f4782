#include "sim/device/cl/ClBootstrap.h"

#include <algorithm>

#include "sim/core/ByteOrder.h"
#include "sim/device/Gencp.h"

namespace vesk::sim {

namespace {

// The rate of each bit of the serial bootstrap's baud rate registers.
constexpr uint32_t kBauds[] = {9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600};
constexpr uint32_t kStartBaud = 9600;
constexpr uint64_t kCurrentBaud = ClBootstrap::kSbrm + 4;

uint32_t BitOf(uint32_t baud) {
  for (uint32_t bit = 0; bit < 8; ++bit) {
    if (kBauds[bit] == baud) return 1u << bit;
  }
  return 0;
}

uint32_t BaudOf(uint32_t bits) {
  for (uint32_t bit = 0; bit < 8; ++bit) {
    if (bits == 1u << bit) return kBauds[bit];
  }
  return 0;
}

}  // namespace

ClBootstrap::ClBootstrap(const RigCamera& described, Camera& camera)
    : camera_(camera),
      baud_(described.speeds.empty() ? kStartBaud : described.defaultSpeed),
      registers_(camera,
                 {"Camera Link", "simulated GenCP camera on the serial channel", kSbrm, false}) {
  for (uint32_t baud : kBauds) {
    if (described.speeds.empty() || std::find(described.speeds.begin(), described.speeds.end(),
                                              baud) != described.speeds.end()) {
      supported_ |= BitOf(baud);
    }
  }
  registers_.AddNumber(kSbrm, 4, false, supported_);
  registers_.AddNumber(kCurrentBaud, 4, true, BitOf(baud_));
}

bool ClBootstrap::Runs(unsigned, uint32_t speed) const { return speed == Baud(); }

uint32_t ClBootstrap::Baud() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return baud_;
}

void ClBootstrap::SetBaud(uint32_t baud) {
  std::lock_guard<std::mutex> lock(mutex_);
  baud_ = baud;
  registers_.SetNumber(kCurrentBaud, BitOf(baud));
}

uint16_t ClBootstrap::Read(uint64_t address, uint8_t* bytes, size_t length) {
  if (length == 0) return gencp::kSuccess;
  if (address >= kEnd) {
    return camera_.Read(address, bytes, length) ? gencp::kSuccess : gencp::kInvalidAddress;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  return registers_.Read(address, bytes, length) ? gencp::kSuccess : gencp::kInvalidAddress;
}

uint16_t ClBootstrap::Write(uint64_t address, const uint8_t* bytes, size_t length, uint32_t& baud) {
  baud = 0;
  if (length == 0) return gencp::kSuccess;
  if (address >= kEnd) {
    if (camera_.Write(address, bytes, length)) return gencp::kSuccess;
    const bool inXml = address + length > camera_.XmlAddress() &&
                       address < camera_.XmlAddress() + camera_.XmlFile().size();
    return inXml ? gencp::kWriteProtect : gencp::kInvalidAddress;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  const std::vector<const RegisterMap::Register*> covering = registers_.Covering(address, length);
  if (covering.empty()) return gencp::kInvalidAddress;
  for (const RegisterMap::Register* reg : covering) {
    if (!reg->writable) return gencp::kWriteProtect;
    if (reg->address != kCurrentBaud) continue;
    // Only the whole register, one bit of a rate the camera has.
    if (address != kCurrentBaud || length < 4) return gencp::kInvalidParameter;
    const uint32_t bits = Be32(bytes);
    if (!(bits & supported_) || BaudOf(bits) == 0) return gencp::kInvalidParameter;
    baud = BaudOf(bits);
  }
  for (const RegisterMap::Register* reg : covering) {
    // The rate is taken once answered, in SetBaud.
    if (reg->address != kCurrentBaud) registers_.Store(*reg, address, bytes, length);
  }
  return gencp::kSuccess;
}

}  // namespace vesk::sim
