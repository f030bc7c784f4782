#ifndef VESK_SIM_DEVICE_CXP_CXP_DEVICE_H
#define VESK_SIM_DEVICE_CXP_CXP_DEVICE_H

#include <memory>

#include "sim/core/DeviceModel.h"
#include "sim/core/LinkChannel.h"

namespace vesk::sim {

// The camera's half of CoaXPress on the link of cable: bootstrap registers and control packets.
// Null until CoaXPress has a model.
std::shared_ptr<DeviceModel> MakeCxpDevice(const Cable& cable, LinkChannel& channel);

}  // namespace vesk::sim

#endif
