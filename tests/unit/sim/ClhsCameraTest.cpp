// The Camera Link HS camera through the firmware's X-Core FIFOs: bootstrap registers, device id
// and connection index, manifest and XML, and the faults it can be given.
#include <gtest/gtest.h>

#include <chrono>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>
#include <thread>

#include "tests/unit/sim/ClhsBoard.h"

namespace vesk::sim {
namespace {

using clhswire::Ack;
using clhswire::Bytes;
using clhswire::ReadMem;
using clhswire::WriteMem;

constexpr uint64_t kDeviceId = 0x10000;
constexpr uint64_t kConnectionIndex = 0x10004;

const std::string kTwoLinks = ClhsBoard::Camera("01", "vendor='Acme' xml='zipped'");

Bytes Be32(uint32_t value) {
  Bytes bytes;
  clhswire::Put(bytes, value, 4);
  return bytes;
}

struct RegisterRow {
  const char* name;
  unsigned channel;
  uint64_t address;
  uint16_t length;
  uint64_t expected;
};

void PrintTo(const RegisterRow& row, std::ostream* os) { *os << row.name; }

class ClhsRegister : public ClhsBoard, public ::testing::WithParamInterface<RegisterRow> {};

TEST_P(ClhsRegister, ReadsThroughTheXCore) {
  const RegisterRow& row = GetParam();
  Load("clhs-single-status", kTwoLinks);
  EXPECT_EQ(ReadNumber(row.channel, row.address, row.length), row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Bootstrap, ClhsRegister,
    ::testing::Values(RegisterRow{"DeviceId", 0, kDeviceId, 4, 0},
                      RegisterRow{"MasterConnectionIndex", 0, kConnectionIndex, 4, 0},
                      RegisterRow{"SecondLinkConnectionIndex", 1, kConnectionIndex, 4, 1},
                      RegisterRow{"GencpVersion", 1, 0x0, 4, 0x00010003},
                      RegisterRow{"VendorName", 0, 0x04, 5, 0x41636D6500},
                      RegisterRow{"MaxResponseTime", 0, 0x1CC, 4, 100},
                      RegisterRow{"ManifestAddress", 0, 0x1D0, 8, 0x1000},
                      RegisterRow{"ManifestCount", 0, 0x1000, 8, 1},
                      RegisterRow{"ZippedFileType", 0, 0x1000 + 8 + 4, 4, 0x01010401}),
    [](const ::testing::TestParamInfo<RegisterRow>& info) { return info.param.name; });

// The device id register holds 8 bits; what the master link gets, every link reads.
struct DeviceIdRow {
  const char* name;
  unsigned channel;  // written over
  uint32_t written;
  uint32_t read;
};

void PrintTo(const DeviceIdRow& row, std::ostream* os) { *os << row.name; }

class ClhsDeviceId : public ClhsBoard, public ::testing::WithParamInterface<DeviceIdRow> {};

TEST_P(ClhsDeviceId, KeepsTheLowByteOfTheMasters) {
  const DeviceIdRow& row = GetParam();
  Load("clhs", kTwoLinks);
  const std::optional<Ack> ack = Exchange(row.channel, WriteMem(kDeviceId, Be32(row.written), 9));
  ASSERT_TRUE(ack);
  EXPECT_EQ(ack->status, 0);
  EXPECT_EQ(ack->ack, 0x0803);
  EXPECT_EQ(ReadNumber(0, kDeviceId, 4), row.read);
  EXPECT_EQ(ReadNumber(1, kDeviceId, 4), row.read);
}

INSTANTIATE_TEST_SUITE_P(Writes, ClhsDeviceId,
                         ::testing::Values(DeviceIdRow{"Board0", 0, 0x0001, 1},
                                           DeviceIdRow{"Board3", 0, 0x0305, 5},
                                           DeviceIdRow{"OverTheExtension", 1, 0x0007, 0}),
                         [](const ::testing::TestParamInfo<DeviceIdRow>& info) {
                           return info.param.name;
                         });

TEST_F(ClhsBoard, SelectorRoutesAChannelToAnotherPort) {
  Load("clhs", kTwoLinks);
  Write("DiscoverySelectWrite", 0x7654320176543201);
  EXPECT_EQ(ReadNumber(0, kConnectionIndex, 4), 1u);
  EXPECT_EQ(ReadNumber(1, kConnectionIndex, 4), 0u);
}

// Its channel ids group the two links of its camera under master id 1.
TEST_F(ClhsBoard, DefaultRigHasABoardWithItsCamera) {
  Open(nullptr, 3);
  EXPECT_EQ(Read("DiscoveryAppletMasterID"), 0x11u);
  EXPECT_EQ(Read("DiscoveryAppletExtensionID"), 0x10u);
  EXPECT_EQ(ReadNumber(1, kConnectionIndex, 4), 1u);
}

TEST_F(ClhsBoard, PacketCountersMoveWithTheCommands) {
  Load("clhs", kTwoLinks);
  const uint64_t before = Read("PcsPacketCounter_0");
  ReadNumber(0, kDeviceId, 4);
  ReadNumber(0, kDeviceId, 4);
  EXPECT_EQ(Read("PcsPacketCounter_0"), before + 4);
  EXPECT_EQ(Read("PcsPacketCounter_0") & 0xFF0000, before & 0xFF0000);
}

struct XmlRow {
  const char* xml;
  uint32_t fileType;
  uint32_t start;  // the file's first bytes
};

void PrintTo(const XmlRow& row, std::ostream* os) { *os << row.xml; }

class ClhsXml : public ClhsBoard, public ::testing::WithParamInterface<XmlRow> {};

TEST_P(ClhsXml, ManifestNamesTheFile) {
  Load("clhs", Camera("0", std::string("xml='") + GetParam().xml + "'"));
  const std::optional<Ack> entry = Exchange(0, ReadMem(0x1008, 64, 1));
  ASSERT_TRUE(entry && entry->status == 0 && entry->scd.size() == 64);
  EXPECT_EQ(clhswire::Get(entry->scd, 4, 4) & 63, GetParam().fileType);
  const uint64_t address = clhswire::Get(entry->scd, 8, 8);
  EXPECT_GT(clhswire::Get(entry->scd, 16, 8), 100u);
  EXPECT_EQ(ReadNumber(0, address, 4), GetParam().start);
}

INSTANTIATE_TEST_SUITE_P(Forms, ClhsXml,
                         ::testing::Values(XmlRow{"plain", 0, 0x3C3F786D},  // "<?xm"
                                           XmlRow{"zipped", 1, 0x504B0304}));

// Faults seeded on the camera and what the host sees of a read of the device id.
enum class Seen { NoAck, Status, Pending, Late, ReceiveFailed, SignalDrop };

struct FaultRow {
  const char* name;
  VSimFaults faults;
  VSimProtocolFaults protocol;
  Seen seen;
  uint16_t status;
};

void PrintTo(const FaultRow& row, std::ostream* os) { *os << row.name; }

class ClhsFault : public ClhsBoard, public ::testing::WithParamInterface<FaultRow> {};

constexpr uint32_t kDelayMs = 60;
constexpr uint64_t kMaxResponseTime = 0x1CC;  // holds 100

const VSimFaults kNone = [] {
  VSimFaults faults{};
  faults.silentAfter = -1;
  faults.delayMs = kDelayMs;
  return faults;
}();

TEST_P(ClhsFault, ShowsOnTheXCore) {
  const FaultRow& row = GetParam();
  Load("clhs", Camera("0"));
  ASSERT_EQ(VSimSetCameraFaultsEx(VSimFindCamera("cam0"), &row.faults, &row.protocol), 0);
  ASSERT_EQ(Send(0, ReadMem(kMaxResponseTime, 4, 5)), 0u);
  const std::optional<clhswire::Words> first = Receive(0, kDelayMs / 3);
  const std::optional<Ack> ack = first ? clhswire::Parse(*first) : std::nullopt;
  switch (row.seen) {
    case Seen::NoAck:
      EXPECT_FALSE(first);
      break;
    case Seen::Status:
      ASSERT_TRUE(ack);
      EXPECT_EQ(ack->status, row.status);
      EXPECT_EQ(ack->id, 5);
      break;
    case Seen::Pending: {
      ASSERT_TRUE(ack);
      EXPECT_EQ(ack->ack, 0x0805);
      EXPECT_EQ(clhswire::Get(ack->scd, 2, 2), kDelayMs);
      const std::optional<clhswire::Words> final = Receive(0, 1000);
      ASSERT_TRUE(final && clhswire::Parse(*final));
      EXPECT_EQ(clhswire::Parse(*final)->ack, 0x0801);
      break;
    }
    case Seen::Late:
      EXPECT_FALSE(first);
      EXPECT_TRUE(Receive(0, 1000));
      break;
    case Seen::ReceiveFailed:
      EXPECT_FALSE(first);
      EXPECT_EQ(Read("ClhsRxCmdStatus_0") >> 24 & 1, 1u);
      break;
    case Seen::SignalDrop: {
      EXPECT_FALSE(first);
      EXPECT_EQ(Read("GtxStatus_0") & 48, 48u);
      const Clock::time_point deadline = Clock::now() + std::chrono::seconds(2);
      while (Read("GtxStatus_0") & 48 && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      EXPECT_EQ(Read("GtxStatus_0") & 48, 0u);
      break;
    }
  }
}

// A command sent again under the id last answered gets that answer, whatever it asks now: the
// camera carried it out once already.
class ClhsResend : public ClhsFault {};

TEST_P(ClhsResend, GetsTheAnswerGiven) {
  const FaultRow& row = GetParam();
  Load("clhs", Camera("0"));
  ASSERT_EQ(VSimSetCameraFaultsEx(VSimFindCamera("cam0"), &row.faults, &row.protocol), 0);
  Send(0, ReadMem(kMaxResponseTime, 4, 5));
  ASSERT_EQ(VSimSetCameraFaultsEx(VSimFindCamera("cam0"), &kNone, nullptr), 0);
  const std::optional<Ack> ack =
      Exchange(0, ReadMem(0x0, 4, 5, clhswire::kRequestAck | clhswire::kResend));
  ASSERT_TRUE(ack);
  EXPECT_EQ(ack->id, 5);
  EXPECT_EQ(clhswire::Get(ack->scd, 0, 4), 100u);
}

VSimFaults Chance(uint32_t VSimFaults::*field) {
  VSimFaults faults{};
  faults.silentAfter = -1;
  faults.delayMs = kDelayMs;
  faults.*field = 1000;
  return faults;
}

VSimProtocolFaults Odd(uint32_t VSimProtocolFaults::*field) {
  VSimProtocolFaults protocol{};
  protocol.burstErrors = 100;
  protocol.*field = 1000;
  return protocol;
}

// The signal drops last: the link stays down a while after it.
const FaultRow kFaults[] = {
    {"DroppedAck", Chance(&VSimFaults::dropPerMille), {}, Seen::NoAck, 0},
    {"ResendRequest", kNone, Odd(&VSimProtocolFaults::errorPerMille), Seen::Status, 0x800E},
    {"PendingThenAnswer", kNone, Odd(&VSimProtocolFaults::waitPerMille), Seen::Pending, 0},
    {"LateAnswer", Chance(&VSimFaults::delayPerMille), {}, Seen::Late, 0},
    {"BrokenAnswer", kNone, Odd(&VSimProtocolFaults::badCrcPerMille), Seen::ReceiveFailed, 0},
    {"SignalDrops", kNone, Odd(&VSimProtocolFaults::burstPerMille), Seen::SignalDrop, 0}};

std::string NameOf(const ::testing::TestParamInfo<FaultRow>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Kinds, ClhsFault, ::testing::ValuesIn(kFaults), NameOf);
INSTANTIATE_TEST_SUITE_P(Kinds, ClhsResend,
                         ::testing::ValuesIn(std::begin(kFaults), std::end(kFaults) - 1), NameOf);

}  // namespace
}  // namespace vesk::sim
