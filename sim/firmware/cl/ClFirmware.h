#ifndef VESK_SIM_FIRMWARE_CL_CL_FIRMWARE_H
#define VESK_SIM_FIRMWARE_CL_CL_FIRMWARE_H

#include <memory>
#include <vector>

#include "sim/core/DesignVariant.h"
#include "sim/core/FirmwareModel.h"

namespace vesk::sim {

class Board;

// The Camera Link designs: base, medium and full, and one that tells its ports by a register.
std::vector<DesignVariant> ClDesigns();
// The firmware of a Camera Link board; null until Camera Link has a model.
std::unique_ptr<FirmwareModel> MakeClFirmware(Board& board);

}  // namespace vesk::sim

#endif
