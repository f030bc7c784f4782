// Wall time of Mlo_scanPortsEx to a ready camera on a simulated CoaXPress board, with the
// default settings, beside the waits that the pipeline must take on the way: what the library
// adds to its own waits is the difference.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <chrono>
#include <string>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace {

// The waits of the first pass with the default settings: 200 ms after the link reset, which on
// this board also sets the uplinks, so that the speed search finds them set and does not wait;
// and 256 ms after switching the multiplexer where the cabling asks for it.
constexpr double kLinkResetMs = 200;
constexpr double kSwitchMs = 256;

int LoadRig(const std::string& rig) {
  VHalGetNrOfBoards();  // the library's stub loads the runtime
  void* handle = dlopen(VESK_SIM_RUNTIME "/libvesk_hal.so", RTLD_NOW | RTLD_NOLOAD);
  if (!handle) return -1;
  auto load = reinterpret_cast<decltype(&VSimLoadRigText)>(dlsym(handle, "VSimLoadRigText"));
  const int result = load ? load(rig.c_str(), "bench rig") : -1;
  dlclose(handle);
  return result;
}

void Scan(benchmark::State& state, const char* cabling, double waitsMs) {
  std::string rig =
      "<rig><board type='2656' ports='4' design='cxp-camera-ctrl' operators='1 1.1 1.2 1.3'/>"
      "<camera id='cam' speeds='3125'>";
  for (const char* port = cabling; *port; ++port)
    rig += std::string("<link board='0' port='") + *port + "'/>";
  rig += "</camera></rig>";
  double totalMs = 0;
  for (auto _ : state) {
    // Each scan starts from the board as a fresh rig has it: cables, speeds and multiplexer.
    if (LoadRig(rig) != 0) return state.SkipWithError("no rig");
    Fg_Struct_s board{VHalInitDevice(0), nullptr};
    board.design = DsnLoadBoardDesign(board.device);
    MloBoardHandle* handle = nullptr;
    if (Mlo_initBoardEx(&board, 0, &handle, 0xF) != 0) return state.SkipWithError("no board");
    const auto start = std::chrono::steady_clock::now();
    const int found = Mlo_scanPortsEx(handle, 0xF, 10000, 0, 0);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(took.count() / 1000);
    totalMs += took.count();
    Mlo_freeBoard(handle);
    DsnFreeDesign(board.design);
    VHalFreeDevice(board.device);
    if (found != 0) return state.SkipWithError("no camera");
  }
  state.counters["waits_ms"] = waitsMs;
  state.counters["ratio"] = totalMs / static_cast<double>(state.iterations()) / waitsMs;
}

BENCHMARK_CAPTURE(Scan, OneLink, "0", kLinkResetMs)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Scan, FourLinksShuffled, "2301", kLinkResetMs + kSwitchMs)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
