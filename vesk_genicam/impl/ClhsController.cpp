#include "vesk_genicam/impl/ClhsController.h"

#include <arpa/inet.h>

#include <chrono>
#include <string>
#include <thread>

#include "templates/patterns/GenericLockGuard.h"
#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/BoardLocks.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::patterns::GenericLockGuard;
using vesk::templates::platform::RecursiveMutexGuard;

vesk::tools::logging::ClassLogger ClhsController::logger_{"vesk.genicam.ClhsController"};

namespace {

constexpr unsigned int kReadyCycleMs = 100;
constexpr unsigned int kTopologyTimeoutMs = 500;
constexpr unsigned int kRegisterTimeoutMs = 200;
constexpr unsigned int kDeviceId = 0x10000;
constexpr unsigned int kConnectionIndex = 0x10004;
constexpr unsigned int kMaxResponseTime = 0x1CC;
constexpr uint64_t kIdentitySelector = 0x7654321076543210;
constexpr unsigned int kTypeUnsigned = 1;
// Control-core reset bits held while the selector changes.
constexpr unsigned int kSelectorHold = 50;

enum LedState : unsigned int { LedNoCamera = 2, LedLinkReset = 3, LedConnected = 8 };

std::string Hex(uint64_t value) { return CUtility::HexText(value); }

}  // namespace

ClhsController::ClhsController(PLdevice* device, fpga_design* design, bool forceCoreReset)
    : device_(device),
      design_(design),
      boardIndex_(VHalGetBoardIndex(device, 0)),
      forceCoreReset_(forceCoreReset),
      selectorLock_(BoardLockName(boardIndex_, "-ClhsController_lock").c_str(), false) {
  DetectNrPorts();
  registers_.masterIds = DsnGetRegisterByName(design_, "DiscoveryAppletMasterID");
  registers_.extensionIds = DsnGetRegisterByName(design_, "DiscoveryAppletExtensionID");
  registers_.grabberStatusRead = DsnGetRegisterByName(design_, "GrabberStatusRead");
  registers_.grabberStatusWrite = DsnGetRegisterByName(design_, "GrabberStatusWrite");
  registers_.selectRead = DsnGetRegisterByName(design_, "DiscoverySelectRead");
  registers_.selectWrite = DsnGetRegisterByName(design_, "DiscoverySelectWrite");
  BuildTables();
  readyAlive_ = true;
  readyThread_ = std::thread(&ClhsController::ReadyThreadLoop, this);
}

ClhsController::~ClhsController() {
  {
    std::lock_guard<std::mutex> lock(readyMutex_);
    readyAlive_ = false;
    readyWake_.notify_all();
  }
  if (readyThread_.joinable()) readyThread_.join();
}

void ClhsController::DetectNrPorts() {
  interfaceType_ = ClhsIfNone;
  if (DsnGetRegisterByName(design_, "GtxStatus_0") > 0) {
    nrPorts_ = 2;
    interfaceType_ = ClhsIfPortStatus;
  }
  if (DsnGetRegisterByName(design_, "GtxStatus") > 0) {
    nrPorts_ = 2;
    interfaceType_ = ClhsIfBoardStatus;
  }
  logger_.Line(3, [&] { return "Board detected: " + std::to_string(interfaceType_); });
}

// Channel i has its master id in nibble i of one register and its extension id in nibble i of
// the other. Master ids are handed to cameras in the order the channels first name them, then
// counting on past the last.
void ClhsController::BuildTables() {
  const uint64_t masterIds = ReadRegister(registers_.masterIds);
  const uint64_t extensionIds = ReadRegister(registers_.extensionIds);
  uint32_t master = masterIds & 15;
  masterTable_[0] = master;
  unsigned int k = 0;
  for (unsigned int i = 0; i < nrPorts_; ++i) {
    channels_.emplace_back((master << 16) + ((extensionIds >> (4 * i)) & 15), i);
    ports_.push_back(std::make_unique<CClhsPort>(i, interfaceType_, device_, design_));
    linkState_[i] = ports_.back()->CheckForReceiveLinkSignal();
    master = (masterIds >> (4 * (i + 1))) & 15;
    if (master != masterTable_[k] && k < masterTable_.size() - 1) masterTable_[++k] = master;
  }
  for (unsigned int i = k + 1; i < masterTable_.size(); ++i) masterTable_[i] = master + (i - k);
}

