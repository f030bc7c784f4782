#ifndef VESK_SIM_FIRMWARE_CXP_CXP_FIRMWARE_H
#define VESK_SIM_FIRMWARE_CXP_CXP_FIRMWARE_H

#include <memory>
#include <vector>

#include "sim/core/DesignVariant.h"
#include "sim/core/FirmwareModel.h"

namespace vesk::sim {

class Board;

// The CoaXPress designs: the queue form with its camera controller, and the register forms.
std::vector<DesignVariant> CxpDesigns();
// The firmware of a CoaXPress board, in the form of its design.
std::unique_ptr<FirmwareModel> MakeCxpFirmware(Board& board);

}  // namespace vesk::sim

#endif
