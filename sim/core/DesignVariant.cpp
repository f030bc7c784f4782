#include "sim/core/DesignVariant.h"

namespace vesk::sim {

namespace {

// Registers that the register forms of CoaXPress share: the control channel in words.
std::vector<RegisterDefinition> CxpCommandRegisters() {
  return {{"CxpTxCmdWriteData_<n>"},
          {"CxpRxCmdAckPacketData_<n>"},
          {"CxpTxCmdPacketSent"},
          {"CxpPowerStatus_<n>"},
          {"CxpLedModeSelectWrite_<n>"}};
}

std::vector<RegisterDefinition> Join(std::vector<RegisterDefinition> first,
                                     const std::vector<RegisterDefinition>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

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

std::vector<DesignVariant> MakeVariants() {
  const std::vector<QueueBlock> kSerial = {{0, 2, QueueUnit::Byte}};
  std::vector<DesignVariant> variants = {
      // Packets go through data queues, the port state through VHalCameraCtrl calls.
      {"cxp-camera-ctrl",
       "Acquisition_CXP_CameraCtrl",
       Family::Cxp,
       {1, 2, 4},
       {{"CxpTransceiverStatus_<n>"}, {"CxpPowerStatus_<n>"}},
       {{0, 4, QueueUnit::Word}},
       true},
      {"cxp-transceiver-regs",
       "Acquisition_CXP_TransceiverRegs",
       Family::Cxp,
       {1, 2, 4},
       Join({{"CxpTransceiverStatus_<n>"},
             {"CxpTransceiverDownLinkBitRate_<n>"},
             {"CxpTransceiverUpLinkBitRate_<n>"}},
            CxpCommandRegisters()),
       {}},
      {"cxp-rate-index",
       "Acquisition_CXP_RateIndex",
       Family::Cxp,
       {1, 2, 4},
       Join({{"CxpTransceiverGtxSetBitRateDone"}, {"CxpTransceiverGtxSetBitRate_<n>"}},
            CxpCommandRegisters()),
       {}},
      {"cxp-rate-index-rx-status",
       "Acquisition_CXP_RateIndexRxStatus",
       Family::Cxp,
       {1, 2, 4},
       Join({{"CxpTransceiverGtxSetBitRateDone"},
             {"CxpTransceiverGtxSetBitRate_<n>"},
             {"CxpTransceiverRxStatus"},
             {"CxpTransceiverGtxRxReset"}},
            CxpCommandRegisters()),
       {}},
      // Generation 1 or 2 by the board type; both need all four ports' DRP registers.
      {"cxp-drp",
       "Acquisition_CXP4",
       Family::Cxp,
       {4},
       Join({{"CxpTransceiverGtxDrpAddress_<n>"},
             {"CxpTransceiverGtxDrpWriteData_<n>"},
             {"CxpTransceiverGtxRxReset"},
             {"CxpTransceiverRxPlllDet"},
             {"CxpTransceiverRxResetDone"}},
            CxpCommandRegisters()),
       {}},
      {"clhs", "Acquisition_CLHS", Family::Clhs, {2}, ClhsRegisters("GtxStatus_<n>"), {}},
      {"clhs-single-status",
       "Acquisition_CLHS_SingleStatus",
       Family::Clhs,
       {2},
       ClhsRegisters("GtxStatus"),
       {}},
      // The library counts Camera Link ports from a parameter name or from AACamPortConfig.
      {"cl-base",
       "Acquisition_CL_Base",
       Family::Cl,
       {2},
       {{"Device1\\Process0\\Camera\\BaseMode"}},
       kSerial},
      {"cl-medium",
       "Acquisition_CL_Medium",
       Family::Cl,
       {1},
       {{"Device1\\Process0\\Camera\\MediumMode"}},
       kSerial},
      {"cl-full",
       "Acquisition_CL_Full",
       Family::Cl,
       {1},
       {{"Device1\\Process0\\Camera\\FullMode"}},
       kSerial},
      // 0 in AACamPortConfig is two base ports.
      {"cl-port-config",
       "Acquisition_CL_PortConfig",
       Family::Cl,
       {2},
       {{"AACamPortConfig", 0}},
       kSerial},
      // Frames leave through stream registers and arrive in queue port + 8; PHYs over MDIO.
      {"gige-korvid",
       "Acquisition_GigE_Korvid",
       Family::Gige,
       {1, 2, 3, 4},
       {{"GigeTxControlReady_<n>", 1},
        {"GigeTxControlWriteData_<n>"},
        {"GigeTxConfigWriteData_<n>"},
        {"GigeMonitorStatus_<n>"},
        {"GigeReceivedPacketCount_<n>"},
        {"GigeConfigControl_<n>"},
        {"GigeTxStart<n>"},
        {"GigeTxDisableCrcGeneration"}},
       {{8, 1, QueueUnit::Word}}},
      // Frames leave through one shared register set and arrive in queue port; PHYs by register.
      {"gige-ka4",
       "Acquisition_GigE_Ka4",
       Family::Gige,
       {1, 2, 3, 4},
       {{"GigeTxTransferActive"},
        {"GigeBufferReset"},
        {"GigeWriteData"},
        {"GigeWriteComplete"},
        {"GigeRecvErrCnt"},
        {"GigeRecvPktCnt"},
        {"GigE_MdioRD"},
        {"GigE_MdioWR"},
        {"GigE_Mdio"},
        {"GigE_MdioRegAddr"},
        {"GigE_MdioPhyAddr"},
        {"MdioReadReg"},
        {"ImagePort"},
        {"CLSyncLen"},
        {"CloseImageTimeout"}},
       {{0, 1, QueueUnit::Word}}},
  };
  for (DesignVariant& variant : variants) {
    if (variant.family == Family::Cl) variant.serialQueueBlock = 0;
  }
  return variants;
}

}  // namespace

const std::vector<DesignVariant>& DesignVariants() {
  static const std::vector<DesignVariant> variants = MakeVariants();
  return variants;
}

const DesignVariant* FindDesignVariant(const std::string& name) {
  for (const DesignVariant& variant : DesignVariants()) {
    if (variant.name == name) return &variant;
  }
  return nullptr;
}

std::vector<RegisterDefinition> ExpandRegisters(const DesignVariant& variant, unsigned ports) {
  static const std::string kPort = "<n>";
  std::vector<RegisterDefinition> expanded;
  for (const RegisterDefinition& definition : variant.registers) {
    const size_t at = definition.name.find(kPort);
    if (at == std::string::npos) {
      expanded.push_back(definition);
      continue;
    }
    for (unsigned port = 0; port < ports; ++port) {
      std::string name = definition.name;
      name.replace(at, kPort.size(), std::to_string(port));
      expanded.push_back({name, definition.initial});
    }
  }
  return expanded;
}

}  // namespace vesk::sim
