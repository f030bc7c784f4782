#include "SimRuntime.h"

#include <dlfcn.h>

#include <vesk_genicam/vesk_sim.h>

#include "Failure.h"

namespace vesk::tool {

namespace {

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

// The library opened the board runtime by a path of its own; the loaded library answers to its
// name as well.
SimRuntime::SimRuntime() : handle_(dlopen("libvesk_hal.so", RTLD_NOW | RTLD_NOLOAD)) {}

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
