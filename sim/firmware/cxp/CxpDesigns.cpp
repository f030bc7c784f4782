#include "sim/firmware/cxp/CxpFirmware.h"

#include "sim/firmware/cxp/CxpForm.h"

namespace vesk::sim {

namespace {

using Registers = std::vector<RegisterDefinition>;

Registers operator+(Registers left, const Registers& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// What every form has: the selector read-back, the operators and the power status.
const Registers kShared = {{"rDiscoverySelect", kCxpIdentitySelector},
                           {"DiscoveryAppletMasterID"},
                           {"DiscoveryAppletExtensionID"},
                           {"CxpPowerStatus_<n>"}};

// The register forms: the control channel in words, LEDs, power switches and readings of every
// board group (the library reads those of its group).
Registers RegisterForm(const char* coreReset, const char* streamPacketSize) {
  return Registers{{"CxpTxCmdWriteData_<n>"},
                   {"CxpRxCmdAckPacketData_<n>"},
                   {"CxpTxCmdPacketSent"},
                   {coreReset},
                   {"CxpLedModeSelectWrite_<n>"},
                   {"CxpLedModeSelectRead_<n>"},
                   {streamPacketSize, 8192},
                   {"rCxpPowerEnablePower"},
                   {"wCxpPowerEnablePower"},
                   {"CxpPowerSense_<n>"},
                   {"CxpPowerVin_<n>"},
                   {"CxpPowerAdIn_<n>"},
                   {"CxpPowerShuntVoltage_<n>"},
                   {"CxpPowerBusVoltage_<n>"},
                   {"CxpTransceiverDisparityError_<n>"}} +
         kShared;
}

const Registers kSwitchedSelector = {{"wDiscoverySelect"}};
const Registers kNotInTable = {{"CxpTransceiverNotInTable_<n>"}};

}  // namespace

std::vector<DesignVariant> CxpDesigns() {
  const char* kCore = "CxpControlCoreReset_<n>";
  const char* kStream = "CxpStreamPacketSize";
  return {
      // Packets go through data queues, the port state through VHalCameraCtrl calls.
      {"cxp-camera-ctrl",
       "Acquisition_CXP_CameraCtrl",
       Family::Cxp,
       {1, 2, 4},
       Registers{{"CxpTransceiverStatus_<n>"}, {kStream, 8192}} + kShared,
       {{0, 4, QueueUnit::Word}},
       true,
       -1,
       kCxpCameraCtrl},
      {"cxp-transceiver-regs",
       "Acquisition_CXP_TransceiverRegs",
       Family::Cxp,
       {1, 2, 4},
       Registers{{"CxpTransceiverStatus_<n>"},
                 {"CxpTransceiverDownLinkBitRate_<n>"},
                 {"CxpTransceiverUpLinkBitRate_<n>"}} +
           RegisterForm(kCore, kStream) + kSwitchedSelector,
       {},
       false,
       -1,
       kCxpTransceiverRegs},
      // The older core: reset by CxpReset_<n>, stream packet size under its short name.
      {"cxp-rate-index",
       "Acquisition_CXP_RateIndex",
       Family::Cxp,
       {1, 2, 4},
       Registers{{"CxpTransceiverGtxSetBitRateDone", 0xF}, {"CxpTransceiverGtxSetBitRate_<n>"}} +
           kNotInTable + RegisterForm("CxpReset_<n>", "StreamPacketSize") + kSwitchedSelector,
       {},
       false,
       -1,
       kCxpRateIndex},
      {"cxp-rate-index-rx-status",
       "Acquisition_CXP_RateIndexRxStatus",
       Family::Cxp,
       {1, 2, 4},
       Registers{{"CxpTransceiverGtxSetBitRateDone", 0xF},
                 {"CxpTransceiverGtxSetBitRate_<n>"},
                 {"CxpTransceiverRxStatus"},
                 {"CxpTransceiverGtxRxReset"}} +
           kNotInTable + RegisterForm(kCore, kStream) + kSwitchedSelector,
       {},
       false,
       -1,
       kCxpRateIndexRxStatus},
      // First generation: four DRP writes; its selector is an index into the permutations.
      {"cxp-drp",
       "Acquisition_CXP4",
       Family::Cxp,
       {4},
       Registers{{"CxpTransceiverGtxDrpAddress_<n>"},
                 {"CxpTransceiverGtxDrpWriteData_<n>"},
                 {"CxpTransceiverGtxRxReset"},
                 {"CxpTransceiverRxPlllDet", 0xF},
                 {"CxpTransceiverRxResetDone", 0xF},
                 {"CxpDiscoveryConfig"}} +
           kNotInTable + RegisterForm(kCore, kStream),
       {},
       false,
       -1,
       kCxpDrpA},
      // Second generation: three DRP writes, each acknowledged by the ready bit.
      {"cxp-drp-ready",
       "Acquisition_CXP4_DrpReady",
       Family::Cxp,
       {4},
       Registers{{"CxpTransceiverGtxDrpAddress_<n>"},
                 {"CxpTransceiverGtxDrpWriteData_<n>"},
                 {"CxpTransceiverGtxDrpReady", 0xF},
                 {"CxpTransceiverGtxRxReset"},
                 {"CxpTransceiverRxResetDone", 0xF}} +
           kNotInTable + RegisterForm(kCore, kStream) + kSwitchedSelector,
       {},
       false,
       -1,
       kCxpDrpB},
  };
}

}  // namespace vesk::sim