uint64_t ClhsController::ReadRegister(int id) {
  uint64_t value = 0;
  VHalRegisterRead(device_, id, &value);
  return value;
}

int ClhsController::Init() {
  std::this_thread::sleep_for(std::chrono::milliseconds(250));
  return 0;
}

void ClhsController::SetCallBackFnct(Callback callback, void* user) {
  std::lock_guard<std::mutex> lock(callbackMutex_);
  callback_ = callback;
  user_ = user;
}

int ClhsController::ForceTransceiverBitrate(unsigned int, unsigned int) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

int ClhsController::ForceResetControlCore(unsigned int, unsigned int) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

uint32_t ClhsController::GetNrOfPorts() {
  RecursiveMutexGuard scope(&controllerScope_);
  return static_cast<uint32_t>(ports_.size());
}

IPortInterface* ClhsController::GetPort(unsigned int index) {
  RecursiveMutexGuard scope(&controllerScope_);
  return index < ports_.size() ? ports_[index].get() : nullptr;
}

CClhsPort* ClhsController::GetPortByPortID(unsigned int id) {
  for (const auto& port : ports_) {
    if (port->GetPortId() == id) return port.get();
  }
  return nullptr;
}

void ClhsController::SetLEDState(unsigned int port, unsigned int state) {
  if (port < ports_.size()) ports_[port]->SetLEDState(state);
}

uint64_t ClhsController::GetDiscoverySelector() {
  selectorLock_.enter();
  GenericLockGuard guard(&selectorLock_);
  return ReadRegister(registers_.selectRead);
}

int ClhsController::SwitchDiscoverySelector(uint64_t selector) {
  selectorLock_.enter();
  GenericLockGuard guard(&selectorLock_);
  // The control cores of both channels are held while the routing changes under them.
  unsigned int saved[2] = {0, 0};
  for (unsigned int i = 0; i < 2 && i < ports_.size(); ++i) {
    saved[i] = ports_[i]->GetResetReg();
    ports_[i]->ResetCtrlCore(saved[i] | kSelectorHold);
  }
  VHalRegisterWrite(device_, registers_.selectWrite, selector);
  for (unsigned int i = 0; i < 2 && i < ports_.size(); ++i) ports_[i]->ResetCtrlCore(saved[i]);
  logger_.Line(3, [&] { return "SwitchDiscoverySelector - New Selector: " + Hex(selector); });
  return 0;
}

int ClhsController::ResetMultiplexer() {
  RecursiveMutexGuard scope(&controllerScope_);
  nextMaster_ = 0;
  SwitchDiscoverySelector(kIdentitySelector);
  for (const auto& port : ports_) port->Reset();
  return 0;
}

int ClhsController::GetProperty(char* name, void* value, unsigned int type, void* index) {
  RecursiveMutexGuard scope(&controllerScope_);
  const std::string property = name ? name : "";
  if (property != "CLHSLinkState" && property != "CLHSLinkDetectionEnable" &&
      property != "MagicValue")
    return MLO_ERR_NOT_IMPLEMENTED;
  const int check = PropertyChekParam(value, type, index, kTypeUnsigned);
  if (check != 0) return check;
  const unsigned int port = *static_cast<unsigned int*>(index);
  unsigned int& out = *static_cast<unsigned int*>(value);
  if (property == "CLHSLinkState") {
    out = ports_[port]->IsConnected() ? 1 : 0;
  } else if (property == "CLHSLinkDetectionEnable") {
    out = 0;
  } else if (port < ports_.size()) {
    out = ntohl(ports_[port]->GetMagic());
  }
  return 0;
}

// Link detection cannot be switched off; the call only checks its arguments.
int ClhsController::SetProperty(char* name, void* value, unsigned int type, void* index) {
  RecursiveMutexGuard scope(&controllerScope_);
  if (!name || std::string(name) != "CLHSLinkDetectionEnable") return MLO_ERR_NOT_IMPLEMENTED;
  return PropertyChekParam(value, type, index, kTypeUnsigned);
}

