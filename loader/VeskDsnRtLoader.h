#ifndef VESK_LOADER_VESK_DSN_RT_LOADER_H
#define VESK_LOADER_VESK_DSN_RT_LOADER_H

#include <cstdint>

// The loader of the design library; the same rules as the board library's loader.
void VeskDsnRtOpenLibrary();
void VeskDsnRtCloseLibrary();

namespace Ns_VeskDsnRt {
// Uses currently held, for tests and diagnostics.
uint32_t GetUseCount();
}  // namespace Ns_VeskDsnRt

#endif
