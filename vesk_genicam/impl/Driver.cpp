#include "vesk_genicam/impl/Driver.h"

#include "vesk_genicam/impl/ClController.h"
#include "vesk_genicam/impl/ClhsController.h"
#include "vesk_genicam/impl/CxpController.h"
#include "vesk_genicam/impl/GbeController.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iterator>
#include <new>

#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::platform::RecursiveMutexGuard;

namespace {

constexpr unsigned int kFlagRefreshOnly = 0x20;
constexpr unsigned int kFlagKeepRemoved = 0x40;
constexpr unsigned int kTypeInteger = 1;
constexpr unsigned int kNoPort = 0xFFFFFFFF;

uint32_t CameraNumber(IPortInterface* port) { return port->GetLogicPort() >> 16; }

}  // namespace

// Nothing is used after it has gone: first the monitoring thread, which calls the driver; then
// the application's callback, which may use cameras: a running one ends first, and the events
// that the controller's threads send until the controller ends them find none; then the cameras,
// which use the controller's ports; last the controller, which ends its threads and frees the
// ports. The locks go with the members after the body, cameraLock_ before eventLock_.
CDriver::~CDriver() {
  monitoringThread_.reset();
  SetBoardEventCallback(nullptr, nullptr);
  cameras_.clear();
  removedCameras_.clear();
  controller_.reset();
}

vesk::tools::logging::Logger* CDriver::GetLogger() { return logger_.Get(); }

// CoaXPress and Camera Link are the transports the library has; other boards are unsupported.
std::unique_ptr<IControllerInterface> CDriver::CreateController(EBoardTransport transport,
                                                                Fg_Struct_s* board, bool flag) {
  if (transport == BoardTransportCxp)
    return std::make_unique<CxpController>(board->device, board->design);
  if (transport == BoardTransportClhs)
    return std::make_unique<ClhsController>(board->device, board->design, flag);
  if (transport == BoardTransportCl)
    return std::make_unique<CClController>(board->device, board->design);
  if (transport == BoardTransportGbe)
    return std::make_unique<CGbeController>(board->device, board->design);
  return nullptr;
}

int CDriver::Init(Fg_Struct_s* board, bool flag) {
  if (!board) return MLO_ERR_INVALID_ARGUMENT;
  try {
    return StartController(board, flag);
  } catch (const std::bad_alloc&) {
    logger_.Line(5, [] { return "Failed to initialise camera interface: Out of memory"; });
    return MLO_ERR_OUT_OF_MEMORY;
  } catch (const std::exception& error) {
    logger_.Line(
        5, [&] { return "Failed to initialise camera interface: " + std::string(error.what()); });
    return MLO_ERR_BOARD_INIT;
  } catch (...) {
    logger_.Line(5, [] { return "Failed to initialise camera interface: Unknown error"; });
    return MLO_ERR_INTERNAL;
  }
}

int CDriver::StartController(Fg_Struct_s* board, bool flag) {
  const EBoardTransport transport =
      BoardTransportOf(VHalGetBoardInfoInt(board->device, "board/type"));
  if (transport != BoardTransportNone) controller_ = createController_(transport, board, flag);
  if (!controller_) return MLO_ERR_BOARD_NOT_SUPPORTED;
  controller_->ResetMultiplexer();
  controller_->Init();
  controller_->SetCallBackFnct(CDriver::CtrlCallbackHandler, this);
  monitoringThread_ = std::make_unique<CDriverMonitoringThread>(this);
  // Without the thread the board works all the same; it only misses the ticks.
  monitoringThread_->Start();
  return 0;
}

int CDriver::Discovery(unsigned int portMask, unsigned int speed, unsigned int timeoutMs,
                       unsigned int flags) {
  if (!controller_) return MLO_ERR_INVALID_POINTER;
  if (flags & kFlagRefreshOnly) {
    UpdateDiscoveryInformation(false);
    return 0;
  }
  RecursiveMutexGuard guard(&cameraLock_);
  const int code = controller_->Discovery(portMask, speed, timeoutMs, flags, this);
  // A layout that does not match and an empty bus are results of a finished discovery.
  if (code == 0 || code == MLO_ERR_LAYOUT_MISMATCH || code == MLO_ERR_NO_CAMERA_FOUND) {
    UpdateDiscoveryInformation(!(flags & kFlagKeepRemoved));
  }
  return code;
}

void CDriver::UpdateDiscoveryInformation(bool deleteRemoved) {
  RecursiveMutexGuard guard(&cameraLock_);
  const uint32_t portCount = GetNrOfPorts();
  for (unsigned int i = 0; i < portCount; ++i) {
    IPortInterface* port = controller_->GetPort(i);
    if (!port) continue;
    const bool master = port->GetPortType() == PortTypeMaster;
    const auto found = cameras_.find(port);
    CCameraInterface* camera = nullptr;
    if (found != cameras_.end()) {
      if (!master) {
        removedCameras_.insert(std::move(found->second));
        cameras_.erase(found);
        continue;
      }
      camera = found->second.get();
    } else {
      if (!master) continue;
      std::unique_ptr<CCameraInterface>& made = cameras_[port];
      made = std::make_unique<CCameraInterface>(port, controller_.get());
      camera = made.get();
    }
    RefreshLinks(camera, port);
  }
  cameraCount_ = static_cast<uint32_t>(cameras_.size());
  if (deleteRemoved) removedCameras_.clear();
}

