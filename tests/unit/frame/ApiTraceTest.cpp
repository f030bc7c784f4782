// The frame of the exported functions, read back character for character through the capturing
// dispatcher of the test installation.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "genapi/GCException.h"
#include "tests/support/CapturedLog.h"
#include "vesk_genicam/impl/ApiArguments.h"
#include "vesk_genicam/impl/ApiBoundary.h"
#include "vesk_genicam/impl/ApiCall.h"

namespace vesk::genicam {
namespace {

using test::CapturedLine;
using test::CapturedLog;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kLine = 4242;
int g_formatterCalls = 0;

MloBoardHandle* Board(uintptr_t value) { return reinterpret_cast<MloBoardHandle*>(value); }

// Shaped as an exported function: the checks in their order, a handle handed out.
int GetCamera(MloBoardHandle* board, unsigned int port, MloCameraHandle** camera) {
  ApiCall call(kLine, "Mlo_getCamera", [=] {
    ++g_formatterCalls;
    return FormatBoardPort(board, port);
  });
  if (!camera) return call.Fail(-1991, "Invalid camera handle pointer");
  if (!board) return call.Fail(-1001, "Invalid board handle");
  *camera = reinterpret_cast<MloCameraHandle*>(0xca3);
  call.AppendHandle("P15MloCameraHandle", *camera);
  return call.Return(0);
}

int ScanPorts(MloBoardHandle* board, unsigned int mask, unsigned int speed) {
  ApiCall call(
      kLine, "Mlo_scanPorts", [=] { return FormatPortMaskBoard(mask, board); },
      [=] { return "Speed: " + std::to_string(speed); });
  return call.Return(0);
}

template <class Thrower>
int GetFeature(MloCameraHandle* camera, Thrower thrower) {
  ApiCall call(kLine, "Mlo_getIntegerValue", [=] { return FormatCamera(camera); });
  return call.Return(
      CatchAtBoundary([&](const std::string& message) { call.Fail(MLO_ERR_EXCEPTION, message); },
                      [] { return "getting feature Width"; },
                      [&] {
                        thrower();
                        return 0;
                      }));
}

std::string Thread() { return std::to_string(tools::logging::CurrentThreadId()); }

// The entry and exit lines begin with the place of the call, failure lines with the thread.
std::string Prefix() {
  return "1 source-file=vesk_genicam/impl/vesk_genicam,source-line=" + std::to_string(kLine) +
         ",thread-id=" + Thread();
}
std::string Failure() { return "5 thread-id=" + Thread(); }

// The captured lines, each as "<level> <text>".
std::vector<std::string> Lines() {
  std::vector<std::string> lines;
  for (const CapturedLine& line : CapturedLog::Take()) {
    lines.push_back(std::to_string(line.level) + " " + line.text);
  }
  return lines;
}

class ApiTrace : public ::testing::Test {
 protected:
  void SetUp() override {
    CapturedLog::SetDefaultLevel(1);
    g_formatterCalls = 0;
  }
};

TEST_F(ApiTrace, EntryAndExitWithTheHandedOutHandle) {
  MloCameraHandle* camera = nullptr;
  ASSERT_EQ(GetCamera(Board(0xb0a4d), 2, &camera), 0);
  const std::string board = ",handle=(P14MloBoardHandle)0xb0a4d,port-index=2";
  EXPECT_THAT(Lines(), ElementsAre(Prefix() + board + "|Entering Mlo_getCamera",
                                   Prefix() + ",handle=(P15MloCameraHandle)0xca3,return=0" + board +
                                       "|Leaving Mlo_getCamera"));
  EXPECT_EQ(g_formatterCalls, 2);
  // An entry note follows the function name.
  ScanPorts(Board(0x20), 5, 3125);
  const std::string arguments = ",port-mask=5,handle=(P14MloBoardHandle)0x20";
  EXPECT_THAT(Lines(), ElementsAre(Prefix() + arguments + "|Entering Mlo_scanPorts; Speed: 3125",
                                   Prefix() + ",return=0" + arguments + "|Leaving Mlo_scanPorts"));
}

TEST_F(ApiTrace, FailureLineCarriesTheArgumentsAndTheExitTheCode) {
  MloCameraHandle* camera = nullptr;
  EXPECT_EQ(GetCamera(nullptr, 7, &camera), -1001);
  // The pointer to the result is checked before the handle.
  EXPECT_EQ(GetCamera(Board(0x10), 7, nullptr), -1991);
  EXPECT_EQ(camera, nullptr);
  const std::string null = ",handle=(P14MloBoardHandle)0,port-index=7";
  const std::string board = ",handle=(P14MloBoardHandle)0x10,port-index=7";
  EXPECT_THAT(Lines(), ElementsAre(Prefix() + null + "|Entering Mlo_getCamera",
                                   Failure() + null + "|Invalid board handle",
                                   Prefix() + ",return=-1001" + null + "|Leaving Mlo_getCamera",
                                   Prefix() + board + "|Entering Mlo_getCamera",
                                   Failure() + board + "|Invalid camera handle pointer",
                                   Prefix() + ",return=-1991" + board + "|Leaving Mlo_getCamera"));
}

TEST_F(ApiTrace, LevelOneOffBuildsNothingButFailuresStillNameTheArguments) {
  CapturedLog::SetAllLevels(5);
  MloCameraHandle* camera = nullptr;
  EXPECT_EQ(GetCamera(Board(0x30), 1, &camera), 0);
  EXPECT_EQ(g_formatterCalls, 0);
  EXPECT_THAT(Lines(), IsEmpty());

  EXPECT_EQ(GetCamera(nullptr, 1, &camera), -1001);
  EXPECT_EQ(g_formatterCalls, 1);
  EXPECT_THAT(
      Lines(),
      ElementsAre(Failure() + ",handle=(P14MloBoardHandle)0,port-index=1|Invalid board handle"));

  CapturedLog::SetAllLevels(7);
  EXPECT_EQ(GetCamera(nullptr, 1, &camera), -1001);
  EXPECT_EQ(g_formatterCalls, 1);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ApiTrace, EachKindOfExceptionEndsInItsOwnLineAndMinus1999) {
  auto* camera = reinterpret_cast<MloCameraHandle*>(0x40);
  EXPECT_EQ(GetFeature(camera, [] { throw std::runtime_error("out of range"); }), -1999);
  EXPECT_EQ(
      GetFeature(camera, [] { throw GenICam::GenericException("Node not writable", "f", 3); }),
      -1999);
  EXPECT_EQ(GetFeature(camera, [] { throw 17; }), -1999);
  EXPECT_EQ(GetFeature(camera, [] {}), 0);
  const std::string handle = ",handle=(P15MloCameraHandle)0x40";
  const std::string entry = Prefix() + handle + "|Entering Mlo_getIntegerValue";
  const std::string failure = Failure() + handle + "|";
  const std::string exit = handle + "|Leaving Mlo_getIntegerValue";
  const std::string failed = Prefix() + ",return=-1999" + exit;
  EXPECT_THAT(
      Lines(),
      ElementsAre(entry, failure + "Standard exception while getting feature Width: out of range",
                  failed, entry,
                  failure + "GenICam exception while getting feature Width: Node not writable",
                  failed, entry, failure + "Unexpected exception while getting feature Width",
                  failed, entry, Prefix() + ",return=0" + exit));
}

// The other forms show in the lines of the exported functions that use them.
TEST(ApiArguments, NullBoardLibraryHandleShowsNoBoard) {
  EXPECT_EQ(FormatBoardLibraryHandle(nullptr, 3), ",port-mask=3,handle=(P11Fg_Struct_s)0");
}

}  // namespace
}  // namespace vesk::genicam
