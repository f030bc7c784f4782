// Exported functions that reach a camera's address space without the node map: through the
// camera's master port, or directly through a physical port of the board.
#include <arpa/inet.h>

#include <string>

#include "vesk_genicam/impl/ApiArguments.h"
#include "vesk_genicam/impl/ApiCall.h"
#include "vesk_genicam/impl/CameraInterface.h"
#include "vesk_genicam/impl/Driver.h"
#include "vesk_genicam/impl/vesk_genicam.h"

using vesk::genicam::ApiCall;

namespace {

constexpr unsigned int kCameraTimeoutMs = 2000;
constexpr unsigned int kDirectTimeoutMs = 200;
constexpr unsigned int kRegisterSize = 4;

struct CameraArguments {
  const MloCameraHandle* camera;
  std::string operator()() const { return vesk::genicam::FormatCamera(camera); }
};
struct BoardPortArguments {
  const MloBoardHandle* board;
  unsigned int port;
  std::string operator()() const { return vesk::genicam::FormatBoardPort(board, port); }
};
using CameraCall = ApiCall<CameraArguments>;
using DirectCall = ApiCall<BoardPortArguments>;

CDriver* Driver(MloBoardHandle* board) { return reinterpret_cast<CDriver*>(board); }

unsigned char* Bytes(void* data) { return static_cast<unsigned char*>(data); }
// The ports take one buffer type for both directions; a write never changes the bytes.
unsigned char* Bytes(const void* data) {
  return static_cast<unsigned char*>(const_cast<void*>(data));
}

// The camera's master port once the link takes commands. A failed check has written its line and
// stored its code, which it returns; port is then null.
int MasterPort(CameraCall& call, MloCameraHandle* camera, IPortInterface*& port) {
  port = nullptr;
  if (!camera) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  auto* target = reinterpret_cast<CCameraInterface*>(camera);
  // MLO_ERR_PACKET_SIZE_REFUSED tells a lost link here, whatever its message says.
  if (!target->IsTransceiverSynchronized())
    return call.Fail(MLO_ERR_PACKET_SIZE_REFUSED, "Tranceiver not sysncronized");
  port = target->GetPortInterface();
  if (!port) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid port handle");
  return 0;
}

// The trace and the checks of the three camera memory reads.
int __impl_Mlo_memoryReadFromCameraWithOrWithoutTimeout(MloCameraHandle* camera, void* buffer,
                                                        uint64_t address, uint64_t length,
                                                        bool useTimeout, unsigned int timeoutMs) {
  CameraCall call(__LINE__, "__impl_Mlo_memoryReadFromCameraWithOrWithoutTimeout", {camera});
  if (length == 0) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid length");
  if (!buffer) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid data");
  IPortInterface* port = nullptr;
  if (const int code = MasterPort(call, camera, port)) return code;
  return call.Return(port->ReadPacket(static_cast<unsigned int>(address), Bytes(buffer),
                                      static_cast<unsigned int>(length),
                                      useTimeout ? timeoutMs : kCameraTimeoutMs));
}

int DirectRead(DirectCall& call, MloBoardHandle* board, unsigned int port, unsigned int address,
               void* buffer, unsigned int* length, unsigned int timeoutMs) {
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  if (!length) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid buffer length");
  if (!buffer) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid data");
  return call.Return(Driver(board)->ReadPacket(port, address, Bytes(buffer), *length, timeoutMs));
}

int DirectWrite(DirectCall& call, MloBoardHandle* board, unsigned int port, unsigned int address,
                const void* buffer, unsigned int length, unsigned int timeoutMs) {
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  if (!buffer) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid data");
  return call.Return(Driver(board)->WritePacket(port, address, Bytes(buffer), length, timeoutMs));
}

}  // namespace

