// The topology of CxpController: locked links grouped into cameras by their connection IDs,
// cameras asked to use spare links, cameras given to firmware operators, and the port
// multiplexer set so that each link reaches the firmware port its operator expects.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <stdexcept>

#include "vesk_genicam/impl/CxpController.h"
#include "vesk_genicam/impl/CxpDiscoveryState.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

namespace {

constexpr unsigned int kDeviceConnectionId = 0x4004;
constexpr unsigned int kMasterHostConnectionId = 0x4008;
constexpr unsigned int kConnectionConfig = 0x4014;
constexpr unsigned int kConnectionConfigDefault = 0x4018;
constexpr uint64_t kIdentitySelector = 0x7654321076543210;
constexpr unsigned int kNotAssigned = 0xFFFFFFFF;
constexpr unsigned int kSwitchSettleMs = 256;

std::string PortAndSpeed(CCxpPort& port) {
  return std::to_string(port.GetPortId()) + " Speed: " + std::to_string(port.GetSpeed());
}

// (links, how many) of a count per key, most links first.
std::vector<std::pair<unsigned int, unsigned int>> Histogram(
    const std::map<unsigned int, unsigned int>& counts) {
  std::map<unsigned int, unsigned int> byLinks;
  for (const auto& [key, links] : counts) ++byLinks[links];
  return {byLinks.rbegin(), byLinks.rend()};
}

}  // namespace

unsigned int CxpController::ConnectedPorts(unsigned int mask) const {
  unsigned int connected = 0;
  for (unsigned int port = 0; port < nrPorts_; ++port)
    if (mask >> port & 1 && ports_[port]->IsConnected()) connected |= 1u << port;
  return connected;
}

void CxpController::ScanTopology() {
  CheckIsDiscoveryThreadAlive();
  logger_.Line(3, [&] {
    return "[CXP::Ctrl::ScanTopology] Starting with port mask " +
           CUtility::HexText(discoveryMask_) + ".";
  });
  int result = ScanTopologyMasters(discoveryMask_);
  if (result == 0) result = ScanTopologyExtensions(discoveryMask_);
  if (result == 0) result = ScanDefaultConfigs(discoveryMask_);
  if (result == 0) result = ConnectUnconnectedPorts(discoveryMask_);
  if (result == 0) result = ScanTopologyExtensions(discoveryMask_);
  logger_.Line(3, [&] {
    return "[CXP::Ctrl::ScanTopology] Finished with return code " + std::to_string(result);
  });
  if (result != 0) throw std::runtime_error(CUtility::GetError(result));
}

// The connection ID of each connected link: 0 on a master.
void CxpController::ReadLinkIds(unsigned int mask, const char* step) {
  for (unsigned int number = 0; number < nrPorts_; ++number) {
    CCxpPort& port = *ports_[number];
    if (!(ConnectedPorts(mask) >> number & 1)) continue;
    uint32_t id = 0;
    if (port.ReadWord(kDeviceConnectionId, id) != 0) {
      logger_.Line(4, [&] {
        return std::string("[CXP::Ctrl::") + step +
               "] Failed to get camera Link id - Port: " + PortAndSpeed(port);
      });
      port.Reset();
      continue;
    }
    port.SetPortType(id != 0 ? PortTypeExtension : PortTypeMaster);
    port.SetExtensionID(id);
  }
}

int CxpController::ScanTopologyMasters(unsigned int mask) {
  ReadLinkIds(mask, "ScanTopologyMasters");
  for (unsigned int number = 0; number < nrPorts_; ++number) {
    CCxpPort& port = *ports_[number];
    if (!(ConnectedPorts(mask) >> number & 1) || port.GetPortType() != PortTypeMaster) continue;
    const unsigned int masterId = number + 1;
    port.SetMasterID(masterId);
    // The camera hands this on to all its links: that is how extensions learn their master.
    if (port.WriteWord(kMasterHostConnectionId,
                       static_cast<uint32_t>(boardIndex_) << 8 | masterId) != 0) {
      logger_.Line(4, [&] {
        return "[CXP::Ctrl::ScanTopologyMasters] Failed to set camera master id - Port: " +
               PortAndSpeed(port);
      });
      port.Reset();
    }
  }
  return 0;
}

