#include "sim/firmware/cxp/CxpFirmware.h"

namespace vesk::sim {

namespace {

// Registers that the register forms share: the control channel in words.
std::vector<RegisterDefinition> WithCommandRegisters(std::vector<RegisterDefinition> registers) {
  registers.insert(registers.end(), {{"CxpTxCmdWriteData_<n>"},
                                     {"CxpRxCmdAckPacketData_<n>"},
                                     {"CxpTxCmdPacketSent"},
                                     {"CxpPowerStatus_<n>"},
                                     {"CxpLedModeSelectWrite_<n>"}});
  return registers;
}

}  // namespace

std::vector<DesignVariant> CxpDesigns() {
  return {
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
       WithCommandRegisters({{"CxpTransceiverStatus_<n>"},
                             {"CxpTransceiverDownLinkBitRate_<n>"},
                             {"CxpTransceiverUpLinkBitRate_<n>"}}),
       {}},
      {"cxp-rate-index",
       "Acquisition_CXP_RateIndex",
       Family::Cxp,
       {1, 2, 4},
       WithCommandRegisters(
           {{"CxpTransceiverGtxSetBitRateDone"}, {"CxpTransceiverGtxSetBitRate_<n>"}}),
       {}},
      {"cxp-rate-index-rx-status",
       "Acquisition_CXP_RateIndexRxStatus",
       Family::Cxp,
       {1, 2, 4},
       WithCommandRegisters({{"CxpTransceiverGtxSetBitRateDone"},
                             {"CxpTransceiverGtxSetBitRate_<n>"},
                             {"CxpTransceiverRxStatus"},
                             {"CxpTransceiverGtxRxReset"}}),
       {}},
      // Generation 1 or 2 by the board type; both need all four ports' DRP registers.
      {"cxp-drp",
       "Acquisition_CXP4",
       Family::Cxp,
       {4},
       WithCommandRegisters({{"CxpTransceiverGtxDrpAddress_<n>"},
                             {"CxpTransceiverGtxDrpWriteData_<n>"},
                             {"CxpTransceiverGtxRxReset"},
                             {"CxpTransceiverRxPlllDet"},
                             {"CxpTransceiverRxResetDone"}}),
       {}},
  };
}

std::unique_ptr<FirmwareModel> MakeCxpFirmware(Board&) { return nullptr; }

}  // namespace vesk::sim
