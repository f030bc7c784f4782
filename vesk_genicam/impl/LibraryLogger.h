#ifndef VESK_GENICAM_IMPL_LIBRARY_LOGGER_H
#define VESK_GENICAM_IMPL_LIBRARY_LOGGER_H

#include "tools/logging/ClassLogger.h"

namespace vesk::genicam {

// The logger of the exported functions, "vesk.genicam.lib". Made on demand, so that the
// functions log even when the application never called VeskGenICamInit; VeskGenICamDeinit
// resets it.
tools::logging::ClassLogger& LibraryLogger();

}  // namespace vesk::genicam

#endif
