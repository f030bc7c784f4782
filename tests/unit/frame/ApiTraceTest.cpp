// The frame of the exported functions, read back character for character through the capturing
// dispatcher of the test installation.
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
      CatchAtBoundary([&](const std::string& message) { call.Fail(kExceptionCaught, message); },
                      [] { return "getting feature Width"; },
                      [&] {
                        thrower();
                        return 0;
                      }));
}

std::string Thread() { return std::to_string(CurrentThreadId()); }

std::string Prefix() {
  return "source-file=vesk_genicam/impl/vesk_genicam,source-line=" + std::to_string(kLine) +
         ",thread-id=" + Thread();
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
  const auto lines = CapturedLog::Take();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].level, 1u);
  EXPECT_EQ(lines[0].text,
            Prefix() + ",handle=(P14MloBoardHandle)0xb0a4d,port-index=2|Entering Mlo_getCamera");
  EXPECT_EQ(lines[1].level, 1u);
  EXPECT_EQ(lines[1].text, Prefix() +
                               ",handle=(P15MloCameraHandle)0xca3,return=0"
                               ",handle=(P14MloBoardHandle)0xb0a4d,port-index=2|Leaving "
                               "Mlo_getCamera");
  EXPECT_EQ(g_formatterCalls, 2);
}

TEST_F(ApiTrace, FailureLineCarriesTheArgumentsAndTheExitTheCode) {
  MloCameraHandle* camera = nullptr;
  EXPECT_EQ(GetCamera(nullptr, 7, &camera), -1001);
  EXPECT_EQ(GetCamera(Board(0x10), 7, nullptr), -1991);
  const auto lines = CapturedLog::Take();
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[1].level, 5u);
  EXPECT_EQ(lines[1].text, "thread-id=" + Thread() +
                               ",handle=(P14MloBoardHandle)0,port-index=7|Invalid board handle");
  EXPECT_EQ(
      lines[2].text,
      Prefix() + ",return=-1001,handle=(P14MloBoardHandle)0,port-index=7|Leaving Mlo_getCamera");
  // The pointer to the result is checked before the handle.
  EXPECT_EQ(lines[4].text, "thread-id=" + Thread() +
                               ",handle=(P14MloBoardHandle)0x10,port-index=7|Invalid camera "
                               "handle pointer");
  EXPECT_EQ(camera, nullptr);
}

TEST_F(ApiTrace, EntryNoteFollowsTheFunctionName) {
  ScanPorts(Board(0x20), 5, 3125);
  const auto lines = CapturedLog::Take();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(
      lines[0].text,
      Prefix() + ",port-mask=5,handle=(P14MloBoardHandle)0x20|Entering Mlo_scanPorts; Speed: 3125");
  EXPECT_EQ(
      lines[1].text,
      Prefix() + ",return=0,port-mask=5,handle=(P14MloBoardHandle)0x20|Leaving Mlo_scanPorts");
}

TEST_F(ApiTrace, LevelOneOffBuildsNothingButFailuresStillNameTheArguments) {
  CapturedLog::SetAllLevels(5);
  MloCameraHandle* camera = nullptr;
  EXPECT_EQ(GetCamera(Board(0x30), 1, &camera), 0);
  EXPECT_EQ(g_formatterCalls, 0);
  EXPECT_TRUE(CapturedLog::Take().empty());

  EXPECT_EQ(GetCamera(nullptr, 1, &camera), -1001);
  EXPECT_EQ(g_formatterCalls, 1);
  const auto lines = CapturedLog::Take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text, "thread-id=" + Thread() +
                               ",handle=(P14MloBoardHandle)0,port-index=1|Invalid board handle");

  CapturedLog::SetAllLevels(7);
  EXPECT_EQ(GetCamera(nullptr, 1, &camera), -1001);
  EXPECT_EQ(g_formatterCalls, 1);
  EXPECT_TRUE(CapturedLog::Take().empty());
}

TEST_F(ApiTrace, EachKindOfExceptionEndsInItsOwnLineAndMinus1999) {
  auto* camera = reinterpret_cast<MloCameraHandle*>(0x40);
  EXPECT_EQ(GetFeature(camera, [] { throw std::runtime_error("out of range"); }), -1999);
  EXPECT_EQ(
      GetFeature(camera, [] { throw GenICam::GenericException("Node not writable", "f", 3); }),
      -1999);
  EXPECT_EQ(GetFeature(camera, [] { throw 17; }), -1999);
  EXPECT_EQ(GetFeature(camera, [] {}), 0);

  std::vector<std::string> failures;
  std::vector<std::string> exits;
  for (const CapturedLine& line : CapturedLog::Take()) {
    if (line.level == 5) failures.push_back(line.text);
    if (line.text.find("|Leaving") != std::string::npos) exits.push_back(line.text);
  }
  const std::string arguments = "thread-id=" + Thread() + ",handle=(P15MloCameraHandle)0x40|";
  ASSERT_EQ(failures.size(), 3u);
  EXPECT_EQ(failures[0],
            arguments + "Standard exception while getting feature Width: out of range");
  EXPECT_EQ(failures[1],
            arguments + "GenICam exception while getting feature Width: Node not writable");
  EXPECT_EQ(failures[2], arguments + "Unexpected exception while getting feature Width");
  ASSERT_EQ(exits.size(), 4u);
  EXPECT_NE(exits[0].find(",return=-1999,"), std::string::npos);
  EXPECT_NE(exits[3].find(",return=0,"), std::string::npos);
}

TEST(ApiArguments, BoardLibraryHandleShowsWhatTheBoardTells) {
  Fg_Struct_s board{VHalInitDevice(0), nullptr};
  ASSERT_NE(board.device, nullptr);
  std::ostringstream pointer;
  pointer << static_cast<const void*>(&board);
  EXPECT_EQ(FormatBoardLibraryHandle(&board, 65535),
            ",handle=(PK11Fg_Struct_s)" + pointer.str() +
                ",board-index=3,board-serial=1a2b3c,board-type=a42,port-mask=65535,handle=(P11Fg_"
                "Struct_s)" +
                pointer.str());
  EXPECT_EQ(FormatBoardLibraryHandle(nullptr, 3), ",port-mask=3,handle=(P11Fg_Struct_s)0");
  VHalFreeDevice(board.device);
}

TEST(ApiArguments, HandleForms) {
  EXPECT_EQ(FormatCamera(reinterpret_cast<MloCameraHandle*>(0xabc)),
            ",handle=(P15MloCameraHandle)0xabc");
  EXPECT_EQ(FormatBoard(Board(0xdef)), ",handle=(P14MloBoardHandle)0xdef");
  EXPECT_EQ(FormatBoardIndex(Board(0xdef), 12), ",handle=(P14MloBoardHandle)0xdef,index=12");
}

}  // namespace
}  // namespace vesk::genicam
