#include "loader/VeskHalLoader.h"

#include "loader/Export.h"
#include "loader/LoaderLibrary.h"
#include "loader/vesk_hal.h"

using vesk::loader::Absence;
using vesk::loader::AbsentResult;

// Every forwarded operation: what the stub answers without a library, result, name, parameters
// and the arguments passed on. The compiler checks each against vesk_hal.h.
#define VESK_HAL_FORWARDED(X)                                                                      \
  X(kStatus, int, VHalGetNrOfBoards, (), ())                                                       \
  X(kIndex, int, VHalGetBoardIndex, (PLdevice * d, int r), (d, r))                                 \
  X(kStatus, int, VHalGetBoardInfoInt, (PLdevice * d, const char* k), (d, k))                      \
  X(kStatus, int, VHalRegisterRead, (PLdevice * d, int id, uint64_t* v), (d, id, v))               \
  X(kStatus, int, VHalRegisterWrite, (PLdevice * d, int id, uint64_t v), (d, id, v))               \
  X(kStatus, int, VHalDataQueueClear, (PLdevice * d, int q), (d, q))                               \
  X(kStatus, int, VHalDataQueueFlush, (PLdevice * d, int q), (d, q))                               \
  X(kStatus, int, VHalDataQueueGetNrOfWords, (PLdevice * d, int q), (d, q))                        \
  X(kStatus, int, VHalDataQueueReadBuffer,                                                         \
    (PLdevice * d, int q, unsigned char* b, unsigned int s, unsigned int t), (d, q, b, s, t))      \
  X(kStatus, int, VHalDataQueueWriteBuffer,                                                        \
    (PLdevice * d, int q, const unsigned char* b, unsigned int s, unsigned int t),                 \
    (d, q, b, s, t))                                                                               \
  X(kStatus, int, VHalDataQueueReadBufferLong,                                                     \
    (PLdevice * d, int q, uint32_t* w, unsigned int s, unsigned int t), (d, q, w, s, t))           \
  X(kStatus, int, VHalDataQueueWriteBufferLong,                                                    \
    (PLdevice * d, int q, const uint32_t* w, unsigned int s, unsigned int t), (d, q, w, s, t))     \
  X(kStatus, int, VHalDataQueueAcquireLock, (PLdevice * d, int q), (d, q))                         \
  X(kStatus, int, VHalDataQueueReleaseLock, (PLdevice * d, int q), (d, q))                         \
  X(kStatus, int, VHalGetCameraStatusExtended, (PLdevice * d, unsigned int p), (d, p))             \
  X(kStatus, int, VHalClSerInit, (PLdevice * d, unsigned int p, unsigned int b, int* rx, int* tx), \
    (d, p, b, rx, tx))                                                                             \
  X(kStatus, int, VHalClSerSetBaudrate, (PLdevice * d, unsigned int p, unsigned int b), (d, p, b)) \
  X(kStatus, int, VHalReadConfig,                                                                  \
    (PLdevice * d, unsigned int t, unsigned int a, unsigned int* v, unsigned int c),               \
    (d, t, a, v, c))                                                                               \
  X(kStatus, int, VHalWriteConfig,                                                                 \
    (PLdevice * d, unsigned int t, unsigned int a, const unsigned int* v, unsigned int c),         \
    (d, t, a, v, c))                                                                               \
  X(kStatus, int, VHalRegisterAsyncNotifyCallback,                                                 \
    (PLdevice * d, VHalAsyncNotifyCallback c, void* u), (d, c, u))                                 \
  X(kStatus, int, VHalUnregisterAsyncNotifyCallback,                                               \
    (PLdevice * d, VHalAsyncNotifyCallback c, void* u), (d, c, u))                                 \
  X(kStatus, int, VHalCameraCtrlIsAvailable, (PLdevice * d), (d))                                  \
  X(kStatus, int, VHalCameraCtrlReset, (PLdevice * d), (d))                                        \
  X(kStatus, int, VHalCameraCtrlSetPortMap, (PLdevice * d, uint64_t s), (d, s))                    \
  X(kStatus, int, VHalCameraCtrlSetPortPowerState, (PLdevice * d, unsigned int p, unsigned int v), \
    (d, p, v))                                                                                     \
  X(kStatus, int, VHalCameraCtrlSetPortDataPathState,                                              \
    (PLdevice * d, unsigned int p, unsigned int v), (d, p, v))                                     \
  X(kStatus, int, VHalCameraCtrlSetPortDataPathSpeed,                                              \
    (PLdevice * d, unsigned int p, unsigned int v), (d, p, v))                                     \
  X(kStatus, int, VHalCameraCtrlSetPortCxpStandardVersion,                                         \
    (PLdevice * d, unsigned int p, unsigned int v), (d, p, v))                                     \
  X(kStatus, int, VHalCameraCtrlSetPortCxpLedState,                                                \
    (PLdevice * d, unsigned int p, unsigned int v), (d, p, v))                                     \
  X(kStatus, int, VHalCameraCtrlSetPortCxpNumCameraConnections,                                    \
    (PLdevice * d, unsigned int p, unsigned int v), (d, p, v))                                     \
  X(kStatus, int, VHalCameraCtrlSetPortAcquisitionState,                                           \
    (PLdevice * d, unsigned int p, unsigned int v), (d, p, v))