void CDriver::RefreshLinks(CCameraInterface* camera, IPortInterface* master) {
  const uint32_t cameraNumber = CameraNumber(master);
  const uint32_t portCount = GetNrOfPorts();
  unsigned int count = 0;
  for (unsigned int i = 0; i < portCount; ++i) {
    IPortInterface* port = controller_->GetPort(i);
    if (!port || CameraNumber(port) != cameraNumber) continue;
    const unsigned int link = port->GetLogicPort() & 0xffff;
    const uint32_t plPort = port->GetLogicPLPort();
    // A link index beyond the table is refused by the setters and so ignored.
    camera->SetLinkPlPort(link, port->GetPortPL());
    camera->SetLinkPlMasterId(link, plPort >> 16);
    camera->SetLinkPlExtensionId(link, plPort & 0xffff);
    camera->SetLinkFrameGrabberPort(link, port->GetPortId());
    ++count;
  }
  camera->SetNrOfLinks(count);
}

CCameraInterface* CDriver::GetCamera(unsigned int index) {
  RecursiveMutexGuard guard(&cameraLock_);
  if (index >= cameras_.size()) return nullptr;
  return std::next(cameras_.begin(), index)->second.get();
}

CCameraInterface* CDriver::GetCameraByGrabberPort(unsigned int port) {
  // All ones stands in the empty link slots; it is no port.
  if (port == kNoPort) return nullptr;
  RecursiveMutexGuard guard(&cameraLock_);
  for (auto& entry : cameras_) {
    for (unsigned int link = 0; link < CCameraInterface::kMaxLinks; ++link) {
      unsigned int grabberPort = 0;
      if (entry.second->GetLinkFrameGrabberPort(link, grabberPort) == 0 && grabberPort == port) {
        return entry.second.get();
      }
    }
  }
  return nullptr;
}

CCameraInterface* CDriver::GetCameraByCameraMaster(unsigned int masterId) {
  RecursiveMutexGuard guard(&cameraLock_);
  for (auto& entry : cameras_) {
    if (CameraNumber(entry.first) == masterId) return entry.second.get();
  }
  return nullptr;
}

uint32_t CDriver::GetNrOfCameras() {
  RecursiveMutexGuard guard(&cameraLock_);
  return static_cast<uint32_t>(cameras_.size());
}

// Every camera in the table counts, also while its cable is pulled.
uint32_t CDriver::GetNrOfConnectedCameras() { return GetNrOfCameras(); }

uint32_t CDriver::GetNrOfPorts() { return controller_ ? controller_->GetNrOfPorts() : 0; }

IPortInterface* CDriver::GetPort(unsigned int index) {
  return controller_ ? controller_->GetPort(index) : nullptr;
}

int CDriver::SwitchDiscoverySelector(uint64_t selector) {
  return controller_ ? controller_->SwitchDiscoverySelector(selector) : MLO_ERR_INVALID_POINTER;
}

uint64_t CDriver::GetDiscoverySelector() {
  return controller_ ? controller_->GetDiscoverySelector() : 0;
}

int CDriver::ReadPacket(unsigned int port, unsigned int address, unsigned char* data,
                        unsigned int length, unsigned int timeoutMs) {
  IPortInterface* target = GetPort(port);
  if (!target) return MLO_ERR_INVALID_POINTER;
  if (!target->IsConnected()) return MLO_ERR_NO_PHYSICAL_CONNECTION;
  return target->ReadPacket(address, data, length, timeoutMs);
}

int CDriver::WritePacket(unsigned int port, unsigned int address, unsigned char* data,
                         unsigned int length, unsigned int timeoutMs) {
  IPortInterface* target = GetPort(port);
  if (!target) return MLO_ERR_INVALID_POINTER;
  if (!target->IsConnected()) return MLO_ERR_NO_PHYSICAL_CONNECTION;
  return target->WritePacket(address, data, length, timeoutMs);
}

int CDriver::PowerSwitchExt(unsigned int portMask, unsigned int command) {
  if (!controller_) return 0;
  switch (command) {
    case 0:
      controller_->DisablePowerOverFramegrabber(portMask);
      break;
    case 1:
      controller_->EnablePowerOverFramegrabber(portMask);
      break;
    case 2:
      controller_->DisablePowerOverFramegrabber(portMask);
      usleep(1000000);
      controller_->EnablePowerOverFramegrabber(portMask);
      break;
    default:
      break;
  }
  return 0;
}

