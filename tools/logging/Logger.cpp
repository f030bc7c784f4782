#include "tools/logging/Logger.h"

#include <pthread.h>

#include "templates/platform/RecursiveMutexGuard.h"
#include "tools/logging/Logging.h"

namespace vesk::tools::logging {

using templates::platform::RecursiveMutexGuard;

namespace {
uint64_t CurrentThread() { return static_cast<uint64_t>(pthread_self()); }
}  // namespace

Logger::Logger(Logging* owner, uint64_t id, unsigned int level)
    : owner_(owner), id_(id), level_(level) {}

Logger::~Logger() = default;

bool Logger::IsEnabled(unsigned int level) {
  if (GetLevel() > level) return false;
  if (mutedCount_.load(std::memory_order_acquire) == 0) return true;
  RecursiveMutexGuard guard(&lock_);
  return mutedThreads_.count(CurrentThread()) == 0;
}

void Logger::Write(unsigned int level, const char* text, unsigned int reserved1,
                   unsigned long reserved2) {
  owner_->Write(id_, level, text, reserved1, reserved2);
}

bool Logger::SetThreadMuted(bool unmute) {
  RecursiveMutexGuard guard(&lock_);
  const uint64_t self = CurrentThread();
  if (unmute) {
    if (mutedThreads_.erase(self) == 0) return false;
    --mutedCount_;
    return true;
  }
  if (!mutedThreads_.insert(self).second) return false;
  ++mutedCount_;
  return true;
}

}  // namespace vesk::tools::logging
