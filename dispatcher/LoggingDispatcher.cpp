// The logging dispatcher: takes finished messages from libvesk_genicam.so (and any other client
// of LoggingDispatcherDescriptor.h), filters them by logger level and writes one line each to
// stderr or to the file named by VESK_LOG_FILE.
#include "dispatcher/vesk_logging_dispatcher.h"
#include "tools/logging/LoggingDispatcherDescriptor.h"

#include "LevelConfig.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vesk::logging {

namespace {

// Writes the whole buffer with as few write calls as the kernel allows; with O_APPEND one call
// per line also keeps lines from other processes appending to the same file apart.
void WriteAll(int fd, std::string_view data) {
  while (!data.empty()) {
    const ssize_t written = ::write(fd, data.data(), data.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return;  // nowhere left to complain to
    }
    data.remove_prefix(static_cast<size_t>(written));
  }
}

std::string Timestamp() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  const auto millis = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[48];
  const size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  std::snprintf(text + length, sizeof text - length, ".%03d", static_cast<int>(millis));
  return text;
}

}  // namespace

class LoggingDispatcher {
 public:
  LoggingDispatcher() = default;
  LoggingDispatcher(const LoggingDispatcher&) = delete;
  LoggingDispatcher& operator=(const LoggingDispatcher&) = delete;

  // Runs when the library is unloaded: clients still attached must drop their pointers into it.
  ~LoggingDispatcher() {
    std::lock_guard<std::recursive_mutex> callbacks(callbackMutex_);
    std::vector<Client> clients;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      clients.swap(clients_);
    }
    for (const Client& client : clients) {
      if (client.forget) client.forget(client.client);
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

  void Attach(void* client, LoggingForgetFn forget, LoggingSetLevelFn setLevel) {
    // Serialised with setLevels, so a new client is either notified or registers under the new
    // levels, never neither.
    std::lock_guard<std::recursive_mutex> callbacks(callbackMutex_);
    std::lock_guard<std::mutex> lock(mutex_);
    if (!levelsConfigured_) {
      levelsConfigured_ = true;
      const char* text = std::getenv("VESK_LOG_LEVEL");
      ApplyLevels(text ? text : "", "VESK_LOG_LEVEL");
    }
    for (Client& known : clients_) {
      if (known.client == client) {
        known.forget = forget;
        known.setLevel = setLevel;
        return;
      }
    }
    clients_.push_back(Client{client, forget, setLevel});
  }

  void Detach(void* client) {
    // Waits for callbacks in progress on other threads: none may reach the client after this.
    std::lock_guard<std::recursive_mutex> callbacks(callbackMutex_);
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = clients_.begin(); it != clients_.end(); ++it) {
      if (it->client == client) {
        clients_.erase(it);
        return;
      }
    }
  }

  void RegisterLogger(const char* name, uint64_t* id, unsigned int* level) {
    const std::string key = name ? name : "";
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = ids_.find(key);
    if (found == ids_.end()) {
      loggers_.push_back(Logger{key, config_.LevelFor(key)});
      found = ids_.emplace(key, loggers_.size()).first;
    }
    if (id) *id = found->second;
    if (level) *level = loggers_[found->second - 1].level;
  }

  void Write(uint64_t id, unsigned int level, const char* text) {
    std::lock_guard<std::mutex> lock(mutex_);
    // Ids this dispatcher never handed out have no level to pass: drop them.
    if (id == 0 || id > loggers_.size()) return;
    const Logger& logger = loggers_[id - 1];
    if (level < logger.level || level >= LevelConfig::kSilent) return;

    std::string line = Timestamp();
    line += " [";
    line += std::to_string(level);
    line += "] ";
    line += logger.name;
    line += ": ";
    line += text ? text : "";
    if (line.back() != '\n') line += '\n';
    WriteAll(OutputFd(), line);
  }

