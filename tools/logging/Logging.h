#ifndef VESK_TOOLS_LOGGING_LOGGING_H
#define VESK_TOOLS_LOGGING_LOGGING_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>

#include "loader/LibraryLoader.h"
#include "templates/platform/ReadWriteLock.h"
#include "tools/logging/Logger.h"
#include "tools/logging/LoggingDispatcherDescriptor.h"

namespace vesk::tools::logging {

// The client of the optional logging dispatcher (lib64/libcommon-logging-dispatcher.so). Without
// a dispatcher every name gets the one default logger, at level 7, which lets nothing through.
// Loggers live as long as this library is loaded; any thread may log.
class Logging {
 public:
  // The logger of a name; never null.
  static Logger* GetLogger(const char* name);

  Logging();
  ~Logging();
  Logging(const Logging&) = delete;
  Logging& operator=(const Logging&) = delete;

  // Finds and attaches the dispatcher.
  void Build();
  void Write(uint64_t id, unsigned int level, const char* text, unsigned int reserved1,
             unsigned long reserved2);

 private:
  Logger* Find(const char* name);
  static void* Forget(void* client);
  static void SetLevel(void* client, uint64_t id, unsigned int level);

  std::unique_ptr<Logger> defaultLogger_;
  LoggingRegisterLoggerFn registerLogger_ = nullptr;
  LoggingWriteFn write_ = nullptr;
  // Cleared by the dispatcher's forget callback, possibly from another thread.
  std::atomic<const LoggingDispatcherDescriptor*> descriptor_{nullptr};
  std::map<uint64_t, std::unique_ptr<Logger>> loggers_;
  std::unique_ptr<loader::LibraryHandle> library_;
  templates::platform::ReadWriteLock lock_;
};

}  // namespace vesk::tools::logging

#endif
