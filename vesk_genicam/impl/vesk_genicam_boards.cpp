// Exported functions from a board of the board library to a connected camera and back. The
// handles are the CDriver and CCameraInterface objects themselves.
#include <string>

#include "vesk_genicam/impl/ApiArguments.h"
#include "vesk_genicam/impl/ApiBoundary.h"
#include "vesk_genicam/impl/ApiCall.h"
#include "vesk_genicam/impl/CameraInterface.h"
#include "vesk_genicam/impl/Driver.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam.h"

using vesk::genicam::ApiCall;
using vesk::genicam::CatchAtBoundary;
using vesk::genicam::FormatBoard;
using vesk::genicam::FormatBoardIndex;
using vesk::genicam::FormatBoardLibraryHandle;
using vesk::genicam::FormatBoardPort;
using vesk::genicam::FormatCamera;
using vesk::genicam::FormatPortMaskBoard;

namespace {

constexpr unsigned int kAllPorts = 65535;
constexpr unsigned int kPowerCycle = 2;

CDriver* Driver(MloBoardHandle* board) { return reinterpret_cast<CDriver*>(board); }
CCameraInterface* Camera(MloCameraHandle* camera) {
  return reinterpret_cast<CCameraInterface*>(camera);
}
MloCameraHandle* Handle(CCameraInterface* camera) {
  return reinterpret_cast<MloCameraHandle*>(camera);
}

// The result of Mlo_isCameraAvailable and Mlo_isCameraAvailableAtIndex: every failure is 0. The
// camera is asked under the lock it was found under, since a scan may delete it once that goes.
template <class Call, class Lookup>
int CameraAvailable(Call& call, MloBoardHandle* board, Lookup lookup) {
  if (!board) return call.Fail(0, "Invalid board handle");
  CDriver* driver = Driver(board);
  const int connected = driver->WithCameraLock([&] {
    CCameraInterface* camera = lookup(driver);
    return camera ? static_cast<int>(camera->IsConnected()) : -1;
  });
  if (connected < 0) return call.Fail(0, "Invalid camera handle");
  return call.Return(connected);
}

// A node map is built only over a link that the scan made.
template <class Call, class Action>
int ConnectLinked(Call& call, MloCameraHandle* camera, Action connect) {
  CCameraInterface* target = Camera(camera);
  target->SwitchToInternalGenICam(true);
  if (!target->IsConnected()) return call.Return(MLO_ERR_NO_PHYSICAL_CONNECTION);
  return call.Return(connect(target));
}

}  // namespace

int Mlo_initBoardEx(Fg_Struct_s* board, unsigned int flags, MloBoardHandle** handle,
                    unsigned int portMask) {
  ApiCall call(__LINE__, "Mlo_initBoardEx",
               [=] { return FormatBoardLibraryHandle(board, portMask); });
  if (!board) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid FG handle");
  if (!handle) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid board handle pointer");
  CDriver* driver = nullptr;
  try {
    driver = new CDriver();
  } catch (...) {
    *handle = nullptr;
    return call.Fail(MLO_ERR_OUT_OF_MEMORY, "Not enough memory to allocate board handle");
  }
  if (const int code = driver->Init(board, flags & 1)) {
    delete driver;
    *handle = nullptr;
    return call.Return(code);
  }
  *handle = reinterpret_cast<MloBoardHandle*>(driver);
  call.AppendHandle("P14MloBoardHandle", *handle);
  return call.Return(0);
}

int Mlo_initBoard(Fg_Struct_s* board, unsigned int flags, MloBoardHandle** handle) {
  return Mlo_initBoardEx(board, flags, handle, kAllPorts);
}

void Mlo_freeBoard(MloBoardHandle* board) {
  ApiCall call(__LINE__, "Mlo_freeBoard", [=] { return FormatBoard(board); });
  if (!board) {
    call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
    return;
  }
  delete Driver(board);
}

int Mlo_powerSwitch(MloBoardHandle* board, unsigned int portMask) {
  ApiCall call(__LINE__, "Mlo_powerSwitch", [=] { return FormatPortMaskBoard(portMask, board); });
  if (portMask == 0) return call.Fail(MLO_ERR_INVALID_PORT, "Invalid Port Mask ");
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  return call.Return(Driver(board)->PowerSwitchExt(portMask, kPowerCycle));
}

int Mlo_powerSwitchExt(MloBoardHandle* board, unsigned int portMask, unsigned int command) {
  ApiCall call(
      __LINE__, "Mlo_powerSwitchExt", [=] { return FormatPortMaskBoard(portMask, board); },
      [=] { return "Command: " + std::to_string(command); });
  if (portMask == 0) return call.Fail(MLO_ERR_INVALID_PORT, "Invalid Port Mask ");
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  return call.Return(Driver(board)->PowerSwitchExt(portMask, command));
}