int CxpController::ScanTopologyExtensions(unsigned int mask) {
  ReadLinkIds(mask, "ScanTopologyExtensions");
  for (unsigned int number = 0; number < nrPorts_; ++number) {
    CCxpPort& port = *ports_[number];
    if (!(ConnectedPorts(mask) >> number & 1)) continue;
    uint32_t host = 0;
    if (port.ReadWord(kMasterHostConnectionId, host) != 0) continue;
    const unsigned int masterId = host & 0xFF;
    port.SetMasterID(masterId);
    port.SetLogicalPort((masterId << 16) + port.GetExtensionID());
  }
  return 0;
}

int CxpController::ScanDefaultConfigs(unsigned int mask) {
  int result = 0;
  for (unsigned int number = 0; number < nrPorts_; ++number) {
    CCxpPort& port = *ports_[number];
    if (!(mask >> number & 1) || port.GetPortType() != PortTypeMaster) continue;
    uint32_t config = 0;
    const int status = port.ReadWord(kConnectionConfigDefault, config);
    if (status == 0) {
      port.SetDefaultConfigValue(config);
      continue;
    }
    logger_.Line(4, [&] {
      return "[CXP::Ctrl] Failed to get camera Config Default Value - Port: " + PortAndSpeed(port);
    });
    port.Reset();
    // Only a failure at the board's last port ends the pass; earlier ones are passed over.
    if (number == nrPorts_ - 1) result = status;
  }
  return result;
}

unsigned int CxpController::GetPortNumConn(unsigned int logic) const {
  unsigned int count = 0;
  for (const auto& port : ports_)
    if (port->GetLogicPort() >> 16 == logic >> 16) ++count;
  return count;
}

unsigned int CxpController::GetPLNumConn(unsigned int value) const {
  unsigned int count = 0;
  for (const auto& entry : plOperators_)
    if (entry.first >> 16 == value >> 16) ++count;
  return count;
}

unsigned int CxpController::GetPLMaxUnasignableConn() {
  std::set<unsigned int> usedCameras;
  std::set<unsigned int> usedOperators;
  for (const auto& port : ports_) {
    if (port->GetPortType() != PortTypeMaster || port->GetLogicPLPort() == kNotAssigned) continue;
    usedCameras.insert(port->GetLogicPort() >> 16 & 0xFF);
    usedOperators.insert(port->GetLogicPLPort() >> 16 & 0xFF);
  }
  std::map<unsigned int, unsigned int> cameraLinks;
  for (const auto& port : ports_) {
    if (port->GetLogicPort() == kNotAssigned) continue;
    const unsigned int camera = port->GetLogicPort() >> 16;
    if (!usedCameras.count(camera)) ++cameraLinks[camera];
  }
  std::map<unsigned int, unsigned int> operatorLinks;
  for (const auto& entry : plOperators_) {
    const unsigned int id = entry.first >> 16;
    if (id != 0 && !usedOperators.count(id)) ++operatorLinks[id];
  }
  std::vector<std::pair<unsigned int, unsigned int>> cameras = Histogram(cameraLinks);
  for (const auto& [links, count] : Histogram(operatorLinks)) {
    for (unsigned int taken = 0; taken < count; ++taken) {
      const auto fit = std::find_if(cameras.begin(), cameras.end(), [links = links](auto& c) {
        return c.first >= links && c.second > 0;
      });
      if (fit == cameras.end()) {
        if (links > 0) return links;
        continue;
      }
      --fit->second;
    }
  }
  return 0;
}