// Operations that create or end a board also take or give back a use of the library.
#define VESK_HAL_LIFETIME(X)                                             \
  X(kNull, PLdevice*, VHalInitDevice, (int i), (i))                      \
  X(kNull, PLdevice*, VHalInitDeviceEx, (int i, unsigned int f), (i, f)) \
  X(kStatus, int, VHalFreeDevice, (PLdevice * d), (d))

namespace Ns_VeskHal {

struct Traits {
  static constexpr const char* kName = "vesk_hal";
  static constexpr const char* kInit = "VeskHalInit";
  static constexpr const char* kDeinit = "VeskHalDeinit";

  struct Entries {
    VESK_HAL_FORWARDED(VESK_LOADER_ENTRY_SLOT)
    VESK_HAL_LIFETIME(VESK_LOADER_ENTRY_SLOT)
  };

  static Entries Resolve(const vesk::loader::LibraryHandle& library) {
    Entries entries{};
    VESK_HAL_FORWARDED(VESK_LOADER_ENTRY_RESOLVE)
    VESK_HAL_LIFETIME(VESK_LOADER_ENTRY_RESOLVE)
    return entries;
  }
};

using Library = vesk::loader::LoaderLibrary<Traits>;

uint32_t GetUseCount() { return Library::Get().GetUseCount(); }

}  // namespace Ns_VeskHal

void VeskHalOpenLibrary() { Ns_VeskHal::Library::Get().Open(); }
void VeskHalCloseLibrary() { Ns_VeskHal::Library::Get().Close(); }

#define VESK_STUB(absence, result, name, parameters, arguments)                                 \
  extern "C" VESK_EXPORT result name parameters {                                               \
    const Ns_VeskHal::Traits::Entries* entries = Ns_VeskHal::Library::Get().GetEntries();       \
    if (!entries) return AbsentResult<result>(Absence::absence, VHAL_ERROR_LIBRARY_NOT_LOADED); \
    return Ns_VeskHal::Library::Require(entries->name, #name) arguments;                        \
  }
VESK_HAL_FORWARDED(VESK_STUB)
#undef VESK_STUB

// A board keeps the library loaded until it is freed.
extern "C" VESK_EXPORT PLdevice* VHalInitDevice(int boardIndex) {
  return Ns_VeskHal::Library::Get().CreateWithUse([&](const Ns_VeskHal::Traits::Entries& entries) {
    return Ns_VeskHal::Library::Require(entries.VHalInitDevice, "VHalInitDevice")(boardIndex);
  });
}

extern "C" VESK_EXPORT PLdevice* VHalInitDeviceEx(int boardIndex, unsigned int flags) {
  return Ns_VeskHal::Library::Get().CreateWithUse([&](const Ns_VeskHal::Traits::Entries& entries) {
    return Ns_VeskHal::Library::Require(entries.VHalInitDeviceEx, "VHalInitDeviceEx")(boardIndex,
                                                                                      flags);
  });
}

extern "C" VESK_EXPORT int VHalFreeDevice(PLdevice* device) {
  return Ns_VeskHal::Library::Get().ReleaseWithUse(
      [&](const Ns_VeskHal::Traits::Entries& entries) {
        return Ns_VeskHal::Library::Require(entries.VHalFreeDevice, "VHalFreeDevice")(device);
      },
      VHAL_ERROR_LIBRARY_NOT_LOADED);
}
