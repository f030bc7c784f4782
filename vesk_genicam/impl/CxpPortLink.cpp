// The link layer of CCxpPort: bit rates, transceiver resets, lock detection, the error-counter
// supervision of a running link, and the reset of what discovery learned.

#include <chrono>
#include <sstream>
#include <thread>

#include "templates/patterns/GenericLockGuard.h"
#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/CxpPort.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::patterns::GenericLockGuard;
using vesk::templates::platform::RecursiveMutexGuard;

namespace {

// Speeds in Mbit/s and what each interface type writes for them.
struct SpeedRow {
  unsigned int speed;
  unsigned int drpA[4];  // to DRP addresses 27, 28, 31, 32
  unsigned int drpB[3];  // to DRP addresses 0xA9, 0x5E, 0x88
  int rateIndex;         // types 3 and 6; -1 where they have none
  unsigned int transceiverIndex;
};

constexpr SpeedRow kSpeeds[] = {
    {1250, {0x78C0, 0x20, 0x78C0, 0x20}, {0x1010, 0x1082, 0x22}, 0, 0},
    {2500, {0x38C0, 0x20, 0x38C0, 0x20}, {0x1020, 0x1082, 0x11}, 1, 1},
    {3125, {0x78C6, 0x20, 0x78C6, 0x20}, {0x1020, 0x1083, 0x11}, 2, 2},
    {5000, {0x38C4, 0x20, 0x38C4, 0x20}, {0x1040, 0x1082, 0}, 3, 3},
    {6250, {0x38C6, 0x20, 0x38C6, 0x20}, {0x1040, 0x1083, 0}, 4, 4},
    {10000, {}, {}, -1, 5},
    {12500, {}, {}, -1, 6},
};

constexpr unsigned int kDrpAAddresses[] = {27, 28, 31, 32};
constexpr unsigned int kDrpBAddresses[] = {0xA9, 0x5E, 0x88};
constexpr unsigned int kDrpAGapMs = 10;
constexpr unsigned int kRxResetPulseMs = 2;

constexpr uint64_t kStatusRateReady = 1ull << 49;
constexpr uint64_t kStatusLocked = 1ull << 48;

constexpr unsigned int kLockWindowMs = 49;
constexpr unsigned int kCleanReadsForLock = 51;
constexpr unsigned int kMaxLockReads = 99;
constexpr unsigned int kLockAttempts = 10;
constexpr uint32_t kBootstrapMagic = 0xC0A79AE5;

const SpeedRow* FindSpeed(unsigned int speed) {
  for (const SpeedRow& row : kSpeeds)
    if (row.speed == speed) return &row;
  return nullptr;
}

std::string Gbits(unsigned int speed) {
  std::ostringstream text;
  text << speed / 1000.0;
  return text.str();
}

}  // namespace

int CCxpPort::PollBit(int id, uint64_t bit, bool set) {
  // The firmware sets these bits within microseconds; a cancelled port stops waiting.
  for (;;) {
    uint64_t value = 0;
    const int status = ReadRegister(id, value);
    if (status != 0) return status;
    if (((value & bit) != 0) == set) return 0;
    if (revocableWait_.IsRevoked()) return MLO_ERR_CXP_NO_LINK_LOCK;
  }
}

