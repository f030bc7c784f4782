// The cost of reading an integer feature by name: the exported call with its frame, lookup and
// type test over the node map's cache, against Aravis reading the same node of the same
// description through the same port, and against the exported call on a register that is
// never cached. Run from build/bin with VESK_LOG_LEVEL unset, so that tracing is off.
#include <arv.h>
#include <benchmark/benchmark.h>

#include <string>

#include "genapi/impl/PortDevice.h"
#include "tests/support/Descriptions.h"
#include "tests/support/TestPort.h"
#include "vesk_genicam/impl/CameraInterface.h"
#include "vesk_genicam/impl/LibraryLogger.h"

namespace {

using vesk::test::FakeCameraDescription;

// The same description with Width's register read from the camera on every access.
std::string UncachedDescription() {
  std::string xml = FakeCameraDescription();
  const size_t port = xml.find("</pPort>", xml.find("Name=\"WidthRegister\""));
  xml.insert(port + 8, "<Cachable>NoCache</Cachable>");
  return xml;
}

void PutBig32(vesk::test::TestPort& port, int64_t address, uint32_t value) {
  for (int i = 0; i < 4; ++i)
    port.memory[address + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

// A camera object connected to a test port with Width 640 of 2048.
class Camera {
 public:
  explicit Camera(const std::string& xml) : object_(&port_, nullptr) {
    port_.xml = xml;
    PutBig32(port_, 0x100, 640);
    PutBig32(port_, 0x11c, 2048);
    connected_ = object_.ConnectCamera() == 0;
  }
  MloCameraHandle* Handle() {
    return connected_ ? reinterpret_cast<MloCameraHandle*>(&object_) : nullptr;
  }
  vesk::test::TestPort& Port() { return port_; }

 private:
  vesk::test::TestPort port_;
  CCameraInterface object_;
  bool connected_ = false;
};

bool TraceIsOn(benchmark::State& state) {
  if (!vesk::genicam::LibraryLogger().Get()->IsEnabled(1)) return false;
  state.SkipWithError("level 1 is enabled; unset VESK_LOG_LEVEL");
  return true;
}

void ReadThroughLayer(benchmark::State& state, const std::string& xml) {
  if (TraceIsOn(state)) return;
  Camera camera(xml);
  int64_t width = 0;
  if (Mlo_getIntegerValue(camera.Handle(), "Width", &width) != 0 || width != 640) {
    state.SkipWithError("the camera does not read");
    return;
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(Mlo_getIntegerValue(camera.Handle(), "Width", &width));
    benchmark::DoNotOptimize(width);
  }
}

void BM_LayerCachedRead(benchmark::State& state) {
  ReadThroughLayer(state, FakeCameraDescription());
}
BENCHMARK(BM_LayerCachedRead);

void BM_LayerUncachedRead(benchmark::State& state) {
  ReadThroughLayer(state, UncachedDescription());
}
BENCHMARK(BM_LayerUncachedRead);

// Aravis alone over the port device of the layer, with the register cache on as the layer has
// it. byName: look the node up on every read, as the exported call does.
void ReadThroughAravis(benchmark::State& state, bool byName) {
  const std::string xml = FakeCameraDescription();
  vesk::test::TestPort port;
  PutBig32(port, 0x100, 640);
  PutBig32(port, 0x11c, 2048);
  GenApi::PortBinding binding;
  binding.port = &port;
  ArvDevice* device = GenApi::CreatePortDevice(&binding);
  ArvGc* genicam = arv_gc_new(device, xml.data(), xml.size());
  GenApi::SetPortDeviceGenicam(device, genicam);
  arv_gc_set_register_cache_policy(genicam, ARV_REGISTER_CACHE_POLICY_ENABLE);
  ArvGcNode* node = arv_gc_get_node(genicam, "Width");
  GError* error = nullptr;
  if (!node || arv_gc_integer_get_value(ARV_GC_INTEGER(node), &error) != 640) {
    state.SkipWithError("Aravis does not read");
  } else {
    for (auto _ : state) {
      if (byName) node = arv_gc_get_node(genicam, "Width");
      benchmark::DoNotOptimize(arv_gc_integer_get_value(ARV_GC_INTEGER(node), &error));
    }
  }
  g_clear_error(&error);
  g_object_unref(genicam);
  g_object_unref(device);
}

void BM_AravisRead(benchmark::State& state) { ReadThroughAravis(state, false); }
BENCHMARK(BM_AravisRead);

void BM_AravisReadByName(benchmark::State& state) { ReadThroughAravis(state, true); }
BENCHMARK(BM_AravisReadByName);

}  // namespace

BENCHMARK_MAIN();
