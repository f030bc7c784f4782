// The Camera Link HS firmware through the board library and the control API: the registers by
// which the library finds its way, the transceiver resets, the link signal and the X-Core's
// transmit side.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/unit/sim/ClhsBoard.h"

namespace vesk::sim {
namespace {

const char* const kPerChannel[] = {
    "GtxSetup_",      "PcsSetup_",         "PcsPacketCounter_", "ClhsControlCoreReset_",
    "ClhsTxCmdData_", "ClhsTxCmdCommand_", "ClhsTxCmdStatus_",  "ClhsTxRevision_",
    "ClhsRxCmdData_", "ClhsRxCmdStatus_",  "ClhsLinkRxStatus_", "LEDModeWrite_"};
const char* const kOfBoard[] = {"NetworkControllerReset",     "DiscoveryAppletMasterID",
                                "DiscoveryAppletExtensionID", "GrabberStatusRead",
                                "GrabberStatusWrite",         "DiscoverySelectRead",
                                "DiscoverySelectWrite"};

struct DesignRow {
  const char* design;
  unsigned ports;
  bool perPort;  // GtxStatus_<n>
  bool ofBoard;  // GtxStatus
};

void PrintTo(const DesignRow& row, std::ostream* os) { *os << row.design << " " << row.ports; }

class ClhsDesign : public ClhsBoard, public ::testing::WithParamInterface<DesignRow> {};

TEST_P(ClhsDesign, NamesEveryRegisterTheLibraryLooksUp) {
  const DesignRow& row = GetParam();
  Load(row.design, "", row.ports);
  for (unsigned port = 0; port < 2; ++port) {
    for (const char* name : kPerChannel)
      EXPECT_EQ(Id(At(name, port)) > 0, port < row.ports) << name;
    EXPECT_EQ(Id(At("GtxStatus_", port)) > 0, row.perPort && port < row.ports);
  }
  for (const char* name : kOfBoard) EXPECT_GT(Id(name), 0) << name;
  EXPECT_EQ(Id("GtxStatus") > 0, row.ofBoard);
}

INSTANTIATE_TEST_SUITE_P(Designs, ClhsDesign,
                         ::testing::Values(DesignRow{"clhs", 2, true, false},
                                           DesignRow{"clhs", 1, true, false},
                                           DesignRow{"clhs-single-status", 2, false, true},
                                           DesignRow{"clhs-single-status", 1, false, true},
                                           DesignRow{"clhs-both-status", 2, true, true}));

// A setup value written to a port's GtxSetup_ and what the status shows under mask after it, as
// the library's reset sequences expect.
struct ResetRow {
  const char* design;
  const char* status;  // the register the library reads
  unsigned port;
  uint64_t setup;
  uint64_t mask;
  uint64_t expected;
};

void PrintTo(const ResetRow& row, std::ostream* os) {
  *os << row.design << " port " << row.port << " setup " << row.setup;
}

class ClhsReset : public ClhsBoard, public ::testing::WithParamInterface<ResetRow> {};

TEST_P(ClhsReset, StatusFollowsTheSetup) {
  const ResetRow& row = GetParam();
  Load(row.design, Camera("01"));
  Write(At("GtxSetup_", row.port), row.setup);
  EXPECT_EQ(Read(row.status) & row.mask, row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, ClhsReset,
    ::testing::Values(ResetRow{"clhs-single-status", "GtxStatus", 0, 7, 3, 0},
                      ResetRow{"clhs-single-status", "GtxStatus", 0, 1, 3, 3},
                      ResetRow{"clhs-single-status", "GtxStatus", 1, 7, 5, 0},
                      ResetRow{"clhs-single-status", "GtxStatus", 1, 1, 5, 5},
                      ResetRow{"clhs-single-status", "GtxStatus", 0, 2, 2, 0},
                      ResetRow{"clhs-single-status", "GtxStatus", 0, 0, 2, 2},
                      ResetRow{"clhs-single-status", "GtxStatus", 1, 2, 4, 0},
                      ResetRow{"clhs-single-status", "GtxStatus", 1, 0, 4, 4},
                      // A port in reset has no link; its neighbour keeps its own.
                      ResetRow{"clhs-single-status", "GtxStatus", 1, 2, 80 | 40, 64},
                      ResetRow{"clhs-both-status", "GtxStatus", 0, 7, 3, 0},
                      ResetRow{"clhs", "GtxStatus_0", 0, 28, 15, 3},
                      ResetRow{"clhs", "GtxStatus_0", 0, 16, 15, 15},
                      ResetRow{"clhs", "GtxStatus_1", 1, 4, 4, 0},
                      ResetRow{"clhs", "GtxStatus_1", 1, 0, 4, 4},
                      ResetRow{"clhs", "GtxStatus_1", 1, 4, 48, 32},
                      ResetRow{"clhs", "GtxStatus_0", 1, 28, 48, 0}));

// The link signal as the library tells it: no masked status bit, and the PCS error count in bits
// 16 to 23 standing over three looks.
struct SignalRow {
  const char* design;
  const char* status;
  uint64_t mask;
};

void PrintTo(const SignalRow& row, std::ostream* os) { *os << row.design; }

class ClhsSignal : public ClhsBoard, public ::testing::WithParamInterface<SignalRow> {
 protected:
  bool LinkUp() {
    if (Read(GetParam().status) & GetParam().mask) return false;
    const uint64_t first = Read("PcsPacketCounter_1") & 0xFF0000;
    return (Read("PcsPacketCounter_1") & 0xFF0000) == first &&
           (Read("PcsPacketCounter_1") & 0xFF0000) == first;
  }
  bool CountsErrors() {
    const uint64_t first = Read("PcsPacketCounter_1") & 0xFF0000;
    return (Read("PcsPacketCounter_1") & 0xFF0000) != first;
  }
};

TEST_P(ClhsSignal, FollowsTheCable) {
  Load(GetParam().design, Camera("-1"));
  EXPECT_TRUE(LinkUp());
  ASSERT_EQ(VSimUnplug(0, 1), 0);
  EXPECT_FALSE(LinkUp());
  EXPECT_TRUE(CountsErrors());
  EXPECT_EQ(Read("ClhsLinkRxStatus_1") & 1, 0u);
  ASSERT_EQ(VSimPlug(0, 1, 0, 1), 0);
  EXPECT_TRUE(LinkUp());
  EXPECT_EQ(Read("ClhsLinkRxStatus_1") & 1, 1u);
}

TEST_P(ClhsSignal, NeedsACameraAtTheLineRate) {
  Load(GetParam().design,
       "<camera id='slow' speeds='3125 6250'><link board='0' port='1'/></camera>");
  EXPECT_FALSE(LinkUp());
}

INSTANTIATE_TEST_SUITE_P(Forms, ClhsSignal,
                         ::testing::Values(SignalRow{"clhs", "GtxStatus_1", 48},
                                           SignalRow{"clhs-single-status", "GtxStatus", 80}));

TEST_F(ClhsBoard, ChannelIdsComeFromTheRig) {
  Load("clhs", "", 2, "operators='3 3.1'");
  EXPECT_EQ(Read("DiscoveryAppletMasterID"), 0x33u);
  EXPECT_EQ(Read("DiscoveryAppletExtensionID"), 0x10u);
}

TEST_F(ClhsBoard, GrabberStatusAndSelectorReadBackWhatWasWritten) {
  Load("clhs", "");
  EXPECT_EQ(Read("DiscoverySelectRead"), 0x7654321076543210u);
  Write("GrabberStatusWrite", Read("GrabberStatusRead") | 1);
  Write("DiscoverySelectWrite", 0x7654320176543201);
  EXPECT_EQ(Read("GrabberStatusRead"), 1u);
  EXPECT_EQ(Read("DiscoverySelectRead"), 0x7654320176543201u);
}

// Transmit status after a command: bit 1 when it could not go out, bit 2 when the FIFO filled.
struct TransmitRow {
  const char* name;
  const char* camera;
  uint64_t coreReset;
  size_t words;
  uint64_t status;
};

void PrintTo(const TransmitRow& row, std::ostream* os) { *os << row.name; }

class ClhsTransmit : public ClhsBoard, public ::testing::WithParamInterface<TransmitRow> {};

TEST_P(ClhsTransmit, ReportsInItsStatus) {
  const TransmitRow& row = GetParam();
  Load("clhs", row.camera);
  Write("ClhsControlCoreReset_0", row.coreReset);
  for (size_t word = 0; word < row.words; ++word) Write("ClhsTxCmdData_0", word);
  EXPECT_EQ(Read("ClhsTxCmdStatus_0"), row.status & 4);
  Write("ClhsTxCmdCommand_0", kSend);
  EXPECT_EQ(Read("ClhsTxCmdStatus_0"), row.status & 3);
  Write("ClhsTxCmdCommand_0", 2 << 6 | 2);  // clear
  EXPECT_EQ(Read("ClhsTxCmdStatus_0"), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, ClhsTransmit,
    ::testing::Values(TransmitRow{"NoCable", "", 0, 7, 2},
                      TransmitRow{"CoreHeldInReset",
                                  "<camera id='c'><link board='0' port='0'/></camera>", 50, 7, 2},
                      TransmitRow{"FifoFull", "", 0, 256, 4 | 2}),
    [](const ::testing::TestParamInfo<TransmitRow>& info) { return info.param.name; });

}  // namespace
}  // namespace vesk::sim