  void SetLevels(std::string_view text) {
    std::lock_guard<std::recursive_mutex> callbacks(callbackMutex_);
    std::vector<Client> clients;
    std::vector<std::pair<uint64_t, unsigned int>> levels;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      levelsConfigured_ = true;  // a level set at run time outranks the environment
      ApplyLevels(text, "log level");
      clients = clients_;
      for (size_t i = 0; i < loggers_.size(); ++i) levels.emplace_back(i + 1, loggers_[i].level);
    }
    // The state lock is free while clients run, so a callback may log.
    for (const Client& client : clients) {
      if (!client.setLevel) continue;
      for (const auto& [id, level] : levels) {
        if (!IsAttached(client.client)) break;  // a callback detached it
        client.setLevel(client.client, id, level);
      }
    }
  }

 private:
  struct Client {
    void* client;
    LoggingForgetFn forget;
    LoggingSetLevelFn setLevel;
  };

  struct Logger {
    std::string name;
    unsigned int level;
  };

  bool IsAttached(void* client) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const Client& known : clients_) {
      if (known.client == client) return true;
    }
    return false;
  }

  // Callers hold mutex_.
  void ApplyLevels(std::string_view text, const char* source) {
    std::vector<std::string> bad;
    config_ = LevelConfig::Parse(text, &bad);
    for (const std::string& entry : bad) {
      Warn(std::string("ignoring bad ") + source + " entry '" + entry + "'");
    }
    for (Logger& logger : loggers_) logger.level = config_.LevelFor(logger.name);
  }

  // Callers hold mutex_.
  int OutputFd() {
    if (!outputChosen_) {
      outputChosen_ = true;
      const char* path = std::getenv("VESK_LOG_FILE");
      if (path && *path) {
        fd_ = ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
        if (fd_ < 0) {
          Warn(std::string("cannot open log file '") + path + "' (" + std::strerror(errno) +
               "), logging to stderr");
        }
      }
    }
    return fd_ >= 0 ? fd_ : STDERR_FILENO;
  }

  // Callers hold mutex_, which keeps warnings from splitting log lines on stderr.
  static void Warn(const std::string& message) {
    WriteAll(STDERR_FILENO, "vesk logging dispatcher: " + message + "\n");
  }

  // Held, outside mutex_, while client callbacks run. Recursive because a callback may detach.
  std::recursive_mutex callbackMutex_;
  std::mutex mutex_;
  std::vector<Client> clients_;
  std::vector<Logger> loggers_;  // id n is loggers_[n - 1]
  std::unordered_map<std::string, uint64_t> ids_;
  LevelConfig config_;
  bool levelsConfigured_ = false;
  bool outputChosen_ = false;
  int fd_ = -1;
};

namespace {

// Set before the dispatcher is destroyed: a client that calls in late (e.g. detaching from its
// own static destructor at exit) must not touch the destroyed object.
std::atomic<bool> g_unloading{false};

struct DispatcherHolder {
  ~DispatcherHolder() { g_unloading = true; }
  LoggingDispatcher dispatcher;
};

LoggingDispatcher* GetDispatcher() {
  if (g_unloading) return nullptr;
  static DispatcherHolder holder;
  return &holder.dispatcher;
}

void RegisterLoggerEntry(const char* name, uint64_t* id, unsigned int* level) {
  if (LoggingDispatcher* d = GetDispatcher()) d->RegisterLogger(name, id, level);
}

void WriteMessage(uint64_t id, unsigned int level, const char* text, unsigned int, unsigned long) {
  if (LoggingDispatcher* d = GetDispatcher()) d->Write(id, level, text);
}

void AttachClient(void* client, LoggingForgetFn forget, LoggingSetLevelFn setLevel,
                  LoggingRegisterLoggerFn* registerSlot, LoggingWriteFn* writeSlot,
                  const LoggingDispatcherDescriptor*) {
  LoggingDispatcher* d = GetDispatcher();
  if (!d) return;
  d->Attach(client, forget, setLevel);
  if (registerSlot) *registerSlot = &RegisterLoggerEntry;
  if (writeSlot) *writeSlot = &WriteMessage;
}

void DetachClient(void* client) {
  if (LoggingDispatcher* d = GetDispatcher()) d->Detach(client);
}

}  // namespace

}  // namespace vesk::logging

extern "C" __attribute__((visibility("default")))
const LoggingDispatcherDescriptor logging_dispatcher_descriptor = {&vesk::logging::AttachClient,
                                                                   &vesk::logging::DetachClient};

extern "C" void vesk_logging_dispatcher_set_levels(const char* config) {
  if (vesk::logging::LoggingDispatcher* d = vesk::logging::GetDispatcher()) {
    d->SetLevels(config ? config : "");
  }
}
