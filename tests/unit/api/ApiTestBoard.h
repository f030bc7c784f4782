#ifndef VESK_TESTS_UNIT_API_API_TEST_BOARD_H
#define VESK_TESTS_UNIT_API_API_TEST_BOARD_H

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/CapturedLog.h"
#include "tests/support/TestController.h"
#include "vesk_genicam/impl/ApiCall.h"
#include "vesk_genicam/impl/Driver.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace vesk::test {

// A board of the fake board library with a test controller, handed to the exported functions as
// their handle. The test owns it unless it hands it to Mlo_freeBoard.
class ApiTestBoard {
 public:
  explicit ApiTestBoard(unsigned int portCount = 4)
      : ApiTestBoard(std::make_unique<TestController>(portCount, &destroyed)) {}
  ~ApiTestBoard() {
    delete driver;
    VHalFreeDevice(fgBoard_.device);
  }
  ApiTestBoard(const ApiTestBoard&) = delete;
  ApiTestBoard& operator=(const ApiTestBoard&) = delete;

  MloBoardHandle* Handle() const { return reinterpret_cast<MloBoardHandle*>(driver); }
  // Mlo_freeBoard took the driver.
  void Freed() { driver = nullptr; }
  // Camera `camera` with its master on port `master`, found by a discovery of the board.
  MloCameraHandle* Camera(unsigned int master, unsigned int camera = 1) {
    controller.Link(master, camera, 0);
    EXPECT_EQ(driver->Discovery(0xF, 0, 0, 0), 0);
    return reinterpret_cast<MloCameraHandle*>(driver->GetCameraByGrabberPort(master));
  }

  // Set when the driver destroyed its controller.
  bool destroyed = false;
  TestController& controller;  // the driver's
  CDriver* driver;

 private:
  explicit ApiTestBoard(std::unique_ptr<TestController> made)
      : controller(*made), driver(new CDriver(HandOver(std::move(made)))) {
    EXPECT_EQ(driver->Init(&fgBoard_, false), 0);
  }

  Fg_Struct_s fgBoard_{VHalInitDevice(0), nullptr};
};

inline std::string Thread() { return std::to_string(tools::logging::CurrentThreadId()); }

inline std::string Pointer(const void* pointer) {
  std::ostringstream text;
  text << pointer;
  return text.str();
}

// The level 5 lines since the last call, and the trace lines of level 1 with their prefix cut
// off at the thread id.
struct ApiLines {
  std::vector<std::string> failures;
  std::vector<std::string> trace;
};

inline ApiLines TakeApiLines() {
  ApiLines lines;
  const std::string thread = ",thread-id=" + Thread();
  for (const CapturedLine& line : CapturedLog::Take()) {
    if (line.level == 5) lines.failures.push_back(line.text);
    if (line.level != 1) continue;
    const size_t at = line.text.find(thread);
    lines.trace.push_back(at == std::string::npos ? line.text
                                                  : line.text.substr(at + thread.size()));
  }
  return lines;
}

// The entry lines since the last take, cut as in TakeApiLines.
inline std::vector<std::string> TakeEntries() {
  std::vector<std::string> entries;
  for (const std::string& line : TakeApiLines().trace) {
    if (line.find("|Entering ") != std::string::npos) entries.push_back(line);
  }
  return entries;
}

// A call as written, run by `run`, with its code and the message of its one failure line (null:
// no failure line).
struct CheckCase {
  const char* call;
  std::function<int()> run;
  int code;
  const char* message;
};

// One table row: CALL(Mlo_getCameraCount(nullptr), -1001, "Invalid board handle").
#define CALL(call, code, message) (CheckCase{#call, [&] { return call; }, code, message})

// Each case writes its failure line with the arguments of its entry line, and its exit line
// gives the code with the same arguments; given `expected`, every entry has those arguments.
inline void ExpectChecks(const std::string& expected, const std::vector<CheckCase>& cases) {
  for (const CheckCase& check : cases) {
    SCOPED_TRACE(check.call);
    CapturedLog::Take();
    EXPECT_EQ(check.run(), check.code);
    const ApiLines lines = TakeApiLines();
    ASSERT_GE(lines.trace.size(), 2u);
    const std::string& entry = lines.trace.front();
    const size_t bar = entry.find("|Entering ");
    ASSERT_NE(bar, std::string::npos) << entry;
    const std::string arguments = entry.substr(0, bar);
    if (!expected.empty()) EXPECT_EQ(arguments, expected);
    const size_t name = bar + std::string("|Entering ").size();
    EXPECT_EQ(lines.trace.back(), ",return=" + std::to_string(check.code) + arguments +
                                      "|Leaving " + entry.substr(name, entry.find(';') - name));
    std::vector<std::string> failures;
    if (check.message)
      failures.push_back("thread-id=" + Thread() + arguments + "|" + check.message);
    EXPECT_EQ(lines.failures, failures);
  }
}

inline void ExpectChecks(const std::vector<CheckCase>& cases) { ExpectChecks("", cases); }

}  // namespace vesk::test

#endif
