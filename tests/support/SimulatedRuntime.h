#ifndef VESK_TESTS_SUPPORT_SIMULATED_RUNTIME_H
#define VESK_TESTS_SUPPORT_SIMULATED_RUNTIME_H

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "loader/LibraryLoader.h"
#include "loader/vesk_hal.h"

namespace vesk::test {

// A control function of the simulated board runtime that the library's stubs loaded from the
// test's installation. The program links the library's stubs, so the runtime's own VHal names
// are reached through those; only the VSim names come from here.
template <class Signature>
Signature* SimFunction(const char* name) {
  VHalGetNrOfBoards();  // loads the runtime
  std::string directory;
  if (!loader::LibraryLoader::GetInstallationDirectory(&directory))
    throw std::runtime_error("no installation directory");
  const std::string path = directory + "/lib64/libvesk_hal.so";
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (!handle) throw std::runtime_error("simulated runtime not loaded: " + path);
  void* function = dlsym(handle, name);
  dlclose(handle);
  if (!function) throw std::runtime_error(std::string("simulated runtime lacks ") + name);
  return reinterpret_cast<Signature*>(function);
}

}  // namespace vesk::test

// The runtime's function of that name, typed by its declaration in vesk_sim.h.
#define VSIM(name) (*vesk::test::SimFunction<decltype(name)>(#name))

#endif
