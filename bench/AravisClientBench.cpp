// Run as root: build/bin/aravis_client_bench --benchmark_repetitions=5 (as another user the
// Aravis row is skipped). Both rows wait on another thread's wake-up, which the machine's load
// moves by a factor of two: compare the rows of one run, never across runs.
// A 4-byte GVCP READREG of the heartbeat time-out through the library's GigE port, on a simulated
// board cabled to a simulated camera, against Aravis's own client reading the same register of
// the same camera, which the simulator bridges to a TAP interface in a network namespace of this
// program's own. The library's cost beside a client of the field is the ratio of the rows.
#include <arpa/inet.h>
#include <arv.h>
#include <benchmark/benchmark.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "bench/GbeBoard.h"
#include "vesk_genicam/impl/GbeKorvid4GPort.h"

namespace {

constexpr unsigned short kReadReg = 0x80;
constexpr unsigned int kHeartbeatTimeout = 0x0938;
constexpr char kTap[] = "vskbench0";
constexpr int kDiscoveries = 5;

// Set once in main, before any thread: the TAP and Aravis's sockets then live in a namespace
// that goes with the process, where the camera is the only device and the address no clash.
bool privateNetwork = false;

void LibraryPortReadRegister(benchmark::State& state) {
  GbeBoard board("gige-korvid", 2898);
  CGbePortBase* port = board.Ok() ? board.MakePort<CGbeKorvid4GPort>() : nullptr;
  if (!port) return state.SkipWithError("no camera taken over");
  unsigned char value[4] = {};
  for (auto _ : state) {
    unsigned int received = 0;
    if (port->ExecCmd(kReadReg, kHeartbeatTimeout, value, 4, received, 1, 1000, true) != 0 ||
        received != 4)
      return state.SkipWithError("read failed");
  }
}
BENCHMARK(LibraryPortReadRegister)->UseRealTime();

ifreq TapRequest() {
  ifreq tap{};
  std::strncpy(tap.ifr_name, kTap, IFNAMSIZ - 1);
  return tap;
}

bool SetAddress(int socket, unsigned long request, const char* address) {
  ifreq tap = TapRequest();
  auto* in = reinterpret_cast<sockaddr_in*>(&tap.ifr_addr);
  in->sin_family = AF_INET;
  inet_pton(AF_INET, address, &in->sin_addr);
  return ioctl(socket, request, &tap) == 0;
}

// The host's side of the link-local network on which the camera has its address.
bool ConfigureTap(int socket) {
  ifreq tap = TapRequest();
  if (!SetAddress(socket, SIOCSIFADDR, "169.254.0.1") ||
      !SetAddress(socket, SIOCSIFNETMASK, "255.255.0.0") || ioctl(socket, SIOCGIFFLAGS, &tap) != 0)
    return false;
  tap.ifr_flags |= IFF_UP;
  return ioctl(socket, SIOCSIFFLAGS, &tap) == 0;
}

bool BringUpTap() {
  const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  if (socket < 0) return false;
  const bool up = ConfigureTap(socket);
  close(socket);
  return up;
}

// The camera as Aravis finds it, by discovery; the first answer may come after the first scan.
ArvDevice* OpenCamera(std::string& error) {
  for (int attempt = 0; attempt < kDiscoveries; ++attempt) {
    arv_update_device_list();
    for (unsigned int i = 0; i < arv_get_n_devices(); ++i) {
      const char* protocol = arv_get_device_protocol(i);
      if (!protocol || std::strcmp(protocol, "GigEVision") != 0) continue;
      GError* failure = nullptr;
      ArvDevice* device = arv_open_device(arv_get_device_id(i), &failure);
      if (failure) {
        error = failure->message;
        g_error_free(failure);
      }
      return device;
    }
  }
  error = "not discovered";
  return nullptr;
}

void ReadWithAravis(benchmark::State& state, ArvDevice* device) {
  for (auto _ : state) {
    guint32 value = 0;
    if (!arv_device_read_register(device, kHeartbeatTimeout, &value, nullptr))
      return state.SkipWithError("read failed");
  }
}

void AravisReadRegister(benchmark::State& state) {
  if (!privateNetwork) return state.SkipWithError("skipped: the TAP interface needs root");
  GbeBoard board("gige-korvid", 2898);
  if (!board.Ok() || VSIM(VSimUnplug)(0, 0) != 0) return state.SkipWithError("no camera");
  const int bridge = VSIM(VSimAttachCameraToTap)(0, kTap);
  if (bridge < 0) return state.SkipWithError("the camera was not bridged to a TAP interface");
  std::string error = "no address on " + std::string(kTap);
  ArvDevice* device = BringUpTap() ? OpenCamera(error) : nullptr;
  if (device) {
    ReadWithAravis(state, device);
    g_object_unref(device);
  } else {
    state.SkipWithError(("Aravis did not open the camera: " + error).c_str());
  }
  VSIM(VSimDetachTap)(bridge);
}
BENCHMARK(AravisReadRegister)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  privateNetwork = unshare(CLONE_NEWNET) == 0;
  if (!privateNetwork) std::printf("AravisReadRegister skipped: a network namespace needs root\n");
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  arv_shutdown();
  return 0;
}
