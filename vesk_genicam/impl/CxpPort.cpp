// The frame of CCxpPort: construction, the firmware registers by name, the control core's
// state, the LED, the standard version and connection count, and the board queues.
#include "vesk_genicam/impl/CxpPort.h"

#include <cstdio>

#include "templates/patterns/GenericLockGuard.h"
#include "templates/platform/RecursiveMutexGuard.h"
#include "templates/platform/RtTweakProperties.h"
#include "vesk_genicam/impl/BoardLocks.h"
#include "vesk_genicam/impl/BoardTypes.h"
#include "vesk_genicam/impl/Utility.h"

using vesk::templates::patterns::GenericLock;
using vesk::templates::patterns::GenericLockGuard;
using vesk::templates::platform::InterProcessLock;
using vesk::templates::platform::PcapDumper;
using vesk::templates::platform::RecursiveMutexGuard;
using vesk::templates::platform::RtTweakProperties;

vesk::tools::logging::ClassLogger CCxpPort::logger_{"vesk.genicam.CxpPort"};

namespace {

constexpr unsigned int kPcapLinkType = 147;  // first user link type: no dissector claims it

const char* const kCoreStateNames[] = {"UNKNOWN", "FULL_RESET", "INACTIVE",
                                       "IDLE",    "MONITORING", "ACTIVE"};

// The board library's data path state for a control core state of the register form.
unsigned int DataPathState(unsigned int state) {
  switch (state) {
    case 0:
      return 5;  // ACTIVE
    case 2:
      return 4;  // MONITORING
    case 7:
      return 2;  // INACTIVE
    default:
      return 3;  // IDLE
  }
}

unsigned int CameraCtrlLedState(unsigned int state) {
  static const unsigned int kStates[] = {1, 2, 3, 7, 6, 6, 7, 4};
  return state >= 1 && state <= 8 ? kStates[state - 1] : 7;
}

template <class T>
T Tweak(const char* key) {
  return RtTweakProperties::property<T>(key, 0, nullptr);
}

}  // namespace

CCxpPort::CCxpPort(unsigned int portId, ECXPINTERFACETYPE type, PLdevice* device,
                   fpga_design* design)
    : device_(device),
      design_(design),
      type_(type),
      boardIndex_(VHalGetBoardIndex(device, 0)),
      boardType_(static_cast<uint32_t>(VHalGetBoardInfoInt(device, "board/type"))),
      portId_(portId),
      portPL_(portId),
      transceiverLock_(BoardLockName(boardIndex_, "-CCxpTxc_lock").c_str(), false),
      commandLock_(BoardLockName(boardIndex_, "-CCxpCom_lock").c_str(), false) {
  if (type_ == CxpIfCameraCtrl) {
    SetPortPL(portId_);
    LockPortQueues();
  }
  InitReg();
  RemapReg(portId_);
  ResetTag(false);
  ResetCxpControlCore(6);
  SetLEDState(LedPortCreated);
  SetErrorCounter();
  ReadTweaks();
  SetLEDState(LedNoCamera);
  if (Tweak<bool>("Global::EnablePCAP")) {
    const std::string stem = Tweak<std::string>("Global::PCAPDir") + "/packetlog-phy-cxp-" +
                             std::to_string(boardIndex_) + "-0-" + std::to_string(portId_);
    pcapDumper_ = std::make_unique<PcapDumper>(stem, kPcapLinkType, true);
  }
}

CCxpPort::~CCxpPort() { UnlockPortQueues(); }

std::string CCxpPort::Prefix() const { return "[CCxpPort " + std::to_string(portId_); }

void CCxpPort::SetErrorCounter() {
  const int board = static_cast<int>(boardType_);
  if (IsBoardTypeIn(kCxpGen1BoardTypes, board)) {
    errorCountMask_ = 0xFFFFF;
  } else if (IsBoardTypeIn(kCxpGen2BoardTypes, board) || board == 2915 || board == 2913 ||
             board == 2920) {
    // 2913 and 2920 count like 2915: one 24-bit counter.
    errorCountMask_ = 0xFFFFFF;
  } else if (IsBoardTypeIn(kCxpPlBoardTypes, board)) {
    errorCountMask_ = 0xFFFFFFFFFFFF;
    dualErrorCounter_ = 1;
  }
}