int CCxpPort::SetDownlinkBitrate(unsigned int speed) {
  int status = 0;
  if (type_ == CxpIfCameraCtrl) {
    status = VHalCameraCtrlSetPortDataPathSpeed(device_, portId_, speed);
  } else {
    GenericLockGuard guard(BoardLock(transceiverLock_));
    const SpeedRow* row = FindSpeed(speed);
    const uint64_t portBit = 1ull << portId_;
    switch (type_) {
      case CxpIfDrpA:
        status =
            row && row->rateIndex >= 0 ? SetDownlinkDrp(row->drpA) : MLO_ERR_CXP_SPEED_NOT_IN_TABLE;
        break;
      case CxpIfDrpB:
        status = row && row->rateIndex >= 0 ? SetDownlinkDrp(row->drpB) : MLO_ERR_INVALID_POINTER;
        break;
      case CxpIfRateIndex:
      case CxpIfRateIndexRxStatus:
        status =
            row && row->rateIndex >= 0
                ? SetDownlinkIndexed(registers_.gtxSetBitRateDone, portBit, registers_.setBitRate,
                                     static_cast<unsigned int>(row->rateIndex))
                : MLO_ERR_INVALID_POINTER;
        break;
      case CxpIfTransceiverRegs:
        status = row ? SetDownlinkIndexed(registers_.status, kStatusRateReady,
                                          registers_.downLinkBitRate, row->transceiverIndex)
                     : MLO_ERR_INVALID_POINTER;
        break;
      default:
        status = MLO_ERR_CXP_INVALID_INTERFACE;
    }
  }
  if (status != 0) {
    logger_.Line(5, [&] { return Prefix() + "] Failed to set bitrate of downlink transceivers"; });
    return status;
  }
  ResetCxpTransceiver();
  logger_.Line(
      3, [&] { return Prefix() + "] Downlink transceivers set to " + Gbits(speed) + " Gbit/s"; });
  return 0;
}

int CCxpPort::SetDownlinkDrp(const unsigned int* values) {
  if (type_ == CxpIfDrpA) {
    for (unsigned int i = 0; i < 4; ++i) {
      WriteRegister(registers_.drpAddress, kDrpAAddresses[i]);
      WriteRegister(registers_.drpWriteData, values[i]);
      revocableWait_.RevocableWaitFor(kDrpAGapMs);
    }
    return 0;
  }
  const uint64_t portBit = 1ull << portId_;
  int status = PollBit(registers_.gtxDrpReady, portBit, true);
  for (unsigned int i = 0; status == 0 && i < 3; ++i) {
    WriteRegister(registers_.drpAddress, kDrpBAddresses[i]);
    WriteRegister(registers_.drpWriteData, values[i]);
    uint64_t ignored = 0;
    ReadRegister(registers_.gtxDrpReady, ignored);  // starts the ready bit anew
    status = PollBit(registers_.gtxDrpReady, portBit, true);
  }
  return status;
}

int CCxpPort::SetDownlinkIndexed(int doneRegister, uint64_t doneBit, int rateRegister,
                                 unsigned int index) {
  int status = PollBit(doneRegister, doneBit, true);
  if (status != 0) return status;
  WriteRegister(rateRegister, index);
  uint64_t ignored = 0;
  ReadRegister(doneRegister, ignored);  // starts the done bit anew
  return PollBit(doneRegister, doneBit, true);
}

int CCxpPort::SetUplinkBitrate(unsigned int speed, bool* changed) {
  const uint32_t high = speed == 10000 || speed == 12500;
  ResetCxpControlCore(6);
  if (type_ == CxpIfCameraCtrl) {
    const int status = VHalCameraCtrlSetPortDataPathSpeed(device_, portId_, speed);
    if (status < 0)
      logger_.Line(5, [&] { return Prefix() + "] Failed to set bitrate of uplink transceivers"; });
  } else if (type_ == CxpIfTransceiverRegs) {
    GenericLockGuard guard(BoardLock(transceiverLock_));
    const int status = PollBit(registers_.status, kStatusRateReady, true);
    if (status != 0) return status;
    WriteRegister(registers_.upLinkBitRate, high);
  } else if (type_ != CxpIfDrpA && type_ != CxpIfDrpB && type_ != CxpIfRateIndex &&
             type_ != CxpIfRateIndexRxStatus) {
    return MLO_ERR_INTERNAL;
  }
  if (high != uplinkHigh_) {
    uplinkHigh_ = high;
    if (changed) *changed = true;
  }
  logger_.Line(3, [&] {
    return Prefix() + "] Uplink transceivers set to " + (high ? "high" : "low") + " speed";
  });
  return 0;
}