int CxpController::ConnectUnconnectedPorts(unsigned int mask) {
  CheckIsDiscoveryThreadAlive();
  const unsigned int maxOpen = GetPLMaxUnasignableConn();
  if (ports_.empty()) return MLO_ERR_INVALID_PORT;
  std::map<unsigned int, unsigned int> openLinks;
  for (unsigned int number = 0; number < nrPorts_; ++number) {
    CCxpPort& port = *ports_[number];
    if (!(mask >> number & 1) || port.GetPortType() != PortTypeMaster) continue;
    const unsigned int conn = GetPortNumConn(port.GetLogicPort());
    logger_.Line(2, [&] {
      return "[CXP::Ctrl::ConnectUnconnectedPorts] Check Max PL unasignable conn: " +
             std::to_string(maxOpen) + " Port Max conn: " + std::to_string(conn);
    });
    uint32_t present = 0;
    port.ReadWord(kConnectionConfig, present);
    logger_.Line(2, [&] {
      return "[CXP::Ctrl::ConnectUnconnectedPorts] Read link config on : " + std::to_string(number);
    });
    port.SetNumCameraConnections(CUtility::GetLinkCountFromConfigValue(present));
    if (maxOpen <= conn) continue;
    logger_.Line(2, [&] {
      return "[CXP::Ctrl::ConnectUnconnectedPorts] Detect open port on: " + std::to_string(number);
    });
    const unsigned int cameraMax =
        CUtility::GetLinkCountFromConfigValue(port.GetDefaultConfigValue());
    logger_.Line(2, [&] {
      return "[CXP::Ctrl::ConnectUnconnectedPorts] Camera allow more conn : " +
             std::to_string(cameraMax);
    });
    if (conn >= cameraMax) continue;
    logger_.Line(2, [&] {
      return "[CXP::Ctrl::ConnectUnconnectedPorts] Detect free conn : " + std::to_string(number);
    });
    const unsigned int wanted = std::min(cameraMax, maxOpen);
    const uint32_t config = CUtility::GetLinkConfigValueFromSpeed(port.GetSpeed(), wanted);
    if (config == present) continue;
    port.WriteWord(kConnectionConfig, config);
    openLinks[port.GetSpeed()] += wanted - conn;
    logger_.Line(3, [&] {
      return "[CXP::Ctrl::ConnectUnconnectedPorts] Activate conn on : " + std::to_string(number);
    });
  }
  if (!openLinks.empty()) {
    logger_.Line(3, [&] {
      return "[CXP::Ctrl::ConnectUnconnectedPorts] Wait " +
             std::to_string(waitAfterCameraConfigDone_) + " milliseconds";
    });
    Wait(waitAfterCameraConfigDone_);
    for (auto& [speed, open] : openLinks) {
      for (unsigned int number = 0; number < nrPorts_ && open > 0; ++number) {
        CCxpPort& port = *ports_[number];
        if (!(mask >> number & 1) || port.IsConnected()) continue;
        CheckIsDiscoveryThreadAlive();
        bool changed = false;
        port.SetUplinkBitrate(speed, &changed);
        if (port.LockLinksAtSpeed(speed) == 0) --open;
      }
    }
  }
  return ConnectedPorts(~0u) != 0 ? 0 : MLO_ERR_INVALID_PORT;
}

void CxpController::PerformOperatorAssignment() { PerformOperatorAssignmentMasked(discoveryMask_); }

