#include "loader/LibraryLoader.h"

#include <dlfcn.h>
#include <link.h>
#include <strings.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "templates/platform/SpinLockVariableGuard.h"

namespace vesk::loader {

namespace {

constexpr size_t kDirectorySize = 1024;

// Filled once; dladdr on its own address names the file this code was loaded from.
char g_directory[kDirectorySize];
bool g_directoryKnown = false;
std::atomic<uint32_t> g_directorySpin{0};

void RemoveTrailingSlashes(std::string& path) {
  while (!path.empty() && path.back() == '/') path.pop_back();
}

bool IsInstallationFolder(const std::string& component) {
  static const char* const kFolders[] = {"bin", "dll", "Hardware Applets", "lib", "lib64"};
  for (const char* folder : kFolders) {
    if (strcasecmp(component.c_str(), folder) == 0) return true;
  }
  return false;
}

// The file that this code was loaded from. A shared library is named by the dynamic linker's
// entry for it. A program that holds this code itself has no name there, and dladdr would give
// its argv[0], which is relative to the folder it was started in, or a bare name found on the
// PATH: the kernel names the program's file.
std::string OwnFile() {
  Dl_info info{};
  link_map* map = nullptr;
  if (dladdr1(static_cast<void*>(g_directory), &info, reinterpret_cast<void**>(&map),
              RTLD_DL_LINKMAP) == 0) {
    return {};
  }
  if (map && map->l_name && *map->l_name) return map->l_name;
  char program[kDirectorySize];
  const ssize_t length = readlink("/proc/self/exe", program, sizeof program);
  if (length <= 0 || static_cast<size_t>(length) >= sizeof program) return {};
  return std::string(program, static_cast<size_t>(length));
}

// Walks up from the file: the directory in front of the first installation folder met.
bool DirectoryFromOwnPath(std::string* directory) {
  std::string path = OwnFile();
  if (path.empty() || path.size() >= kDirectorySize) return false;
  for (;;) {
    const size_t cut = path.rfind('/');
    if (cut == std::string::npos) return false;
    path.resize(cut);
    RemoveTrailingSlashes(path);
    const size_t start = path.rfind('/');
    const std::string component = path.substr(start == std::string::npos ? 0 : start + 1);
    if (IsInstallationFolder(component)) {
      path.resize(start == std::string::npos ? 0 : start);
      RemoveTrailingSlashes(path);
      *directory = path;
      return true;
    }
    if (start == std::string::npos) return false;
  }
}

bool DirectoryFromEnvironment(std::string* directory) {
  for (const char* variable : {"VESKDIR5_64", "VESKDIR5"}) {
    const char* value = std::getenv(variable);
    if (!value || !*value) continue;
    directory->assign(value, strnlen(value, kDirectorySize - 1));
    RemoveTrailingSlashes(*directory);
    return true;
  }
  return false;
}

// Sanitizer runtimes refuse RTLD_DEEPBIND (it would bypass their interceptors).
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kOpenFlags = RTLD_NOW;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr int kOpenFlags = RTLD_NOW;
#else
constexpr int kOpenFlags = RTLD_NOW | RTLD_DEEPBIND;
#endif
#else
constexpr int kOpenFlags = RTLD_NOW | RTLD_DEEPBIND;
#endif

}  // namespace

bool LibraryLoader::GetInstallationDirectory(std::string* directory) {
  templates::platform::SpinLockVariableGuard guard(&g_directorySpin, nullptr);
  if (!g_directoryKnown) {
    std::string found;
    if (!DirectoryFromOwnPath(&found) && !DirectoryFromEnvironment(&found)) return false;
    std::snprintf(g_directory, kDirectorySize, "%s", found.c_str());
    g_directoryKnown = true;
  }
  *directory = g_directory;
  return true;
}

std::unique_ptr<LibraryHandle> LibraryLoader::Open(const char* name, const char* directory) {
  std::string base;
  if (directory) {
    base = directory;
  } else if (!GetInstallationDirectory(&base)) {
    return nullptr;
  }
  char path[4096];
  const int length = std::snprintf(path, sizeof path, "%s/lib64/lib%s.so", base.c_str(), name);
  if (length < 0 || static_cast<size_t>(length) >= sizeof path) return nullptr;
  void* handle = dlopen(path, kOpenFlags);
  if (!handle) return nullptr;
  auto library = std::make_unique<LibraryHandle>();
  library->handle = handle;
  library->path = path;
  return library;
}

void LibraryLoader::Close(std::unique_ptr<LibraryHandle> library) {
  if (library && library->handle) dlclose(library->handle);
}

void* LibraryLoader::Symbol(const LibraryHandle& library, const char* name) {
  return dlsym(library.handle, name);
}

}  // namespace vesk::loader
