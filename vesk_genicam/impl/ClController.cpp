#include "vesk_genicam/impl/ClController.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::platform::RecursiveMutexGuard;

vesk::tools::logging::ClassLogger CClController::logger_{"vesk.genicam.CClController"};

namespace {

constexpr uint64_t kIdentitySelector = 0x7654321076543210;
constexpr unsigned int kTypeInteger = 1;
constexpr unsigned int kBothChannels = 0x3;
constexpr unsigned int kCameraPowerUpUs = 2000000;
constexpr unsigned int kLedConnected = 8;
constexpr unsigned int kLedNoCamera = 2;

enum CameraLinkMode { ModeUnknown = -1, ModeBase = 0, ModeMedium = 1, ModeFull = 2 };

bool InRange(uint32_t type, uint32_t first, uint32_t last) { return type >= first && type <= last; }

// Boards whose design says in a register how its ports are configured.
bool HasPortConfigRegister(uint32_t type) {
  return InRange(type, 2624, 2629) || type == 2881 || type == 2882 || type == 3650 || type == 3652;
}

// Boards whose design names its Camera Link mode in a parameter.
bool HasModeParameters(uint32_t type) {
  static const uint32_t kSingles[] = {2911, 29968, 29969, 30016, 30017, 30097, 30101, 46336, 46337};
  for (uint32_t single : kSingles)
    if (type == single) return true;
  return InRange(type, 1872, 1881) || InRange(type, 2641, 2650) || InRange(type, 2896, 2899);
}

}  // namespace

CClController::CClController(PLdevice* device, fpga_design* design)
    : device_(device),
      design_(design),
      boardType_(static_cast<uint32_t>(VHalGetBoardInfoInt(device, "board/type"))),
      portConfigRegister_(DsnGetRegisterByName(design, "AACamPortConfig")) {
  DetectNrPorts();
  for (unsigned int i = 0; i < nrPorts_; ++i) {
    ports_.push_back(std::make_unique<CClPort>(i, device_));
    clockState_[i] = ports_.back()->IsClockPresent();
  }
  SetReadyThreadAlive(true);
  readyThread_ = std::thread(&CClController::ReadyThread, this);
}

CClController::~CClController() {
  SetReadyThreadAlive(false);
  readyThread_.join();
  ports_.clear();
}

void CClController::DetectNrPorts() {
  if (HasPortConfigRegister(boardType_) && portConfigRegister_ >= 0) {
    uint64_t config = 0;
    VHalRegisterRead(device_, portConfigRegister_, &config);
    nrPorts_ = config == 0 ? 2 : 1;
    cameraLinkMode_ = config == 1 ? ModeMedium : config == 2 ? ModeFull : ModeBase;
  }
  if (HasModeParameters(boardType_)) {
    // Later hits override the mode, never the number of ports.
    struct Parameter {
      const char* name;
      CameraLinkMode mode;
    };
    static const Parameter kParameters[] = {
        {"Device1\\Process0\\Camera\\BaseMode", ModeBase},
        {"Device1\\Process0\\Camera\\MediumMode", ModeMedium},
        {"Device1\\Process0\\Camera\\FullMode", ModeFull},
        {"Device1\\Process0\\Cam\\FullMode", ModeFull},
    };
    for (const Parameter& parameter : kParameters) {
      if (DsnGetRegisterByName(design_, parameter.name) <= 0) continue;
      if (parameter.mode == ModeBase) nrPorts_ = 2;
      cameraLinkMode_ = parameter.mode;
    }
  }
  logger_.Line(3, [&] {
    return "Board detected: type " + std::to_string(boardType_) + ", " + std::to_string(nrPorts_) +
           " ports, Camera Link mode " + std::to_string(cameraLinkMode_);
  });
}

void CClController::SetCallBackFnct(Callback callback, void* user) {
  std::lock_guard<std::mutex> lock(waitMutex_);
  callback_ = callback;
  user_ = user;
}

int CClController::SwitchDiscoverySelector(uint64_t selector) {
  logger_.Line(
      3, [&] { return "SwitchDiscoverySelector - New Selector: " + CUtility::HexText(selector); });
  return 0;
}

int CClController::ResetMultiplexer() {
  // Not the selector that GetDiscoverySelector gives: there is no multiplexer to set.
  SwitchDiscoverySelector(kIdentitySelector);
  for (const auto& port : ports_) port->Reset(false);
  return 0;
}

uint32_t CClController::GetNrOfPorts() {
  RecursiveMutexGuard scope(&controllerScope_);
  return static_cast<uint32_t>(ports_.size());
}

IPortInterface* CClController::GetPort(unsigned int index) {
  RecursiveMutexGuard scope(&controllerScope_);
  return index < ports_.size() ? ports_[index].get() : nullptr;
}

int CClController::SetProperty(char*, void*, unsigned int, void*) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

int CClController::ForceTransceiverBitrate(unsigned int, unsigned int) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

int CClController::ForceResetControlCore(unsigned int, unsigned int) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

