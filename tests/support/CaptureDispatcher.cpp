// A logging dispatcher for tests: it keeps every message in memory and lets the test set levels,
// merge names into one id and make the dispatcher forget its clients.
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tools/logging/LoggingDispatcherDescriptor.h"

#define CAPTURE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

struct Client {
  void* client;
  LoggingForgetFn forget;
  LoggingSetLevelFn setLevel;
};

struct State {
  // At exit the dispatcher may go before its clients: they must not call it afterwards.
  ~State() {
    for (const Client& client : clients) client.forget(client.client);
  }

  std::mutex lock;
  std::vector<Client> clients;
  std::map<std::string, uint64_t> ids;
  std::map<uint64_t, unsigned int> levels;
  unsigned int defaultLevel = 7;
  bool oneId = false;
  std::vector<std::string> lines;
};

State& GetState() {
  static State state;
  return state;
}

void RegisterLogger(const char* name, uint64_t* id, unsigned int* level) {
  State& state = GetState();
  std::lock_guard<std::mutex> guard(state.lock);
  auto found = state.ids.find(name);
  if (found == state.ids.end()) {
    const uint64_t next = state.oneId ? 1 : state.ids.size() + 1;
    found = state.ids.emplace(name, next).first;
    state.levels.emplace(next, state.defaultLevel);
  }
  *id = found->second;
  *level = state.levels[found->second];
}

void Write(uint64_t id, unsigned int level, const char* text, unsigned int, unsigned long) {
  State& state = GetState();
  std::lock_guard<std::mutex> guard(state.lock);
  state.lines.push_back(std::to_string(id) + "|" + std::to_string(level) + "|" + text);
}

void Attach(void* client, LoggingForgetFn forget, LoggingSetLevelFn setLevel,
            LoggingRegisterLoggerFn* registerSlot, LoggingWriteFn* writeSlot,
            const LoggingDispatcherDescriptor*) {
  State& state = GetState();
  std::lock_guard<std::mutex> guard(state.lock);
  state.clients.push_back({client, forget, setLevel});
  *registerSlot = &RegisterLogger;
  *writeSlot = &Write;
}

void Detach(void* client) {
  State& state = GetState();
  std::lock_guard<std::mutex> guard(state.lock);
  for (auto it = state.clients.begin(); it != state.clients.end(); ++it) {
    if (it->client == client) {
      state.clients.erase(it);
      return;
    }
  }
}

}  // namespace

CAPTURE_EXPORT const LoggingDispatcherDescriptor logging_dispatcher_descriptor = {&Attach, &Detach};

// The level of every name registered from now on.
CAPTURE_EXPORT void capture_set_default_level(unsigned int level) {
  State& state = GetState();
  std::lock_guard<std::mutex> guard(state.lock);
  state.defaultLevel = level;
}

// Sets the level of every name, registered or not, and tells the clients.
CAPTURE_EXPORT void capture_set_all_levels(unsigned int level) {
  State& state = GetState();
  std::vector<Client> clients;
  std::vector<uint64_t> ids;
  {
    std::lock_guard<std::mutex> guard(state.lock);
    state.defaultLevel = level;
    for (auto& [id, stored] : state.levels) {
      stored = level;
      ids.push_back(id);
    }
    clients = state.clients;
  }
  for (const Client& client : clients) {
    for (uint64_t id : ids) client.setLevel(client.client, id, level);
  }
}

// From now on every new name gets id 1.
CAPTURE_EXPORT void capture_map_names_to_one_id() {
  State& state = GetState();
  std::lock_guard<std::mutex> guard(state.lock);
  state.oneId = true;
}

CAPTURE_EXPORT void capture_forget_clients() {
  State& state = GetState();
  std::vector<Client> clients;
  {
    std::lock_guard<std::mutex> guard(state.lock);
    clients.swap(state.clients);
  }
  for (const Client& client : clients) client.forget(client.client);
}

CAPTURE_EXPORT int capture_client_count() {
  State& state = GetState();
  std::lock_guard<std::mutex> guard(state.lock);
  return static_cast<int>(state.clients.size());
}

// The messages so far as "id|level|text", oldest first, joined by '\n'; the buffer is the
// caller's to free with capture_free. Clears the store.
CAPTURE_EXPORT char* capture_take_lines() {
  State& state = GetState();
  std::lock_guard<std::mutex> guard(state.lock);
  std::string joined;
  for (const std::string& line : state.lines) joined += line + "\n";
  state.lines.clear();
  char* copy = new char[joined.size() + 1];
  joined.copy(copy, joined.size());
  copy[joined.size()] = '\0';
  return copy;
}

CAPTURE_EXPORT void capture_free(char* lines) { delete[] lines; }
