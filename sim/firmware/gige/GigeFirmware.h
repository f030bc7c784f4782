#ifndef VESK_SIM_FIRMWARE_GIGE_GIGE_FIRMWARE_H
#define VESK_SIM_FIRMWARE_GIGE_GIGE_FIRMWARE_H

#include <memory>
#include <vector>

#include "sim/core/DesignVariant.h"
#include "sim/core/FirmwareModel.h"

namespace vesk::sim {

class Board;

// The two port variants, as DesignVariant::form tells them apart.
enum GigeForm : unsigned {
  // Frames leave as a stream of 16-bit lanes with control marks and arrive in queue port + 8;
  // the PHYs are reached through the configuration space in clause 45.
  kGigeKorvid = 1,
  // Frames are written 16 bits at a time and sent on the complete flag, and arrive in queue
  // port; the PHYs are reached through named MDIO registers in clause 22.
  kGigeKa4 = 2,
};

// The GigE Vision designs, one per port variant.
std::vector<DesignVariant> GigeDesigns();
// The firmware of a GigE Vision board, in the variant of its design.
std::unique_ptr<FirmwareModel> MakeGigeFirmware(Board& board);

}  // namespace vesk::sim

#endif
