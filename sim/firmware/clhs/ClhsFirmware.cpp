#include "sim/firmware/clhs/ClhsFirmware.h"

namespace vesk::sim {

namespace {

// The X-Core command FIFOs and the discovery registers, behind the link status.
std::vector<RegisterDefinition> ClhsRegisters(const char* status) {
  return {{status},
          {"ClhsControlCoreReset_<n>"},
          {"ClhsTxCmdCommand_<n>"},
          {"ClhsTxCmdData_<n>"},
          {"ClhsTxCmdStatus_<n>"},
          {"ClhsRxCmdData_<n>"},
          {"ClhsRxCmdStatus_<n>"},
          {"ClhsTxRevision_<n>"},
          {"LEDModeWrite_<n>"},
          {"DiscoveryAppletMasterID"},
          {"DiscoveryAppletExtensionID"}};
}

}  // namespace

std::vector<DesignVariant> ClhsDesigns() {
  return {
      {"clhs", "Acquisition_CLHS", Family::Clhs, {2}, ClhsRegisters("GtxStatus_<n>"), {}},
      {"clhs-single-status",
       "Acquisition_CLHS_SingleStatus",
       Family::Clhs,
       {2},
       ClhsRegisters("GtxStatus"),
       {}},
  };
}

std::unique_ptr<FirmwareModel> MakeClhsFirmware(Board&) { return nullptr; }

}  // namespace vesk::sim
