#include "dispatcher/vesk_logging_dispatcher.h"
#include "tools/logging/LoggingDispatcherDescriptor.h"

#include <dlfcn.h>
#include <time.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;
using vesk::test::ReadLines;
using Changes = std::vector<std::pair<uint64_t, unsigned>>;
using Lines = std::vector<std::string>;

// Plays the part of libvesk_genicam.so and records what the dispatcher tells it.
struct Client {
  LoggingRegisterLoggerFn registerLogger = nullptr;
  LoggingWriteFn write = nullptr;
  Changes levelChanges;
  int forgotten = 0;

  static void* forget(void* self) {
    ++static_cast<Client*>(self)->forgotten;
    return self;
  }
  static void setLevel(void* self, uint64_t id, unsigned level) {
    static_cast<Client*>(self)->levelChanges.emplace_back(id, level);
  }

  std::pair<uint64_t, unsigned> enroll(const char* name) {
    uint64_t id = 0;
    unsigned level = 0;
    registerLogger(name, &id, &level);
    return {id, level};
  }
  uint64_t idOf(const char* name) { return enroll(name).first; }
  unsigned levelOf(const char* name) { return enroll(name).second; }
  void log(const char* name, unsigned level, const std::string& text) {
    write(idOf(name), level, text.c_str(), 0, 0);
  }
};

// A freshly loaded copy of the dispatcher; unloading it on destruction resets its state.
struct Dispatcher {
  void* handle = dlopen(DISPATCHER_PATH, RTLD_NOW | RTLD_LOCAL);
  const LoggingDispatcherDescriptor* descriptor =
      handle ? static_cast<const LoggingDispatcherDescriptor*>(
                   dlsym(handle, "logging_dispatcher_descriptor"))
             : nullptr;
  VeskLoggingDispatcherSetLevelsFn setLevels =
      handle ? reinterpret_cast<VeskLoggingDispatcherSetLevelsFn>(
                   dlsym(handle, VESK_LOGGING_DISPATCHER_SET_LEVELS_SYMBOL))
             : nullptr;

  ~Dispatcher() {
    if (handle) dlclose(handle);
  }
  void attach(Client& client) {
    descriptor->attach(&client, &Client::forget, &Client::setLevel, &client.registerLogger,
                       &client.write, descriptor);
  }
  void detach(Client& client) { descriptor->detach(&client); }
};

