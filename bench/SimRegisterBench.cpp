// A firmware register round trip on the simulated board runtime: called on the board library
// directly, and through the forwarding stubs of libvesk_genicam.so as the library's own code
// calls it. Both reach the same simulator, loaded once from lib64/.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>

#include "loader/dsnrt.h"
#include "loader/vesk_hal.h"

namespace {

// The entry points a register access needs, from one library.
struct Entries {
  decltype(&VHalInitDevice) initDevice = nullptr;
  decltype(&VHalFreeDevice) freeDevice = nullptr;
  decltype(&VHalRegisterRead) read = nullptr;
  decltype(&VHalRegisterWrite) write = nullptr;
  decltype(&DsnLoadBoardDesign) loadDesign = nullptr;
  decltype(&DsnFreeDesign) freeDesign = nullptr;
  decltype(&DsnGetRegisterByName) registerByName = nullptr;
};

template <class Function>
void Resolve(void* library, const char* name, Function& function) {
  function = library ? reinterpret_cast<Function>(dlsym(library, name)) : nullptr;
}

Entries Load(void* hal, void* dsnrt) {
  Entries entries;
  Resolve(hal, "VHalInitDevice", entries.initDevice);
  Resolve(hal, "VHalFreeDevice", entries.freeDevice);
  Resolve(hal, "VHalRegisterRead", entries.read);
  Resolve(hal, "VHalRegisterWrite", entries.write);
  Resolve(dsnrt, "DsnLoadBoardDesign", entries.loadDesign);
  Resolve(dsnrt, "DsnFreeDesign", entries.freeDesign);
  Resolve(dsnrt, "DsnGetRegisterByName", entries.registerByName);
  return entries;
}

const Entries& Direct() {
  static const Entries entries = Load(dlopen(VESK_SIM_HAL, RTLD_NOW | RTLD_LOCAL),
                                      dlopen(VESK_SIM_DSNRT, RTLD_NOW | RTLD_LOCAL));
  return entries;
}

const Entries& ThroughStubs() {
  static void* library = dlopen(VESK_GENICAM_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  static const Entries entries = Load(library, library);
  return entries;
}

// Board 0 of the default rig and one of its registers, open for the length of a benchmark.
class Register {
 public:
  explicit Register(const Entries& entries) : entries_(entries) {
    if (!entries.initDevice || !entries.loadDesign) return;
    device_ = entries.initDevice(0);
    design_ = device_ ? entries.loadDesign(device_) : nullptr;
    id_ = design_ ? entries.registerByName(design_, "CxpTransceiverStatus_0") : 0;
  }
  ~Register() {
    if (design_) entries_.freeDesign(design_);
    if (device_) entries_.freeDevice(device_);
  }
  bool Usable() const { return id_ > 0; }
  int Read(uint64_t& value) const { return entries_.read(device_, id_, &value); }
  int Write(uint64_t value) const { return entries_.write(device_, id_, value); }

 private:
  const Entries& entries_;
  PLdevice* device_ = nullptr;
  fpga_design* design_ = nullptr;
  int id_ = 0;
};

void ReadRegister(benchmark::State& state, const Entries& entries) {
  Register reg(entries);
  if (!reg.Usable()) return state.SkipWithError("no simulated board 0 with its register");
  uint64_t value = 0;
  for (auto _ : state) {
    if (reg.Read(value) != 0) return state.SkipWithError("register read failed");
    benchmark::DoNotOptimize(value);
  }
}

void WriteRegister(benchmark::State& state, const Entries& entries) {
  Register reg(entries);
  if (!reg.Usable()) return state.SkipWithError("no simulated board 0 with its register");
  uint64_t value = 0;
  for (auto _ : state) {
    if (reg.Write(++value) != 0) return state.SkipWithError("register write failed");
  }
}

void BM_RegisterReadDirect(benchmark::State& state) { ReadRegister(state, Direct()); }
void BM_RegisterWriteDirect(benchmark::State& state) { WriteRegister(state, Direct()); }
void BM_RegisterReadThroughStubs(benchmark::State& state) { ReadRegister(state, ThroughStubs()); }
void BM_RegisterWriteThroughStubs(benchmark::State& state) { WriteRegister(state, ThroughStubs()); }
BENCHMARK(BM_RegisterReadDirect);
BENCHMARK(BM_RegisterWriteDirect);
BENCHMARK(BM_RegisterReadThroughStubs);
BENCHMARK(BM_RegisterWriteThroughStubs);

}  // namespace

BENCHMARK_MAIN();
