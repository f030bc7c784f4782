#ifndef VESK_GENICAM_IMPL_API_CALL_H
#define VESK_GENICAM_IMPL_API_CALL_H

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "vesk_genicam/impl/ApiTraceScope.h"
#include "vesk_genicam/impl/LibraryLogger.h"

namespace vesk::genicam {

// The source name that the trace of every exported function carries.
constexpr const char* kApiSourceFile = "vesk_genicam/impl/vesk_genicam";

// The frame of one exported function. Made first thing on entry; every path stores its code
// with Return or Fail and the destructor logs the exit. With level 1 off it costs the level test:
// no scope, no string, no formatter call.
//
//   ApiCall call(__LINE__, "Mlo_getCamera", [=] { return FormatBoardPort(board, port); });
//   if (!camera) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid camera handle pointer");
//   ...
//   return call.Return(0);
template <class Formatter>
class ApiCall {
 public:
  ApiCall(int line, const char* functionName, Formatter formatter)
      : ApiCall(line, functionName, std::move(formatter), [] { return std::string(); }) {}

  // note: a callable that gives the entry note; it runs only while level 1 is enabled.
  template <class Note>
  ApiCall(int line, const char* functionName, Formatter formatter, Note note)
      : formatter_(std::move(formatter)) {
    tools::logging::Logger* logger = LibraryLogger().Get();
    if (!logger->IsEnabled(1)) return;
    std::ostringstream prefix;
    prefix << "source-file=" << kApiSourceFile << ",source-line=" << line
           << ",thread-id=" << tools::logging::CurrentThreadId();
    scope_ =
        std::make_unique<ApiTraceScope>(logger, formatter_, prefix.str(), functionName, note());
  }

  ~ApiCall() {
    if (scope_) scope_->Finish(result_);
  }
  ApiCall(const ApiCall&) = delete;
  ApiCall& operator=(const ApiCall&) = delete;

  int Return(int code) {
    result_ = code;
    return code;
  }

  // A rejected argument or a failure: one line at level 5 with the arguments, then the code.
  int Fail(int code, const std::string& message) {
    tools::logging::WriteThreadLine(LibraryLogger().Get(), 5,
                                    [&] { return formatter_() + "|" + message; });
    return Return(code);
  }

  // A handle that the call hands out, shown in the exit line as ",handle=(type)pointer".
  void AppendHandle(const char* typeName, const void* handle) {
    if (!scope_) return;
    std::ostringstream text;
    text << ",handle=(" << typeName << ")" << handle;
    scope_->AppendToPrefix(text.str());
  }

 private:
  Formatter formatter_;
  std::unique_ptr<ApiTraceScope> scope_;
  int result_ = 0;
};

}  // namespace vesk::genicam

#endif
