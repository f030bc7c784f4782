#include "Failure.h"

#include <vesk_genicam/vesk_genicam.h>

namespace vesk::tool {

void UsageError(const std::string& message) { throw Failure(kUsageStatus, message); }

int Check(int code, const std::string& call) {
  if (code < 0)
    throw Failure(kCallStatus,
                  call + ": " + std::to_string(code) + " " + Mlo_getErrorDescription(code));
  return code;
}

void CallFailed(const std::string& call, const std::string& reason) {
  throw Failure(kCallStatus, call + ": " + reason);
}

}  // namespace vesk::tool
