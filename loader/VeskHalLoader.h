#ifndef VESK_LOADER_VESK_HAL_LOADER_H
#define VESK_LOADER_VESK_HAL_LOADER_H

#include <cstdint>

// The loader of the board library. Each open takes a use and loads the library if needed; the
// close that gives the last use back unloads it. The forwarding stubs of vesk_hal.h load it on
// demand too, so the library works without any open.
void VeskHalOpenLibrary();
void VeskHalCloseLibrary();

namespace Ns_VeskHal {
// Uses currently held, for tests and diagnostics.
uint32_t GetUseCount();
}  // namespace Ns_VeskHal

#endif
