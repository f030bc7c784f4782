#ifndef VESK_SIM_FIRMWARE_GIGE_GIGE_FIRMWARE_H
#define VESK_SIM_FIRMWARE_GIGE_GIGE_FIRMWARE_H

#include <memory>
#include <vector>

#include "sim/core/DesignVariant.h"
#include "sim/core/FirmwareModel.h"

namespace vesk::sim {

class Board;

// The GigE Vision designs, one per port variant.
std::vector<DesignVariant> GigeDesigns();
// The firmware of a GigE Vision board; null until GigE Vision has a model.
std::unique_ptr<FirmwareModel> MakeGigeFirmware(Board& board);

}  // namespace vesk::sim

#endif
