#ifndef VESK_SIM_CORE_TRANSPORTS_H
#define VESK_SIM_CORE_TRANSPORTS_H

#include <memory>

#include "sim/core/DesignVariant.h"
#include "sim/core/DeviceModel.h"
#include "sim/core/FirmwareModel.h"
#include "sim/core/LinkChannel.h"

namespace vesk::sim {

class Board;

// The two halves of the board's transport, each made in its own folder: sim/firmware/<transport>/
// and sim/device/<transport>/. Null while the transport has none: its boards keep plain registers
// and queues, and no camera answers on its links.
std::unique_ptr<FirmwareModel> MakeFirmwareModel(Board& board);
std::shared_ptr<DeviceModel> MakeDeviceModel(Family family, const Cable& cable,
                                             LinkChannel& channel);

}  // namespace vesk::sim

#endif
