// Any text either is refused with a RigError or gives a rig whose links all reach existing ports
// of boards numbered from 0, each port once.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

#include "sim/core/RigReader.h"

using vesk::sim::Rig;
using vesk::sim::RigError;

namespace {

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "accepted rig breaks its rule: %s\n", what);
  std::abort();
}

void CheckRig(const Rig& rig) {
  for (size_t i = 0; i < rig.boards.size(); ++i) {
    Check(rig.boards[i].index == static_cast<int>(i), "boards are numbered from 0");
    Check(rig.boards[i].gigePorts <= rig.boards[i].ports, "GigE ports are ports of the board");
  }
  std::set<std::pair<int, unsigned>> used;
  for (const vesk::sim::RigCamera& camera : rig.cameras) {
    Check(!camera.links.empty(), "a camera has a link");
    Check(camera.defaultLinks >= 1 && camera.defaultLinks <= camera.links.size(),
          "the default links are links of the camera");
    for (const vesk::sim::RigLink& link : camera.links) {
      if (link.board < 0) continue;
      Check(static_cast<size_t>(link.board) < rig.boards.size(), "a link reaches a board");
      Check(link.port < rig.boards[static_cast<size_t>(link.board)].ports, "a link reaches a port");
      Check(used.insert({link.board, link.port}).second, "a port holds one link");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  try {
    CheckRig(vesk::sim::RigReader::Read(std::string(reinterpret_cast<const char*>(data), size),
                                        "fuzz.xml"));
  } catch (const RigError&) {
  }
  return 0;
}
