// The discovery pipeline of CxpController and its two threads: one runs passes over the wanted
// ports that have no camera yet, the other watches the error counters of the connected links.
#include <chrono>
#include <map>
#include <sstream>
#include <stdexcept>

#include "vesk_genicam/impl/BoardTypes.h"
#include "vesk_genicam/impl/CxpController.h"
#include "vesk_genicam/impl/CxpDiscoveryState.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

namespace {

constexpr unsigned int kConnectionReset = 0x4000;
constexpr unsigned int kConnectionConfig = 0x4014;
constexpr unsigned int kLinkResetSpeed = 3125;
constexpr unsigned int kFlagIgnoreCameraProperties = 2;
constexpr unsigned int kFlagRediscover = 64;
constexpr unsigned int kSearchSpeeds[] = {3125, 1250, 6250, 5000, 2500};
constexpr unsigned int kHighSpeeds[] = {10000, 12500};

std::string Gbps(unsigned int speed) {
  std::ostringstream text;
  text << speed / 1000.0;
  return text.str();
}

}  // namespace

std::vector<CCxpPort*> CxpController::RawPorts() const {
  std::vector<CCxpPort*> raw;
  for (const auto& port : ports_) raw.push_back(port.get());
  return raw;
}

void CxpController::CheckIsDiscoveryThreadAlive() {
  if (waitObject_.IsRevoked()) throw std::runtime_error("Finish Discovery thread");
}

int CxpController::IsValidSpeed(unsigned int speed) const {
  switch (speed) {
    case 0:
    case 1250:
    case 2500:
    case 3125:
    case 5000:
    case 6250:
      return 0;
    case 10000:
    case 12500:
      return OnPlBoard() ? 0 : MLO_ERR_INVALID_LINK_SPEED;
    default:
      return MLO_ERR_INVALID_LINK_SPEED;
  }
}

unsigned int CxpController::GetMatchingValidSpeed(unsigned int speed) const {
  if (speed != 0 && IsValidSpeed(speed) == 0) return speed;
  for (unsigned int step : {1250u, 2500u, 3125u, 5000u, 6250u})
    if (speed < step) return step;
  // Boards without the fast speeds fall back to their fastest.
  if (!OnPlBoard()) return 6250;
  return speed < 10000 ? 10000 : 12500;
}

int CxpController::Discovery(unsigned int portMask, unsigned int speed, unsigned int timeoutMs,
                             unsigned int flags, CDriver* driver) {
  ignoreCameraProperties_ = (flags & kFlagIgnoreCameraProperties) != 0;
  const int valid = IsValidSpeed(speed);
  if (valid != 0) {
    logger_.Line(5, [&] { return "Invalid user speed " + std::to_string(speed); });
    return valid;
  }
  const unsigned int mask = portMask & ((1u << nrPorts_) - 1);
  if (mask == 0) {
    logger_.Line(5, [&] { return "Invalid port mask " + CUtility::HexText(portMask); });
    return MLO_ERR_INVALID_PORT;
  }
  ResetRevocableWait();
  discoveryState_->registerDriver(driver);
  if (flags & kFlagRediscover) {
    std::lock_guard<std::mutex> discovery(discoveryLock_);
    std::lock_guard<std::mutex> portsLock(portsLock_);
    cameraPinning_.clear();
    const unsigned int connected = discoveryState_->getConnectedPhyMask();
    for (unsigned int port = 0; port < nrPorts_; ++port) {
      if (!(connected >> port & 1)) continue;
      ports_[port]->SetLEDState(LedNoCamera);
      ports_[port]->SetPortType(PortTypeUnconnected);
    }
    discoveryState_->notifyLinkLosses(connected, RawPorts());
    // The driver's Discovery updates its table when this returns; it holds its cameraLock, so
    // an update here would be the same work under the discovery lock.
  }
  discoveryState_->setGlobalDiscoveryPhyMask(mask);
  StartThreads();
  if (timeoutMs == 0) return 0;
  std::unique_lock<std::mutex> discovery(discoveryLock_);
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  const bool found = discoveryDone_.wait_until(discovery, limit, [&] {
    return (discoveryState_->getConnectedPhyMask() & mask) != 0 || waitObject_.IsRevoked();
  });
  if (found && (discoveryState_->getConnectedPhyMask() & mask) != 0) return 0;
  logger_.Line(4, [] { return "No physical connections found"; });
  logger_.Line(4, [] { return "Try waiting for the camera to fully power up"; });
  logger_.Line(4, [] {
    return "If there were errors try connecting the camera links 1:1 to the frame grabber ports, "
           "or try using reverse order";
  });
  return MLO_ERR_NO_CAMERA_FOUND;
}

