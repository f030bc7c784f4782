// Wall time of Mlo_scanPortsEx to a ready camera on a simulated CoaXPress board, with the waits
// that the settings allow set to 0, beside the one wait that is left: 256 ms after the
// multiplexer is switched, which both cablings need. What the library and the simulator add to
// that wait is the difference.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace {

constexpr double kSwitchMs = 256;

void ShortenWaits() {
  for (const char* name :
       {"VESK_CXP_WAIT_AFTER_LINK_RESET_DONE", "VESK_CXP_WAIT_AFTER_CAMERA_CONFIG_CHANGED",
        "VESK_CXP_WAIT_AFTER_UPLINK_SPEED_RESET", "VESK_CXP_WAIT_AFTER_POWERUP",
        "VESK_CXP_WAIT_AFTER_TRIP_RESET", "VESK_CXP_WAIT_AFTER_LINK_RESET_ON_EACH_PORT"})
    setenv(name, "0", 1);
  setenv("VESK_CXP_COMMAND_ACK_TIMEOUT", "20", 1);
}

int LoadRig(const std::string& rig) {
  VHalGetNrOfBoards();  // the library's stub loads the runtime
  void* handle = dlopen(VESK_SIM_RUNTIME "/libvesk_hal.so", RTLD_NOW | RTLD_NOLOAD);
  if (!handle) return -1;
  auto load = reinterpret_cast<decltype(&VSimLoadRigText)>(dlsym(handle, "VSimLoadRigText"));
  const int result = load ? load(rig.c_str(), "bench rig") : -1;
  dlclose(handle);
  return result;
}

// operators of the design, and the ports of the camera's links in link order.
void Scan(benchmark::State& state, const char* operators, const char* cabling) {
  ShortenWaits();
  std::string rig = "<rig><board type='2656' ports='4' design='cxp-camera-ctrl' operators='" +
                    std::string(operators) + "'/><camera id='cam' speeds='3125'>";
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
  state.counters["waits_ms"] = kSwitchMs;
  state.counters["ratio"] = totalMs / static_cast<double>(state.iterations()) / kSwitchMs;
}

// The camera on port 3 goes to the nearer of two operators, on firmware port 1.
BENCHMARK_CAPTURE(Scan, OneLink, "1 2 - -", "3")
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Scan, FourLinksShuffled, "1 1.1 1.2 1.3", "2301")
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