int Mlo_registerReadFromCamera(MloCameraHandle* camera, uint32_t* value, uint64_t address) {
  CameraCall call(__LINE__, "Mlo_registerReadFromCamera", {camera});
  if (!value) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid data");
  IPortInterface* port = nullptr;
  if (const int code = MasterPort(call, camera, port)) return code;
  uint32_t word = 0xFFFFFFFF;
  const int code = port->ReadPacket(static_cast<unsigned int>(address), Bytes(&word), kRegisterSize,
                                    kCameraTimeoutMs);
  if (code == 0) *value = ntohl(word);
  return call.Return(code);
}

int Mlo_registerWriteToCamera(MloCameraHandle* camera, uint32_t value, uint64_t address) {
  CameraCall call(__LINE__, "Mlo_registerWriteToCamera", {camera});
  IPortInterface* port = nullptr;
  if (const int code = MasterPort(call, camera, port)) return code;
  uint32_t word = htonl(value);
  return call.Return(port->WritePacket(static_cast<unsigned int>(address), Bytes(&word),
                                       kRegisterSize, kCameraTimeoutMs));
}

int Mlo_memoryReadFromCamera(MloCameraHandle* camera, void* buffer, uint64_t address,
                             uint64_t length) {
  return __impl_Mlo_memoryReadFromCameraWithOrWithoutTimeout(camera, buffer, address, length, false,
                                                             0);
}

int Mlo_memoryReadFromCameraWithTimeout(MloCameraHandle* camera, void* buffer, uint64_t address,
                                        uint64_t length, unsigned int timeoutMs) {
  return __impl_Mlo_memoryReadFromCameraWithOrWithoutTimeout(camera, buffer, address, length, true,
                                                             timeoutMs);
}

int Mlo_stringReadFromCamera(MloCameraHandle* camera, char* buffer, uint64_t address,
                             unsigned int length) {
  return __impl_Mlo_memoryReadFromCameraWithOrWithoutTimeout(camera, buffer, address, length, false,
                                                             0);
}

int Mlo_memoryWriteToCamera(MloCameraHandle* camera, const void* buffer, uint64_t address,
                            uint64_t length) {
  return Mlo_memoryWriteToCameraWithTimeout(camera, buffer, address, length, kCameraTimeoutMs);
}

int Mlo_memoryWriteToCameraWithTimeout(MloCameraHandle* camera, const void* buffer,
                                       uint64_t address, uint64_t length, unsigned int timeoutMs) {
  CameraCall call(__LINE__, "Mlo_memoryWriteToCameraWithTimeout", {camera});
  if (length == 0) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid length");
  if (!buffer) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid data");
  IPortInterface* port = nullptr;
  if (const int code = MasterPort(call, camera, port)) return code;
  return call.Return(port->WritePacket(static_cast<unsigned int>(address), Bytes(buffer),
                                       static_cast<unsigned int>(length), timeoutMs));
}

// Its code is not one of the table's: callers know MLO_ERR_INVALID_DATA from this function.
int Mlo_DirectRegisterRead(MloBoardHandle* board, unsigned int port, unsigned int address,
                           uint32_t* value) {
  DirectCall call(__LINE__, "Mlo_DirectRegisterRead", {board, port});
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  if (!value) return call.Fail(MLO_ERR_INVALID_DATA, "Invalid camera handle");
  const int code =
      Driver(board)->ReadPacket(port, address, Bytes(value), kRegisterSize, kDirectTimeoutMs);
  if (code == 0) *value = ntohl(*value);
  return call.Return(code);
}

int Mlo_DirectRegisterRead64(MloBoardHandle* board, unsigned int port, unsigned int address,
                             uint32_t* value) {
  return Mlo_DirectRegisterRead(board, port, address, value);
}