// ---- Threads ----

void CxpController::StartThreads() {
  {
    std::lock_guard<std::mutex> lock(disconnectThread_.mutex);
    if (disconnectThread_.alive) {
      std::lock_guard<std::mutex> wake(discoveryThread_.mutex);
      discoveryThread_.wake.notify_all();
      return;
    }
  }
  for (Worker* worker : {&discoveryThread_, &disconnectThread_}) {
    std::lock_guard<std::mutex> lock(worker->mutex);
    worker->alive = true;
  }
  discoveryThread_.thread = std::thread(&CxpController::DiscoveryThreadLoop, this);
  disconnectThread_.thread = std::thread(&CxpController::DisconnectThreadLoop, this);
}

void CxpController::StopThreads() {
  for (Worker* worker : {&discoveryThread_, &disconnectThread_}) {
    {
      std::lock_guard<std::mutex> lock(worker->mutex);
      worker->alive = false;
      worker->wake.notify_all();
    }
    if (worker->thread.joinable()) worker->thread.join();
  }
}

// One timed sleep while the flag is set; a signal or a cleared flag ends it early. False once
// the thread is to end.
bool CxpController::SleepUntilSignal(Worker& worker, unsigned int ms) {
  std::unique_lock<std::mutex> lock(worker.mutex);
  if (worker.alive) worker.wake.wait_for(lock, std::chrono::milliseconds(ms));
  return worker.alive;
}

void CxpController::DiscoveryThreadLoop() {
  do {
    InternalDiscovery();
  } while (SleepUntilSignal(discoveryThread_, discoveryThreadSleepMs_));
}

void CxpController::DisconnectThreadLoop() {
  do {
    CheckStatusPhy();
  } while (SleepUntilSignal(disconnectThread_, disconnectsThreadSleepMs_));
}

void CxpController::CheckStatusPhy() {
  std::lock_guard<std::mutex> portsLock(portsLock_);
  const unsigned int connected = discoveryState_->getConnectedPhyMask();
  unsigned int lost = 0;
  for (unsigned int port = 0; port < nrPorts_; ++port) {
    if (!(connected >> port & 1) || ports_[port]->CheckTransceiverSynchronizedCounter()) continue;
    ports_[port]->SetLEDState(LedNoCamera);
    ports_[port]->Reset();
    lost |= 1u << port;
  }
  if (lost != 0) discoveryState_->notifyLinkLosses(lost, RawPorts());
}

// ---- One pass ----

void CxpController::InternalDiscovery() {
  std::lock_guard<std::mutex> discovery(discoveryLock_);
  try {
    discoveryMask_ = discoveryState_->getUnconnectedPhyMask();
    if (discoveryMask_ != 0) {
      PerformPortTripReset();
      CheckIsDiscoveryThreadAlive();
      MapPhysicalToLogical();
      PerformCoreReset();
      PerformLinkReset();
      if (PerformSpeedDetect(0) != 0) {
        ScanTopology();
        PerformOperatorAssignment();
        SetFinalLinkConfig();
        SaveCameraInfo();
        SaveXmlAndSetLedToConnected();
        discoveryState_->notifyLinkDiscoveries(GetInternalDiscoveryConnectedMask(), RawPorts());
      }
    }
  } catch (const std::runtime_error& error) {
    // A port left half done stays unconnected and is searched again in the next pass.
    logger_.Line(2, [&] { return std::string(error.what()); });
  }
  discoveryDone_.notify_all();
}

void CxpController::PerformCoreReset() {
  CheckIsDiscoveryThreadAlive();
  logger_.Line(3, [&] {
    return "[CXP::Ctrl::InternalDiscovery] Perform Core Reset with Port Mask " +
           CUtility::HexText(discoveryMask_);
  });
  ForceResetControlCore(discoveryMask_, 6);
  logger_.Line(3, [] { return "[CXP::Ctrl::CoreReset] Finished."; });
}

