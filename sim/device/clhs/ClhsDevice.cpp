#include "sim/device/clhs/ClhsDevice.h"

namespace vesk::sim {

std::shared_ptr<DeviceModel> MakeClhsDevice(const Cable&, LinkChannel&) { return nullptr; }

}  // namespace vesk::sim
