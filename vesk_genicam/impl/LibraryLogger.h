#ifndef VESK_GENICAM_IMPL_LIBRARY_LOGGER_H
#define VESK_GENICAM_IMPL_LIBRARY_LOGGER_H

#include <pthread.h>

#include <cstdint>
#include <string>

#include "tools/logging/Logger.h"

namespace vesk::genicam {

// The logger of the exported functions, "vesk.genicam.lib". Made on demand, so that the
// functions log even when the application never called VeskGenICamInit; two threads may both
// make it, and both get the same logger.
tools::logging::Logger* GetLibraryLogger();
// Forgets the logger; the next GetLibraryLogger asks for it again.
void ResetLibraryLogger();

inline uint64_t CurrentThreadId() { return static_cast<uint64_t>(pthread_self()); }

// One line "thread-id=<id>" + rest() at the level; rest() is called only when the level is on,
// so that a line nobody reads costs no formatting.
template <class Rest>
void WriteThreadLine(tools::logging::Logger* logger, unsigned int level, const Rest& rest) {
  if (!logger->IsEnabled(level)) return;
  const std::string line = "thread-id=" + std::to_string(CurrentThreadId()) + rest();
  logger->Write(level, line.c_str());
}

}  // namespace vesk::genicam

#endif
