#include "SimRuntime.h"

#include <dlfcn.h>
#include <link.h>

#include <vesk_genicam/vesk_sim.h>
#include <cstring>

#include "Failure.h"

namespace vesk::tool {

namespace {

// The path of the loaded board library: the library opened it by a path of its own choosing.
int FindBoardLibrary(dl_phdr_info* info, size_t, void* data) {
  static const char kName[] = "/libvesk_hal.so";
  const size_t length = std::strlen(info->dlpi_name);
  if (length < sizeof kName - 1 ||
      std::strcmp(info->dlpi_name + length - (sizeof kName - 1), kName) != 0)
    return 0;
  *static_cast<std::string*>(data) = info->dlpi_name;
  return 1;
}

const char* Meaning(int code) {
  switch (code) {
    case VSIM_ERROR_INVALID_HANDLE:
      return "not an open handle";
    case VSIM_ERROR_INVALID_ARGUMENT:
      return "invalid argument";
    case VSIM_ERROR_NO_SUCH_BOARD:
      return "no such board";
    case VSIM_ERROR_NO_SUCH_PORT:
      return "no such port";
    case VSIM_ERROR_NO_SUCH_CAMERA:
      return "no such camera";
    case VSIM_ERROR_NOT_SUPPORTED:
      return "not supported by the board's design";
    case VSIM_ERROR_PORT_IN_USE:
      return "the port or the link holds a cable already";
    case VSIM_ERROR_NO_CABLE:
      return "no cable in the port";
    case VSIM_ERROR_BUSY:
      return "busy";
    case VSIM_ERROR_RIG:
      return "the rig could not be loaded";
    default:
      return "error";
  }
}

}  // namespace

SimRuntime::SimRuntime() {
  std::string path;
  if (dl_iterate_phdr(FindBoardLibrary, &path))
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
}

SimRuntime::~SimRuntime() {
  if (handle_) dlclose(handle_);
}

void SimRuntime::Require(const std::string& command) const {
  if (!Available())
    UsageError(command +
               ": the board runtime is not the simulated one; sim commands work on it alone");
}

int SimRuntime::Check(int code, const std::string& call) const {
  if (code < 0)
    throw Failure(kCallStatus, call + ": " + std::to_string(code) + " " + Meaning(code));
  return code;
}

void* SimRuntime::Symbol(const char* name) const {
  return handle_ ? dlsym(handle_, name) : nullptr;
}

void* SimRuntime::Required(const char* name) const {
  void* symbol = Symbol(name);
  if (!symbol) CallFailed(name, "not in the board runtime");
  return symbol;
}

}  // namespace vesk::tool
