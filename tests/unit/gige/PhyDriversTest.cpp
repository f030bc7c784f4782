// The PHY drivers against the simulated Marvell PHYs of a board, through the board library: the
// reset leaves the chip configured, the link follows the cable, and the speed code is the
// driver's.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/SimulatedRuntime.h"
#include "vesk_genicam/impl/PhyMarvel88E.h"
#include "vesk_genicam/impl/PhyMarvel88E151X.h"
#include "vesk_genicam/impl/PhyMarvel88E331.h"

namespace {

enum class Chip { M88E, M88E331, M88E151X };

struct Row {
  const char* name;
  Chip chip;
  const char* design;
  int type;
  unsigned int port;
  unsigned int speedUp;
  unsigned int speedDown;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class PhyDrivers : public testing::TestWithParam<Row> {
 protected:
  void SetUp() override {
    const Row& row = GetParam();
    const std::string rig = "<rig><board type='" + std::to_string(row.type) +
                            "' ports='4' design='" + row.design +
                            "'/><camera id='cam'><link board='0' port='" +
                            std::to_string(row.port) + "'/></camera></rig>";
    ASSERT_EQ(VSIM(VSimLoadRigText)(rig.c_str(), "phy rig"), 0);
    device_ = VHalInitDevice(0);
    design_ = DsnLoadBoardDesign(device_);
    ASSERT_NE(design_, nullptr);
    if (row.chip == Chip::M88E) phy_ = std::make_unique<CPhyMarvel88E>(design_, device_);
    if (row.chip == Chip::M88E331) phy_ = std::make_unique<CPhyMarvel88E331>(design_, device_);
    if (row.chip == Chip::M88E151X) phy_ = std::make_unique<CPhyMarvel88E151X>(design_, device_);
  }
  void TearDown() override {
    phy_.reset();
    if (design_) DsnFreeDesign(design_);
    if (device_) VHalFreeDevice(device_);
  }

  // What the reset leaves in the chip, read back by the driver's own accesses.
  unsigned int Configured(unsigned int port) {
    if (auto* phy = dynamic_cast<CPhyMarvel88E331*>(phy_.get())) {
      unsigned int value = 0;
      phy->ReadMdioData(port, 7, 0, &value);
      return value;
    }
    if (auto* phy = dynamic_cast<CPhyMarvel88E151X*>(phy_.get()))
      return phy->ReadMdioPage(port, 3, 16);
    uint64_t started = 0;
    VHalRegisterRead(device_,
                     DsnGetRegisterByName(design_, ("GigeTxStart" + std::to_string(port)).c_str()),
                     &started);
    return static_cast<unsigned int>(started);
  }

  PLdevice* device_ = nullptr;
  fpga_design* design_ = nullptr;
  std::unique_ptr<IPhyInterface> phy_;
};

TEST_P(PhyDrivers, ResetConfiguresAndTheLinkFollowsTheCable) {
  const Row& row = GetParam();
  phy_->Reset(row.port);
  const unsigned int expected = row.chip == Chip::M88E331    ? 12800
                                : row.chip == Chip::M88E151X ? 4196
                                                             : 1;
  EXPECT_EQ(Configured(row.port), expected);
  EXPECT_TRUE(phy_->IsConnected(row.port));
  EXPECT_FALSE(phy_->IsConnected(row.port ^ 1)) << "the neighbour has no cable";
  EXPECT_EQ(phy_->GetSpeed(row.port), row.speedUp);
  ASSERT_EQ(VSIM(VSimUnplug)(0, row.port), 0);
  EXPECT_FALSE(phy_->IsConnected(row.port));
  EXPECT_EQ(phy_->GetSpeed(row.port), row.speedDown);
}

// The sim's PHYs settle at 1000 Mbit/s: speed code 2, which the formula makes 40.
INSTANTIATE_TEST_SUITE_P(
    Chips, PhyDrivers,
    testing::Values(Row{"Marvel88EPort0", Chip::M88E, "gige-ka4", 3650, 0, 40, 0},
                    Row{"Marvel88EPort3", Chip::M88E, "gige-ka4", 3652, 3, 40, 0},
                    Row{"Marvel88E331Port1", Chip::M88E331, "gige-korvid", 2898, 1, 0, 0},
                    Row{"Marvel88E151XPort2", Chip::M88E151X, "gige-korvid", 2897, 2, 40, 10}),
    [](const testing::TestParamInfo<Row>& info) { return info.param.name; });

// The class bit of the extended register 11 follows bit `port` of GIGE::DriverClassPortMask.
TEST(PhyMarvel88E, TheClassMaskSetsBit15ForItsPortsOnly) {
  ASSERT_EQ(setenv("VESK_GIGE_DRIVER_CLASS_PORT_MASK", "5", 1), 0);
  ASSERT_EQ(VSIM(VSimLoadRigText)("<rig><board type='3650' ports='2' design='gige-ka4'/></rig>",
                                  "class rig"),
            0);
  PLdevice* device = VHalInitDevice(0);
  fpga_design* design = DsnLoadBoardDesign(device);
  ASSERT_NE(design, nullptr);
  {
    CPhyMarvel88E phy(design, device);
    for (unsigned int port : {0u, 1u}) {
      SCOPED_TRACE(port);
      phy.Reset(port);
      phy.WriteMdioData(29, 11);
      unsigned short value = 0;
      phy.ReadMdioData(30, &value);
      EXPECT_EQ((value & 0x8000) != 0, port == 0);
    }
  }
  unsetenv("VESK_GIGE_DRIVER_CLASS_PORT_MASK");
  DsnFreeDesign(design);
  VHalFreeDevice(device);
}

}  // namespace
