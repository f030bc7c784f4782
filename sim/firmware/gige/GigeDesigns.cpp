#include "sim/firmware/gige/GigeFirmware.h"

namespace vesk::sim {

std::vector<DesignVariant> GigeDesigns() {
  return {
      {"gige-korvid",
       "Acquisition_GigE_Korvid",
       Family::Gige,
       {1, 2, 3, 4},
       {{"GigeTxControlWriteData_<n>"},
        {"GigeTxConfigWriteData_<n>"},
        {"GigeTxControlReady_<n>", 1},
        {"GigeMonitorStatus_<n>"},
        {"GigeReceivedPacketCount_<n>"},
        {"GigeConfigControl_<n>"}},
       {{8, 1, QueueUnit::Word}},
       false,
       -1,
       kGigeKorvid},
      // Every frame register is the port's own; the MDIO registers are shared, the PHY chosen by
      // its address.
      {"gige-ka4",
       "Acquisition_GigE_Ka4",
       Family::Gige,
       {1, 2, 3, 4},
       {{"GigeBufferReset<n>"},
        {"GigeWriteData<n>"},
        {"GigeWriteComplete<n>"},
        {"ImagePort<n>"},
        {"CLSyncLen<n>"},
        {"CloseImageTimeout<n>"},
        {"GigeTxDisableCrcGeneration<n>"},
        {"GigeTxTransferActive<n>"},
        {"GigeRecvPktCnt<n>"},
        {"GigeRecvErrCnt<n>"},
        {"CtrlPktReceivedCnt<n>"},
        {"CtrlPktSendUiqCnt<n>"},
        {"GvspFiFoOverflow_GigeTransceiver<n>"},
        {"GvcpFiFoNotEmpty_GigeTransceiver<n>"},
        {"ActionCmdConfigData<n>"},
        {"ActionCmdEnable<n>"},
        {"GigeTxStart<n>"},
        {"GigE_MdioRD"},
        {"GigE_MdioWR"},
        {"GigE_Mdio"},
        {"GigE_MdioRegAddr"},
        {"GigE_MdioPhyAddr"},
        {"MdioReadReg"},
        {"GigE_TxStart"},
        {"GigE_RxEnable"}},
       {{0, 1, QueueUnit::Word}},
       false,
       -1,
       kGigeKa4},
  };
}

}  // namespace vesk::sim
