#ifndef VESK_SIM_DEVICE_CLHS_CLHS_DEVICE_H
#define VESK_SIM_DEVICE_CLHS_CLHS_DEVICE_H

#include <memory>

#include "sim/core/DeviceModel.h"
#include "sim/core/LinkChannel.h"

namespace vesk::sim {

// The camera's half of Camera Link HS on the link of cable: GenCP over the X-Core command channel.
// Null until Camera Link HS has a model.
std::shared_ptr<DeviceModel> MakeClhsDevice(const Cable& cable, LinkChannel& channel);

}  // namespace vesk::sim

#endif
