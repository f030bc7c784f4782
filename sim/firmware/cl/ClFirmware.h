#ifndef VESK_SIM_FIRMWARE_CL_CL_FIRMWARE_H
#define VESK_SIM_FIRMWARE_CL_CL_FIRMWARE_H

#include <memory>
#include <vector>

#include "sim/core/DesignVariant.h"
#include "sim/core/FirmwareModel.h"

namespace vesk::sim {

class Board;

// The Camera Link designs: base, medium and full, and those that tell their ports by a register.
std::vector<DesignVariant> ClDesigns();
// The firmware of a Camera Link board: per port, the serial channel between its two byte queues
// and the cable, at the rate the host set, and the camera clock.
std::unique_ptr<FirmwareModel> MakeClFirmware(Board& board);

}  // namespace vesk::sim

#endif