int ClhsController::Discovery(unsigned int portMask, unsigned int speed, unsigned int, unsigned int,
                              CDriver*) {
  RecursiveMutexGuard scope(&controllerScope_);
  logger_.Line(
      3, [&] { return "Start Discovery: " + Hex(portMask) + " speed " + std::to_string(speed); });
  int result = 0;
  if ((portMask & 3) != 3) {
    result = MLO_ERR_INVALID_PORT;
  } else if (speed != 0 && speed != CClhsPort::kLinkSpeed) {
    result = MLO_ERR_INVALID_LINK_SPEED;
  } else {
    result = PerformCoreReset(portMask);
    if (result == 0) result = PerformLinkReset(portMask);
    if (result == 0) result = ScanTopology();
    if (result == 0) result = SaveCameraInfo();
  }
  UpdateLedsAndXml();
  if (result == 0) result = CheckLinkLayout();
  logger_.Line(3, [&] { return "Ending Discovery " + std::to_string(result); });
  return result;
}

void ClhsController::UpdateLedsAndXml() {
  for (unsigned int i = 0; i < ports_.size() && i < 2; ++i) {
    CClhsPort& port = *ports_[i];
    const bool connected = port.IsConnected();
    port.SetLEDState(connected ? LedConnected : LedNoCamera);
    if (connected) port.GetXmlInfo();
  }
}

// Each camera's links must fill exactly the firmware channels of its master id.
int ClhsController::CheckLinkLayout() {
  for (const auto& master : ports_) {
    if (master->GetPortType() != PortTypeMaster) continue;
    const uint32_t logic = master->GetLogicPLPort();
    unsigned int links = 0;
    for (const auto& port : ports_) {
      if (port->IsConnected() && (port->GetLogicPLPort() & logic) != 0) ++links;
    }
    unsigned int channels = 0;
    for (const auto& channel : channels_) {
      if ((channel.first & logic) != 0) ++channels;
    }
    if (links != channels) return MLO_ERR_LAYOUT_MISMATCH;
  }
  return 0;
}

int ClhsController::PerformCoreReset(unsigned int portMask) {
  logger_.Line(3, [&] { return "Board PerformCoreReset: " + Hex(portMask); });
  // The status bit outlives every process: the first one on the board resets, the others don't.
  if (!forceCoreReset_ && (ReadRegister(registers_.grabberStatusRead) & 1)) {
    ResetMultiplexer();
    return 0;
  }
  for (unsigned int i = 0; i < nrPorts_ && i < ports_.size(); ++i) {
    if (!(portMask >> i & 1)) continue;
    ports_[i]->DoCoreReset();
    VHalRegisterWrite(device_, registers_.grabberStatusWrite,
                      ReadRegister(registers_.grabberStatusRead) | 1);
  }
  forceCoreReset_ = false;
  ResetMultiplexer();
  return 0;
}

int ClhsController::PerformLinkReset(unsigned int portMask) {
  logger_.Line(3, [] { return "Starting PerformLinkReset"; });
  for (const auto& port : ports_) {
    port->SetLEDState(LedLinkReset);
    if (portMask >> port->GetPortId() & 1) {
      bool signal = false;
      for (int look = 0; look < 3 && !signal; ++look) signal = port->CheckForReceiveLinkSignal();
      if (!signal) continue;
    }
    if (!port->PhyConnect()) continue;
    uint32_t responseTime = 0;
    if (port->ReadWord(kMaxResponseTime, responseTime, kRegisterTimeoutMs) == 0)
      port->SetMaxAckTime(responseTime + 10);
  }
  logger_.Line(3, [] { return "Ending PerformLinkReset "; });
  return 0;
}

