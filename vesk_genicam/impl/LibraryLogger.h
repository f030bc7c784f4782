#ifndef VESK_GENICAM_IMPL_LIBRARY_LOGGER_H
#define VESK_GENICAM_IMPL_LIBRARY_LOGGER_H

#include "tools/logging/Logger.h"

namespace vesk::genicam {

// The logger of the exported functions, "vesk.genicam.lib". Made on demand, so that the
// functions log even when the application never called VeskGenICamInit; two threads may both
// make it, and both get the same logger.
tools::logging::Logger* GetLibraryLogger();
// Forgets the logger; the next GetLibraryLogger asks for it again.
void ResetLibraryLogger();

}  // namespace vesk::genicam

#endif