void CCxpPort::ReadTweaks() {
  commandAckTimeout_ = Tweak<unsigned int>("CXP::CommandAckTimeout");
  waitAfterLinkLockFound_ = Tweak<unsigned int>("CXP::WaitAfterLinkLockFound");
  skipMagic_ = Tweak<bool>("CXP::SkipRegisterCheckOnLinkConfig");
  enableCxp2Extensions_ = Tweak<bool>("CXP::EnableCxp2Extensions");
  maxControlPacketTweak_ = Tweak<unsigned int>("CXP::MaxControlPacketSize");
  toleratedIntervals_ = Tweak<unsigned int>("CXP::ToleratedPollingIntervalsOverNITErrorThreshold");
  toleratedNitErrors_ = Tweak<unsigned int>("CXP::ToleratedNITErrorsPerPollingInterval");
  // The status register sums two counters, each with the tolerance.
  if (dualErrorCounter_) toleratedNitErrors_ *= 2;
  LogTweak("VESK_CXP_COMMAND_ACK_TIMEOUT", "(ms)", commandAckTimeout_);
  LogTweak("VESK_CXP_WAIT_AFTER_LINK_LOCK_FOUND", "(ms)", waitAfterLinkLockFound_);
  LogTweak("VESK_CXP_SKIP_REGISTER_CHECK_AFTER_LINK_LOCK_FOUND", "", skipMagic_);
  LogTweak("VESK_CXP_ENABLE_CXP2_EXTENSIONS", "", enableCxp2Extensions_);
  LogTweak("VESK_CXP_MAX_CONTROL_PACKET_SIZE", "(B)", maxControlPacketTweak_);
  LogTweak("VESK_CXP_TOLERATED_INTERVALS_OVER_NIT_ERR_THRESH", "", toleratedIntervals_);
  LogTweak("VESK_CXP_TOLERATED_NIT_ERRS_PER_INTERVAL", "", toleratedNitErrors_);
}

void CCxpPort::LogTweak(const char* variable, const char* unit, uint64_t value) {
  logger_.Line(3, [&] {
    char line[128];
    std::snprintf(line, sizeof line, "Using %-51s%-4s = %llu", variable, unit,
                  static_cast<unsigned long long>(value));
    return std::string(line);
  });
}

int CCxpPort::Lookup(const char* name) const { return DsnGetRegisterByName(design_, name); }

int CCxpPort::LookupAt(const char* name, unsigned int port) const {
  return Lookup((name + std::to_string(port)).c_str());
}

GenericLock* CCxpPort::BoardLock(InterProcessLock& lock) {
  if (IsBoardTypeIn(kCxpPlBoardTypes, static_cast<int>(boardType_))) return nullptr;
  lock.enter();
  return &lock;
}

void CCxpPort::InitReg() {
  GenericLockGuard guard(BoardLock(transceiverLock_));
  Registers& r = registers_;
  r.gtxRxReset = Lookup("CxpTransceiverGtxRxReset");
  r.rxPllDet = Lookup("CxpTransceiverRxPlllDet");
  r.rxResetDone = Lookup("CxpTransceiverRxResetDone");
  r.gtxDrpReady = Lookup("CxpTransceiverGtxDrpReady");
  r.gtxSetBitRateDone = Lookup("CxpTransceiverGtxSetBitRateDone");
  r.rxStatus = Lookup("CxpTransceiverRxStatus");
  r.txPacketSent = Lookup("CxpTxCmdPacketSent");
  r.streamPacketSize = Lookup("CxpStreamPacketSize");
  r.coreReset[0] = r.coreReset[1] = LookupAt("CxpControlCoreReset_", portId_);
  r.notInTable = LookupAt("CxpTransceiverNotInTable_", portId_);
  r.drpAddress = LookupAt("CxpTransceiverGtxDrpAddress_", portId_);
  r.drpWriteData = LookupAt("CxpTransceiverGtxDrpWriteData_", portId_);
  r.setBitRate = LookupAt("CxpTransceiverGtxSetBitRate_", portId_);
  r.status = LookupAt("CxpTransceiverStatus_", portId_);
  r.downLinkBitRate = LookupAt("CxpTransceiverDownLinkBitRate_", portId_);
  r.upLinkBitRate = LookupAt("CxpTransceiverUpLinkBitRate_", portId_);
  if (r.coreReset[1] < 1 && type_ != CxpIfCameraCtrl) {
    r.coreReset[0] = r.coreReset[1] = LookupAt("CxpReset_", portId_);
    if (r.coreReset[1] < 1)
      logger_.Line(5, [] { return "Failed to detect CXP core interface type"; });
  }
  if (r.streamPacketSize < 1) {
    r.streamPacketSize = Lookup("StreamPacketSize");
    if (r.streamPacketSize < 1)
      logger_.Line(5, [&] { return Prefix() + "]  Failed to detect CXP Max Stream packet Size"; });
  }
}

void CCxpPort::SetPortPL(unsigned int pl) {
  RecursiveMutexGuard scope(&portScope_);
  portPL_ = pl;
  rxQueue_ = static_cast<int>(pl * 4);
  txQueue_ = rxQueue_ + 3;  // "Write UIQ"; the two between serve no control traffic
  logger_.Line(3, [&] { return Prefix() + "::SetPortPL] New PL port is " + std::to_string(pl); });
}

