// The shared library as an application meets it: copied into an installation of its own next to
// a board runtime, opened with dlopen, used only through its exported symbols.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

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

// The runtime is found in lib64 beside the folder above the library's own bin, lib or lib64 (in
// any case); only a library in none of these asks $VESKDIR5_64, then $VESKDIR5. "@" stands for
// the installation's root.
TEST(SharedLibrary, FindsTheRuntimeFromItsFolderOrElseFromTheEnvironment) {
  struct Row {
    const char* folder;
    const char* veskdir5_64;
    const char* veskdir5;
    int boards;
  };
  const Row rows[] = {
      {"lib64", nullptr, nullptr, 1},
      {"lib", nullptr, nullptr, 1},
      {"bin", nullptr, nullptr, 1},
      {"Lib64", nullptr, nullptr, 1},
      {"lib64", "/nonexistent", "/nonexistent", 1},
      {"plain", "@", nullptr, 1},
      {"plain", nullptr, "@", 1},
      {"plain", "@", "/nonexistent", 1},
      {"plain", "/nonexistent", "@", -2130},
      {"plain", nullptr, nullptr, -2130},
  };
  for (const Row& row : rows) {
    Installation installation(VESK_GENICAM_LIBRARY, std::string(VESK_TEST_INSTALLED) + "/lib64",
                              row.folder);
    ASSERT_NE(installation.Handle(), nullptr) << dlerror();
    const auto environment = [&](const char* variable, const char* value) {
      std::string text = value ? value : "";
      if (text[0] == '@') text.replace(0, 1, installation.Root());
      value ? setenv(variable, text.c_str(), 1) : unsetenv(variable);
    };
    environment("VESKDIR5_64", row.veskdir5_64);
    environment("VESKDIR5", row.veskdir5);
    installation.Function<void()>("VeskGenICamInit")();
    EXPECT_EQ(installation.Function<int()>("VHalGetNrOfBoards")(), row.boards)
        << row.folder << " " << (row.veskdir5_64 ? row.veskdir5_64 : "-") << " "
        << (row.veskdir5 ? row.veskdir5 : "-");
    installation.Function<void()>("VeskGenICamDeinit")();
  }
  unsetenv("VESKDIR5_64");
  unsetenv("VESKDIR5");
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