void CxpController::PerformOperatorAssignmentMasked(unsigned int mask) {
  CheckIsDiscoveryThreadAlive();
  logger_.Line(3, [&] {
    return "[CXP::Ctrl::PerformOperatorAssignment] Starting with port mask " +
           CUtility::HexText(mask) + ".";
  });
  std::vector<std::pair<CCxpPort*, unsigned int>> assignments;
  std::vector<CCxpPort*> cameras;
  for (unsigned int number = 0; number < nrPorts_; ++number) {
    CCxpPort* port = ports_[number].get();
    if (port->GetPortType() != PortTypeMaster) continue;
    if (!(mask >> number & 1)) {
      if (port->GetLogicPLPort() != kNotAssigned)
        assignments.emplace_back(port, port->GetLogicPLPort());
    } else if (port->IsConnected()) {
      cameras.push_back(port);
    }
  }
  std::vector<unsigned int> operators;
  for (const auto& entry : plOperators_) {
    const bool held = std::any_of(assignments.begin(), assignments.end(), [&](const auto& a) {
      return a.second >> 16 == entry.first >> 16;
    });
    if ((entry.first & 0xFFFF) == 0 && !held) operators.push_back(entry.first);
  }
  struct Candidate {
    CCxpPort* port;
    unsigned int value;
    int64_t score;
  };
  std::vector<Candidate> candidates;
  for (CCxpPort* camera : cameras) {
    const uint64_t cameraConn = GetPortNumConn(camera->GetLogicPort());
    const uint64_t defaultLinks =
        CUtility::GetLinkCountFromConfigValue(camera->GetDefaultConfigValue());
    for (unsigned int value : operators) {
      const uint64_t operatorConn = GetPLNumConn(value);
      const unsigned int operatorId = value >> 16 & 0xFF;
      int64_t score = 0;
      if (!ignoreCameraProperties_) {
        score = static_cast<int64_t>(uint64_t{operatorConn == defaultLinks} << 44 |
                                     uint64_t{operatorConn == cameraConn} << 40) +
                static_cast<int64_t>(operatorConn << 32) +
                static_cast<int64_t>(defaultLinks << 24) + static_cast<int64_t>(cameraConn << 16);
      }
      score -= std::llabs(static_cast<int64_t>(camera->GetPortId()) + 1 - operatorId) << 8;
      const auto pinned = cameraPinning_.find(camera->GetMasterID());
      if (pinned != cameraPinning_.end() && pinned->second == operatorId) score = INT64_MAX;
      candidates.push_back({camera, value, score});
    }
  }
  while (!candidates.empty()) {
    // The highest score; the earliest of equals.
    const auto best =
        std::max_element(candidates.begin(), candidates.end(),
                         [](const Candidate& a, const Candidate& b) { return a.score < b.score; });
    const Candidate chosen = *best;
    assignments.emplace_back(chosen.port, chosen.value);
    candidates.erase(std::remove_if(candidates.begin(), candidates.end(),
                                    [&](const Candidate& c) {
                                      return c.port == chosen.port || c.value == chosen.value;
                                    }),
                     candidates.end());
  }
  for (unsigned int number = 0; number < nrPorts_; ++number) {
    CCxpPort& port = *ports_[number];
    if (!(mask >> number & 1)) continue;
    for (const auto& [master, value] : assignments) {
      if (master->GetMasterID() == port.GetMasterID())
        port.SetLogicPLPort((value & 0xFF0000) | (port.GetLogicPort() & 0xFF));
    }
  }
  if (nrPorts_ >= 2) MultiplexConn(mask);
  logger_.Line(3, [] { return "[CXP::Ctrl::PerformOperatorAssignment] Finished"; });
}

void CxpController::MultiplexConn(unsigned int mask) {
  std::vector<std::pair<uint32_t, uint32_t>> free = plOperators_;
  std::vector<std::pair<unsigned char, unsigned char>> pairs;
  auto take = [&](CCxpPort& port) {
    const auto found = std::find_if(free.begin(), free.end(), [&](const auto& entry) {
      return entry.first == port.GetLogicPLPort();
    });
    if (found == free.end()) return false;
    pairs.emplace_back(static_cast<unsigned char>(found->second),
                       static_cast<unsigned char>(port.GetPortId()));
    free.erase(found);
    return true;
  };
  const unsigned int connected = ConnectedPorts(~0u);
  for (unsigned int number = 0; number < nrPorts_; ++number)
    if (connected >> number & 1 && !(mask >> number & 1)) take(*ports_[number]);
  for (unsigned int number = 0; number < nrPorts_; ++number) {
    CCxpPort& port = *ports_[number];
    if (!(connected >> number & 1) || !(mask >> number & 1)) continue;
    if (take(port)) {
      logger_.Line(3, [&] {
        return "[CXP::Ctrl::MultiplexConn] Found map port: " + std::to_string(number) +
               " To PL Port " + std::to_string(pairs.back().first);
      });
    } else {
      logger_.Line(4, [&] {
        return "[CXP::Ctrl::MultiplexConn] Found map port notconnected: " + std::to_string(number) +
               " Logical port ID: " + CUtility::HexText(port.GetLogicPLPort());
      });
      port.Reset();
    }
  }
  const uint64_t selector = CUtility::GetMuplex(pairs);
  logger_.Line(
      3, [&] { return "[CXP::Ctrl::MultiplexConn] New Selector: " + CUtility::HexText(selector); });
  SwitchAndRemapPorts(mask, selector);
}

int CxpController::SwitchAndRemapPorts(unsigned int mask, uint64_t selector) {
  static_cast<void>(mask);
  const uint64_t current = GetDiscoverySelector();
  if (current == selector) return 0;
  const unsigned int changed = CUtility::GetMaskFromMultiplexers(selector, current);
  if (!OnPlBoard()) ForceResetControlCore(changed, 0);
  for (unsigned int port = 0; port < nrPorts_; ++port)
    if (changed >> port & 1) ports_[port]->UnlockPortQueues();
  const int result = SwitchDiscoverySelector(selector);
  MapPhysicalToLogical(selector);
  for (unsigned int port = 0; port < nrPorts_; ++port)
    if (changed >> port & 1) ports_[port]->LockPortQueues();
  if (!OnPlBoard()) ForceResetControlCore(changed, 0);
  Wait(kSwitchSettleMs);
  return result;
}

