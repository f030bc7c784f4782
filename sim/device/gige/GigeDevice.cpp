#include "sim/device/gige/GigeDevice.h"

namespace vesk::sim {

std::shared_ptr<DeviceModel> MakeGigeDevice(const Cable&, LinkChannel&) { return nullptr; }

}  // namespace vesk::sim
