// Library start and stop against the fake runtime of the test installation, which journals
// its init, deinit and unload to a file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>

#include "loader/VeskDsnRtLoader.h"
#include "loader/VeskHalLoader.h"
#include "loader/vesk_hal.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TempDir.h"
#include "vesk_genicam/impl/LibraryLogger.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace {

using ::testing::ElementsAre;
using vesk::test::ReadLines;
using vesk::test::TempDir;

constexpr char kStart[] = "hal init, dsnrt init";
constexpr char kStartAndStop[] =
    "hal init, dsnrt init, dsnrt deinit, dsnrt unload, hal deinit, hal unload";

class LibraryInit : public ::testing::Test {
 protected:
  void SetUp() override { setenv("VESK_FAKE_JOURNAL", journal_.c_str(), 1); }
  // The fake runtime's journal, its lines joined by ", ".
  std::string Journal() const {
    std::string joined;
    for (const std::string& line : ReadLines(journal_))
      joined += (joined.empty() ? "" : ", ") + line;
    return joined;
  }

  TempDir dir_;
  std::string journal_ = dir_.File("journal");
};

TEST_F(LibraryInit, LastDeinitClosesDesignLibraryBeforeBoardLibraryAndInitLoadsThemAgain) {
  VeskGenICamInit();
  VeskGenICamInit();
  EXPECT_EQ(Journal(), kStart);
  EXPECT_EQ(Ns_VeskHal::GetUseCount(), 2u);
  EXPECT_EQ(Ns_VeskDsnRt::GetUseCount(), 2u);
  VeskGenICamDeinit();
  EXPECT_EQ(Journal(), kStart);
  EXPECT_EQ(Ns_VeskHal::GetUseCount(), 2u);
  VeskGenICamDeinit();
  EXPECT_EQ(Journal(), kStartAndStop);
  EXPECT_EQ(Ns_VeskHal::GetUseCount(), 0u);
  EXPECT_EQ(Ns_VeskDsnRt::GetUseCount(), 0u);

  VeskGenICamInit();
  EXPECT_EQ(VHalGetNrOfBoards(), 1);
  VeskGenICamDeinit();
  EXPECT_EQ(Journal(), std::string(kStartAndStop) + ", " + kStartAndStop);
}

TEST_F(LibraryInit, AnOpenBoardKeepsTheBoardLibraryPastTheLastDeinit) {
  VeskGenICamInit();
  PLdevice* board = VHalInitDevice(0);
  ASSERT_NE(board, nullptr);
  VeskGenICamDeinit();
  EXPECT_EQ(Journal(), std::string(kStart) + ", dsnrt deinit, dsnrt unload");
  EXPECT_EQ(VHalGetBoardIndex(board, 0), 3);
  EXPECT_EQ(VHalFreeDevice(board), 0);
  EXPECT_EQ(Journal(), kStartAndStop);
}

// The debug lines with each controller's instance pointer named by order of appearance: L the
// library's, H the board library's, D the design library's.
std::vector<std::string> Symbolic(const std::string& output) {
  std::map<std::string, char> names;
  std::vector<std::string> lines;
  std::istringstream in(output);
  for (std::string text; std::getline(in, text);) {
    const size_t instance = text.find("] - Instance: ");
    if (text.rfind("LibraryInitController [", 0) != 0 || instance != 30) {
      lines.push_back("unexpected: " + text);
      continue;
    }
    const size_t end = std::min(text.find(' ', instance + 14), text.size());
    const std::string pointer = text.substr(instance + 14, end - instance - 14);
    const char name =
        names.emplace(pointer, "LHD?"[std::min<size_t>(names.size(), 3)]).first->second;
    lines.push_back(text.substr(23, 7) + " " + name + text.substr(end));
  }
  return lines;
}

TEST_F(LibraryInit, DebugLinesShowOneInstanceAndTheCloseOrder) {
  setenv("VESK_INIT_TRACE", "1", 1);
  ::testing::internal::CaptureStdout();
  VeskGenICamInit();
  VeskGenICamInit();
  VeskGenICamDeinit();
  VeskGenICamDeinit();
  EXPECT_THAT(Symbolic(::testing::internal::GetCapturedStdout()),
              ElementsAre("Create  L", "Init    L - Use Count: 1",  //
                          "Create  H", "Init    H - Use Count: 1",  //
                          "Create  D", "Init    D - Use Count: 1",  //
                          "Init    L - Use Count: 2",               // no second instance
                          "Init    H - Use Count: 2", "Init    D - Use Count: 2",
                          "Deinit  L - Use Count: 1",  // nothing closes yet
                          "Deinit  L - Use Count: 0",
                          // four closes, the design library first each time
                          "Deinit  D - Use Count: 1", "Deinit  H - Use Count: 1",
                          "Deinit  D - Use Count: 0", "Destroy D", "Deinit  H - Use Count: 0",
                          "Destroy H", "Destroy L"));
}

TEST_F(LibraryInit, ExportedFunctionsLogBeforeAnyInit) {
  vesk::test::CapturedLog::SetDefaultLevel(1);
  vesk::tools::logging::Logger* logger = vesk::genicam::LibraryLogger().Get();
  EXPECT_TRUE(logger->IsEnabled(1));
  VeskGenICamInit();
  VeskGenICamDeinit();
  // The deinit forgets the logger; asking again gives the same one back.
  EXPECT_EQ(vesk::genicam::LibraryLogger().Get(), logger);
}

}  // namespace