int ClhsController::ScanTopology() {
  logger_.Line(3, [] { return "Start ScanTopology "; });
  const uint32_t base = static_cast<uint32_t>(boardIndex_) << 8;
  std::vector<uint32_t> connections;
  for (const auto& port : ports_) {
    if (!port->IsConnected()) continue;
    uint32_t connection = 0;
    int status = 0;
    for (int attempt = 0; attempt < 3; ++attempt) {
      status = port->ReadWord(kConnectionIndex, connection, kTopologyTimeoutMs);
      if (status == 0) break;
      logger_.Line(4, [&] { return "ScanTopology ReadPacket retry: " + std::to_string(status); });
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (status != 0) return status;
    connections.push_back(connection);
    if (connection != 0) continue;
    // A master link: its camera gets the next device id, which its extensions then report.
    const uint32_t id = base | masterTable_[nextMaster_ % masterTable_.size()];
    ++nextMaster_;
    port->WriteWord(kDeviceId, id, kTopologyTimeoutMs);
  }
  size_t next = 0;
  for (const auto& port : ports_) {
    if (!port->IsConnected()) continue;
    uint32_t id = 0;
    const int status = port->ReadWord(kDeviceId, id, kTopologyTimeoutMs);
    if (status != 0) return status;
    const uint32_t connection = next < connections.size() ? connections[next++] : 0;
    port->SetPortType(connection != 0 ? PortTypeExtension : PortTypeMaster,
                      (id << 16) + connection);
    logger_.Line(3, [&] {
      return "ScanTopology detect device: " + Hex(id) + " connection " +
             std::to_string(connection) + " on port " + std::to_string(port->GetPortId());
    });
  }
  return 0;
}

// Logical ports carry the device id read back from the camera, the channel table the 4-bit
// master ids of the firmware. They meet on boards above index 0 too, because the camera keeps
// only the low byte of the device id written to it, and so drops the board index.
void ClhsController::MultiplexConn() {
  std::vector<std::pair<unsigned char, unsigned char>> mapping;
  for (const auto& port : ports_) {
    if (!port->IsConnected()) continue;
    const uint32_t logic = port->GetLogicPort();
    auto entry = channels_.begin();
    while (entry != channels_.end() && entry->first != logic) ++entry;
    if (entry == channels_.end()) {
      logger_.Line(4, [&] {
        return "Found map port notconnected: " + std::to_string(port->GetPortId()) +
               " Logical port ID: " + Hex(logic);
      });
      port->Reset();
      continue;
    }
    mapping.emplace_back(static_cast<unsigned char>(entry->second),
                         static_cast<unsigned char>(port->GetPortId()));
    port->SetLogicPLPort(entry->first);
    logger_.Line(3, [&] {
      return "Found map port: " + std::to_string(port->GetPortId()) + " To PL Port " +
             std::to_string(entry->second);
    });
  }
  const uint64_t selector = CUtility::GetMuplex(mapping);
  logger_.Line(3, [&] { return "New Selector: " + Hex(selector); });
  SwitchDiscoverySelector(CUtility::GetMuplex(mapping));
  for (const auto& [channel, id] : mapping) {
    CClhsPort* port = GetPortByPortID(id);
    port->SetPortPL(channel);
    port->RemapReg(channel);
  }
}

int ClhsController::SaveCameraInfo() {
  logger_.Line(3, [] { return "Starting SaveCameraInfo"; });
  MultiplexConn();
  for (const auto& port : ports_) {
    if (port->GetPortType() == PortTypeMaster) port->SaveCameraInfo();
  }
  return 0;
}

void ClhsController::ReadyThreadLoop() {
  do {
    CheckStatusPhy();
  } while (SleepUntilSignal());
}

// One wait of a cycle; a cleared flag ends it early. False once the thread is to end.
bool ClhsController::SleepUntilSignal() {
  std::unique_lock<std::mutex> lock(readyMutex_);
  if (readyAlive_) readyWake_.wait_for(lock, std::chrono::milliseconds(kReadyCycleMs));
  return readyAlive_;
}

void ClhsController::CheckStatusPhy() {
  unsigned int connected = 0;
  unsigned int lost = 0;
  for (unsigned int i = 0; i < ports_.size(); ++i) {
    const bool present = ports_[i]->CheckForReceiveLinkSignal();
    bool& known = linkState_[i];
    if (present == known) continue;
    (present ? connected : lost) |= 1u << i;
    known = present;
  }
  Callback callback = nullptr;
  void* user = nullptr;
  {
    std::lock_guard<std::mutex> lock(callbackMutex_);
    callback = callback_;
    user = user_;
  }
  if (!callback) return;
  if (connected != 0) callback(ControllerEventPortsConnected, connected, user);
  if (lost != 0) callback(ControllerEventPortsLost, lost, user);
}
