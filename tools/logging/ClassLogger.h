#ifndef VESK_TOOLS_LOGGING_CLASS_LOGGER_H
#define VESK_TOOLS_LOGGING_CLASS_LOGGER_H

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "tools/logging/Logger.h"
#include "tools/logging/Logging.h"

namespace vesk::tools::logging {

inline uint64_t CurrentThreadId() { return static_cast<uint64_t>(pthread_self()); }

// One line "thread-id=<id>" + rest() at the level. rest() runs only when the level is on, so a
// line that nobody reads costs no formatting.
template <class Rest>
void WriteThreadLine(Logger* logger, unsigned int level, const Rest& rest) {
  if (!logger->IsEnabled(level)) return;
  const std::string line = "thread-id=" + std::to_string(CurrentThreadId()) + rest();
  logger->Write(level, line.c_str());
}

// The named logger of a class, taken from Logging on first use and kept. A class declares one
// member and logs in one line:
//
//   ClassLogger logger_{"vesk.genicam.CxpPort"};
//   logger_.Line(3, [&] { return "Using a time-out of " + std::to_string(ms) + " ms"; });
//
// Two threads may both ask Logging on first use; it gives both the same logger.
class ClassLogger {
 public:
  explicit ClassLogger(const char* name) : name_(name) {}
  ClassLogger(const ClassLogger&) = delete;
  ClassLogger& operator=(const ClassLogger&) = delete;

  // Never null.
  Logger* Get() {
    Logger* logger = logger_.load(std::memory_order_acquire);
    if (!logger) {
      logger = Logging::GetLogger(name_);
      logger_.store(logger, std::memory_order_release);
    }
    return logger;
  }
  // Forgets the logger, whose owner is going away; the next Get asks again.
  void Reset() { logger_.store(nullptr, std::memory_order_release); }

  // "thread-id=<id>|" + text() at the level; text() runs only when the level is on.
  template <class Text>
  void Line(unsigned int level, const Text& text) {
    WriteThreadLine(Get(), level, [&] { return "|" + std::string(text()); });
  }

 private:
  const char* const name_;
  std::atomic<Logger*> logger_{nullptr};
};

}  // namespace vesk::tools::logging

#endif
