// The baud rate of CClPort: the search for the camera's rate, the rates it supports, and the
// switch of camera and channel to another rate.
#include <arpa/inet.h>

#include "vesk_genicam/impl/ClPort.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

namespace {

constexpr unsigned int kSbrmAddress = 0x1D8;
constexpr uint64_t kNoSbrm = ~0ull;
constexpr unsigned int kSpeedWriteTimeoutMs = 200;

}  // namespace

int CClPort::SetConnSpeed(unsigned int speed) {
  if (VHalClSerSetBaudrate(device_, portId_, speed) == 0) return 0;
  int rx = -1;
  int tx = -1;
  const int status = VHalClSerInit(device_, portId_, speed, &rx, &tx);
  if (status == 0) {
    rxQueue_ = rx;
    txQueue_ = tx;
  }
  return status;
}

int CClPort::ReadBootstrap64(unsigned int address, uint64_t& value) {
  uint64_t wire = 0;
  const int status = ReadPacket(address, reinterpret_cast<unsigned char*>(&wire), 8, 0);
  if (status == 0) value = CUtility::htonll(wire);
  return status;
}

int CClPort::DetectSpeed() {
  speed_ = kNoLinkSpeed;
  sbrmAddress_ = kNoSbrm;
  int status = MLO_ERR_INVALID_LINK_SPEED;
  for (uint32_t rate : kRates) {
    if (SetConnSpeed(rate) != 0) continue;
    uint64_t sbrm = 0;
    if (ReadBootstrap64(kSbrmAddress, sbrm) == 0) {
      sbrmAddress_ = sbrm;
      speed_ = rate;
      status = 0;
      break;
    }
  }
  logger_.Line(3, [&] {
    return Prefix() + "Ending PerformSpeedDetect " + std::to_string(status) +
           " Speed: " + std::to_string(speed_);
  });
  if (status != 0 || sbrmAddress_ == kNoSbrm) return status;
  uint32_t rates = 0;
  if (ReadPacket(static_cast<uint32_t>(sbrmAddress_), reinterpret_cast<unsigned char*>(&rates), 4,
                 0) != 0)
    return status;
  rates = ntohl(rates);
  // A clear bit does not unmark a rate: only Reset(true) forgets what the camera supports.
  for (unsigned int index = 0; index < kRateCount; ++index)
    if (rates >> index & 1) supported_[index] = true;
  return status;
}

int CClPort::SetSpeed(unsigned int speed) {
  unsigned int chosen = kRateCount;
  uint32_t bit = 0;
  unsigned int asked = kRateCount;
  for (unsigned int index = 0; index < kRateCount; ++index)
    if (kRates[index] == speed) asked = index;
  if (speed != 0 && asked < kRateCount && supported_[asked]) {
    // The lowest supported rate, whichever was asked for. Its bit counts the rates skipped on
    // the way, negated, as the camera has always been written it.
    unsigned int skipped = 0;
    while (skipped < kRateCount && !supported_[skipped]) ++skipped;
    chosen = skipped;
    bit = 1u << ((0u - skipped) & 31);
  } else {
    for (unsigned int index = kRateCount; index-- > 0 && chosen == kRateCount;)
      if (supported_[index]) chosen = index;
    bit = chosen < kRateCount ? 1u << chosen : 0;
  }
  if (chosen == kRateCount) return MLO_ERR_INVALID_LINK_SPEED;
  uint32_t wire = htonl(bit);
  const int status = WritePacket(static_cast<uint32_t>(sbrmAddress_ + 4),
                                 reinterpret_cast<unsigned char*>(&wire), 4, kSpeedWriteTimeoutMs);
  if (status != 0) return status;
  SetConnSpeed(kRates[chosen]);
  uint64_t sbrm = 0;
  if (ReadBootstrap64(kSbrmAddress, sbrm) != 0) return 0;
  speed_ = kRates[chosen];
  sbrmAddress_ = sbrm;
  return 0;
}
