#ifndef VESK_SIM_DEVICE_CL_CL_DEVICE_H
#define VESK_SIM_DEVICE_CL_CL_DEVICE_H

#include <memory>

#include "sim/core/DeviceModel.h"
#include "sim/core/LinkChannel.h"

namespace vesk::sim {

// The camera's half of Camera Link on the link of cable: GenCP over the serial channel. Null until
// Camera Link has a model.
std::shared_ptr<DeviceModel> MakeClDevice(const Cable& cable, LinkChannel& channel);

}  // namespace vesk::sim

#endif
