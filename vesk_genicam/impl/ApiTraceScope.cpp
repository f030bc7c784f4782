#include "vesk_genicam/impl/ApiTraceScope.h"

#include <utility>

namespace vesk::genicam {

ApiTraceScope::ApiTraceScope(tools::logging::Logger* logger, ArgumentFormatter formatter,
                             std::string prefix, const char* functionName,
                             const std::string& entryNote)
    : logger_(logger),
      formatter_(std::move(formatter)),
      prefix_(std::move(prefix)),
      functionName_(functionName) {
  std::string line = prefix_ + formatter_() + "|Entering " + functionName_;
  if (!entryNote.empty()) line += "; " + entryNote;
  logger_->Write(1, line.c_str());
}

void ApiTraceScope::Finish(int result) noexcept {
  prefix_ += ",return=" + std::to_string(result);
  const std::string line = prefix_ + formatter_() + "|Leaving " + functionName_;
  logger_->Write(1, line.c_str());
}

}  // namespace vesk::genicam