void CxpController::PerformLinkReset() {
  CheckIsDiscoveryThreadAlive();
  logger_.Line(3, [&] {
    return "[CXP::Ctrl::LinkReset] Starting. Port mask is " + CUtility::HexText(discoveryMask_) +
           ".";
  });
  bool changed = false;
  for (unsigned int number = 0; number < nrPorts_; ++number) {
    if (!(discoveryMask_ >> number & 1)) continue;
    CCxpPort& port = *ports_[number];
    port.SetLEDState(LedLinkReset);
    port.ResetTag(false);
    if (!OnPlBoard()) continue;
    logger_.Line(3, [&] {
      return "[CXP::Ctrl::LinkReset] Resetting link speed for port " + std::to_string(number);
    });
    port.SetUplinkBitrate(kLinkResetSpeed, &changed);
    port.SetDownlinkBitrate(kLinkResetSpeed);
  }
  for (unsigned int number = 0; number < nrPorts_; ++number) {
    if (!(discoveryMask_ >> number & 1)) continue;
    logger_.Line(3, [&] {
      return "[CXP::Ctrl::LinkReset] Performing link reset on port " + std::to_string(number);
    });
    // Whether a camera is there or not: the reset is never answered.
    ports_[number]->WriteWord(kConnectionReset, 1);
    if (waitAfterLinkResetOnEachPort_ != 0) {
      logger_.Line(3, [&] {
        return "[CXP::Ctrl::LinkReset] Waiting " + std::to_string(waitAfterLinkResetOnEachPort_) +
               " milliseconds";
      });
      Wait(waitAfterLinkResetOnEachPort_);
    }
  }
  const unsigned int wait =
      std::max(changed ? waitAfterUplinkSpeedReset_ : 0u, waitAfterLinkResetDone_);
  if (wait == 0) return;
  logger_.Line(3, [] { return "[CXP::Ctrl::LinkReset] Link reset done on all requested ports"; });
  Wait(wait);
  logger_.Line(3, [] { return "[CXP::Ctrl::LinkReset] Ending PerformLinkReset."; });
}

unsigned int CxpController::PerformSpeedDetect(unsigned int requestedSpeed) {
  CheckIsDiscoveryThreadAlive();
  unsigned int remaining = discoveryMask_;
  if (remaining == 0) return 0;
  std::vector<unsigned int> speeds;
  if (requestedSpeed != 0) speeds.push_back(requestedSpeed);
  for (unsigned int speed : kSearchSpeeds)
    if (speed != requestedSpeed) speeds.push_back(speed);
  bool masterConnected = false;
  for (const auto& port : ports_)
    masterConnected = masterConnected || port->GetPortType() == PortTypeMaster;
  if (OnPlBoard() && masterConnected) {
    for (unsigned int speed : kHighSpeeds)
      if (speed != requestedSpeed) speeds.push_back(speed);
  }
  unsigned int found = 0;
  for (unsigned int speed : speeds) {
    if (remaining == 0) break;
    logger_.Line(3, [&] {
      return "[CXP::Ctrl::SpeedDetect] Trying to lock links at " + Gbps(speed) + " Gbps";
    });
    unsigned int changed = 0;
    SetUplinkSpeed(remaining, speed, &changed);
    if (changed != 0) {
      logger_.Line(3, [&] {
        return "[CXP::Ctrl::SetFinalLinkConfig] Waiting " +
               std::to_string(waitAfterUplinkSpeedReset_) + " milliseconds";
      });
      Wait(waitAfterUplinkSpeedReset_);
    }
    unsigned int locked = 0;
    LockLinksAtSpeed(remaining, speed, &locked);
    logger_.Line(3, [&] {
      return "[CXP::Ctrl::SpeedDetect] Links " + CUtility::HexText(locked) + " locked.";
    });
    found |= locked;
    remaining &= ~locked;
  }
  logger_.Line(3, [] { return "[CXP::Ctrl::SpeedDetect] Finished."; });
  return found;
}

void CxpController::SetUplinkSpeed(unsigned int mask, unsigned int speed,
                                   unsigned int* changedMask) {
  for (unsigned int port = 0; port < nrPorts_; ++port) {
    if (!(mask >> port & 1)) continue;
    bool changed = false;
    ports_[port]->SetUplinkBitrate(speed, &changed);
    if (changed && changedMask) *changedMask |= 1u << port;
  }
}

