#ifndef VESK_LOADER_LIBRARY_LOADER_H
#define VESK_LOADER_LIBRARY_LOADER_H

#include <memory>
#include <string>

namespace vesk::loader {

// A library opened with dlopen.
struct LibraryHandle {
  void* handle = nullptr;
  std::string path;
};

// Finds and opens the libraries of the runtime: <installation>/lib64/lib<name>.so.
class LibraryLoader {
 public:
  // The installation directory: the directory above the "bin", "dll", "Hardware Applets", "lib"
  // or "lib64" folder that holds this library; else $VESKDIR5_64, else $VESKDIR5. Found once and
  // kept; when nothing is found, false, and the next call searches again.
  static bool GetInstallationDirectory(std::string* directory);
  // Opens <directory>/lib64/lib<name>.so, the installation directory when directory is null.
  // Null when the directory is unknown or dlopen fails.
  static std::unique_ptr<LibraryHandle> Open(const char* name, const char* directory = nullptr);
  static void Close(std::unique_ptr<LibraryHandle> library);
  // The address of a symbol of an open library, or null.
  static void* Symbol(const LibraryHandle& library, const char* name);
};

}  // namespace vesk::loader

#endif