void CxpController::MapPhysicalToLogical() {
  logger_.Line(2, [] { return "[CXP::Ctrl::InternalDiscovery] Map Physical To Logic"; });
  MapPhysicalToLogical(GetDiscoverySelector());
}

void CxpController::MapPhysicalToLogical(uint64_t selector) {
  RemapPorts(selector);
  AssignOperatorSizes();
  AssignOperatorIndexes();
}

void CxpController::RemapPorts(uint64_t selector) {
  for (auto& port : ports_) port->RemapReg(CUtility::PhysicToLogic(port->GetPortId(), selector));
}

void CxpController::AssignOperatorSizes() {
  for (auto& port : ports_) {
    unsigned int id = 0;
    for (const auto& entry : plOperators_)
      if (entry.second == port->GetPortPL()) id = entry.first >> 16 & 0xF;
    unsigned int size = 0;
    for (const auto& entry : plOperators_)
      if ((entry.first >> 16 & 0xF) == id) ++size;
    port->SetPLOperatorSize(size);
  }
}

void CxpController::AssignOperatorIndexes() {
  std::vector<unsigned int> numbered;
  for (const auto& entry : plOperators_) {
    const unsigned int id = entry.first >> 16;
    if (id != 0 && std::find(numbered.begin(), numbered.end(), id) == numbered.end())
      numbered.push_back(id);
  }
  for (auto& port : ports_) {
    unsigned int id = 0;
    for (const auto& entry : plOperators_)
      if (entry.second == port->GetPortPL()) id = entry.first >> 16;
    const auto found = std::find(numbered.begin(), numbered.end(), id);
    port->SetPLOperatorIndex(
        found == numbered.end() ? 0 : static_cast<unsigned int>(found - numbered.begin()));
  }
}

int CxpController::ResetMultiplexer() { return OnPlBoard() ? 0 : ResetMultiplexer(15); }

int CxpController::ResetMultiplexer(unsigned int portMask) {
  for (unsigned int port = 0; port < nrPorts_; ++port)
    if (portMask >> port & 1) ports_[port]->Reset();
  return SwitchAndRemapPorts(portMask, kIdentitySelector);
}

int CxpController::ChangeCamPort(unsigned int operatorId, unsigned int masterId) {
  unsigned int mask = 0;
  {
    std::lock_guard<std::mutex> discovery(discoveryLock_);
    std::lock_guard<std::mutex> portsLock(portsLock_);
    CCxpPort* master = nullptr;
    for (auto& port : ports_) {
      if (port->GetPortType() == PortTypeMaster && port->GetLogicPort() >> 16 == masterId) {
        master = port.get();
        break;
      }
    }
    const bool operatorExists =
        std::any_of(plOperators_.begin(), plOperators_.end(),
                    [&](const auto& e) { return e.first >> 16 == operatorId; });
    if (!master || !operatorExists) return MLO_ERR_INVALID_PORT;
    if (master->GetLogicPLPort() >> 16 == operatorId) return 0;
    for (unsigned int number = 0; number < nrPorts_; ++number)
      if (ports_[number]->GetLogicPLPort() >> 16 == operatorId) mask |= 1u << number;
    mask |= discoveryState_->getConnectionPhyMaskOfMasterId(masterId);
    for (auto pin = cameraPinning_.begin(); pin != cameraPinning_.end(); ++pin) {
      if (pin->second == operatorId) {
        cameraPinning_.erase(pin);
        break;
      }
    }
    cameraPinning_[masterId] = operatorId;
    PerformOperatorAssignmentMasked(mask);
    for (unsigned int number = 0; number < nrPorts_; ++number) {
      if (!(mask >> number & 1)) continue;
      ports_[number]->SetLEDState(LedNoCamera);
      ports_[number]->SetPortType(PortTypeUnconnected);
    }
    discoveryState_->notifyLinkLosses(mask, RawPorts());
  }
  // The driver's table is brought up to date with no controller lock held.
  discoveryState_->forceDriverUpdate();
  return 0;
}
