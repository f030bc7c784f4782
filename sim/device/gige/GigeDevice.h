#ifndef VESK_SIM_DEVICE_GIGE_GIGE_DEVICE_H
#define VESK_SIM_DEVICE_GIGE_GIGE_DEVICE_H

#include <memory>

#include "sim/core/DeviceModel.h"
#include "sim/core/LinkChannel.h"

namespace vesk::sim {

// The camera's half of GigE Vision on the link of cable: GVCP over its own Ethernet, ARP, IPv4 and
// UDP. Null until GigE Vision has a model.
std::shared_ptr<DeviceModel> MakeGigeDevice(const Cable& cable, LinkChannel& channel);

}  // namespace vesk::sim

#endif
