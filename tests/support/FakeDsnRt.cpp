// A design library for tests. It lacks DsnGetNrOfRegister on purpose, like a library of another
// release.
#include <cstring>

#include "loader/dsnrt.h"
#include "tests/support/FakeJournal.h"

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

struct fpga_design {
  int loaded;
};

namespace {
fpga_design g_design{1};
}  // namespace

__attribute__((destructor)) static void Unloaded() { FakeJournal("dsnrt unload"); }

FAKE_EXPORT int VeskDsnRtInit() {
  FakeJournal("dsnrt init");
  return 0;
}

FAKE_EXPORT void VeskDsnRtDeinit() { FakeJournal("dsnrt deinit"); }

FAKE_EXPORT fpga_design* DsnLoadBoardDesign(PLdevice* device) {
  return device ? &g_design : nullptr;
}

FAKE_EXPORT int DsnFreeDesign(fpga_design* design) { return design == &g_design ? 0 : -1; }

FAKE_EXPORT int DsnGetRegisterByName(fpga_design*, const char* name) {
  return std::strcmp(name, "CxpTransceiverStatus_0") == 0 ? 17 : 0;
}
