#include "sim/device/cl/ClDevice.h"

namespace vesk::sim {

std::shared_ptr<DeviceModel> MakeClDevice(const Cable&, LinkChannel&) { return nullptr; }

}  // namespace vesk::sim
