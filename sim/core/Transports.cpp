#include "sim/core/Transports.h"

#include <map>
#include <mutex>

#include "sim/core/Board.h"
#include "sim/device/cl/ClDevice.h"
#include "sim/device/clhs/ClhsDevice.h"
#include "sim/device/cxp/CxpDevice.h"
#include "sim/device/gige/GigeDevice.h"
#include "sim/firmware/cl/ClFirmware.h"
#include "sim/firmware/clhs/ClhsFirmware.h"
#include "sim/firmware/cxp/CxpFirmware.h"
#include "sim/firmware/gige/GigeFirmware.h"

namespace vesk::sim {

namespace {

std::mutex makersMutex;
std::map<Family, DeviceMaker> testMakers;

DeviceMaker TestMakerOf(Family family) {
  std::lock_guard<std::mutex> lock(makersMutex);
  auto found = testMakers.find(family);
  return found == testMakers.end() ? nullptr : found->second;
}

}  // namespace

void SetDeviceMakerForTests(Family family, DeviceMaker maker) {
  std::lock_guard<std::mutex> lock(makersMutex);
  testMakers[family] = std::move(maker);
}

std::unique_ptr<FirmwareModel> MakeFirmwareModel(Board& board) {
  switch (board.Variant().family) {
    case Family::Cxp:
      return MakeCxpFirmware(board);
    case Family::Clhs:
      return MakeClhsFirmware(board);
    case Family::Cl:
      return MakeClFirmware(board);
    case Family::Gige:
      return MakeGigeFirmware(board);
  }
  return nullptr;
}

std::shared_ptr<DeviceModel> MakeDeviceModel(Family family, const Cable& cable,
                                             LinkChannel& channel) {
  if (DeviceMaker maker = TestMakerOf(family)) return maker(cable, channel);
  switch (family) {
    case Family::Cxp:
      return MakeCxpDevice(cable, channel);
    case Family::Clhs:
      return MakeClhsDevice(cable, channel);
    case Family::Cl:
      return MakeClDevice(cable, channel);
    case Family::Gige:
      return MakeGigeDevice(cable, channel);
  }
  return nullptr;
}

}  // namespace vesk::sim
