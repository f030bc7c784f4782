// The shared library as an application meets it: copied into an installation of its own next to
// a board runtime, opened with dlopen, used only through its exported symbols.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using vesk::test::ReadLines;
using vesk::test::TempDir;

// A copy, not a link: the dynamic loader would otherwise hand back an already loaded library.
class Installation {
 public:
  explicit Installation(bool withRuntime) {
    fs::create_directories(root_.Path() + "/lib64");
    fs::copy_file(VESK_GENICAM_LIBRARY, root_.Path() + "/lib64/libvesk_genicam.so");
    if (withRuntime) {
      for (const char* name : {"libvesk_hal.so", "libdsnrt.so"}) {
        fs::copy_file(std::string(VESK_TEST_INSTALLED) + "/lib64/" + name,
                      root_.Path() + "/lib64/" + name);
      }
    }
    handle_ = dlopen((root_.Path() + "/lib64/libvesk_genicam.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  }
  ~Installation() {
    if (handle_) dlclose(handle_);
  }

  template <class Signature>
  Signature* Function(const char* name) {
    return reinterpret_cast<Signature*>(dlsym(handle_, name));
  }
  void* Handle() const { return handle_; }
  std::string File(const char* name) const { return root_.File(name); }

 private:
  TempDir root_;
  void* handle_ = nullptr;
};

TEST(SharedLibrary, FindsTheRuntimeInTheLib64FolderThatHoldsIt) {
  unsetenv("VESKDIR5_64");
  unsetenv("VESKDIR5");
  Installation installation(true);
  ASSERT_NE(installation.Handle(), nullptr) << dlerror();
  setenv("VESK_FAKE_JOURNAL", installation.File("journal").c_str(), 1);
  installation.Function<void()>("VeskGenICamInit")();
  EXPECT_EQ(installation.Function<int()>("VHalGetNrOfBoards")(), 1);
  installation.Function<void()>("VeskGenICamDeinit")();
  EXPECT_THAT(ReadLines(installation.File("journal")),
              ElementsAre("hal init", "dsnrt init", "dsnrt deinit", "dsnrt unload", "hal deinit",
                          "hal unload"));
}

TEST(SharedLibrary, WithoutARuntimeStubsAnswerAndTheLibraryStillWorks) {
  Installation installation(false);
  ASSERT_NE(installation.Handle(), nullptr) << dlerror();
  installation.Function<void()>("VeskGenICamInit")();
  EXPECT_EQ(installation.Function<int()>("VHalGetNrOfBoards")(), -2130);
  EXPECT_STREQ(installation.Function<const char*(int)>("Mlo_getErrorDescription")(-1001),
               "Invalid board handle");
  installation.Function<void()>("VeskGenICamDeinit")();
}

TEST(SharedLibrary, ExportsOnlyTheInterface) {
  Installation installation(false);
  ASSERT_NE(installation.Handle(), nullptr) << dlerror();
  EXPECT_EQ(installation.Function<void()>("VeskHalOpenLibrary"), nullptr);
  EXPECT_EQ(installation.Function<void()>("_ZN4vesk6loader13LibraryLoader4OpenEPKcS3_"), nullptr);
  EXPECT_NE(installation.Function<void()>("DsnGetRegisterByName"), nullptr);
  EXPECT_NE(installation.Function<void()>("VHalCameraCtrlSetPortMap"), nullptr);
}

}  // namespace
