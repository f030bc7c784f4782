#ifndef VESK_SIM_CORE_TRANSPORTS_H
#define VESK_SIM_CORE_TRANSPORTS_H

#include <functional>
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

// Tests of one half put a device model of their own in place of the transport's; an empty maker
// gives the transport's back. Set it before the cables are plugged.
using DeviceMaker = std::function<std::shared_ptr<DeviceModel>(const Cable&, LinkChannel&)>;
void SetDeviceMakerForTests(Family family, DeviceMaker maker);

}  // namespace vesk::sim

#endif
