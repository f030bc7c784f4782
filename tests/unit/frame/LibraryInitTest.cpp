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
#include "tests/support/CapturedLog.h"
#include "tests/support/TempDir.h"
#include "vesk_genicam/impl/LibraryLogger.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using vesk::test::ReadLines;
using vesk::test::TempDir;

class LibraryInit : public ::testing::Test {
 protected:
  void SetUp() override { setenv("VESK_FAKE_JOURNAL", journal_.c_str(), 1); }
  std::vector<std::string> Journal() const { return ReadLines(journal_); }

  TempDir dir_;
  std::string journal_ = dir_.File("journal");
};

TEST_F(LibraryInit, LastDeinitClosesDesignLibraryBeforeBoardLibrary) {
  VeskGenICamInit();
  VeskGenICamInit();
  EXPECT_THAT(Journal(), ElementsAre("hal init", "dsnrt init"));
  EXPECT_EQ(Ns_VeskHal::GetUseCount(), 2u);
  EXPECT_EQ(Ns_VeskDsnRt::GetUseCount(), 2u);

  VeskGenICamDeinit();
  EXPECT_THAT(Journal(), ElementsAre("hal init", "dsnrt init"));
  EXPECT_EQ(Ns_VeskHal::GetUseCount(), 2u);

  VeskGenICamDeinit();
  EXPECT_THAT(Journal(), ElementsAre("hal init", "dsnrt init", "dsnrt deinit", "dsnrt unload",
                                     "hal deinit", "hal unload"));
  EXPECT_EQ(Ns_VeskHal::GetUseCount(), 0u);
  EXPECT_EQ(Ns_VeskDsnRt::GetUseCount(), 0u);
}

TEST_F(LibraryInit, LibrariesLoadAgainAfterAFullStop) {
  VeskGenICamInit();
  VeskGenICamDeinit();
  VeskGenICamInit();
  EXPECT_EQ(VHalGetNrOfBoards(), 1);
  VeskGenICamDeinit();
  EXPECT_THAT(Journal(), ElementsAre("hal init", "dsnrt init", "dsnrt deinit", "dsnrt unload",
                                     "hal deinit", "hal unload", "hal init", "dsnrt init",
                                     "dsnrt deinit", "dsnrt unload", "hal deinit", "hal unload"));
}

TEST_F(LibraryInit, AnOpenBoardKeepsTheBoardLibraryPastTheLastDeinit) {
  VeskGenICamInit();
  PLdevice* board = VHalInitDevice(0);
  ASSERT_NE(board, nullptr);
  VeskGenICamDeinit();
  EXPECT_THAT(Journal(), ElementsAre("hal init", "dsnrt init", "dsnrt deinit", "dsnrt unload"));
  EXPECT_EQ(VHalGetBoardIndex(board, 0), 3);
  EXPECT_EQ(VHalFreeDevice(board), 0);
  EXPECT_THAT(Journal(), ElementsAre("hal init", "dsnrt init", "dsnrt deinit", "dsnrt unload",
                                     "hal deinit", "hal unload"));
}

// The debug lines name each controller by its instance pointer; the test names them by order of
// appearance: L the library's, H the board library's, D the design library's.
std::vector<std::string> Symbolic(const std::string& output) {
  static const std::string kHead = "LibraryInitController [";
  static const std::string kInstance = "] - Instance: ";
  std::map<std::string, std::string> names;
  const char* next = "LHD";
  std::vector<std::string> lines;
  std::istringstream in(output);
  for (std::string text; std::getline(in, text);) {
    const size_t step = kHead.size();
    if (text.compare(0, step, kHead) != 0 ||
        text.compare(step + 7, kInstance.size(), kInstance) != 0) {
      lines.push_back("unexpected: " + text);
      continue;
    }
    const size_t pointer = step + 7 + kInstance.size();
    const size_t end = std::min(text.find(' ', pointer), text.size());
    auto [it, added] = names.emplace(text.substr(pointer, end - pointer), "");
    if (added) it->second = *next ? std::string(1, *next++) : "?";
    lines.push_back(text.substr(step, 7) + " " + it->second + text.substr(end));
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
  vesk::tools::logging::Logger* logger = vesk::genicam::GetLibraryLogger();
  EXPECT_TRUE(logger->IsEnabled(1));
  VeskGenICamInit();
  VeskGenICamDeinit();
  // The deinit forgets the logger; asking again gives the same one back.
  EXPECT_EQ(vesk::genicam::GetLibraryLogger(), logger);
}

}  // namespace
