// A program outside any installation folder: the runtime is found only through $VESKDIR5_64
// or $VESKDIR5, and without them every stub answers as if the library were absent.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "loader/LibraryLoader.h"
#include "loader/VeskDsnRtLoader.h"
#include "loader/VeskHalLoader.h"
#include "loader/dsnrt.h"
#include "tools/logging/Logging.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace {

using vesk::loader::LibraryLoader;
using vesk::tools::logging::Logging;

class Uninstalled : public ::testing::Test {
 protected:
  void SetUp() override {
    // The build tree may itself sit below a folder named bin or lib; then this program is
    // inside an installation after all and the premise of these tests does not hold.
    std::string directory;
    unsetenv("VESKDIR5_64");
    unsetenv("VESKDIR5");
    if (LibraryLoader::GetInstallationDirectory(&directory)) {
      GTEST_SKIP() << "build tree below an installation folder: " << directory;
    }
  }
};

TEST_F(Uninstalled, EveryKindOfStubGivesItsAbsentValue) {
  uint64_t value = 0;
  int rx = 0;
  int tx = 0;
  EXPECT_EQ(VHalGetNrOfBoards(), -2130);
  EXPECT_EQ(VHalRegisterRead(nullptr, 1, &value), -2130);
  EXPECT_EQ(VHalRegisterWrite(nullptr, 1, 5), -2130);
  EXPECT_EQ(VHalDataQueueClear(nullptr, 0), -2130);
  EXPECT_EQ(VHalClSerInit(nullptr, 0, 9600, &rx, &tx), -2130);
  EXPECT_EQ(VHalCameraCtrlSetPortMap(nullptr, 0x7654321076543210ull), -2130);
  EXPECT_EQ(VHalGetBoardIndex(nullptr, 0), -1);
  EXPECT_EQ(VHalInitDevice(0), nullptr);
  EXPECT_EQ(VHalInitDeviceEx(0, 0), nullptr);
  EXPECT_EQ(VHalFreeDevice(nullptr), -2130);
  EXPECT_EQ(DsnGetRegisterByName(nullptr, "GtxStatus"), -1);
  EXPECT_EQ(DsnGetNrOfRegister(nullptr), -1);
  EXPECT_EQ(DsnGetRegisterName(nullptr, 1), nullptr);
  EXPECT_EQ(DsnGetDesignName(nullptr), nullptr);
  EXPECT_EQ(DsnLoadBoardDesign(nullptr), nullptr);
  EXPECT_EQ(Ns_VeskHal::GetUseCount(), 0u);
  EXPECT_EQ(Ns_VeskDsnRt::GetUseCount(), 0u);
}

TEST_F(Uninstalled, WithoutADispatcherAllLoggersAreOneSilentLogger) {
  auto* lib = Logging::GetLogger("vesk.genicam.lib");
  auto* port = Logging::GetLogger("vesk.genicam.CxpPort");
  EXPECT_EQ(lib, port);
  for (unsigned int level = 1; level <= 6; ++level) EXPECT_FALSE(lib->IsEnabled(level)) << level;
  lib->Write(5, "goes nowhere");
}

TEST_F(Uninstalled, TheEnvironmentIsAskedAgainAfterAFailedSearch) {
  VeskGenICamInit();
  EXPECT_EQ(VHalGetNrOfBoards(), -2130);
  VeskGenICamDeinit();

  setenv("VESKDIR5", VESK_TEST_INSTALLED "///", 1);
  VeskGenICamInit();
  EXPECT_EQ(VHalGetNrOfBoards(), 1);
  std::string directory;
  ASSERT_TRUE(LibraryLoader::GetInstallationDirectory(&directory));
  EXPECT_EQ(directory, VESK_TEST_INSTALLED);
  VeskGenICamDeinit();
}

TEST_F(Uninstalled, Veskdir5_64WinsOverVeskdir5) {
  setenv("VESKDIR5", "/nonexistent", 1);
  setenv("VESKDIR5_64", VESK_TEST_INSTALLED, 1);
  EXPECT_EQ(VHalGetNrOfBoards(), 1);
}

}  // namespace
