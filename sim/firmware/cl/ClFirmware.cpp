#include "sim/firmware/cl/ClFirmware.h"

namespace vesk::sim {

std::vector<DesignVariant> ClDesigns() {
  // Two byte queues per port, receive then transmit: the serial channels.
  const std::vector<QueueBlock> serial = {{0, 2, QueueUnit::Byte}};
  std::vector<DesignVariant> designs = {
      // The library counts Camera Link ports from a parameter name or from AACamPortConfig.
      {"cl-base",
       "Acquisition_CL_Base",
       Family::Cl,
       {2},
       {{"Device1\\Process0\\Camera\\BaseMode"}},
       serial},
      {"cl-medium",
       "Acquisition_CL_Medium",
       Family::Cl,
       {1},
       {{"Device1\\Process0\\Camera\\MediumMode"}},
       serial},
      {"cl-full",
       "Acquisition_CL_Full",
       Family::Cl,
       {1},
       {{"Device1\\Process0\\Camera\\FullMode"}},
       serial},
      // 0 in AACamPortConfig is two base ports.
      {"cl-port-config",
       "Acquisition_CL_PortConfig",
       Family::Cl,
       {2},
       {{"AACamPortConfig", 0}},
       serial},
  };
  for (DesignVariant& design : designs) design.serialQueueBlock = 0;
  return designs;
}

std::unique_ptr<FirmwareModel> MakeClFirmware(Board&) { return nullptr; }

}  // namespace vesk::sim