int CxpController::LockLinksAtSpeed(unsigned int mask, unsigned int speed,
                                    unsigned int* lockedMask) {
  for (unsigned int port = 0; port < nrPorts_; ++port) {
    if (!(mask >> port & 1)) continue;
    CheckIsDiscoveryThreadAlive();
    if (ports_[port]->LockLinksAtSpeed(speed) == 0 && lockedMask) *lockedMask |= 1u << port;
  }
  return 0;
}

void CxpController::SetFinalLinkConfig() {
  CheckIsDiscoveryThreadAlive();
  logger_.Line(3, [&] {
    return "[CXP::Ctrl::SetFinalLinkConfig] Starting with port mask " +
           CUtility::HexText(discoveryMask_) + ".";
  });
  struct Change {
    unsigned int speed;
    unsigned int links;
    unsigned int changed = 0;
  };
  std::map<CCxpPort*, Change> changes;
  for (unsigned int number = 0; number < nrPorts_; ++number) {
    CCxpPort& master = *ports_[number];
    if (!(discoveryMask_ >> number & 1) || master.GetPortType() != PortTypeMaster) continue;
    const unsigned int defaultLinks =
        CUtility::GetLinkCountFromConfigValue(master.GetDefaultConfigValue());
    const unsigned int defaultSpeed =
        CUtility::GetLinkSpeedFromConfigValue(master.GetDefaultConfigValue());
    const unsigned int currentSpeed = master.GetSpeed();
    const unsigned int target = GetMatchingValidSpeed(
        useConnectionConfigDefault_ ? defaultSpeed : std::max(currentSpeed, defaultSpeed));
    unsigned int links = 0;
    unsigned int linkMask = 0;
    for (unsigned int other = 0; other < nrPorts_; ++other) {
      CCxpPort& port = *ports_[other];
      if (port.IsConnected() && port.GetLogicPort() >> 16 == master.GetLogicPort() >> 16) {
        ++links;
        linkMask |= 1u << other;
      }
    }
    if (defaultLinks == links && currentSpeed == defaultSpeed) continue;
    // The camera may take the link down before it answers.
    master.WriteWord(kConnectionConfig, CUtility::GetLinkConfigValueFromSpeed(target, links));
    changes[&master] = {target, linkMask};
  }
  if (changes.empty()) {
    logger_.Line(3, [] { return "[CXP::Ctrl::SetFinalLinkConfig] Finished."; });
    return;
  }
  unsigned int lastChanged = 0;
  for (auto& [master, change] : changes) {
    lastChanged = 0;
    SetUplinkSpeed(change.links, change.speed, &lastChanged);
  }
  const unsigned int wait = lastChanged != 0
                                ? std::max(waitAfterCameraConfigDone_, waitAfterUplinkSpeedReset_)
                                : waitAfterCameraConfigDone_;
  logger_.Line(3, [&] {
    return "[CXP::Ctrl::SetFinalLinkConfig] Wait " + std::to_string(wait) + " milliseconds";
  });
  Wait(wait);
  for (auto& [master, change] : changes) {
    unsigned int locked = 0;
    LockLinksAtSpeed(change.links, change.speed, &locked);
    for (unsigned int port = 0; port < nrPorts_; ++port)
      if (change.links >> port & 1 && !(locked >> port & 1)) ports_[port]->Reset();
  }
  logger_.Line(3, [] { return "[CXP::Ctrl::SetFinalLinkConfig] Finished."; });
}

void CxpController::SaveCameraInfo() {
  CheckIsDiscoveryThreadAlive();
  for (unsigned int port = 0; port < nrPorts_; ++port)
    if (discoveryMask_ >> port & 1 && ports_[port]->GetPortType() == PortTypeMaster)
      ports_[port]->SaveCameraInfo();
}

void CxpController::SaveXmlAndSetLedToConnected() {
  CheckIsDiscoveryThreadAlive();
  for (unsigned int number = 0; number < nrPorts_; ++number) {
    if (!(discoveryMask_ >> number & 1)) continue;
    CCxpPort& port = *ports_[number];
    if (!port.IsConnected()) {
      port.SetLEDState(LedNoCamera);
      continue;
    }
    port.SetLEDState(LedConnected);
    if (port.GetPortType() == PortTypeMaster) port.GetXmlInfo();
  }
}

unsigned int CxpController::GetInternalDiscoveryConnectedMask() const {
  return ConnectedPorts(discoveryMask_);
}

