// The shared library as an application meets it: copied into an installation of its own next to
// a board runtime, opened with dlopen, used only through its exported symbols.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/Installation.h"

namespace {

using ::testing::ElementsAre;
using vesk::test::Installation;
using vesk::test::ReadLines;

TEST(SharedLibrary, FindsTheRuntimeInTheLib64FolderThatHoldsIt) {
  unsetenv("VESKDIR5_64");
  unsetenv("VESKDIR5");
  Installation installation(VESK_GENICAM_LIBRARY, std::string(VESK_TEST_INSTALLED) + "/lib64");
  ASSERT_NE(installation.Handle(), nullptr) << dlerror();
  setenv("VESK_FAKE_JOURNAL", installation.File("journal").c_str(), 1);
  installation.Function<void()>("VeskGenICamInit")();
  EXPECT_EQ(installation.Function<int()>("VHalGetNrOfBoards")(), 1);
  installation.Function<void()>("VeskGenICamDeinit")();
  EXPECT_THAT(ReadLines(installation.File("journal")),
              ElementsAre("hal init", "dsnrt init", "dsnrt deinit", "dsnrt unload", "hal deinit",
                          "hal unload"));
}

// That it exports nothing else, the exported_symbols test checks.
TEST(SharedLibrary, WithoutARuntimeItsInterfaceStubsAnswerAndTheLibraryStillWorks) {
  Installation installation(VESK_GENICAM_LIBRARY, "");
  ASSERT_NE(installation.Handle(), nullptr) << dlerror();
  EXPECT_NE(installation.Function<void()>("DsnGetRegisterByName"), nullptr);
  EXPECT_NE(installation.Function<void()>("VHalCameraCtrlSetPortMap"), nullptr);
  installation.Function<void()>("VeskGenICamInit")();
  EXPECT_EQ(installation.Function<int()>("VHalGetNrOfBoards")(), -2130);
  EXPECT_STREQ(installation.Function<const char*(int)>("Mlo_getErrorDescription")(-1001),
               "Invalid board handle");
  installation.Function<void()>("VeskGenICamDeinit")();
}

}  // namespace
