// events: a board's events as they arrive; on the simulated runtime stdin takes sim commands
// meanwhile, so that cables can be pulled within the process that watches.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

#include <vesk_genicam/vesk_genicam.h>

#include "Board.h"
#include "Commands.h"
#include "Failure.h"

namespace vesk::tool {

namespace {

using Clock = std::chrono::steady_clock;

const char* EventName(unsigned int type) {
  switch (type) {
    case MLO_EVENT_PORTS_CONNECTED:
      return "ports connected";
    case MLO_EVENT_PORTS_LOST:
      return "ports lost";
    case MLO_EVENT_CAMERA_ADDED:
      return "camera added";
    case MLO_EVENT_CAMERA_LOST:
      return "camera lost";
    case MLO_EVENT_EXTENSION_LINK_DELTA:
      return "extension links changed";
    default:
      return "unknown event";
  }
}

// Copies each event out of the library's thread; the command prints them on its own.
class EventQueue {
 public:
  explicit EventQueue(Clock::time_point start) : start_(start) {}

  static int Callback(MloBoardHandle*, const MloEventInfo* info, void* user) {
    static_cast<EventQueue*>(user)->Push(*info);
    return 0;
  }

  std::vector<Json> Take() {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(events_, {});
  }

 private:
  void Push(const MloEventInfo& info) {
    const unsigned int type = info.type;
    const unsigned int port = info.port;
    Json event = Json::MakeObject();
    event.Set("seconds", std::chrono::duration<double>(Clock::now() - start_).count())
        .Set("type", type)
        .Set("event", EventName(type))
        .Set(type < MLO_EVENT_CAMERA_ADDED ? "ports" : "masterId", port);
    Json properties = Json::MakeObject();
    for (uint32_t i = 0; i < info.intCount; ++i) properties.Set(info.intKeys[i], info.intValues[i]);
    for (uint32_t i = 0; i < info.stringCount; ++i)
      properties.Set(info.stringKeys[i], info.stringValues[i]);
    event.Set("properties", properties);
    std::lock_guard<std::mutex> lock(mutex_);
    events_.push_back(std::move(event));
  }

  Clock::time_point start_;
  std::mutex mutex_;
  std::vector<Json> events_;
};

// What a line of text shows of a camera's properties; --json gives them all.
const char* const kShownProperties[] = {"masterport", "linkcount", "linkspeed", "model_name",
                                        "serial_number"};

void PrintEvent(const Json& event) {
  char head[96];
  const bool ports = !event["ports"].IsNull();
  std::snprintf(head, sizeof head, "%7.2f s  %s %-24s %s 0x%llx", event["seconds"].Number(),
                event["type"].Text().c_str(), event["event"].Text().c_str(),
                ports ? "ports" : "master id",
                static_cast<unsigned long long>(event[ports ? "ports" : "masterId"].Integer()));
  std::string line = head;
  for (const char* key : kShownProperties) {
    const Json& value = event["properties"][key];
    if (!value.IsNull()) line += std::string("  ") + key + "=" + value.Text();
  }
  std::puts(line.c_str());
  std::fflush(stdout);
}

// Reads the sim commands that stdin brings while the events are watched.
class CommandInput {
 public:
  explicit CommandInput(bool open) : open_(open) {}

  // Waits up to timeout for stdin; returns the whole lines that came.
  std::vector<std::string> Wait(std::chrono::milliseconds timeout) {
    if (!open_) {
      std::this_thread::sleep_for(timeout);
      return {};
    }
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, static_cast<int>(timeout.count())) <= 0) return {};
    char bytes[512];
    const ssize_t got = read(STDIN_FILENO, bytes, sizeof bytes);
    if (got <= 0) {
      open_ = false;
      return {};
    }
    pending_.append(bytes, static_cast<size_t>(got));
    std::vector<std::string> lines;
    for (size_t end; (end = pending_.find('\n')) != std::string::npos;) {
      lines.push_back(pending_.substr(0, end));
      pending_.erase(0, end + 1);
    }
    return lines;
  }

 private:
  bool open_;
  std::string pending_;
};

// Runs a line as a sim command; its failure is reported and the watch goes on.
void RunSimLine(const std::string& line, Context& context) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  if (words.empty()) return;
  Context quiet = context;
  quiet.quiet = context.json;
  Arguments args("sim", words);
  try {
    Sim(args, quiet);
  } catch (const Failure& failure) {
    std::fprintf(stderr, "vesk-genicam: %s\n", failure.what());
  }
}

}  // namespace

int Events(Arguments& args, Context& context) {
  const auto index = static_cast<unsigned int>(args.NumberOption("--board", 0));
  const auto seconds = args.NumberOption("--seconds", 10, 3600);
  args.Done();
  if (seconds == 0) UsageError("events --seconds: watch for one second at least");
  const auto start = Clock::now();
  EventQueue queue(start);
  Board board(index);
  Check(Mlo_registerBoardEventCallback(board.Handle(), EventQueue::Callback, &queue),
        "Mlo_registerBoardEventCallback(board " + std::to_string(index) + ")");
  board.Scan(ScanRequest{}, false);
  CommandInput input(context.sim->Available());
  Json events = Json::MakeArray();
  const auto takeEvents = [&] {
    for (Json& event : queue.Take()) {
      if (!context.json) PrintEvent(event);
      events.Add(std::move(event));
    }
  };
  const auto end = start + std::chrono::seconds(seconds);
  for (auto now = Clock::now(); now < end; now = Clock::now()) {
    const auto timeout = std::min(std::chrono::milliseconds(100),
                                  std::chrono::duration_cast<std::chrono::milliseconds>(end - now));
    takeEvents();
    for (const std::string& line : input.Wait(timeout)) RunSimLine(line, context);
  }
  Mlo_registerBoardEventCallback(board.Handle(), nullptr, nullptr);
  takeEvents();
  if (context.json) {
    Json data = Json::MakeObject();
    data.Set("board", index).Set("seconds", seconds).Set("events", events);
    context.Report(data, [](const Json&) {});
  }
  return 0;
}

}  // namespace vesk::tool
