#include "sim/firmware/gige/GigeFirmware.h"

namespace vesk::sim {

std::vector<DesignVariant> GigeDesigns() {
  return {
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
}

std::unique_ptr<FirmwareModel> MakeGigeFirmware(Board&) { return nullptr; }

}  // namespace vesk::sim
