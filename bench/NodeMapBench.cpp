// The cost of building a node map from a camera description: the layer's whole build (white space
// taken from names and values, node objects, links, the check for loops of values) against Aravis
// parsing the same text alone, and the white space pass by itself.
#include <arv.h>
#include <benchmark/benchmark.h>

#include <string>

#include "genapi/GenApi.h"
#include "genapi/impl/DescriptionText.h"
#include "tests/support/Descriptions.h"

namespace {

const std::string& Description() {
  static const std::string text = vesk::test::FakeCameraDescription();
  return text;
}

void BM_LayerBuild(benchmark::State& state) {
  for (auto _ : state) {
    GenApi::CNodeMapRef map;
    map._LoadXMLFromString(Description());
    benchmark::DoNotOptimize(map._Ptr);
  }
  state.SetBytesProcessed(state.iterations() * Description().size());
}
BENCHMARK(BM_LayerBuild);

void BM_AravisParse(benchmark::State& state) {
  for (auto _ : state) {
    ArvGc* genicam = arv_gc_new(nullptr, Description().data(), Description().size());
    benchmark::DoNotOptimize(genicam);
    g_object_unref(genicam);
  }
  state.SetBytesProcessed(state.iterations() * Description().size());
}
BENCHMARK(BM_AravisParse);

void BM_TrimValues(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(GenApi::WithTrimmedValues(Description()));
  state.SetBytesProcessed(state.iterations() * Description().size());
}
BENCHMARK(BM_TrimValues);

}  // namespace

BENCHMARK_MAIN();
