#ifndef VESK_GENICAM_IMPL_DRIVER_H
#define VESK_GENICAM_IMPL_DRIVER_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "templates/platform/RecursiveMutex.h"
#include "templates/platform/RecursiveMutexGuard.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/BoardTypes.h"
#include "vesk_genicam/impl/CameraInterface.h"
#include "vesk_genicam/impl/DriverMonitoringThread.h"
#include "vesk_genicam/impl/IControllerInterface.h"
#include "vesk_genicam/impl/IMonitorInterface.h"
#include "vesk_genicam/impl/vesk_genicam.h"

// The board object, the thing an MloBoardHandle points to: the one transport controller of the
// board, the cameras over its master ports, discovery, and the events from the controller to
// the application. cameraLock_ comes before eventLock_ where both are needed.
class CDriver : public IMonitorInterface {
 public:
  // Makes the controller of a supported board; null where there is none.
  using ControllerFactory = std::function<std::unique_ptr<IControllerInterface>(
      EBoardTransport transport, Fg_Struct_s* board, bool flag)>;

  CDriver() : CDriver(&CDriver::CreateController) {}
  // Tests bring their own transport through the factory.
  explicit CDriver(ControllerFactory createController)
      : createController_(std::move(createController)) {}
  ~CDriver() override;
  CDriver(const CDriver&) = delete;
  CDriver& operator=(const CDriver&) = delete;

  // flag reaches the Camera Link HS controller only.
  int Init(Fg_Struct_s* board, bool flag);
  // flags 0x20: only refresh the camera table from the ports; 0x40: keep vanished cameras.
  int Discovery(unsigned int portMask, unsigned int speed, unsigned int timeoutMs,
                unsigned int flags);
  // Makes a camera for each new master port and retires those whose port is none any more.
  void UpdateDiscoveryInformation(bool deleteRemoved);

  // Runs use under cameraLock_, so that a discovery on another thread deletes no camera that use
  // works with: a camera that a lookup below returns may go with the next discovery.
  template <class Use>
  auto WithCameraLock(Use use) {
    vesk::templates::platform::RecursiveMutexGuard guard(&cameraLock_);
    return use();
  }
  CCameraInterface* GetCamera(unsigned int index);
  // The camera with a link, master or extension, on this physical port.
  CCameraInterface* GetCameraByGrabberPort(unsigned int port);
  CCameraInterface* GetCameraByCameraMaster(unsigned int masterId);
  uint32_t GetNrOfCameras() override;
  uint32_t GetNrOfConnectedCameras() override;
  uint32_t GetNrOfPorts();
  IPortInterface* GetPort(unsigned int index);
  int SwitchDiscoverySelector(uint64_t selector);
  uint64_t GetDiscoverySelector();

  int ReadPacket(unsigned int port, unsigned int address, unsigned char* data, unsigned int length,
                 unsigned int timeoutMs) override;
  int WritePacket(unsigned int port, unsigned int address, unsigned char* data, unsigned int length,
                  unsigned int timeoutMs) override;
  // command 0 off, 1 on, 2 a power cycle.
  int PowerSwitchExt(unsigned int portMask, unsigned int command);

  int GetProperty(char* name, void* value, unsigned int type, void* index);
  int SetProperty(char* name, void* value, unsigned int type, void* index);

  // A later registration of either form replaces the earlier one; null unregisters. Both wait
  // for a running callback.
  int SetEventCallback(MloEventCallback callback, const void* user);
  int SetBoardEventCallback(MloBoardEventCallback callback, void* user);
  // Hands the event to the registered callback under eventLock_, one at a time per board. The
  // callback keeps to the contract of MloBoardEventCallback: it takes no cameraLock_.
  int notifyEvent(MloEventInfo* info);
  // The controller's callback; driver is the CDriver.
  static void CtrlCallbackHandler(unsigned int event, unsigned int ports, void* driver);
  // Calls the older form of callback, which never names a camera.
  static int EventHandlerWrapper(MloBoardHandle* board, const MloEventInfo* info, void* user);

  int StoreLowLevelLinkProfile(char* path);
  // Not finished: checks its arguments and the file, and never changes the board.
  int RestoreLowLevelLinkProfile(char* path);

  void DoAsyncMonitoring() override {}
  vesk::tools::logging::Logger* GetLogger() override;

 private:
  // The library's transports.
  static std::unique_ptr<IControllerInterface> CreateController(EBoardTransport transport,
                                                                Fg_Struct_s* board, bool flag);
  int StartController(Fg_Struct_s* board, bool flag);
  void RefreshLinks(CCameraInterface* camera, IPortInterface* master);

  ControllerFactory createController_;
  vesk::tools::logging::ClassLogger logger_{"vesk.genicam.MLOInterface"};
  vesk::templates::platform::RecursiveMutex eventLock_;
  vesk::templates::platform::RecursiveMutex cameraLock_;
  MloEventCallback eventCallback_ = nullptr;
  MloBoardEventCallback boardEventCallback_ = nullptr;
  void* eventUserData_ = nullptr;
  std::unique_ptr<CDriverMonitoringThread> monitoringThread_;
  std::unique_ptr<IControllerInterface> controller_;
  // One per master port; the ports are the controller's.
  std::map<IPortInterface*, std::unique_ptr<CCameraInterface>> cameras_;
  // Cameras whose port is no master any more, kept while their handles may be in use.
  std::set<std::unique_ptr<CCameraInterface>> removedCameras_;
  // The size of cameras_, set under cameraLock_ and read without it: "NrOfCameras" answers
  // during a discovery, which holds cameraLock_ throughout.
  std::atomic<uint32_t> cameraCount_{0};
};

#endif