void CCxpPort::RemapReg(unsigned int pl) {
  RecursiveMutexGuard scope(&portScope_);
  SetPortPL(pl);
  GenericLockGuard guard(BoardLock(transceiverLock_));
  Registers& r = registers_;
  r.coreReset[0] = LookupAt("CxpControlCoreReset_", pl);
  r.txWriteData = LookupAt("CxpTxCmdWriteData_", pl);
  r.rxAckData = LookupAt("CxpRxCmdAckPacketData_", pl);
  r.ledWrite = LookupAt("CxpLedModeSelectWrite_", pl);
  r.ledRead = LookupAt("CxpLedModeSelectRead_", pl);
  if (r.coreReset[0] < 1) r.coreReset[0] = LookupAt("CxpReset_", portId_);
}

int CCxpPort::ReadRegister(int id, uint64_t& value) {
  return VHalRegisterRead(device_, id, &value);
}

int CCxpPort::WriteRegister(int id, uint64_t value) {
  return VHalRegisterWrite(device_, id, value);
}

int CCxpPort::ResetCxpControlCore(unsigned int state) {
  controlCoreResetState_ = state;
  if (type_ == CxpIfCameraCtrl) {
    const unsigned int value = DataPathState(state);
    logger_.Line(2, [&] {
      return Prefix() + "::ResetCxpControlCore] Reset to '" + kCoreStateNames[value] + "'";
    });
    const int status = VHalCameraCtrlSetPortDataPathState(device_, portId_, value);
    if (status < 0) logger_.Line(5, [&] { return Prefix() + "] CXP Control Core Reset failed"; });
    return status < 0 ? status : 0;
  }
  GenericLockGuard guard(BoardLock(transceiverLock_));
  const int* reset = registers_.coreReset;
  if (reset[0] == reset[1]) {
    WriteRegister(reset[0], state);
  } else {
    // Split cores keep only their own bit; the state itself is not written then.
    uint64_t first = 0;
    uint64_t second = 0;
    ReadRegister(reset[0], first);
    ReadRegister(reset[1], second);
    WriteRegister(reset[0], first & 1);
    WriteRegister(reset[1], second & 2);
  }
  logger_.Line(2, [&] {
    return Prefix() + "::ResetCxpControlCore] CXP Control Core Reset set to " +
           std::to_string(state);
  });
  return 0;
}

void CCxpPort::SetLEDState(ELEDSTATE state) {
  if (type_ == CxpIfCameraCtrl) {
    VHalCameraCtrlSetPortCxpLedState(device_, portId_, CameraCtrlLedState(state));
    return;
  }
  GenericLockGuard guard(BoardLock(transceiverLock_));
  WriteRegister(registers_.ledWrite, state);
}

void CCxpPort::SetFirmwareCxpStandardVersion(unsigned int value) {
  if (type_ != CxpIfCameraCtrl) return;
  logger_.Line(3, [&] {
    return Prefix() + "] Setting standard version to " + CUtility::HexText(value) + ".";
  });
  const int status = VHalCameraCtrlSetPortCxpStandardVersion(device_, portId_, value);
  if (status < 0) {
    logger_.Line(5, [&] {
      const char* name = value >= 3 ? "2.0" : value == 2 ? "1.1" : "1.0";
      return Prefix() + "] Failed to set CXP Standard version " + name +
             " in the Firmware; Error code: " + std::to_string(status);
    });
  }
}

void CCxpPort::SetNumCameraConnections(unsigned int count) {
  if (type_ != CxpIfCameraCtrl) return;
  logger_.Line(3, [&] {
    return Prefix() + "] Setting number of connections to " + std::to_string(count) + ".";
  });
  if (VHalCameraCtrlSetPortCxpNumCameraConnections(device_, portId_, count) < 0) {
    logger_.Line(5, [&] {
      return Prefix() + "] Failed to set number of camera connections to " + std::to_string(count);
    });
  }
}

void CCxpPort::LockPortQueues() {
  if (type_ != CxpIfCameraCtrl) return;
  RecursiveMutexGuard scope(&portScope_);
  // Another user's queues are logged and not fought over: this port's commands then fail with
  // the queue's own code.
  const int reception = VHalDataQueueAcquireLock(device_, rxQueue_);
  const int transmission = VHalDataQueueAcquireLock(device_, txQueue_);
  if (reception < 0 || transmission < 0) {
    logger_.Line(5, [&] {
      return Prefix() + "] Failed to get data queue lock for port " + std::to_string(portId_) +
             "; port is already in use!";
    });
  }
}

void CCxpPort::UnlockPortQueues() {
  if (type_ != CxpIfCameraCtrl) return;
  RecursiveMutexGuard scope(&portScope_);
  VHalDataQueueReleaseLock(device_, txQueue_);
  VHalDataQueueReleaseLock(device_, rxQueue_);
}
