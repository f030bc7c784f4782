#include "sim/device/cxp/CxpDevice.h"

namespace vesk::sim {

std::shared_ptr<DeviceModel> MakeCxpDevice(const Cable&, LinkChannel&) { return nullptr; }

}  // namespace vesk::sim
