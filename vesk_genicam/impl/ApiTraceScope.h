#ifndef VESK_GENICAM_IMPL_API_TRACE_SCOPE_H
#define VESK_GENICAM_IMPL_API_TRACE_SCOPE_H

#include <functional>
#include <string>

#include "tools/logging/Logger.h"

namespace vesk::genicam {

// The trace of one exported call at level 1: the entry line when made, the exit line with the
// result at Finish. It exists only while level 1 is enabled; the calling thread owns it.
class ApiTraceScope {
 public:
  using ArgumentFormatter = std::function<std::string()>;

  // prefix: "source-file=...,source-line=...,thread-id=...". Logs
  // prefix + arguments + "|Entering " + functionName [+ "; " + entryNote].
  ApiTraceScope(tools::logging::Logger* logger, ArgumentFormatter formatter, std::string prefix,
                const char* functionName, const std::string& entryNote);
  ApiTraceScope(const ApiTraceScope&) = delete;
  ApiTraceScope& operator=(const ApiTraceScope&) = delete;

  // A new handle goes into the prefix, so that it stands before ",return=" in the exit line.
  void AppendToPrefix(const std::string& text) { prefix_ += text; }
  // Logs prefix + ",return=" + result + arguments + "|Leaving " + functionName.
  void Finish(int result) noexcept;

 private:
  tools::logging::Logger* logger_;
  ArgumentFormatter formatter_;
  std::string prefix_;
  const char* functionName_;
};

}  // namespace vesk::genicam

#endif
