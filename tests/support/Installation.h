#ifndef VESK_TESTS_SUPPORT_INSTALLATION_H
#define VESK_TESTS_SUPPORT_INSTALLATION_H

#include <dlfcn.h>

#include <filesystem>
#include <string>

#include "tests/support/TempDir.h"

namespace vesk::test {

// The shared library in an installation of its own, in the folder `folder` below its root,
// opened with dlopen as an application does; the board runtime found in runtimeLib64 (none when
// empty) goes into the root's lib64. Copies, not links: the dynamic loader would otherwise hand
// back an already loaded library.
class Installation {
 public:
  Installation(const std::string& library, const std::string& runtimeLib64,
               const std::string& folder = "lib64") {
    namespace fs = std::filesystem;
    fs::create_directories(root_.Path() + "/lib64");
    fs::create_directories(root_.File(folder));
    const std::string copy = root_.File(folder) + "/libvesk_genicam.so";
    fs::copy_file(library, copy);
    if (!runtimeLib64.empty()) {
      for (const char* name : {"libvesk_hal.so", "libdsnrt.so"}) {
        fs::copy_file(runtimeLib64 + "/" + name, root_.Path() + "/lib64/" + name);
      }
    }
    handle_ = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
  }
  ~Installation() {
    if (handle_) dlclose(handle_);
  }
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;

  template <class Signature>
  Signature* Function(const char* name) {
    return reinterpret_cast<Signature*>(dlsym(handle_, name));
  }
  void* Handle() const { return handle_; }
  std::string File(const char* name) const { return root_.File(name); }
  const std::string& Root() const { return root_.Path(); }

 private:
  TempDir root_;
  void* handle_ = nullptr;
};

}  // namespace vesk::test

#endif