void CCxpPort::ResetCxpTransceiver() {
  if (type_ == CxpIfCameraCtrl) return;
  GenericLockGuard guard(BoardLock(transceiverLock_));
  const uint64_t bit = 1ull << portId_;
  logger_.Line(2, [&] { return Prefix() + "] Performing transceiver reset..."; });
  switch (type_) {
    case CxpIfDrpA:
      WriteRegister(registers_.gtxRxReset, bit);
      revocableWait_.RevocableWaitFor(kRxResetPulseMs);
      WriteRegister(registers_.gtxRxReset, 0);
      if (PollBit(registers_.rxPllDet, bit, true) == 0) PollBit(registers_.rxResetDone, bit, true);
      return;
    case CxpIfDrpB:
      WriteRegister(registers_.gtxRxReset, bit);
      if (PollBit(registers_.rxResetDone, bit, false) != 0) return;
      WriteRegister(registers_.gtxRxReset, 0);
      PollBit(registers_.rxResetDone, bit, true);
      return;
    case CxpIfRateIndexRxStatus:
      WriteRegister(registers_.gtxRxReset, bit);
      WriteRegister(registers_.gtxRxReset, 0);
      PollBit(registers_.rxStatus, 1ull << (portId_ * 2), true);
      return;
    default:
      return;
  }
}

uint64_t CCxpPort::GetCurrentTransceiverErrorCount() {
  int id = 0;
  if (type_ == CxpIfTransceiverRegs || type_ == CxpIfCameraCtrl) {
    id = registers_.status;
  } else if (type_ == CxpIfDrpA || type_ == CxpIfDrpB || type_ == CxpIfRateIndex ||
             type_ == CxpIfRateIndexRxStatus) {
    id = registers_.notInTable;
  } else {
    logger_.Line(
        5, [&] { return Prefix() + "] Failed to check transceiver lock: Invalid GTX interface"; });
    return errorCountMask_;
  }
  uint64_t value = 0;
  ReadRegister(id, value);
  return value & errorCountMask_;
}

int CCxpPort::WaitForLinkUp() {
  RecursiveMutexGuard scope(&portScope_);
  PollTimer timer(kLockWindowMs);
  unsigned int reads = 0;
  unsigned int clean = 0;
  while (clean < kCleanReadsForLock && reads <= kMaxLockReads) {
    if (timer.Expired()) return MLO_ERR_CXP_NO_LINK_LOCK;
    ++reads;
    clean = GetCurrentTransceiverErrorCount() == 0 ? clean + 1 : 0;
  }
  if (clean != kCleanReadsForLock) return MLO_ERR_CXP_NO_LINK_LOCK;
  logger_.Line(2, [&] {
    return Prefix() + "] link lock found after " + std::to_string(timer.ElapsedMs()) + " ms";
  });
  uint64_t value = 0;
  if (type_ == CxpIfRateIndexRxStatus) {
    ReadRegister(registers_.rxStatus, value);
    return value >> (portId_ * 2 + 1) & 1 ? 0 : MLO_ERR_CXP_NO_LINK_LOCK;
  }
  if (type_ == CxpIfTransceiverRegs || type_ == CxpIfCameraCtrl) {
    ReadRegister(registers_.status, value);
    return value & kStatusLocked ? 0 : MLO_ERR_CXP_NO_LINK_LOCK;
  }
  return 0;
}