int Mlo_scanPortsEx(MloBoardHandle* board, unsigned int portMask, unsigned int timeoutMs,
                    unsigned int speed, unsigned int flags) {
  ApiCall call(
      __LINE__, "Mlo_scanPortsEx", [=] { return FormatPortMaskBoard(portMask, board); },
      [=] { return "Speed: " + std::to_string(speed) + "; Flags: " + std::to_string(flags); });
  if (portMask == 0) return call.Fail(MLO_ERR_INVALID_PORT, "Invalid Port Mask ");
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  // A camera object that cannot be made ends the discovery with an exception.
  return call.Return(
      CatchAtBoundary([&](const std::string& message) { call.Fail(MLO_ERR_EXCEPTION, message); },
                      [] { return "scanning ports"; },
                      [=] { return Driver(board)->Discovery(portMask, speed, timeoutMs, flags); }));
}

int Mlo_scanPorts(MloBoardHandle* board, unsigned int portMask, unsigned int timeoutMs,
                  unsigned int speed) {
  ApiCall call(
      __LINE__, "Mlo_scanPorts", [=] { return FormatPortMaskBoard(portMask, board); },
      [=] { return "Speed: " + std::to_string(speed); });
  return call.Return(Mlo_scanPortsEx(board, portMask, timeoutMs, speed, 0));
}

int Mlo_isCameraAvailable(MloBoardHandle* board, unsigned int port) {
  ApiCall call(__LINE__, "Mlo_isCameraAvailable", [=] { return FormatBoardPort(board, port); });
  return CameraAvailable(call, board,
                         [=](CDriver* driver) { return driver->GetCameraByGrabberPort(port); });
}

int Mlo_isCameraAvailableAtIndex(MloBoardHandle* board, unsigned int index) {
  ApiCall call(__LINE__, "Mlo_isCameraAvailableAtIndex",
               [=] { return FormatBoardIndex(board, index); });
  return CameraAvailable(call, board, [=](CDriver* driver) { return driver->GetCamera(index); });
}

int Mlo_getCameraCount(MloBoardHandle* board) {
  ApiCall call(__LINE__, "Mlo_getCameraCount", [=] { return FormatBoard(board); });
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  return call.Return(static_cast<int>(Driver(board)->GetNrOfCameras()));
}

