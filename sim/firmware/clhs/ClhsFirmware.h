#ifndef VESK_SIM_FIRMWARE_CLHS_CLHS_FIRMWARE_H
#define VESK_SIM_FIRMWARE_CLHS_CLHS_FIRMWARE_H

#include <memory>
#include <vector>

#include "sim/core/DesignVariant.h"
#include "sim/core/FirmwareModel.h"

namespace vesk::sim {

class Board;

// The Camera Link HS designs, with a link status per port or one for all.
std::vector<DesignVariant> ClhsDesigns();
// The firmware of a Camera Link HS board; null until Camera Link HS has a model.
std::unique_ptr<FirmwareModel> MakeClhsFirmware(Board& board);

}  // namespace vesk::sim

#endif
