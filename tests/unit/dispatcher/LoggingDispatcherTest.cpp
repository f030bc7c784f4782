#include "dispatcher/vesk_logging_dispatcher.h"
#include "tools/logging/LoggingDispatcherDescriptor.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <regex.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;
using vesk::test::ReadLines;

// Plays the part of libvesk_genicam.so and records what the dispatcher tells it.
struct Client {
  LoggingRegisterLoggerFn registerLogger = nullptr;
  LoggingWriteFn write = nullptr;
  std::mutex mutex;
  std::vector<std::pair<uint64_t, unsigned>> levelChanges;
  int forgotten = 0;

  static void* forget(void* self) {
    auto* client = static_cast<Client*>(self);
    std::lock_guard<std::mutex> lock(client->mutex);
    ++client->forgotten;
    return self;
  }
  static void setLevel(void* self, uint64_t id, unsigned level) {
    auto* client = static_cast<Client*>(self);
    std::lock_guard<std::mutex> lock(client->mutex);
    client->levelChanges.emplace_back(id, level);
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

// Sends fd 2 to a file until finish().
class StderrCapture {
 public:
  explicit StderrCapture(fs::path path) : path_(std::move(path)), saved_(dup(STDERR_FILENO)) {
    const int fd = open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(fd, STDERR_FILENO);
    close(fd);
  }
  ~StderrCapture() { finish(); }
  void finish() {
    if (saved_ < 0) return;
    dup2(saved_, STDERR_FILENO);
    close(saved_);
    saved_ = -1;
  }

 private:
  fs::path path_;
  int saved_;
};

// The fields of a log line: [1..6] the time stamp down to seconds, [7] level, [8] logger name,
// [9] text; empty if the line does not have the form. POSIX regex, as std::regex trips
// -Wmaybe-uninitialized in sanitizer builds.
std::vector<std::string> fieldsOf(const std::string& line) {
  static regex_t pattern;
  static const bool compiled =
      regcomp(&pattern,
              "^([0-9]{4})-([0-9]{2})-([0-9]{2}) ([0-9]{2}):([0-9]{2}):([0-9]{2})\\.[0-9]{3} "
              "\\[([0-9])\\] ([^ :]+): (.*)$",
              REG_EXTENDED) == 0;
  regmatch_t groups[10];
  if (!compiled || regexec(&pattern, line.c_str(), 10, groups, 0) != 0) return {};
  std::vector<std::string> fields;
  for (const regmatch_t& g : groups) fields.push_back(line.substr(g.rm_so, g.rm_eo - g.rm_so));
  return fields;
}

struct Record {
  unsigned level;
  std::string name;
  std::string text;
  bool operator==(const Record& o) const {
    return level == o.level && name == o.name && text == o.text;
  }
};

std::vector<Record> parseRecords(const std::vector<std::string>& lines) {
  std::vector<Record> records;
  for (const std::string& line : lines) {
    const auto m = fieldsOf(line);
    EXPECT_FALSE(m.empty()) << "malformed line: " << line;
    if (!m.empty()) records.push_back({unsigned(std::stoul(m[7])), m[8], m[9]});
  }
  return records;
}

std::vector<Record> readRecords(const fs::path& path) { return parseRecords(ReadLines(path)); }

// time() may lag the clock the stamps come from by a tick, enough to cross a second.
std::time_t wallClockNow() {
  return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

class LoggingDispatcher : public ::testing::Test {
 protected:
  void SetUp() override { setenv("VESK_LOG_FILE", logPath_.c_str(), 1); }
  void TearDown() override {
    unsetenv("VESK_LOG_FILE");
    unsetenv("VESK_LOG_LEVEL");
  }

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

  vesk::test::TempDir temp_;
  fs::path dir_ = temp_.Path();
  fs::path logPath_ = dir_ / "vesk.log";
};

TEST_F(LoggingDispatcher, LevelTextForms) {
  struct Case {
    const char* text;
    unsigned lib;
    unsigned other;
  };
  const Case cases[] = {
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
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text ? std::string("VESK_LOG_LEVEL=\"") + c.text + "\"" : "unset");
    StderrCapture quiet(dir_ / "stderr");
    Client client;
    auto dispatcher = start(c.text, client);
    ASSERT_TRUE(dispatcher);
    EXPECT_EQ(client.levelOf("vesk.genicam.lib"), c.lib);
    EXPECT_EQ(client.levelOf("other"), c.other);
  }
}

TEST_F(LoggingDispatcher, BadEntriesAreSkippedWithOneWarningEach) {
  StderrCapture capture(dir_ / "stderr");
  Client first;
  Client second;
  auto dispatcher = start("a=2, oops ,b=9,c=,*=4", first);
  ASSERT_TRUE(dispatcher);
  dispatcher->attach(second);  // the variable is read once, so no second round of warnings
  EXPECT_EQ(first.levelOf("a"), 2u);
  EXPECT_EQ(first.levelOf("b"), 4u);
  EXPECT_EQ(second.levelOf("c"), 4u);
  dispatcher->setLevels("zz");
  capture.finish();

  const auto lines = ReadLines(dir_ / "stderr");
  ASSERT_EQ(lines.size(), 4u);
  const char* bad[] = {"'oops'", "'b=9'", "'c='", "'zz'"};
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_NE(lines[i].find(bad[i]), std::string::npos) << lines[i];
  }
}

TEST_F(LoggingDispatcher, NothingIsWrittenWithoutLevels) {
  for (const char* text : {static_cast<const char*>(nullptr), ""}) {
    Client client;
    auto dispatcher = start(text, client);
    ASSERT_TRUE(dispatcher);
    for (unsigned level = 1; level <= 7; ++level) client.log("vesk.genicam.lib", level, "x");
  }
  // Opened at first need only, so not even created.
  EXPECT_FALSE(fs::exists(logPath_));
}

TEST_F(LoggingDispatcher, EachNameKeepsOneId) {
  Client first;
  Client second;
  auto dispatcher = start("3", first);
  ASSERT_TRUE(dispatcher);
  dispatcher->attach(second);
  EXPECT_EQ(first.idOf("x"), 1u);
  EXPECT_EQ(first.idOf("y"), 2u);
  EXPECT_EQ(first.idOf("x"), 1u);
  EXPECT_EQ(second.idOf("y"), 2u);
  EXPECT_EQ(second.idOf("z"), 3u);
  dispatcher->detach(first);
  dispatcher->attach(first);
  EXPECT_EQ(first.idOf("z"), 3u);
  EXPECT_EQ(first.idOf("w"), 4u);
}

TEST_F(LoggingDispatcher, LineHasLocalTimeLevelNameAndText) {
  // An odd offset from UTC, so a stamp in UTC or in another zone is caught.
  setenv("TZ", "VSK-05:30", 1);
  tzset();
  std::ofstream(logPath_) << "earlier line\n";
  Client client;
  auto dispatcher = start("*=1", client);
  ASSERT_TRUE(dispatcher);
  const std::time_t before = wallClockNow();
  client.log("vesk.genicam.lib", 3, "thread-id=7|Entering open: [x]");
  client.log("vesk.genicam.lib", 5, "ends in a newline\n");
  const std::time_t after = wallClockNow();

  const auto lines = ReadLines(logPath_);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "earlier line");
  auto m = fieldsOf(lines[1]);
  ASSERT_FALSE(m.empty()) << lines[1];
  EXPECT_EQ(m[7], "3");
  EXPECT_EQ(m[8], "vesk.genicam.lib");
  EXPECT_EQ(m[9], "thread-id=7|Entering open: [x]");
  std::tm stamp{};
  stamp.tm_year = std::stoi(m[1]) - 1900;
  stamp.tm_mon = std::stoi(m[2]) - 1;
  stamp.tm_mday = std::stoi(m[3]);
  stamp.tm_hour = std::stoi(m[4]);
  stamp.tm_min = std::stoi(m[5]);
  stamp.tm_sec = std::stoi(m[6]);
  const std::time_t wallClock = timegm(&stamp) - (5 * 3600 + 30 * 60);
  EXPECT_GE(wallClock, before);
  EXPECT_LE(wallClock, after);
  m = fieldsOf(lines[2]);
  ASSERT_FALSE(m.empty()) << lines[2];
  EXPECT_EQ(m[7], "5");
  EXPECT_EQ(m[9], "ends in a newline");
  unsetenv("TZ");
}