int Mlo_getCamera(MloBoardHandle* board, unsigned int port, MloCameraHandle** camera) {
  ApiCall call(__LINE__, "Mlo_getCamera", [=] { return FormatBoardPort(board, port); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid camera handle pointer");
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  *camera = Handle(Driver(board)->GetCameraByGrabberPort(port));
  call.AppendHandle("P15MloCameraHandle", *camera);
  return call.Return(0);
}

// camera is not checked: a caller that asks for a camera brings the place for it.
int Mlo_getCameraByIndex(MloBoardHandle* board, unsigned int index, MloCameraHandle** camera) {
  ApiCall call(__LINE__, "Mlo_getCameraByIndex", [=] { return FormatBoardIndex(board, index); });
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  CCameraInterface* found = Driver(board)->GetCamera(index);
  if (!found) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid camera handle");
  *camera = Handle(found);
  call.AppendHandle("P15MloCameraHandle", *camera);
  return call.Return(0);
}

MloCameraInfo* Mlo_getCameraInfo(MloCameraHandle* camera) {
  ApiCall call(__LINE__, "Mlo_getCameraInfo", [=] { return FormatCamera(camera); });
  if (!camera) {
    call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
    return nullptr;
  }
  MloCameraInfo* info = Camera(camera)->GetCameraInfo();
  call.AppendHandle("P13MloCameraInfo", info);
  return info;
}

// Applications know MLO_ERR_NOT_IMPLEMENTED from this function as its normal end; the trace shows
// 0.
int Mlo_updateCameraInfos(MloCameraHandle* camera) {
  ApiCall call(__LINE__, "Mlo_updateCameraInfos", [=] { return FormatCamera(camera); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid boardHandle");
  Camera(camera)->UpdateCameraInfo();
  call.Return(0);
  return MLO_ERR_NOT_IMPLEMENTED;
}

int Mlo_loadCameraXml(MloCameraHandle* camera) {
  ApiCall call(__LINE__, "Mlo_loadCameraXml", [=] { return FormatCamera(camera); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  if (!Camera(camera)->IsConnected()) return call.Return(MLO_ERR_NO_PHYSICAL_CONNECTION);
  return call.Return(Camera(camera)->LoadXml());
}

int Mlo_connectCamera(MloCameraHandle* camera) {
  ApiCall call(__LINE__, "Mlo_connectCamera", [=] { return FormatCamera(camera); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  return ConnectLinked(call, camera,
                       [](CCameraInterface* target) { return target->ConnectCamera(); });
}

int Mlo_connectCameraWithExternalXml(MloCameraHandle* camera, char* path) {
  ApiCall call(
      __LINE__, "Mlo_connectCameraWithExternalXml", [=] { return FormatCamera(camera); },
      [=] { return "File: " + std::string(path ? path : ""); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  if (!path) return call.Fail(MLO_ERR_INVALID_FILENAME, "Invalid file name");
  if (!CUtility::FileExists(path)) return call.Fail(MLO_ERR_FILE_NOT_FOUND, "File not found");
  return ConnectLinked(call, camera,
                       [=](CCameraInterface* target) { return target->ConnectCamera(path); });
}

int Mlo_disconnectCamera(MloCameraHandle* camera) {
  ApiCall call(__LINE__, "Mlo_disconnectCamera", [=] { return FormatCamera(camera); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  CCameraInterface* target = Camera(camera);
  target->SetGenicamConnected(false);
  target->LinkDisconnect();
  target->SwitchToInternalGenICam(false);
  return call.Return(0);
}

// The scan made the link; this only tells whether it is there.
int Mlo_LinkConnect(MloBoardHandle*, MloCameraHandle* camera) {
  ApiCall call(__LINE__, "Mlo_LinkConnect", [=] { return FormatCamera(camera); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid boardHandle");
  return call.Return(Camera(camera)->IsConnected() ? 0 : MLO_ERR_NO_INTERFACE);
}

int Mlo_CxpConnect(MloBoardHandle* board, MloCameraHandle* camera) {
  ApiCall call(__LINE__, "Mlo_CxpConnect", [=] { return FormatCamera(camera); });
  return call.Return(Mlo_LinkConnect(board, camera));
}

int Mlo_LinkDisconnect(MloCameraHandle* camera) {
  ApiCall call(__LINE__, "Mlo_LinkDisconnect", [=] { return FormatCamera(camera); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid boardHandle");
  Camera(camera)->LinkDisconnect();
  return call.Return(0);
}

int Mlo_CxpDisconnect(MloCameraHandle* camera) {
  ApiCall call(__LINE__, "Mlo_CxpDisconnect", [=] { return FormatCamera(camera); });
  return call.Return(Mlo_LinkDisconnect(camera));
}

int Mlo_getGenICamXML(MloCameraHandle* camera, char* buffer, size_t* size) {
  ApiCall call(
      __LINE__, "Mlo_getGenICamXML", [=] { return FormatCamera(camera); },
      [] { return std::string("Xml: "); });
  if (!size) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid value pointer");
  if (!camera) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  return call.Return(Camera(camera)->GetXml(buffer, size));
}

int Mlo_setGenICamXML(MloCameraHandle* camera, const char* xml, size_t size) {
  ApiCall call(
      __LINE__, "Mlo_setGenICamXML", [=] { return FormatCamera(camera); },
      [] { return std::string("Xml: "); });
  if (!xml) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid value pointer");
  if (!camera) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  return call.Return(Camera(camera)->SetXml(xml, size));
}

int Mlo_clearStringCache(MloCameraHandle* camera) {
  ApiCall call(__LINE__, "Mlo_clearStringCache", [=] { return FormatCamera(camera); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  return call.Return(
      CatchAtBoundary([&](const std::string& message) { call.Fail(MLO_ERR_EXCEPTION, message); },
                      [] { return "clearing string cache"; },
                      [=] {
                        Camera(camera)->ClearStringCache();
                        return 0;
                      }));
}

int Mlo_getCameraByIp(MloBoardHandle*, int, unsigned int, MloCameraHandle**) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

int Mlo_getCameraByMac(MloBoardHandle*, int, unsigned char*, MloCameraHandle**) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

int Mlo_getCameraByUserName(MloBoardHandle*, int, char*, MloCameraHandle**) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

int Mlo_getFirstCamera(MloBoardHandle*, int, MloCameraHandle**) { return MLO_ERR_NOT_IMPLEMENTED; }

int Mlo_scanNetwork(MloBoardHandle*, int, int) { return MLO_ERR_NOT_IMPLEMENTED; }

int Mlo_switchCameraConnection(MloCameraHandle*, MloBoardHandle*, int) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

int Mlo_invalidateCache(MloCameraHandle*) { return MLO_ERR_NOT_IMPLEMENTED; }

int Mlo_lockTLParams(MloCameraHandle*) { return MLO_ERR_NOT_IMPLEMENTED; }

int Mlo_unlockTLParams(MloCameraHandle*) { return MLO_ERR_NOT_IMPLEMENTED; }

int Mlo_enableChecks(MloCameraHandle*, unsigned int) { return MLO_ERR_NOT_IMPLEMENTED; }

int Mlo_connectCameraSocket(MloCameraHandle*, unsigned int, unsigned int*) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

int Mlo_disconnectCameraSocket(MloCameraHandle*, unsigned int) { return MLO_ERR_NOT_IMPLEMENTED; }

int Mlo_sendCameraSocket(MloCameraHandle*, unsigned int, const void*, unsigned long) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

int Mlo_recvCameraSocket(MloCameraHandle*, unsigned int, void*, unsigned long*, unsigned int) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

int Mlo_callInternalFunction(MloBoardHandle*, int, void*) { return -1; }

void Mlo_freeCamera(MloCameraHandle*) {}
