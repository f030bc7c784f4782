#include "sim/core/Transports.h"

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
