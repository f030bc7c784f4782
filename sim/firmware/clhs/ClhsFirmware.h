#ifndef VESK_SIM_FIRMWARE_CLHS_CLHS_FIRMWARE_H
#define VESK_SIM_FIRMWARE_CLHS_CLHS_FIRMWARE_H

#include <memory>
#include <vector>

#include "sim/core/DesignVariant.h"
#include "sim/core/FirmwareModel.h"

namespace vesk::sim {

class Board;

// The firmware forms of Camera Link HS, by where the transceiver status lies.
constexpr unsigned kClhsStatusPerPort = 2;  // GtxStatus_<n>
constexpr unsigned kClhsStatusOfBoard = 3;  // GtxStatus, which wins where both exist

// The Camera Link HS designs, with a link status per port, one for all, or both.
std::vector<DesignVariant> ClhsDesigns();
// The firmware of a Camera Link HS board: an X-Core command channel per firmware channel, a
// transceiver per physical port, and the discovery selector between them.
std::unique_ptr<FirmwareModel> MakeClhsFirmware(Board& board);

}  // namespace vesk::sim

#endif
