// The named properties of boards and cameras, and the board's event callback.
#include <string>

#include "vesk_genicam/impl/ApiArguments.h"
#include "vesk_genicam/impl/ApiCall.h"
#include "vesk_genicam/impl/Driver.h"
#include "vesk_genicam/impl/vesk_genicam.h"

using vesk::genicam::ApiCall;
using vesk::genicam::FormatBoard;
using vesk::genicam::FormatCamera;

namespace {

// A null name still gets its note; its check comes after the entry.
auto PropertyNote(const char* name) {
  return [name] { return std::string("Property: ") + (name ? name : ""); };
}

CDriver* Driver(MloBoardHandle* board) { return reinterpret_cast<CDriver*>(board); }
CCameraInterface* Camera(MloCameraHandle* camera) {
  return reinterpret_cast<CCameraInterface*>(camera);
}

}  // namespace

int Mlo_getBoardPropertyWithType(MloBoardHandle* board, char* name, void* value, unsigned int type,
                                 void* index) {
  ApiCall call(
      __LINE__, "Mlo_getBoardPropertyWithType", [=] { return FormatBoard(board); },
      PropertyNote(name));
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid boardHandle");
  if (!name) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid propertyName");
  if (!value) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid value");
  return call.Return(Driver(board)->GetProperty(name, value, type, index));
}

int Mlo_setBoardPropertyWithType(MloBoardHandle* board, char* name, void* value, unsigned int type,
                                 void* index) {
  ApiCall call(
      __LINE__, "Mlo_setBoardPropertyWithType", [=] { return FormatBoard(board); },
      PropertyNote(name));
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid boardHandle");
  if (!name) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid propertyName");
  if (!value) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid propertyValuePtr");
  return call.Return(Driver(board)->SetProperty(name, value, type, index));
}

// The camera functions name the handle "boardHandle" in their lines, as the board's do.
int Mlo_setCameraPropertyWithType(MloCameraHandle* camera, char* name, void* value,
                                  unsigned int type, void* index) {
  ApiCall call(
      __LINE__, "Mlo_setCameraPropertyWithType", [=] { return FormatCamera(camera); },
      PropertyNote(name));
  if (!camera) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid boardHandle");
  if (!name) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid propertyName");
  if (!value) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid propertyValuePtr");
  return call.Return(Camera(camera)->SetProperty(name, value, type, index));
}

// value stays unchecked: a string is asked with a null buffer for its length.
int Mlo_getCameraPropertyWithType(MloCameraHandle* camera, char* name, void* value,
                                  unsigned int* type, void* index) {
  ApiCall call(
      __LINE__, "Mlo_getCameraPropertyWithType", [=] { return FormatCamera(camera); },
      PropertyNote(name));
  if (!camera) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid boardHandle");
  if (!name) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid propertyName");
  return call.Return(Camera(camera)->GetProperty(name, value, *type, index));
}

int Mlo_RegisterEventCallback(MloBoardHandle* board, MloEventCallback callback, const void* user) {
  ApiCall call(__LINE__, "Mlo_RegisterEventCallback", [=] { return FormatBoard(board); });
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  return call.Return(Driver(board)->SetEventCallback(callback, user));
}

int Mlo_registerBoardEventCallback(MloBoardHandle* board, MloBoardEventCallback callback,
                                   void* user) {
  ApiCall call(__LINE__, "Mlo_registerBoardEventCallback", [=] { return FormatBoard(board); });
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  return call.Return(Driver(board)->SetBoardEventCallback(callback, user));
}

int Mlo_registerCameraEventCallback(MloCameraHandle*, MloCameraEventCallback, void*) {
  return MLO_ERR_NOT_IMPLEMENTED;
}
