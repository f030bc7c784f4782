// The loaders against the fake runtime in the test installation's lib64/.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "loader/LibraryLoader.h"
#include "loader/VeskDsnRtLoader.h"
#include "loader/VeskHalLoader.h"
#include "loader/dsnrt.h"
#include "tests/support/TempDir.h"

namespace {

using ::testing::ElementsAre;
using vesk::loader::LibraryLoader;
using vesk::test::ReadLines;
using vesk::test::TempDir;

TEST(InstallationDirectory, IsTheFolderAboveBinAndAnExplicitOneOpensFromItsLib64) {
  setenv("VESKDIR5_64", "/somewhere/else", 1);
  std::string directory;
  ASSERT_TRUE(LibraryLoader::GetInstallationDirectory(&directory));
  EXPECT_EQ(directory, VESK_TEST_INSTALLED);

  auto library = LibraryLoader::Open("vesk_hal", VESK_TEST_INSTALLED);
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(library->path, std::string(VESK_TEST_INSTALLED) + "/lib64/libvesk_hal.so");
  EXPECT_NE(LibraryLoader::Symbol(*library, "VHalGetNrOfBoards"), nullptr);
  LibraryLoader::Close(std::move(library));
  EXPECT_EQ(LibraryLoader::Open("vesk_hal", "/nonexistent"), nullptr);
}

TEST(BoardLibraryStubs, ForwardToTheLoadedLibraryAndABoardHoldsAUseWhileItIsOpen) {
  EXPECT_EQ(VHalGetNrOfBoards(), 1);
  const uint32_t before = Ns_VeskHal::GetUseCount();
  EXPECT_EQ(VHalInitDevice(9), nullptr);
  EXPECT_EQ(VHalInitDeviceEx(9, 0), nullptr);
  EXPECT_EQ(VHalFreeDevice(nullptr), -1);
  EXPECT_EQ(Ns_VeskHal::GetUseCount(), before) << "failed calls take no use and give none back";

  PLdevice* first = VHalInitDevice(0);
  PLdevice* second = VHalInitDeviceEx(0, 0);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(Ns_VeskHal::GetUseCount(), before + 2);
  EXPECT_EQ(VHalGetBoardIndex(first, 0), 3);
  EXPECT_EQ(VHalGetBoardInfoInt(first, "board/type"), 0xa42);
  EXPECT_EQ(VHalGetBoardInfoInt(first, "no/such/key"), -1);
  EXPECT_EQ(VHalFreeDevice(first), 0);
  EXPECT_EQ(VHalFreeDevice(second), 0);
  EXPECT_EQ(Ns_VeskHal::GetUseCount(), before);
}

TEST(BoardLibraryStubs, TwoOpensAndOneCloseKeepTheLibraryLoaded) {
  TempDir dir;
  setenv("VESK_FAKE_JOURNAL", dir.File("journal").c_str(), 1);
  VeskHalOpenLibrary();
  VeskHalOpenLibrary();
  VeskHalCloseLibrary();
  EXPECT_EQ(VHalGetNrOfBoards(), 1);
  EXPECT_THAT(ReadLines(dir.File("journal")), ElementsAre("hal init"));
  VeskHalCloseLibrary();
  EXPECT_THAT(ReadLines(dir.File("journal")), ElementsAre("hal init", "hal deinit", "hal unload"));
}

TEST(BoardLibraryStubsDeathTest, MissingEntryPointStopsWithItsName) {
  // The fake board library has no register access.
  uint64_t value = 0;
  EXPECT_DEATH(VHalRegisterRead(nullptr, 1, &value),
               "libvesk_hal.so has no entry point VHalRegisterRead");
}

TEST(DesignLibraryStubs, ForwardAndAnswerMinus114ForAMissingEntryPoint) {
  PLdevice* board = VHalInitDevice(0);
  const uint32_t before = Ns_VeskDsnRt::GetUseCount();
  fpga_design* design = DsnLoadBoardDesign(board);
  ASSERT_NE(design, nullptr);
  EXPECT_EQ(Ns_VeskDsnRt::GetUseCount(), before + 1);
  EXPECT_EQ(DsnGetRegisterByName(design, "CxpTransceiverStatus_0"), 17);
  EXPECT_EQ(DsnGetRegisterByName(design, "NoSuchRegister"), 0);
  EXPECT_EQ(DsnGetNrOfRegister(design), DSN_ERROR_NO_ENTRY);
  EXPECT_EQ(DsnGetRegisterName(design, 17), nullptr);
  EXPECT_EQ(DsnFreeDesign(design), 0);
  EXPECT_EQ(Ns_VeskDsnRt::GetUseCount(), before);
  EXPECT_EQ(DsnLoadBoardDesign(nullptr), nullptr);
  EXPECT_EQ(DsnFreeDesign(nullptr), -1);
  EXPECT_EQ(Ns_VeskDsnRt::GetUseCount(), before);
  VHalFreeDevice(board);
}

}  // namespace
