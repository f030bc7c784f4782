// The board library: vesk_hal.h over the simulator. Handles are checked against the registry of
// open handles before use, so a stale or foreign pointer is an error, not a crash.
#include "loader/vesk_hal.h"
#include "sim/core/Export.h"
#include "sim/core/Simulator.h"
#include "sim/include/vesk_sim.h"

using vesk::sim::Board;
using vesk::sim::CameraControl;
using vesk::sim::PortControl;
using vesk::sim::QueueUnit;
using vesk::sim::Simulator;

namespace {

template <class Action>
int WithBoard(PLdevice* device, Action action) {
  std::shared_ptr<Board> board = Simulator::Get().Handles().BoardOf(device);
  return board ? action(*board) : VSIM_ERROR_INVALID_HANDLE;
}

template <class Action>
int WithQueue(PLdevice* device, int queue, Action action) {
  return WithBoard(device, [&](Board& board) {
    vesk::sim::DataQueue* found = board.Queue(queue);
    return found ? action(*found) : VSIM_ERROR_NO_SUCH_QUEUE;
  });
}

// A queue that another handle has claimed serves only its claimant.
bool ClaimedByOther(Board& board, int queue, PLdevice* device) {
  vesk::sim::DataQueue* found = board.Queue(queue);
  return found && found->ClaimedByOther(device);
}

template <class Action>
int WithOwnQueue(PLdevice* device, int queue, Action action) {
  return WithBoard(device, [&](Board& board) {
    if (ClaimedByOther(board, queue, device)) return VSIM_ERROR_QUEUE_LOCKED;
    vesk::sim::DataQueue* found = board.Queue(queue);
    return found ? action(*found) : VSIM_ERROR_NO_SUCH_QUEUE;
  });
}

// The library asks the camera controller with the design handle as well as the board handle.
template <class Action>
int WithController(PLdevice* handle, Action action) {
  std::shared_ptr<Board> board = Simulator::Get().Handles().BoardOfEither(handle);
  if (!board) return VSIM_ERROR_INVALID_HANDLE;
  CameraControl* controller = board->Controller();
  return controller ? action(*controller) : VSIM_ERROR_NOT_SUPPORTED;
}

int SetPort(PLdevice* device, PortControl item, unsigned int port, unsigned int value) {
  return WithController(
      device, [&](CameraControl& controller) { return controller.Set(item, port, value); });
}

int ReadQueue(PLdevice* device, int queue, QueueUnit unit, void* units, unsigned int size,
              unsigned int timeoutMs) {
  return WithBoard(device, [&](Board& board) {
    if (ClaimedByOther(board, queue, device)) return VSIM_ERROR_QUEUE_LOCKED;
    return board.ReadQueue(queue, unit, static_cast<uint8_t*>(units), size, timeoutMs);
  });
}

int WriteQueue(PLdevice* device, int queue, QueueUnit unit, const void* units, unsigned int size,
               unsigned int timeoutMs) {
  return WithBoard(device, [&](Board& board) {
    if (ClaimedByOther(board, queue, device)) return VSIM_ERROR_QUEUE_LOCKED;
    return board.WriteQueue(queue, unit, static_cast<const uint8_t*>(units), size, timeoutMs);
  });
}

}  // namespace

// Loads the rig, so that a broken one is reported when the library starts.
VSIM_EXPORT int VeskHalInit(void) { return Simulator::Get().BoardCount() < 0 ? VSIM_ERROR_RIG : 0; }

// The rig and the handles live as long as the library: the control API may still be using them.
VSIM_EXPORT void VeskHalDeinit(void) {}

VSIM_EXPORT int VHalGetNrOfBoards(void) { return Simulator::Get().BoardCount(); }

VSIM_EXPORT PLdevice* VHalInitDevice(int boardIndex) {
  return Simulator::Get().OpenDevice(boardIndex);
}

VSIM_EXPORT PLdevice* VHalInitDeviceEx(int boardIndex, unsigned int) {
  return Simulator::Get().OpenDevice(boardIndex);
}

VSIM_EXPORT int VHalFreeDevice(PLdevice* device) {
  return Simulator::Get().Handles().CloseDevice(device);
}

VSIM_EXPORT int VHalGetBoardIndex(PLdevice* device, int reserved) {
  if (reserved != 0) return VSIM_ERROR_INVALID_ARGUMENT;
  return WithBoard(device, [](Board& board) { return board.Index(); });
}

VSIM_EXPORT int VHalGetBoardInfoInt(PLdevice* device, const char* key) {
  return WithBoard(device, [&](Board& board) { return board.InfoInt(key); });
}

VSIM_EXPORT int VHalRegisterRead(PLdevice* device, int registerId, uint64_t* value) {
  if (!value) return VSIM_ERROR_INVALID_ARGUMENT;
  return WithBoard(device, [&](Board& board) { return board.ReadRegister(registerId, *value); });
}

VSIM_EXPORT int VHalRegisterWrite(PLdevice* device, int registerId, uint64_t value) {
  return WithBoard(device, [&](Board& board) { return board.WriteRegister(registerId, value); });
}

VSIM_EXPORT int VHalDataQueueClear(PLdevice* device, int queue) {
  return WithOwnQueue(device, queue, [](vesk::sim::DataQueue& found) {
    found.Clear();
    return 0;
  });
}

// Writes reach the firmware as they come, so there is nothing left to push.
VSIM_EXPORT int VHalDataQueueFlush(PLdevice* device, int queue) {
  return WithOwnQueue(device, queue, [](vesk::sim::DataQueue&) { return 0; });
}

VSIM_EXPORT int VHalDataQueueGetNrOfWords(PLdevice* device, int queue) {
  return WithOwnQueue(device, queue, [](vesk::sim::DataQueue& found) { return found.Waiting(); });
}