int CxpController::ChangeLinkConfig(unsigned int port, unsigned int config) {
  unsigned int lost = 0;
  unsigned int gained = 0;
  int result = 0;
  {
    std::lock_guard<std::mutex> discovery(discoveryLock_);
    std::lock_guard<std::mutex> portsLock(portsLock_);
    if (port >= nrPorts_ || ports_[port]->GetPortType() != PortTypeMaster)
      return MLO_ERR_INVALID_PORT;
    CCxpPort& master = *ports_[port];
    // Speed in bits 0 to 23, links in bits 24 to 27, as the camera's setters make it.
    unsigned int speed = config & 0xFFFFFF;
    unsigned int links = config >> 24 & 0xF;
    if (links > master.GetPLOperatorSize()) {
      logger_.Line(5, [&] {
        return "[CXP::Ctrl::ChangeLinkConfig] Connection with " + std::to_string(links) +
               " links requested, but connected camera operator only offers a maximum of " +
               std::to_string(master.GetPLOperatorSize()) + " links.";
      });
      return MLO_ERR_INVALID_ARGUMENT;
    }
    if (IsValidSpeed(speed) != 0) return MLO_ERR_INVALID_ARGUMENT;
    unsigned int current = 0;
    for (unsigned int number = 0; number < nrPorts_; ++number)
      if (ports_[number]->IsConnected() && ports_[number]->GetMasterID() == master.GetMasterID())
        current |= 1u << number;
    const unsigned int unconnected = ((1u << nrPorts_) - 1) & ~ConnectedPorts(~0u);
    const unsigned int target = links > static_cast<unsigned int>(__builtin_popcount(current))
                                    ? current | unconnected
                                    : current;
    if (links == 0 || speed == 0) {
      uint32_t present = 0;
      if (master.ReadWord(kConnectionConfig, present) != 0) {
        logger_.Line(4, [&] {
          return "[CXP::Ctrl::ChangeLinkConfig] Camera lost on port " + std::to_string(port) +
                 ". Resetting port.";
        });
        master.Reset();
      } else {
        if (links == 0) links = CUtility::GetLinkCountFromConfigValue(present);
        if (speed == 0) speed = CUtility::GetLinkSpeedFromConfigValue(present);
      }
    }
    const uint32_t value = CUtility::GetLinkConfigValueFromSpeed(speed, links);
    if ((value & 0xFFFF) == 0) return MLO_ERR_INVALID_ARGUMENT;
    result = master.WriteWord(kConnectionConfig, value);
    if (result != 0) return result;
    SetUplinkSpeed(target, speed, nullptr);
    if (waitAfterCameraConfigDone_ != 0) {
      logger_.Line(3, [&] {
        return "[CXP::Ctrl::ChangeLinkConfig] Waiting " +
               std::to_string(waitAfterCameraConfigDone_) + " milliseconds";
      });
      Wait(waitAfterCameraConfigDone_);
    }
    try {
      unsigned int locked = 0;
      LockLinksAtSpeed(target, speed, &locked);
      if (static_cast<unsigned int>(__builtin_popcount(locked)) < links)
        return MLO_ERR_INVALID_LINK_SPEED;
      lost = target & ~locked;
      gained = locked & ~current;
      if (lost != 0) {
        ForceResetControlCore(lost, 0);
        for (unsigned int number = 0; number < nrPorts_; ++number) {
          if (!(lost >> number & 1)) continue;
          ports_[number]->SetLEDState(LedNoCamera);
          ports_[number]->Reset();
        }
        discoveryState_->notifyLinkLosses(lost, RawPorts());
      }
      if (lost != 0 || gained != 0) {
        const unsigned int saved = discoveryMask_;
        discoveryMask_ = locked;
        ScanTopology();
        PerformOperatorAssignment();
        SetFinalLinkConfig();
        discoveryMask_ = saved;
      }
      if (gained != 0) discoveryState_->notifyLinkDiscoveries(gained, RawPorts());
    } catch (const std::runtime_error& error) {
      logger_.Line(4, [&] { return std::string(error.what()); });
      result = MLO_ERR_INVALID_LINK_SPEED;
    }
  }
  // The driver's table is brought up to date with no controller lock held.
  if (lost != 0 || gained != 0) discoveryState_->forceDriverUpdate();
  return result;
}
