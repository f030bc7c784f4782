#ifndef VESK_TOOLS_LOGGING_LOGGER_H
#define VESK_TOOLS_LOGGING_LOGGER_H

#include <atomic>
#include <cstdint>
#include <set>

#include "templates/platform/RecursiveMutex.h"

namespace vesk::tools::logging {

class Logging;

// A named logger of the dispatcher. Callers test IsEnabled before they build a message, so a
// message that does not go out costs one comparison. Loggers belong to Logging and live as long
// as it does.
class Logger {
 public:
  Logger(Logging* owner, uint64_t id, unsigned int level);
  virtual ~Logger();
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  bool IsEnabled(unsigned int level);
  void Write(unsigned int level, const char* text, unsigned int reserved1 = 0,
             unsigned long reserved2 = 0);
  // With false the calling thread goes silent on this logger, with true it speaks again.
  // Returns whether anything changed.
  bool SetThreadMuted(bool unmute);

  uint64_t GetId() const { return id_; }
  unsigned int GetLevel() const { return level_.load(std::memory_order_relaxed); }
  void SetLevel(unsigned int level) { level_.store(level, std::memory_order_relaxed); }

 private:
  Logging* owner_;
  uint64_t id_;
  templates::platform::RecursiveMutex lock_;
  std::set<uint64_t> mutedThreads_;
  // Lets IsEnabled skip the lock while no thread is muted, which is nearly always.
  std::atomic<uint32_t> mutedCount_{0};
  std::atomic<unsigned int> level_;
};

}  // namespace vesk::tools::logging

#endif