TEST_F(LoggingDispatcher, MessagesBelowTheLoggerLevelAreDropped) {
  Client client;
  auto dispatcher = start("*=3,chatty=1", client);
  ASSERT_TRUE(dispatcher);
  for (unsigned level = 1; level <= 7; ++level) client.log("quiet", level, "q");
  client.log("chatty", 1, "c");
  client.log("chatty", 2, "c");
  const std::vector<Record> expected = {{3, "quiet", "q"}, {4, "quiet", "q"},  {5, "quiet", "q"},
                                        {6, "quiet", "q"}, {1, "chatty", "c"}, {2, "chatty", "c"}};
  EXPECT_EQ(readRecords(logPath_), expected);
}

TEST_F(LoggingDispatcher, ConcurrentWritersLeaveWholeLines) {
  constexpr int kThreads = 4;
  constexpr int kLines = 500;
  Client client;
  auto dispatcher = start("1", client);
  ASSERT_TRUE(dispatcher);
  std::vector<uint64_t> sharedIds(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      sharedIds[t] = client.idOf("shared");
      const std::string own = "thread" + std::to_string(t);
      for (int i = 0; i < kLines; ++i) {
        const std::string text = std::to_string(t) + " " + std::to_string(i) + " " +
                                 std::string(150, static_cast<char>('a' + t));
        client.log(i % 2 ? "shared" : own.c_str(), 3, text);
      }
    });
  }
  for (auto& thread : threads) thread.join();

  for (uint64_t id : sharedIds) EXPECT_EQ(id, sharedIds[0]);
  const auto records = readRecords(logPath_);
  ASSERT_EQ(records.size(), size_t(kThreads * kLines));
  std::vector<int> next(kThreads, 0);
  for (const Record& r : records) {
    const int t = r.text[0] - '0';
    ASSERT_TRUE(t >= 0 && t < kThreads) << r.text;
    // Lines of one thread stay in order, so each must be the next of its thread.
    EXPECT_EQ(r.text, std::to_string(t) + " " + std::to_string(next[t]) + " " +
                          std::string(150, static_cast<char>('a' + t)));
    EXPECT_EQ(r.name, next[t] % 2 ? "shared" : "thread" + std::to_string(t));
    ++next[t];
  }
}

