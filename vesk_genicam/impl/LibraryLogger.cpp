#include "vesk_genicam/impl/LibraryLogger.h"

#include <atomic>

#include "tools/logging/Logging.h"

namespace vesk::genicam {

namespace {
std::atomic<tools::logging::Logger*> g_libraryLogger{nullptr};
}  // namespace

tools::logging::Logger* GetLibraryLogger() {
  tools::logging::Logger* logger = g_libraryLogger.load(std::memory_order_acquire);
  if (!logger) {
    logger = tools::logging::Logging::GetLogger("vesk.genicam.lib");
    g_libraryLogger.store(logger, std::memory_order_release);
  }
  return logger;
}

void ResetLibraryLogger() { g_libraryLogger.store(nullptr, std::memory_order_release); }

}  // namespace vesk::genicam