// Unlike the read, the swap is the caller's choice.
int Mlo_DirectRegisterWrite(MloBoardHandle* board, unsigned int port, unsigned int address,
                            uint32_t value, unsigned int swap) {
  DirectCall call(__LINE__, "Mlo_DirectRegisterWrite", {board, port});
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  uint32_t word = swap ? htonl(value) : value;
  return call.Return(
      Driver(board)->WritePacket(port, address, Bytes(&word), kRegisterSize, kDirectTimeoutMs));
}

int Mlo_DirectRegisterWrite64(MloBoardHandle* board, unsigned int port, uint64_t address,
                              uint32_t value, unsigned int swap) {
  DirectCall call(__LINE__, "Mlo_DirectRegisterWrite64", {board, port});
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  return call.Return(
      Mlo_DirectRegisterWrite(board, port, static_cast<unsigned int>(address), value, swap));
}

int Mlo_DirectRegisterReadMem(MloBoardHandle* board, unsigned int port, unsigned int address,
                              void* buffer, unsigned int* length) {
  DirectCall call(__LINE__, "Mlo_DirectRegisterReadMem", {board, port});
  return DirectRead(call, board, port, address, buffer, length, kDirectTimeoutMs);
}

int Mlo_DirectRegisterReadMem64(MloBoardHandle* board, unsigned int port, uint64_t address,
                                void* buffer, unsigned int* length) {
  DirectCall call(__LINE__, "Mlo_DirectRegisterReadMem64", {board, port});
  return DirectRead(call, board, port, static_cast<unsigned int>(address), buffer, length,
                    kDirectTimeoutMs);
}

int Mlo_DirectRegisterWriteMem(MloBoardHandle* board, unsigned int port, unsigned int address,
                               const void* buffer, unsigned int length) {
  DirectCall call(__LINE__, "Mlo_DirectRegisterWriteMem", {board, port});
  return DirectWrite(call, board, port, address, buffer, length, kDirectTimeoutMs);
}

int Mlo_DirectRegisterWriteMem64(MloBoardHandle* board, unsigned int port, uint64_t address,
                                 const void* buffer, unsigned int length) {
  DirectCall call(__LINE__, "Mlo_DirectRegisterWriteMem64", {board, port});
  return DirectWrite(call, board, port, static_cast<unsigned int>(address), buffer, length,
                     kDirectTimeoutMs);
}

int Mlo_DirectRegisterReadMemWithTimeOut(MloBoardHandle* board, unsigned int port,
                                         unsigned int address, void* buffer, unsigned int* length,
                                         unsigned int timeoutMs) {
  DirectCall call(__LINE__, "Mlo_DirectRegisterReadMemWithTimeOut", {board, port});
  return DirectRead(call, board, port, address, buffer, length, timeoutMs);
}

int Mlo_DirectRegisterReadMemWithTimeOut64(MloBoardHandle* board, unsigned int port,
                                           uint64_t address, void* buffer, unsigned int* length,
                                           unsigned int timeoutMs) {
  DirectCall call(__LINE__, "Mlo_DirectRegisterReadMemWithTimeOut64", {board, port});
  return DirectRead(call, board, port, static_cast<unsigned int>(address), buffer, length,
                    timeoutMs);
}

int Mlo_DirectRegisterWriteMemWithTimeOut(MloBoardHandle* board, unsigned int port,
                                          unsigned int address, const void* buffer,
                                          unsigned int length, unsigned int timeoutMs) {
  DirectCall call(__LINE__, "Mlo_DirectRegisterWriteMemWithTimeOut", {board, port});
  return DirectWrite(call, board, port, address, buffer, length, timeoutMs);
}

int Mlo_DirectRegisterWriteMemWithTimeOut64(MloBoardHandle* board, unsigned int port,
                                            uint64_t address, const void* buffer,
                                            unsigned int length, unsigned int timeoutMs) {
  DirectCall call(__LINE__, "Mlo_DirectRegisterWriteMemWithTimeOut64", {board, port});
  return DirectWrite(call, board, port, static_cast<unsigned int>(address), buffer, length,
                     timeoutMs);
}