int CClController::GetProperty(char* name, void* value, unsigned int type, void* index) {
  if (std::strcmp(name, "MagicValue") != 0) return MLO_ERR_NOT_IMPLEMENTED;
  const int status = PropertyChekParam(value, type, index, kTypeInteger);
  if (status != 0) return status;
  const uint32_t port = *static_cast<uint32_t*>(index);
  if (port >= GetNrOfPorts()) return 0;
  uint32_t word = 0;
  // What the read gives is passed on whether it succeeded or not.
  ports_[port]->ReadPacket(0, reinterpret_cast<unsigned char*>(&word), 4, 200);
  *static_cast<uint32_t*>(value) = ntohl(word);
  return 0;
}

void CClController::SetReadyThreadAlive(bool alive) {
  std::lock_guard<std::mutex> lock(waitMutex_);
  readyThreadAlive_ = alive;
  waitCondition_.notify_one();
}

bool CClController::IsReadyThreadAlive() {
  std::lock_guard<std::mutex> lock(waitMutex_);
  return readyThreadAlive_;
}

void CClController::ReadyThread() {
  while (IsReadyThreadAlive()) {
    CheckStatusPhy();
    SleepUntilSignal();
  }
}

void CClController::SleepUntilSignal() {
  std::unique_lock<std::mutex> lock(waitMutex_);
  if (!readyThreadAlive_) return;
  waitCondition_.wait_for(lock, std::chrono::milliseconds(100));
}

void CClController::CheckStatusPhy() {
  unsigned int connected = 0;
  unsigned int disconnected = 0;
  for (unsigned int i = 0; i < ports_.size(); ++i) {
    CClPort& port = *ports_[i];
    const bool present = port.IsClockPresent();
    if (present == clockState_[i]) continue;
    if (present) {
      connected |= 1u << i;
      // The camera powers up with its clock; it answers only later. Every port waits meanwhile.
      usleep(kCameraPowerUpUs);
      port.DetectSpeed();
    } else {
      disconnected |= 1u << i;
      port.Reset(true);
    }
    clockState_[i] = present;
  }
  Callback callback = nullptr;
  void* user = nullptr;
  {
    std::lock_guard<std::mutex> lock(waitMutex_);
    callback = callback_;
    user = user_;
  }
  if (!callback) return;
  if (connected) callback(ControllerEventPortsConnected, connected, user);
  if (disconnected) callback(ControllerEventPortsLost, disconnected, user);
}

int CClController::Discovery(unsigned int portMask, unsigned int speed, unsigned int, unsigned int,
                             CDriver*) {
  RecursiveMutexGuard scope(&controllerScope_);
  logger_.Line(3, [&] {
    return "Start Discovery: port mask " + CUtility::HexText(portMask) + ", speed " +
           std::to_string(speed);
  });
  int status = MLO_ERR_INVALID_PORT;
  if ((portMask & kBothChannels) == kBothChannels) {
    logger_.Line(3, [] { return "Starting PerformCoreReset - no action."; });
    logger_.Line(3, [] { return "Starting PerformLinkReset - no action."; });
    status = PerformSpeedDetect(speed, portMask);
    if (status == 0) status = ScanTopology();
    if (status == 0) status = SaveCameraInfo();
  }
  for (unsigned int i = 0; i < ports_.size() && i < 2; ++i) {
    CClPort& port = *ports_[i];
    const bool connected = port.IsConnected();
    port.SetLEDState(connected ? kLedConnected : kLedNoCamera);
    if (connected) port.GetXmlInfo();
  }
  logger_.Line(3, [&] { return "Ending Discovery " + std::to_string(status); });
  return status;
}

int CClController::PerformSpeedDetect(unsigned int speed, unsigned int portMask) {
  logger_.Line(3, [] { return "Starting PerformSpeedDetect"; });
  if (portMask == 0) return 0;
  unsigned int remaining = portMask;
  unsigned int found = 0;
  for (const auto& port : ports_) {
    const unsigned int bit = 1u << port->GetPortId();
    if ((remaining & bit) && port->SetSpeed(speed) == 0) {
      remaining &= ~bit;
      found |= bit;
    }
  }
  int status = 0;
  if (found == 0) {
    logger_.Line(5, [] { return "No physical connections found"; });
    logger_.Line(3, [&] {
      return "Try waiting for the camera to fully power up: " + CUtility::HexText(remaining);
    });
    logger_.Line(3, [] {
      return "If there were errors try connecting the camera links 1:1 to the frame grabber "
             "ports, or try using reverse order";
    });
    status = MLO_ERR_NO_CAMERA_FOUND;
  }
  logger_.Line(3, [&] { return "Ending PerformSpeedDetect " + std::to_string(status); });
  return status;
}

int CClController::ScanTopology() {
  for (const auto& port : ports_) {
    if (!port->IsConnected()) continue;
    const uint32_t id = port->GetPortId();
    port->SetPortType(PortTypeMaster, id << 16);
    port->SetLogicPLPort(id << 16);
    port->SetPortPL(id);
    logger_.Line(3, [&] { return "ScanTopology detect device: " + std::to_string(id); });
  }
  return 0;
}

int CClController::SaveCameraInfo() {
  logger_.Line(3, [] { return "Starting SaveCameraInfo"; });
  for (const auto& port : ports_)
    if (port->GetPortType() == PortTypeMaster) port->SaveCameraInfo();
  return 0;
}