Lines linesOf(const std::string& text) {
  std::istringstream in(text);
  Lines lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The line without its time stamp "YYYY-MM-DD HH:MM:SS.mmm ", whose fields go to `stamp`.
std::string unstamped(const std::string& line, std::tm& stamp) {
  const char* rest = strptime(line.c_str(), "%Y-%m-%d %H:%M:%S.", &stamp);
  const bool stamped = rest && rest == line.c_str() + 20 && line.size() > 24 &&
                       std::all_of(rest, rest + 3, isdigit) && rest[3] == ' ';
  EXPECT_TRUE(stamped) << "malformed line: " << line;
  return stamped ? line.substr(24) : line;
}
Lines unstamped(const Lines& lines) {
  Lines records;
  std::tm stamp{};
  for (const std::string& line : lines) records.push_back(unstamped(line, stamp));
  return records;
}

class LoggingDispatcher : public ::testing::Test {
 protected:
  void SetUp() override { setenv("VESK_LOG_FILE", logPath_.c_str(), 1); }

  // Loads the dispatcher under the given VESK_LOG_LEVEL (nullptr: unset) and attaches client.
  std::unique_ptr<Dispatcher> start(const char* levels, Client& client) {
    if (levels) {
      setenv("VESK_LOG_LEVEL", levels, 1);
    } else {
      unsetenv("VESK_LOG_LEVEL");
    }
    auto dispatcher = std::make_unique<Dispatcher>();
    if (!dispatcher->descriptor || !dispatcher->setLevels) {
      ADD_FAILURE() << "cannot load " DISPATCHER_PATH ": " << dlerror();
      return nullptr;
    }
    dispatcher->attach(client);
    return dispatcher;
  }
  Lines logged() { return unstamped(ReadLines(logPath_)); }

  vesk::test::TempDir temp_;
  fs::path logPath_ = fs::path(temp_.Path()) / "vesk.log";
};

// Level 7 writes nothing, and the log file is opened at first need only.
TEST_F(LoggingDispatcher, LevelTextForms) {
  const std::tuple<const char*, unsigned, unsigned> cases[] = {
      {nullptr, 7, 7},
      {"", 7, 7},
      {" \t", 7, 7},
      {"3", 3, 3},
      {" 4 ", 4, 4},
      {"*=5,vesk.genicam.lib=1", 1, 5},
      {" vesk.genicam.lib = 2 ,\t* = 6 ,", 2, 6},
      {"vesk.genicam.lib=2", 2, 7},
      {"9", 7, 7},
      {"1,2", 7, 7},
      {"x,*=0,vesk.genicam.lib=8,=3,other=abc,other=,*=4", 4, 4},
  };
  for (const auto& [text, lib, other] : cases) {
    SCOPED_TRACE(text ? std::string("VESK_LOG_LEVEL=\"") + text + "\"" : "unset");
    CaptureStderr();
    Client client;
    auto dispatcher = start(text, client);
    GetCapturedStderr();
    ASSERT_TRUE(dispatcher);
    EXPECT_EQ(client.levelOf("vesk.genicam.lib"), lib);
    EXPECT_EQ(client.levelOf("other"), other);
    for (unsigned level = 1; level <= 7; ++level) client.log("vesk.genicam.lib", level, "x");
    EXPECT_EQ(fs::exists(logPath_), lib < 7);
    fs::remove(logPath_);
  }
}

TEST_F(LoggingDispatcher, BadEntriesAreSkippedWithOneWarningEach) {
  CaptureStderr();
  Client first;
  Client second;
  auto dispatcher = start("a=2, oops ,b=9,c=,*=4", first);
  ASSERT_TRUE(dispatcher);
  dispatcher->attach(second);  // the variable is read once, so no second round of warnings
  EXPECT_EQ(first.levelOf("a"), 2u);
  EXPECT_EQ(first.levelOf("b"), 4u);
  EXPECT_EQ(second.levelOf("c"), 4u);
  dispatcher->setLevels("zz");
  const Lines lines = linesOf(GetCapturedStderr());
  ASSERT_EQ(lines.size(), 4u);
  const char* bad[] = {"'oops'", "'b=9'", "'c='", "'zz'"};
  for (size_t i = 0; i < lines.size(); ++i)
    EXPECT_NE(lines[i].find(bad[i]), std::string::npos) << lines[i];
}

TEST_F(LoggingDispatcher, LineHasLocalTimeLevelNameAndText) {
  // An odd offset from UTC, so a stamp in UTC or in another zone is caught.
  setenv("TZ", "VSK-05:30", 1);
  tzset();
  std::ofstream(logPath_) << "earlier line\n";
  Client client;
  auto dispatcher = start("*=1", client);
  ASSERT_TRUE(dispatcher);
  // time() may lag the clock the stamps come from by a tick, enough to cross a second.
  const auto now = [] {
    return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  };
  const std::time_t before = now();
  client.log("vesk.genicam.lib", 3, "thread-id=7|Entering open: [x]");
  client.log("vesk.genicam.lib", 5, "ends in a newline\n");
  const std::time_t after = now();

  const Lines lines = ReadLines(logPath_);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "earlier line");
  std::tm stamp{};
  EXPECT_EQ(unstamped(lines[1], stamp), "[3] vesk.genicam.lib: thread-id=7|Entering open: [x]");
  const std::time_t wallClock = timegm(&stamp) - (5 * 3600 + 30 * 60);
  EXPECT_GE(wallClock, before);
  EXPECT_LE(wallClock, after);
  EXPECT_EQ(unstamped(lines[2], stamp), "[5] vesk.genicam.lib: ends in a newline");
  unsetenv("TZ");
}

TEST_F(LoggingDispatcher, MessagesBelowTheLoggerLevelAreDropped) {
  Client client;
  auto dispatcher = start("*=3,chatty=1", client);
  ASSERT_TRUE(dispatcher);
  for (unsigned level = 1; level <= 7; ++level) client.log("quiet", level, "q");
  client.log("chatty", 1, "c");
  client.log("chatty", 2, "c");
  EXPECT_EQ(logged(), (Lines{"[3] quiet: q", "[4] quiet: q", "[5] quiet: q", "[6] quiet: q",
                             "[1] chatty: c", "[2] chatty: c"}));
}

