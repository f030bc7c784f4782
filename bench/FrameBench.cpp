// The cost of the exported functions' frame with tracing off: an exported call whose level-1
// trace is disabled must cost no more than the level test itself. Run from build/bin so that
// the installation's dispatcher is found; with VESK_LOG_LEVEL unset it lets nothing through.
#include <benchmark/benchmark.h>

#include "vesk_genicam/impl/ApiArguments.h"
#include "vesk_genicam/impl/ApiCall.h"
#include "vesk_genicam/impl/Utility.h"

namespace {

using vesk::genicam::ApiCall;

// The work of a typical exported call once its arguments pass: a table lookup.
__attribute__((noinline)) const char* Work(int code) { return CUtility::GetError(code); }

__attribute__((noinline)) int Framed(MloBoardHandle* board, unsigned int port, int code,
                                     const char** text) {
  ApiCall call(__LINE__, "Mlo_bench", [=] { return vesk::genicam::FormatBoardPort(board, port); });
  if (!text) return call.Fail(-1991, "Invalid text pointer");
  if (!board) return call.Fail(-1001, "Invalid board handle");
  *text = Work(code);
  return call.Return(0);
}

__attribute__((noinline)) int Bare(MloBoardHandle* board, unsigned int, int code,
                                   const char** text) {
  if (!text) return -1991;
  if (!board) return -1001;
  *text = Work(code);
  return 0;
}

MloBoardHandle* const kBoard = reinterpret_cast<MloBoardHandle*>(0x1000);

void BM_CallWithoutFrame(benchmark::State& state) {
  const char* text = nullptr;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Bare(kBoard, 1, -1000, &text));
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_CallWithoutFrame);

void BM_CallWithFrameTraceOff(benchmark::State& state) {
  const char* text = nullptr;
  if (vesk::genicam::LibraryLogger().Get()->IsEnabled(1)) {
    state.SkipWithError("level 1 is enabled; unset VESK_LOG_LEVEL");
    return;
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(Framed(kBoard, 1, -1000, &text));
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_CallWithFrameTraceOff);

void BM_LevelTestOnly(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(vesk::genicam::LibraryLogger().Get()->IsEnabled(1));
  }
}
BENCHMARK(BM_LevelTestOnly);

}  // namespace

BENCHMARK_MAIN();
