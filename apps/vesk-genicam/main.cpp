// vesk-genicam: the command-line face of libvesk_genicam.so.
#include <cstdio>
#include <cstring>

#include "vesk_genicam/impl/vesk_genicam.h"

namespace {

void PrintUsage(FILE* out) {
  std::fprintf(out,
               "usage: vesk-genicam [info]\n"
               "  info   the library version and the board runtime it found (default)\n");
}

int Info() {
  std::printf("vesk-genicam %s\n", VESK_GENICAM_VERSION);
  VeskGenICamInit();
  const int boards = VHalGetNrOfBoards();
  if (boards == VHAL_ERROR_LIBRARY_NOT_LOADED) {
    std::printf(
        "board runtime: not found (looked for lib64/libvesk_hal.so beside the library's folder, "
        "then under $VESKDIR5_64 and $VESKDIR5)\n");
  } else if (boards < 0) {
    std::printf("board runtime: found, but it cannot list boards: %d\n", boards);
  } else {
    std::printf("board runtime: found, %d board%s\n", boards, boards == 1 ? "" : "s");
  }
  VeskGenICamDeinit();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || std::strcmp(argv[1], "info") == 0) return Info();
  if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
    PrintUsage(stdout);
    return 0;
  }
  std::fprintf(stderr, "vesk-genicam: unknown command '%s'\n", argv[1]);
  PrintUsage(stderr);
  return 2;
}
