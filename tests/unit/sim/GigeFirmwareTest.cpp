// The GigE Vision firmware of both port variants and the camera behind it, through the board
// library and the control API. Frames are built here from the published layouts.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "loader/vesk_hal.h"
#include "sim/include/vesk_sim.h"
#include "tests/unit/sim/GigeWire.h"

namespace vesk::sim::gige {
namespace {

constexpr unsigned kMdio = 0x4D44494F;

struct Variant {
  const char* design;
  int type;
  bool ka4;
};

const Variant kVariants[] = {{"gige-korvid", 2898, false}, {"gige-ka4", 3650, true}};

void PrintTo(const Variant& variant, std::ostream* out) { *out << variant.design; }

std::string VariantName(const ::testing::TestParamInfo<Variant>& info) {
  return info.param.ka4 ? "Ka4" : "Korvid";
}

class GigeFirmware : public ::testing::TestWithParam<Variant> {
 protected:
  void SetUp() override { Load(); }
  void TearDown() override { Close(); }
  void Close() {
    if (design_) VSimDesignFree(std::exchange(design_, nullptr));
    if (device_) VHalFreeDevice(std::exchange(device_, nullptr));
  }

  // One four-port board of the variant, the camera on port 0.
  void Load(const std::string& board = "") {
    Close();
    const Variant& variant = GetParam();
    const std::string rig = "<rig><board type='" + std::to_string(variant.type) +
                            "' ports='4' design='" + variant.design + "' " + board +
                            "/><camera id='cam' modelName='GigE Test' speeds='1000'>"
                            "<link board='0' port='0'/></camera></rig>";
    ASSERT_EQ(VSimLoadRigText(rig.c_str(), "gige rig"), 0);
    device_ = VHalInitDevice(0);
    design_ = VSimDesignLoad(device_);
    ASSERT_NE(design_, nullptr);
  }
  bool Ka4() const { return GetParam().ka4; }

  int Id(const std::string& name) { return VSimDesignGetRegisterByName(design_, name.c_str()); }
  uint64_t Read(const std::string& name) {
    uint64_t value = 0;
    EXPECT_EQ(VHalRegisterRead(device_, Id(name), &value), 0) << name;
    return value;
  }
  void Write(const std::string& name, uint64_t value) {
    EXPECT_EQ(VHalRegisterWrite(device_, Id(name), value), 0) << name;
  }

  // A PHY register as the variant's driver reaches it: clause 22 through the MDIO registers,
  // clause 45 through the configuration space.
  unsigned Phy(unsigned port, unsigned device, unsigned reg) {
    if (Ka4()) {
      Write("GigE_MdioPhyAddr", port);
      Write("GigE_MdioRegAddr", reg);
      Write("GigE_MdioWR", 0);
      return static_cast<unsigned>(Read("MdioReadReg"));
    }
    unsigned value = 0;
    EXPECT_EQ(VHalReadConfig(device_, kMdio, device << 18 | reg << 2 | port, &value, 1), 0);
    return value;
  }
  void SetPhy(unsigned port, unsigned device, unsigned reg, unsigned value) {
    if (Ka4()) {
      Write("GigE_MdioPhyAddr", port);
      Write("GigE_MdioRegAddr", reg);
      Write("GigE_MdioWR", value);
      Write("GigE_Mdio", 0);
      return;
    }
    EXPECT_EQ(VHalWriteConfig(device_, kMdio, device << 18 | reg << 2 | port, &value, 1), 0);
  }
  // The link bit of the variant's driver: 17 in clause 22, 3.0x8008 in clause 45.
  bool Link(unsigned port) { return (Ka4() ? Phy(port, 0, 17) : Phy(port, 3, 0x8008)) & 0x0400; }

