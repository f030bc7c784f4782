#include "tools/logging/Logging.h"

#include "loader/GuardedSingleton.h"

namespace vesk::tools::logging {

using templates::platform::ReadLockGuard;
using templates::platform::WriteLockGuard;

namespace {

constexpr unsigned int kSilentLevel = 7;

// Lives until this library is unloaded, so that the loggers that classes keep stay valid.
loader::GuardedSingleton<Logging> g_logging;

}  // namespace

Logger* Logging::GetLogger(const char* name) { return g_logging.Get()->Find(name); }

Logging::Logging() : defaultLogger_(std::make_unique<Logger>(this, 0, kSilentLevel)) {}

Logging::~Logging() {
  loggers_.clear();
  if (const LoggingDispatcherDescriptor* descriptor = descriptor_.exchange(nullptr)) {
    descriptor->detach(this);
  }
  loader::LibraryLoader::Close(std::move(library_));
}

void Logging::Build() {
  library_ = loader::LibraryLoader::Open("common-logging-dispatcher");
  if (!library_) return;
  auto* descriptor = static_cast<const LoggingDispatcherDescriptor*>(
      loader::LibraryLoader::Symbol(*library_, "logging_dispatcher_descriptor"));
  if (!descriptor) {
    loader::LibraryLoader::Close(std::move(library_));
    return;
  }
  descriptor->attach(this, &Logging::Forget, &Logging::SetLevel, &registerLogger_, &write_,
                     descriptor);
  descriptor_.store(descriptor);
}

Logger* Logging::Find(const char* name) {
  if (!descriptor_.load()) return defaultLogger_.get();
  uint64_t id = 0;
  unsigned int level = kSilentLevel;
  registerLogger_(name, &id, &level);
  WriteLockGuard guard(lock_);
  std::unique_ptr<Logger>& logger = loggers_[id];
  if (!logger) logger = std::make_unique<Logger>(this, id, level);
  return logger.get();
}

void Logging::Write(uint64_t id, unsigned int level, const char* text, unsigned int reserved1,
                    unsigned long reserved2) {
  if (!descriptor_.load()) return;
  write_(id, level, text, reserved1, reserved2);
}

void* Logging::Forget(void* client) {
  auto* logging = static_cast<Logging*>(client);
  logging->descriptor_.store(nullptr);
  return logging;
}

void Logging::SetLevel(void* client, uint64_t id, unsigned int level) {
  auto* logging = static_cast<Logging*>(client);
  ReadLockGuard guard(logging->lock_);
  auto found = logging->loggers_.find(id);
  if (found != logging->loggers_.end()) found->second->SetLevel(level);
}

}  // namespace vesk::tools::logging
