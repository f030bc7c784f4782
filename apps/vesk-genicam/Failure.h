// What ends a command early: the exit status and the one line that goes to stderr.
#ifndef VESK_APPS_VESK_GENICAM_FAILURE_H
#define VESK_APPS_VESK_GENICAM_FAILURE_H

#include <stdexcept>
#include <string>

namespace vesk::tool {

// Exit statuses of the tool.
constexpr int kUsageStatus = 1;
constexpr int kCallStatus = 2;

class Failure : public std::runtime_error {
 public:
  Failure(int status, const std::string& message) : std::runtime_error(message), status_(status) {}
  int Status() const { return status_; }

 private:
  int status_;
};

// A command line the tool cannot run, or input it refuses: exit status 1.
[[noreturn]] void UsageError(const std::string& message);

// Passes a result code through; a negative one ends the command with the call, the code and its
// text.
int Check(int code, const std::string& call);

// A call that failed without a code of the library, such as a board that did not open.
[[noreturn]] void CallFailed(const std::string& call, const std::string& reason);

}  // namespace vesk::tool

#endif