TEST_F(LoggingDispatcher, ConcurrentWritersLeaveWholeLines) {
  constexpr int kThreads = 4;
  constexpr int kLines = 500;
  Client client;
  auto dispatcher = start("1", client);
  ASSERT_TRUE(dispatcher);
  std::vector<uint64_t> sharedIds(kThreads);
  const auto name = [](int t, int i) { return i % 2 ? "shared" : "thread" + std::to_string(t); };
  const auto text = [](int t, int i) {
    return std::to_string(t) + " " + std::to_string(i) + " " + std::string(150, char('a' + t));
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      sharedIds[t] = client.idOf("shared");
      for (int i = 0; i < kLines; ++i) client.log(name(t, i).c_str(), 3, text(t, i));
    });
  }
  for (auto& thread : threads) thread.join();

  for (uint64_t id : sharedIds) EXPECT_EQ(id, sharedIds[0]);
  const Lines records = logged();
  ASSERT_EQ(records.size(), size_t(kThreads * kLines));
  // Lines of one thread stay in order, so each must be the next of its thread.
  std::vector<int> next(kThreads, 0);
  for (const std::string& record : records) {
    const int t = record[record.find(": ") + 2] - '0';
    ASSERT_TRUE(t >= 0 && t < kThreads) << record;
    EXPECT_EQ(record, "[3] " + name(t, next[t]) + ": " + text(t, next[t]));
    ++next[t];
  }
}

// Each name keeps one id across clients, new levels reach every attached client, and unloading
// makes those still attached forget the dispatcher.
TEST_F(LoggingDispatcher, ClientsShareIdsHearOfNewLevelsAndForgetAnUnloadedDispatcher) {
  Client first;
  Client second;
  Client gone;
  Client late;  // declared ahead of the dispatcher, which tells it to forget when unloaded
  auto dispatcher = start("*=5", first);
  ASSERT_TRUE(dispatcher);
  dispatcher->attach(second);
  dispatcher->attach(gone);
  dispatcher->detach(gone);
  EXPECT_EQ(first.idOf("a"), 1u);
  EXPECT_EQ(first.idOf("b"), 2u);
  EXPECT_EQ(first.idOf("a"), 1u);
  EXPECT_EQ(second.idOf("b"), 2u);
  EXPECT_EQ(second.idOf("c"), 3u);
  dispatcher->detach(first);
  dispatcher->attach(first);
  EXPECT_EQ(first.idOf("c"), 3u);
  EXPECT_EQ(first.idOf("d"), 4u);

  dispatcher->setLevels("a=2,*=4");
  const Changes changes = {{1, 2}, {2, 4}, {3, 4}, {4, 4}};
  EXPECT_EQ(first.levelChanges, changes);
  EXPECT_EQ(second.levelChanges, changes);
  EXPECT_TRUE(gone.levelChanges.empty());
  EXPECT_EQ(second.levelOf("e"), 4u);

  // A later attach does not put the environment's levels back.
  dispatcher->attach(late);
  EXPECT_EQ(late.levelOf("a"), 2u);

  first.log("a", 3, "passes");
  first.log("b", 3, "dropped");
  EXPECT_EQ(logged(), Lines{"[3] a: passes"});

  dispatcher->setLevels(nullptr);
  EXPECT_EQ(late.levelChanges, (Changes{{1, 7}, {2, 7}, {3, 7}, {4, 7}, {5, 7}}));

  dispatcher.reset();
  EXPECT_EQ((std::vector{first.forgotten, second.forgotten, late.forgotten, gone.forgotten}),
            (std::vector{1, 1, 1, 0}));
  EXPECT_EQ(dlopen(DISPATCHER_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
}

TEST_F(LoggingDispatcher, UnopenableLogFileFallsBackToStderr) {
  const fs::path unopenable = fs::path(temp_.Path()) / "missing" / "vesk.log";
  setenv("VESK_LOG_FILE", unopenable.c_str(), 1);
  CaptureStderr();
  Client client;
  auto dispatcher = start("*=1", client);
  ASSERT_TRUE(dispatcher);
  client.log("vesk.genicam.lib", 3, "one");
  client.log("vesk.genicam.lib", 4, "two");
  Lines lines = linesOf(GetCapturedStderr());
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_NE(lines[0].find(unopenable.string()), std::string::npos) << lines[0];
  lines.erase(lines.begin());
  EXPECT_EQ(unstamped(lines), (Lines{"[3] vesk.genicam.lib: one", "[4] vesk.genicam.lib: two"}));
}

}  // namespace