int CDriver::GetProperty(char* name, void* value, unsigned int type, void* index) {
  if (controller_) {
    const int code = controller_->GetProperty(name, value, type, index);
    if (code != MLO_ERR_NOT_IMPLEMENTED) return code;
  }
  const bool cameras = std::strcmp(name, "NrOfCameras") == 0;
  const bool locked = std::strcmp(name, "TransceiversLockedMask") == 0;
  const bool ports = std::strcmp(name, "NrOfPorts") == 0;
  if (!cameras && !locked && !ports) return MLO_ERR_NOT_IMPLEMENTED;
  if (!value) return MLO_ERR_INVALID_POINTER;
  if (type != kTypeInteger) return MLO_ERR_INVALID_TYPE;
  uint32_t& result = *static_cast<uint32_t*>(value);
  if (cameras) {
    result = cameraCount_;
  } else if (ports) {
    result = GetNrOfPorts();
  } else {
    uint32_t mask = 0;
    const uint32_t portCount = GetNrOfPorts();
    for (unsigned int i = 0; i < portCount; ++i) {
      IPortInterface* port = GetPort(i);
      // Ports from 32 on wrap onto the low bits.
      if (port && port->IsTransceiverSynchronized()) mask |= 1u << (i % 32);
    }
    result = mask;
  }
  return 0;
}

int CDriver::SetProperty(char* name, void* value, unsigned int type, void* index) {
  return controller_ ? controller_->SetProperty(name, value, type, index) : MLO_ERR_NOT_IMPLEMENTED;
}

int CDriver::SetEventCallback(MloEventCallback callback, const void* user) {
  RecursiveMutexGuard guard(&eventLock_);
  eventCallback_ = callback;
  boardEventCallback_ = EventHandlerWrapper;
  eventUserData_ = const_cast<void*>(user);
  return 0;
}

int CDriver::SetBoardEventCallback(MloBoardEventCallback callback, void* user) {
  RecursiveMutexGuard guard(&eventLock_);
  eventCallback_ = nullptr;
  boardEventCallback_ = callback;
  eventUserData_ = user;
  return 0;
}

int CDriver::notifyEvent(MloEventInfo* info) {
  RecursiveMutexGuard guard(&eventLock_);
  if (!boardEventCallback_) return MLO_ERR_NO_EVENT_HANDLER;
  try {
    return boardEventCallback_(reinterpret_cast<MloBoardHandle*>(this), info, eventUserData_);
  } catch (...) {
    return MLO_ERR_EXCEPTION;
  }
}

void CDriver::CtrlCallbackHandler(unsigned int event, unsigned int ports, void* driver) {
  if (!driver) return;
  // Events other than these two go out with an empty record.
  MloEventInfo info{};
  if (event == ControllerEventPortsConnected) {
    info.type = MLO_EVENT_PORTS_CONNECTED;
    info.port = ports;
  } else if (event == ControllerEventPortsLost) {
    info.type = MLO_EVENT_PORTS_LOST;
    info.port = ports;
  }
  static_cast<CDriver*>(driver)->notifyEvent(&info);
}

// Runs inside notifyEvent, under the board's eventLock_.
int CDriver::EventHandlerWrapper(MloBoardHandle* board, const MloEventInfo* info, void* user) {
  MloEventCallback callback = reinterpret_cast<CDriver*>(board)->eventCallback_;
  if (!callback) return MLO_ERR_NO_EVENT_HANDLER;
  return callback(board, nullptr, info, user);
}

int CDriver::StoreLowLevelLinkProfile(char* path) {
  if (!controller_) return MLO_ERR_INVALID_BOARD_HANDLE;
  FILE* file = std::fopen(path, "w");
  if (!file) return MLO_ERR_FILE_ACCESS;
  std::fprintf(file, "# low level link profile v1.0\n");
  std::fprintf(file, "mux=0x%llx\n", static_cast<unsigned long long>(GetDiscoverySelector()));
  const uint32_t portCount = GetNrOfPorts();
  for (unsigned int i = 0; i < portCount; ++i) {
    IPortInterface* port = GetPort(i);
    const uint32_t plPort = port ? port->GetLogicPLPort() : 0xFFFFFFFF;
    std::fprintf(file, "pl_%u=%d,%d\n", i, static_cast<int16_t>(plPort >> 16),
                 static_cast<int16_t>(plPort & 0xffff));
  }
  for (unsigned int i = 0; i < portCount; ++i) {
    IPortInterface* port = GetPort(i);
    std::fprintf(file, "speed_%u=%d\n", i, port ? static_cast<int32_t>(port->GetSpeed()) : -1);
  }
  std::fclose(file);
  return 0;
}

int CDriver::RestoreLowLevelLinkProfile(char* path) {
  if (!controller_) return MLO_ERR_INVALID_BOARD_HANDLE;
  // Without blocking, so that a FIFO given as the profile cannot hold the call until a writer
  // comes; the file is never read.
  const int file = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return MLO_ERR_FILE_ACCESS;
  ::close(file);
  return MLO_ERR_INVALID_ARGUMENT;
}