  PLdevice* device_ = nullptr;
  fpga_design* design_ = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Variants, GigeFirmware, ::testing::ValuesIn(kVariants), VariantName);

// The names by which the library finds the firmware, each port's with its number behind.
struct Names {
  bool ka4;
  std::vector<const char*> names;
};

const Names kNames[] = {
    {false,
     {"GigeTxControlWriteData_3", "GigeTxConfigWriteData_0", "GigeTxControlReady_1",
      "GigeMonitorStatus_2", "GigeReceivedPacketCount_3", "GigeConfigControl_0"}},
    {true,
     {"GigeBufferReset0",
      "GigeWriteData1",
      "GigeWriteComplete2",
      "ImagePort3",
      "CLSyncLen0",
      "CloseImageTimeout1",
      "GigeTxDisableCrcGeneration2",
      "GigeTxTransferActive3",
      "GigeRecvPktCnt0",
      "GigeRecvErrCnt1",
      "CtrlPktReceivedCnt2",
      "CtrlPktSendUiqCnt3",
      "GvspFiFoOverflow_GigeTransceiver0",
      "GvcpFiFoNotEmpty_GigeTransceiver1",
      "ActionCmdConfigData2",
      "ActionCmdEnable3",
      "GigeTxStart0",
      "GigE_MdioRD",
      "GigE_MdioWR",
      "GigE_Mdio",
      "GigE_MdioRegAddr",
      "GigE_MdioPhyAddr",
      "MdioReadReg",
      "GigE_TxStart",
      "GigE_RxEnable"}},
};

TEST_P(GigeFirmware, DesignHasTheRegisterNamesOfItsDriver) {
  for (const Names& names : kNames) {
    for (const char* name : names.names) {
      EXPECT_EQ(Id(name) > 0, names.ka4 == Ka4()) << name;
    }
  }
}

TEST_P(GigeFirmware, TransmitterIsBusyForOneLookAfterASend) {
  if (!Ka4()) GTEST_SKIP() << "the stream transmitter is always ready";
  EXPECT_EQ(Read("GigeTxTransferActive0"), 0u);
  Write("GigeBufferReset0", 0);
  Write("GigeWriteComplete0", 0);
  EXPECT_EQ(Read("GigeTxTransferActive0"), 1u);
  EXPECT_EQ(Read("GigeTxTransferActive0"), 0u);
}

TEST_P(GigeFirmware, PhyLinkFollowsTheCable) {
  EXPECT_TRUE(Link(0));
  EXPECT_FALSE(Link(1));
  ASSERT_EQ(VSimUnplug(0, 0), 0);
  EXPECT_FALSE(Link(0));
  ASSERT_EQ(VSimPlug(0, 2, 0, 0), 0);
  EXPECT_TRUE(Link(2));
  // 1000 Mbit/s in the speed field, which the drivers read beside the link.
  EXPECT_EQ(Ka4() ? Phy(2, 0, 17) >> 14 : Phy(2, 3, 0x8008) >> 14, 2u);
}

// Each row: a reset bit that clears itself, and a plain register that keeps its value.
struct PhyRow {
  bool ka4;
  unsigned device;
  unsigned reg;
  unsigned written;
  unsigned read;
};

const PhyRow kPhyRows[] = {
    {true, 0, 0, 0x9140, 0x1140},  // software reset, auto-negotiation, full duplex, 1000
    {false, 1, 0, 0x8000, 0x0000},
    {false, 7, 32, 4577, 4577},
    {false, 0, 6, 16, 16},
};

TEST_P(GigeFirmware, PhyResetClearsItselfAndRegistersKeepWhatIsWritten) {
  for (const PhyRow& row : kPhyRows) {
    if (row.ka4 != Ka4()) continue;
    SetPhy(1, row.device, row.reg, row.written);
    EXPECT_EQ(Phy(1, row.device, row.reg), row.read) << row.device << "." << row.reg;
  }
  if (!Ka4()) return;
  // The extended pair of the reset sequence: 29 selects, 30 holds.
  SetPhy(1, 0, 29, 11);
  SetPhy(1, 0, 30, 0x8000);
  SetPhy(1, 0, 29, 22);
  EXPECT_EQ(Phy(1, 0, 30), 0u);
  SetPhy(1, 0, 29, 11);
  EXPECT_EQ(Phy(1, 0, 30), 0x8000u);
}

}  // namespace
}  // namespace vesk::sim::gige