TEST_F(LoggingDispatcher, SetLevelsReachesEveryAttachedClient) {
  Client first;
  Client second;
  Client gone;
  Client late;  // declared ahead of the dispatcher, which tells it to forget when unloaded
  auto dispatcher = start("*=5", first);
  ASSERT_TRUE(dispatcher);
  dispatcher->attach(second);
  dispatcher->attach(gone);
  dispatcher->detach(gone);
  const uint64_t a = first.idOf("a");
  const uint64_t b = first.idOf("b");

  dispatcher->setLevels("a=2,*=4");
  const std::vector<std::pair<uint64_t, unsigned>> changes = {{a, 2}, {b, 4}};
  EXPECT_EQ(first.levelChanges, changes);
  EXPECT_EQ(second.levelChanges, changes);
  EXPECT_TRUE(gone.levelChanges.empty());
  EXPECT_EQ(second.levelOf("c"), 4u);

  // A later attach does not put the environment's levels back.
  dispatcher->attach(late);
  EXPECT_EQ(late.levelOf("a"), 2u);

  first.log("a", 3, "passes");
  first.log("b", 3, "dropped");
  const std::vector<Record> expected = {{3, "a", "passes"}};
  EXPECT_EQ(readRecords(logPath_), expected);

  dispatcher->setLevels(nullptr);
  const std::vector<std::pair<uint64_t, unsigned>> silenced = {
      {a, 7}, {b, 7}, {first.idOf("c"), 7}};
  EXPECT_EQ(late.levelChanges, silenced);
}

TEST_F(LoggingDispatcher, UnloadForgetsClientsStillAttached) {
  Client attached;
  Client detached;
  auto dispatcher = start("3", attached);
  ASSERT_TRUE(dispatcher);
  dispatcher->attach(detached);
  dispatcher->detach(detached);
  dispatcher.reset();
  EXPECT_EQ(attached.forgotten, 1);
  EXPECT_EQ(detached.forgotten, 0);
  EXPECT_EQ(dlopen(DISPATCHER_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
}

TEST_F(LoggingDispatcher, UnopenableLogFileFallsBackToStderr) {
  const fs::path unopenable = dir_ / "missing" / "vesk.log";
  setenv("VESK_LOG_FILE", unopenable.c_str(), 1);
  StderrCapture capture(dir_ / "stderr");
  Client client;
  auto dispatcher = start("*=1", client);
  ASSERT_TRUE(dispatcher);
  client.log("vesk.genicam.lib", 3, "one");
  client.log("vesk.genicam.lib", 4, "two");
  capture.finish();

  auto lines = ReadLines(dir_ / "stderr");
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_NE(lines[0].find(unopenable.string()), std::string::npos) << lines[0];
  lines.erase(lines.begin());
  const std::vector<Record> expected = {{3, "vesk.genicam.lib", "one"},
                                        {4, "vesk.genicam.lib", "two"}};
  EXPECT_EQ(parseRecords(lines), expected);
}

}  // namespace
