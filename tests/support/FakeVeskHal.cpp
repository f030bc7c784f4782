// A board library for tests: one board (index 0) with fixed facts, and a journal of its life.
// Opened by index 1, a board of a type that no transport knows stands beside it, uncounted.
#include <cstring>

#include "loader/vesk_hal.h"
#include "tests/support/FakeJournal.h"

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

struct PLdevice {
  int index;
};

namespace {
PLdevice g_board{0};
PLdevice g_unknown{1};
}  // namespace

__attribute__((destructor)) static void Unloaded() { FakeJournal("hal unload"); }

FAKE_EXPORT int VeskHalInit() {
  FakeJournal("hal init");
  return 0;
}

FAKE_EXPORT void VeskHalDeinit() { FakeJournal("hal deinit"); }

FAKE_EXPORT int VHalGetNrOfBoards() { return 1; }

FAKE_EXPORT PLdevice* VHalInitDevice(int boardIndex) {
  return boardIndex == 0 ? &g_board : boardIndex == 1 ? &g_unknown : nullptr;
}

FAKE_EXPORT PLdevice* VHalInitDeviceEx(int boardIndex, unsigned int) {
  return VHalInitDevice(boardIndex);
}

FAKE_EXPORT int VHalFreeDevice(PLdevice* device) {
  return device == &g_board || device == &g_unknown ? 0 : -1;
}

FAKE_EXPORT int VHalGetBoardIndex(PLdevice* device, int) {
  return device == &g_board ? 3 : device == &g_unknown ? 4 : -1;
}

FAKE_EXPORT int VHalGetBoardInfoInt(PLdevice* device, const char* key) {
  if (device != &g_board && device != &g_unknown) return -1;
  if (std::strcmp(key, "board/serial") == 0) return 0x1a2b3c;
  if (std::strcmp(key, "board/type") == 0) return device == &g_board ? 0xa42 : 0xa3f;
  return -1;
}
