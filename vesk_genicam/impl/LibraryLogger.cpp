#include "vesk_genicam/impl/LibraryLogger.h"

namespace vesk::genicam {

tools::logging::ClassLogger& LibraryLogger() {
  static tools::logging::ClassLogger logger("vesk.genicam.lib");
  return logger;
}

}  // namespace vesk::genicam