int CCxpPort::CheckBootstrapComunication() {
  int status = MLO_ERR_CXP_NO_LINK_LOCK;
  for (unsigned int attempt = 0; attempt < kLockAttempts; ++attempt) {
    status = ResetCxpControlCore(2);
    if (status != 0 && status != MLO_ERR_CXP_NO_LINK_LOCK) break;
    // Far below what the revocable wait resolves; the core needs it to leave its reset.
    std::this_thread::sleep_for(std::chrono::microseconds(50));
    status = WaitForLinkUp();
    if (status != MLO_ERR_CXP_NO_LINK_LOCK) {
      ResetCxpControlCore(0);
      break;
    }
    ResetCxpControlCore(6);
    std::this_thread::yield();
  }
  logger_.Line(
      2, [] { return "::CheckBootstrapComunication] ... Waiting for link synchronisation done."; });
  if (status != 0) return status;
  logger_.Line(2, [&] {
    return "::CheckBootstrapComunication] Waiting " + std::to_string(waitAfterLinkLockFound_) +
           " milliseconds";
  });
  if (waitAfterLinkLockFound_ != 0) revocableWait_.RevocableWaitFor(waitAfterLinkLockFound_);
  if (skipMagic_) return 0;
  uint32_t magic = 0;
  if (ReadWord(0, magic) != 0) {
    logger_.Line(4, [&] { return Prefix() + "] Link up but register communication failed"; });
    return MLO_ERR_INVALID_LINK_SPEED;
  }
  magicValue_ = magic;
  if (magicValue_ != kBootstrapMagic) {
    logger_.Line(4, [&] {
      return Prefix() + "] Link up but received wrong magic value " +
             CUtility::HexText(magicValue_) + ".";
    });
    return MLO_ERR_INVALID_LINK_SPEED;
  }
  return 0;
}

int CCxpPort::LockLinksAtSpeed(unsigned int speed) {
  int status = ResetCxpControlCore(6);
  if (status == 0) status = SetDownlinkBitrate(speed);
  if (status == 0) status = CheckBootstrapComunication();
  if (status != 0) return status;
  speed_ = speed;
  logger_.Line(3, [&] { return Prefix() + "] link locked at " + Gbits(speed) + " Gbit/s"; });
  return 0;
}

bool CCxpPort::IsConnected() {
  RecursiveMutexGuard scope(&portScope_);
  return speed_ != kNoLinkSpeed;
}

bool CCxpPort::IsTransceiverSynchronized() {
  return IsConnected() && GetCurrentTransceiverErrorCount() == lastErrorCount_;
}

bool CCxpPort::CheckTransceiverSynchronizedCounter() {
  const uint64_t current = GetCurrentTransceiverErrorCount();
  const uint64_t previous = lastErrorCount_;
  lastErrorCount_ = current;
  const uint64_t limit = (previous + toleratedNitErrors_) & errorCountMask_;
  // Fewer new errors than tolerated, counting across the counter's wrap.
  const bool good = limit > previous ? previous <= current && current < limit
                                     : current >= previous || current < limit;
  if (good) {
    if (criticalIntervals_ != 0) {
      logger_.Line(3, [&] {
        return Prefix() + "] Reseting Number of critical NIT polling intervals from: " +
               std::to_string(criticalIntervals_) +
               " to zero, total NIT errors: " + std::to_string(current);
      });
      criticalIntervals_ = 0;
    }
    return true;
  }
  ++criticalIntervals_;
  logger_.Line(4, [&] {
    return "Number of critical NIT polling intervals: " + std::to_string(criticalIntervals_) +
           ", total NIT errors: " + std::to_string(current);
  });
  if (criticalIntervals_ <= toleratedIntervals_) return true;
  criticalIntervals_ = 0;
  return false;
}

void CCxpPort::Reset() {
  speed_ = kNoLinkSpeed;
  portType_ = PortTypeUnconnected;
  defaultConfigValue_ = 0;
  logicPort_ = 0xFFFFFFFF;
  logicPLPort_ = 0xFFFFFFFF;
  masterId_ = 0;
  extensionId_ = 0xFFFFFFFF;
  maxControlPacketSize_ = 128;
  SetFirmwareCxpStandardVersion(2);
  ResetTag(false);
}

void CCxpPort::RequestCancellation() { revocableWait_.Revoke(); }

void CCxpPort::ResetRevocableWait() { revocableWait_.Reset(); }