VSIM_EXPORT int VHalDataQueueReadBuffer(PLdevice* device, int queue, unsigned char* bytes,
                                        unsigned int size, unsigned int timeoutMs) {
  return ReadQueue(device, queue, QueueUnit::Byte, bytes, size, timeoutMs);
}

VSIM_EXPORT int VHalDataQueueWriteBuffer(PLdevice* device, int queue, const unsigned char* bytes,
                                         unsigned int size, unsigned int timeoutMs) {
  return WriteQueue(device, queue, QueueUnit::Byte, bytes, size, timeoutMs);
}

VSIM_EXPORT int VHalDataQueueReadBufferLong(PLdevice* device, int queue, uint32_t* words,
                                            unsigned int size, unsigned int timeoutMs) {
  return ReadQueue(device, queue, QueueUnit::Word, words, size, timeoutMs);
}

VSIM_EXPORT int VHalDataQueueWriteBufferLong(PLdevice* device, int queue, const uint32_t* words,
                                             unsigned int size, unsigned int timeoutMs) {
  return WriteQueue(device, queue, QueueUnit::Word, words, size, timeoutMs);
}

// The handle is the owner: a lock is the claim of one open board handle.
VSIM_EXPORT int VHalDataQueueAcquireLock(PLdevice* device, int queue) {
  return WithQueue(device, queue,
                   [&](vesk::sim::DataQueue& found) { return found.AcquireLock(device); });
}

VSIM_EXPORT int VHalDataQueueReleaseLock(PLdevice* device, int queue) {
  return WithQueue(device, queue,
                   [&](vesk::sim::DataQueue& found) { return found.ReleaseLock(device); });
}

VSIM_EXPORT int VHalGetCameraStatusExtended(PLdevice* device, unsigned int port) {
  return WithBoard(device, [&](Board& board) { return board.CameraStatus(port); });
}

VSIM_EXPORT int VHalClSerInit(PLdevice* device, unsigned int port, unsigned int baud, int* rxQueue,
                              int* txQueue) {
  if (!rxQueue || !txQueue) return VSIM_ERROR_INVALID_ARGUMENT;
  return WithBoard(device,
                   [&](Board& board) { return board.OpenSerial(port, baud, *rxQueue, *txQueue); });
}

VSIM_EXPORT int VHalClSerSetBaudrate(PLdevice* device, unsigned int port, unsigned int baud) {
  return WithBoard(device, [&](Board& board) { return board.SetSerialBaud(port, baud); });
}

VSIM_EXPORT int VHalReadConfig(PLdevice* device, unsigned int tag, unsigned int address,
                               unsigned int* values, unsigned int count) {
  return WithBoard(device,
                   [&](Board& board) { return board.Config().Read(tag, address, values, count); });
}

VSIM_EXPORT int VHalWriteConfig(PLdevice* device, unsigned int tag, unsigned int address,
                                const unsigned int* values, unsigned int count) {
  return WithBoard(device,
                   [&](Board& board) { return board.Config().Write(tag, address, values, count); });
}

VSIM_EXPORT int VHalRegisterAsyncNotifyCallback(PLdevice* device, VHalAsyncNotifyCallback callback,
                                                void* userData) {
  return Simulator::Get().Handles().AddCallback(device, callback, userData);
}

VSIM_EXPORT int VHalUnregisterAsyncNotifyCallback(PLdevice* device,
                                                  VHalAsyncNotifyCallback callback,
                                                  void* userData) {
  return Simulator::Get().Handles().RemoveCallback(device, callback, userData);
}

VSIM_EXPORT int VHalCameraCtrlIsAvailable(PLdevice* device) {
  return WithController(device, [](CameraControl&) { return 0; });
}

VSIM_EXPORT int VHalCameraCtrlReset(PLdevice* device) {
  return WithController(device, [](CameraControl& controller) {
    controller.Reset();
    return 0;
  });
}

VSIM_EXPORT int VHalCameraCtrlSetPortMap(PLdevice* device, uint64_t selector) {
  return WithController(device, [&](CameraControl& controller) {
    controller.SetPortMap(selector);
    return 0;
  });
}

VSIM_EXPORT int VHalCameraCtrlSetPortPowerState(PLdevice* device, unsigned int port,
                                                unsigned int state) {
  return SetPort(device, PortControl::Power, port, state);
}

VSIM_EXPORT int VHalCameraCtrlSetPortDataPathState(PLdevice* device, unsigned int port,
                                                   unsigned int state) {
  return SetPort(device, PortControl::DataPathState, port, state);
}

VSIM_EXPORT int VHalCameraCtrlSetPortDataPathSpeed(PLdevice* device, unsigned int port,
                                                   unsigned int speed) {
  return SetPort(device, PortControl::DataPathSpeed, port, speed);
}

VSIM_EXPORT int VHalCameraCtrlSetPortCxpStandardVersion(PLdevice* device, unsigned int port,
                                                        unsigned int version) {
  return SetPort(device, PortControl::StandardVersion, port, version);
}

VSIM_EXPORT int VHalCameraCtrlSetPortCxpLedState(PLdevice* device, unsigned int port,
                                                 unsigned int state) {
  return SetPort(device, PortControl::LedState, port, state);
}

VSIM_EXPORT int VHalCameraCtrlSetPortCxpNumCameraConnections(PLdevice* device, unsigned int port,
                                                             unsigned int count) {
  return SetPort(device, PortControl::CameraConnections, port, count);
}

VSIM_EXPORT int VHalCameraCtrlSetPortAcquisitionState(PLdevice* device, unsigned int port,
                                                      unsigned int state) {
  return SetPort(device, PortControl::AcquisitionState, port, state);
}
