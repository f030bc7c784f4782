// The library's GigE port, bridged by the simulator to a TAP interface, against a GigE Vision
// device on the host's side: the port takes an address by AutoIP, discovers and takes over the
// device, loads its XML and reads and writes features by name, through the exported functions.
// Prints "attached" once the TAP interface exists, then one line per step and "done"; keeps the
// interface until the file RELEASE exists, so that a capture on it can end first; exits 0 when
// all steps passed.
// Usage: gbe_interop_client TAP SECONDS RELEASE
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/ApiBoard.h"

namespace {

using vesk::test::ApiBoard;
using vesk::test::ApiEvents;

int failures = 0;

void Step(bool ok, const std::string& what) {
  std::printf("%s: %s\n", ok ? "ok" : "FAIL", what.c_str());
  std::fflush(stdout);
  failures += ok ? 0 : 1;
}

bool AwaitConnected(ApiEvents& events, int seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (std::chrono::steady_clock::now() < end) {
    for (const auto& event : events.Wait(1)) {
      if (event.first == MLO_EVENT_PORTS_CONNECTED && event.second == 1) return true;
    }
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s TAP SECONDS RELEASE\n", argv[0]);
    return 2;
  }
  // A Ka4 board: its transmitter takes every frame, so the ARP probes of AutoIP as well.
  ApiBoard board("<rig><board type='3650' ports='1' design='gige-ka4'/></rig>");
  if (!board.Ok()) {
    std::printf("FAIL: no board\n");
    return 1;
  }
  ApiEvents events;
  Mlo_registerBoardEventCallback(board.Handle(), ApiEvents::Callback, &events);
  const int bridge = VSIM(VSimAttachPortToTap)(0, 0, argv[1]);
  if (bridge < 0) {
    std::printf("FAIL: no bridge to %s (%d)\n", argv[1], bridge);
    return 1;
  }
  std::printf("attached\n");
  std::fflush(stdout);
  Step(AwaitConnected(events, std::atoi(argv[2])), "the device was discovered and taken over");
  Step(Mlo_scanPortsEx(board.Handle(), 0x1, 1000, 0, 0) == 0, "scan");
  MloCameraHandle* camera = nullptr;
  Step(Mlo_getCamera(board.Handle(), 0, &camera) == 0 && camera, "a camera on port 0");
  if (camera) {
    const MloCameraInfo* info = Mlo_getCameraInfo(camera);
    Step(info && std::string(info->vendorName) == "Aravis",
         std::string("vendor ") + (info ? info->vendorName : "?"));
    const int connected = Mlo_connectCamera(camera);
    Step(connected == 0, "XML loaded and node map built: " + std::to_string(connected));
    const char* model = nullptr;
    Step(Mlo_getStringValue(camera, "DeviceModelName", &model) == 0 && model,
         std::string("DeviceModelName = ") + (model ? model : "?"));
    int64_t width = 0;
    Step(Mlo_setIntegerValue(camera, "Width", 256) == 0 &&
             Mlo_getIntegerValue(camera, "Width", &width) == 0 && width == 256,
         "Width written and read back: " + std::to_string(width));
    uint32_t ccp = 0;
    const int read = Mlo_registerReadFromCamera(camera, &ccp, 0x0A00);
    Step(read == 0 && ccp != 0,
         "control held, CCP " + std::to_string(ccp) + ": " + std::to_string(read));
  }
  std::printf("done\n");
  std::fflush(stdout);
  for (int wait = 0; wait < 200 && access(argv[3], F_OK) != 0; ++wait) usleep(100000);
  VSIM(VSimDetachTap)(bridge);
  return failures == 0 ? 0 : 1;
}
