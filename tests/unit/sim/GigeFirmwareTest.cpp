// The GigE Vision firmware of both port variants and the camera behind it, through the board
// library and the control API. Frames are built here from the published layouts.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "loader/vesk_hal.h"
#include "sim/include/vesk_sim.h"
#include "tests/unit/sim/GigeWire.h"
#include "tests/unit/sim/HostTap.h"
#include "tests/unit/sim/SimBoardRegisters.h"

namespace vesk::sim::gige {
namespace {

constexpr unsigned kMdio = 0x4D44494F;

struct Variant {
  const char* design;
  int type;
  bool ka4;
};

// Idle lanes, the start character, six 0x55 and the delimiter 0xD5.
const std::vector<uint64_t> kPreamble = {0x30707, 0x30707, 0x30707, 0x30707, 0x30707,
                                         0x30707, 0x155FB, 0x5555,  0x5555,  0xD555};

const Variant kVariants[] = {{"gige-korvid", 2898, false}, {"gige-ka4", 3650, true}};

void PrintTo(const Variant& variant, std::ostream* out) { *out << variant.design; }

std::string VariantName(const ::testing::TestParamInfo<Variant>& info) {
  return info.param.ka4 ? "Ka4" : "Korvid";
}

class GigeFirmware : public ::testing::TestWithParam<Variant>, protected SimBoardRegisters {
 protected:
  void SetUp() override { Load(); }
  void TearDown() override { Close(); }

  // One four-port board of the variant, the camera on port 0.
  void Load(const std::string& board = "", const std::string& camera = "modelName='GigE Test'") {
    Close();
    const Variant& variant = GetParam();
    const std::string rig = "<rig><board type='" + std::to_string(variant.type) +
                            "' ports='4' design='" + variant.design + "' " + board +
                            "/><camera id='cam' speeds='1000' " + camera +
                            "><link board='0' port='0'/></camera></rig>";
    ASSERT_EQ(VSimLoadRigText(rig.c_str(), "gige rig"), 0);
    device_ = VHalInitDevice(0);
    design_ = VSimDesignLoad(device_);
    ASSERT_NE(design_, nullptr);
  }
  bool Ka4() const { return GetParam().ka4; }

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

  // A frame as the variant's driver writes it: 16-bit words to the buffer and the complete flag,
  // or the lane stream with preamble and end mark. Padded to 60 bytes as the driver pads it.
  void Send(const Bytes& frame, unsigned port = 0,
            const std::vector<uint64_t>& preamble = kPreamble) {
    Bytes padded = frame;
    if (padded.size() < 60) padded.resize(60, 0);
    const std::string n = std::to_string(port);
    if (Ka4()) {
      padded.resize((padded.size() + 1) / 2 * 2, 0);
      Write("GigeBufferReset" + n, 0);
      for (size_t i = 0; i < padded.size(); i += 2)
        Write("GigeWriteData" + n, padded[i] | padded[i + 1] << 8);
      Write("GigeWriteComplete" + n, 0);
      return;
    }
    const std::string stream = "GigeTxControlWriteData_" + n;
    for (uint64_t word : preamble) Write(stream, word);
    const size_t words = (padded.size() + 1) / 2;
    for (size_t i = 0; i + 1 < words; ++i) Write(stream, padded[2 * i] | padded[2 * i + 1] << 8);
    uint64_t last = padded[2 * (words - 1)];
    last |= padded.size() % 2 ? 0x20700 : uint64_t{padded[2 * words - 1]} << 8;
    if (words % 2) {
      Write(stream, last);
      Write(stream, 0x70707);
    } else {
      Write(stream, last | 0x40000);
    }
  }

  // The next frame the variant's driver reads from the port's queue; empty when none comes.
  std::optional<Bytes> Receive(unsigned timeoutMs = 1000, unsigned port = 0) {
    uint32_t header = 0;
    const int queue = static_cast<int>(Ka4() ? port : port + 8);
    if (VHalDataQueueReadBufferLong(device_, queue, &header, 4, timeoutMs) != 4) return {};
    if (!Ka4()) {
      const uint32_t code = header >> 16 & 0xF;
      const size_t valid = code == 1 ? 1 : code == 3 ? 2 : code == 7 ? 3 : code >= 15 ? 4 : 0;
      std::vector<uint32_t> words((header & 0xFFFF) + (code ? 1 : 0));
      Bytes frame(words.size() * 4);
      EXPECT_EQ(VHalDataQueueReadBufferLong(device_, queue, words.data(),
                                            static_cast<unsigned>(frame.size()), 100),
                static_cast<int>(frame.size()));
      std::memcpy(frame.data(), words.data(), frame.size());
      frame.resize((header & 0xFFFF) * 4 + valid);
      return frame;
    }
    Bytes frame;
    for (int chunk = 0; chunk < 100; ++chunk) {
      std::vector<uint32_t> words(header);
      const auto size = static_cast<unsigned>(words.size() * 4);
      EXPECT_EQ(VHalDataQueueReadBufferLong(device_, queue, words.data(), size, 100),
                static_cast<int>(size));
      for (uint32_t word : words) {
        frame.push_back(static_cast<uint8_t>(word));
        frame.push_back(static_cast<uint8_t>(word >> 8));
      }
      if (words.empty() || words.back() & 0x10000) return frame;
      if (VHalDataQueueReadBufferLong(device_, queue, &header, 4, 100) != 4) break;
    }
    ADD_FAILURE() << "a frame without its end mark";
    return {};
  }

  // A GVCP command to the camera (by broadcast until discovery found it) and its acknowledge.
  std::optional<GvcpAck> Command(uint16_t command, const Bytes& payload,
                                 uint16_t sourcePort = 10000) {
    Datagram datagram;
    datagram.destinationMac = cameraMac_;
    datagram.destinationIp = cameraIp_;
    datagram.sourcePort = sourcePort;
    datagram.payload = Gvcp(command, payload, ++requestId_);
    Send(Udp(datagram));
    const std::optional<Bytes> frame = Receive();
    if (!frame) return {};
    const std::optional<Datagram> answer = ParseUdp(*frame);
    if (!answer) return {};
    EXPECT_EQ(answer->sourcePort, kGvcpPort);
    EXPECT_EQ(answer->destinationPort, sourcePort);
    return ParseAck(answer->payload);
  }
  uint32_t WriteReg(uint32_t address, uint32_t value, uint16_t sourcePort = 10000) {
    const std::optional<GvcpAck> ack = Command(0x82, Words({address, value}), sourcePort);
    return ack ? ack->status : 0xFFFFFFFF;
  }
  // Finds the camera: its MAC and IP address from the discovery acknowledge.
  GvcpAck Discover() {
    const std::optional<GvcpAck> ack = Command(0x02, {});
    EXPECT_TRUE(ack);
    if (!ack || ack->payload.size() < 0x48) return {};
    cameraMac_ = {};
    for (size_t i = 0; i < 6; ++i) cameraMac_[i] = ack->payload[0x0A + i];
    cameraIp_ = Get32(ack->payload, 0x24);
    return *ack;
  }
  uint64_t CrcErrors() {
    return Ka4() ? Read("GigeRecvErrCnt0") : Read("GigeMonitorStatus_0") >> 16 & 0xFFFFFF;
  }

  Mac cameraMac_ = kBroadcast;
  uint32_t cameraIp_ = 0xFFFFFFFF;
  uint16_t requestId_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Variants, GigeFirmware, ::testing::ValuesIn(kVariants), VariantName);

// What only one variant has.
class GigeKorvid : public GigeFirmware {};
class GigeKa4 : public GigeFirmware {};
INSTANTIATE_TEST_SUITE_P(Variant, GigeKorvid, ::testing::Values(kVariants[0]), VariantName);
INSTANTIATE_TEST_SUITE_P(Variant, GigeKa4, ::testing::Values(kVariants[1]), VariantName);

// The 88E151x driver reaches clause 22 registers through the configuration space: the port's
// complement in bits 0 and 1, the register in bits 2 to 9, the page in register 22.
TEST(GigeFirmware151x, PhyOfAnotherBoardTypeAnswersInClause22) {
  ASSERT_EQ(
      VSimLoadRigText("<rig><board type='2897' ports='4' design='gige-korvid'/>"
                      "<camera id='cam' speeds='1000'><link board='0' port='1'/></camera></rig>",
                      "151x rig"),
      0);
  PLdevice* device = VHalInitDevice(0);
  auto access = [device](bool write, unsigned port, unsigned reg, unsigned value = 0) {
    const unsigned address = reg << 2 | (~port & 3);
    EXPECT_EQ(write ? VHalWriteConfig(device, kMdio, address, &value, 1)
                    : VHalReadConfig(device, kMdio, address, &value, 1),
              0);
    return value;
  };
  EXPECT_EQ(access(false, 1, 17) & 0x0008, 0x0008u);
  EXPECT_EQ(access(false, 0, 17) & 0x0008, 0u);
  access(true, 1, 0, access(false, 1, 0) | 0x8000);
  EXPECT_EQ(access(false, 1, 0) & 0x8000, 0u) << "the reset clears itself";
  access(true, 1, 22, 3);
  access(true, 1, 16, 4196);
  access(true, 1, 22, 0);
  EXPECT_NE(access(false, 1, 16), 4196u);
  access(true, 1, 22, 3);
  EXPECT_EQ(access(false, 1, 16), 4196u) << "page 3 keeps its register";
  VHalFreeDevice(device);
}

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

TEST_P(GigeKa4, TransmitterIsBusyForOneLookAfterASend) {
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

TEST_P(GigeFirmware, DiscoveryFindsTheCameraByBroadcast) {
  const GvcpAck ack = Discover();
  EXPECT_EQ(ack.status, 0u);
  EXPECT_EQ(ack.code, 0x03u);
  ASSERT_EQ(ack.payload.size(), 0xF8u);
  EXPECT_EQ(Get32(ack.payload, 0x00), 0x00020000u);  // GigE Vision 2.0
  EXPECT_EQ(cameraMac_[0] & 0x03, 0x02) << "a locally administered unicast address";
  EXPECT_EQ(cameraIp_ >> 16, 0xA9FEu) << "a link-local address";
  EXPECT_STREQ(reinterpret_cast<const char*>(&ack.payload[0x68]), "GigE Test");
}

// Each row: where a discovery comes from, with which flags, and where its answer goes.
struct DiscoveryRoute {
  uint32_t sourceIp;
  uint8_t flags;
  bool broadcast;
};

const DiscoveryRoute kDiscoveryRoutes[] = {
    {kHostIp, 0x11, false},     // the camera's own subnet
    {0xC0A86464, 0x11, true},   // another subnet, broadcast allowed
    {0xC0A86464, 0x01, false},  // another subnet, broadcast not allowed
    {0, 0x01, true},            // no address yet
};

TEST_P(GigeFirmware, DiscoveryFromOutsideTheSubnetIsAnsweredByBroadcastWhereAllowed) {
  for (const DiscoveryRoute& route : kDiscoveryRoutes) {
    Datagram datagram;
    datagram.sourceIp = route.sourceIp;
    datagram.payload = Gvcp(0x02, {}, 1, route.flags);
    Send(Udp(datagram));
    const std::optional<Bytes> frame = Receive();
    ASSERT_TRUE(frame);
    const std::optional<Datagram> answer = ParseUdp(*frame);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->destinationIp, route.broadcast ? 0xFFFFFFFF : route.sourceIp)
        << route.sourceIp << " with flags " << int{route.flags};
    EXPECT_EQ(answer->destinationMac, route.broadcast ? kBroadcast : kHostMac);
  }
}

// Each row: what leads a frame into the lane stream, and whether the frame goes out.
const std::pair<std::vector<uint64_t>, bool> kLeads[] = {
    {kPreamble, true},
    {{0x30707, 0x155FB, 0x5555, 0xD555}, false},         // a preamble too short
    {{0x30707, 0x5555, 0x5555, 0x5555, 0xD555}, false},  // no start character
    {{0x155FB, 0x5555, 0x5555, 0x5555}, false},          // no delimiter
};

TEST_P(GigeKorvid, TransmitterIsNotReadyForOneLookAfterAFrame) {
  EXPECT_EQ(Read("GigeTxControlReady_0"), 1u);
  Send(Arp(1, kHostMac, kHostIp, Mac{}, 1));
  EXPECT_EQ(Read("GigeTxControlReady_0"), 0u);
  EXPECT_EQ(Read("GigeTxControlReady_0"), 1u);
}

TEST_P(GigeKorvid, StreamSendsOnlyFramesBehindStartPreambleAndDelimiter) {
  for (const auto& [lead, sent] : kLeads) {
    Send(Udp(Datagram{kBroadcast, kHostMac, kHostIp, 0xFFFFFFFF, 10000, kGvcpPort,
                      Gvcp(0x02, {}, 1)}),
         0, lead);
    EXPECT_EQ(Receive(50).has_value(), sent) << lead.size() << " words ahead";
  }
}

// Each row: a command to the found camera and the start of its acknowledge's payload.
struct Exchange {
  const char* what;
  uint16_t command;
  Bytes payload;
  uint32_t status;
  Bytes answer;
};

Bytes operator+(Bytes left, const std::string& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

const Exchange kExchanges[] = {
    {"version", 0x80, Words({0x0000}), 0, Words({0x00020000})},
    {"device mode: big-endian, UTF-8", 0x80, Words({0x0004}), 0, Words({0x80000001})},
    {"heartbeat time-out", 0x80, Words({0x0938}), 0, Words({3000})},
    // User name, serial number, heartbeat disable, PENDING_ACK, WRITEMEM.
    {"GVCP capabilities", 0x80, Words({0x0934}), 0, Words({0xE0000022})},
    {"two registers at once", 0x80, Words({0x0600, 0x0904}), 0, Words({1, 1})},
    {"unaligned register", 0x80, Words({0x0006}), 0x8005, {}},
    {"no register there", 0x80, Words({0x8000}), 0x8003, {}},
    {"read-only register", 0x82, Words({0x0000, 1}), 0x8004, Words({0})},
    {"heartbeat below 500 ms", 0x82, Words({0x0938, 100}), 0x8002, Words({0})},
    {"first URL", 0x84, Words({0x0200, 8}), 0, Words({0x0200}) + "Local:"},
    {"memory across a gap", 0x84, Words({0x0040, 16}), 0x8003, Words({0x0040})},
    {"memory of the XML is read-only", 0x86, Words({0xF0000000, 0}), 0x8004, Words({0})},
    {"user name", 0x86, Words({0x00E8}) + std::string("Cam", 4), 0, Words({4})},
    {"command GVCP lacks", 0x50, {}, 0x8001, {}},
};

TEST_P(GigeFirmware, GvcpCommandsThroughTheTransmitRegistersAreAcknowledged) {
  Discover();
  for (const Exchange& row : kExchanges) {
    const uint16_t id = static_cast<uint16_t>(requestId_ + 1);
    const std::optional<GvcpAck> ack = Command(row.command, row.payload);
    ASSERT_TRUE(ack) << row.what;
    EXPECT_EQ(ack->status, row.status) << row.what;
    EXPECT_EQ(ack->code, row.command + 1u) << row.what;
    EXPECT_EQ(ack->id, id) << row.what;
    ASSERT_GE(ack->payload.size(), row.answer.size()) << row.what;
    EXPECT_EQ(Bytes(ack->payload.begin(), ack->payload.begin() + row.answer.size()), row.answer)
        << row.what;
  }
  EXPECT_EQ(CrcErrors(), 0u);
}

// Each row: a command that the camera leaves unanswered.
const std::pair<uint16_t, Bytes> kUnanswered[] = {
    {0x40, Words({0, 0xFFFF, 0xFFFFFFFF})},  // PACKETRESEND: no stream has sent anything
    {0x100, Words({0, 0, 0})},               // ACTION with keys the camera does not hold
};

TEST_P(GigeFirmware, ResendAndActionCommandsAreNotAnswered) {
  Discover();
  for (const auto& [command, payload] : kUnanswered) {
    Send(Udp(Datagram{cameraMac_, kHostMac, kHostIp, cameraIp_, 10000, kGvcpPort,
                      Gvcp(command, payload, 1)}));
    EXPECT_FALSE(Receive(50)) << command;
  }
}

// The library reads the XML file in chunks of 512 bytes, the last rounded up to a whole word.
TEST_P(GigeFirmware, XmlFileReadsInWholeWordsFromTheFirstUrl) {
  Load("", "modelName='GigE XML' xml='zipped'");
  Discover();
  const std::optional<GvcpAck> url = Command(0x84, Words({0x0200, 512}));
  ASSERT_TRUE(url && url->status == 0 && url->payload.size() == 516);
  const std::string text(reinterpret_cast<const char*>(&url->payload[4]));
  const size_t first = text.find(';');
  const size_t second = text.find(';', first + 1);
  ASSERT_EQ(text.rfind("Local:", 0), 0u) << text;
  ASSERT_NE(second, std::string::npos) << text;
  const auto address = static_cast<uint32_t>(std::stoul(text.substr(first + 1), nullptr, 16));
  const size_t size = std::stoul(text.substr(second + 1), nullptr, 16);
  Bytes xml;
  while (xml.size() < size) {
    const auto chunk = static_cast<uint32_t>(std::min<size_t>(512, (size - xml.size() + 3) & ~3u));
    const auto at = static_cast<uint32_t>(address + xml.size());
    const std::optional<GvcpAck> ack = Command(0x84, Words({at, chunk}));
    ASSERT_TRUE(ack);
    ASSERT_EQ(ack->status, 0u) << "at " << at << ", " << chunk << " of " << size << " bytes";
    xml.insert(xml.end(), ack->payload.begin() + 4, ack->payload.end());
  }
  EXPECT_EQ(std::string(xml.begin(), xml.begin() + 4), "PK\x03\x04");
  EXPECT_TRUE(std::all_of(xml.begin() + static_cast<ptrdiff_t>(size), xml.end(),
                          [](uint8_t byte) { return byte == 0; }));
  EXPECT_NE(size % 4, 0u) << "the file should end within a word for this test to bite";
}

TEST_P(GigeFirmware, ArpRequestForTheCameraIsAnswered) {
  Discover();
  Send(Arp(1, kHostMac, kHostIp, Mac{}, cameraIp_));
  const std::optional<Bytes> reply = Receive();
  ASSERT_TRUE(reply);
  EXPECT_EQ(MacAt(*reply, 0), kHostMac);
  EXPECT_EQ(Get16(*reply, 12), 0x0806u);
  EXPECT_EQ(Get16(*reply, 20), 2u);
  EXPECT_EQ(MacAt(*reply, 22), cameraMac_);
  EXPECT_EQ(Get32(*reply, 28), cameraIp_);
  EXPECT_EQ(Get32(*reply, 38), kHostIp);
  // Another address is not the camera's to answer.
  Send(Arp(1, kHostMac, kHostIp, Mac{}, cameraIp_ + 1));
  EXPECT_FALSE(Receive(50));
}

// Each row: who writes what, and the status: one controller at a time, the others refused.
struct ControlStep {
  uint16_t sourcePort;
  bool read;
  uint32_t address;
  uint32_t value;
  uint32_t status;
};

// Control lets the others read; exclusive access, not even that.
const ControlStep kControlSteps[] = {
    {10000, false, 0x0A00, 2, 0},          {10001, false, 0x0A00, 2, 0x8006},
    {10001, false, 0x0B00, 20000, 0x8006}, {10001, true, 0x0A00, 0, 0},
    {10000, false, 0x0B00, 20000, 0},      {10000, false, 0x0A00, 1, 0},
    {10001, true, 0x0A00, 0, 0x8006},      {10000, true, 0x0B00, 0, 0},
    {10000, false, 0x0A00, 0, 0},          {10001, false, 0x0A00, 2, 0},
    {10000, false, 0x0938, 1000, 0x8006},
};

TEST_P(GigeFirmware, SecondControllerIsRefusedWhileOneHoldsControl) {
  Discover();
  for (const ControlStep& step : kControlSteps) {
    const std::optional<GvcpAck> ack =
        step.read ? Command(0x80, Words({step.address}), step.sourcePort)
                  : Command(0x82, Words({step.address, step.value}), step.sourcePort);
    ASSERT_TRUE(ack);
    EXPECT_EQ(ack->status, step.status) << step.sourcePort << (step.read ? " reads " : " writes ")
                                        << step.value << " at " << step.address;
  }
}

TEST_P(GigeFirmware, ControlLapsesWhenTheHeartbeatExpires) {
  Discover();
  ASSERT_EQ(WriteReg(0x0A00, 2), 0u);
  ASSERT_EQ(WriteReg(0x0938, 500), 0u);
  EXPECT_EQ(WriteReg(0x0A00, 2, 10001), 0x8006u);
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  EXPECT_EQ(WriteReg(0x0A00, 2, 10001), 0u);
  EXPECT_EQ(WriteReg(0x0B00, 1, 10000), 0x8006u);
}

// Each row: seeded faults of the camera and what the host then reads: the codes of the
// acknowledges that come, and the CRC errors the firmware counted.
struct FaultRow {
  const char* what;
  VSimFaults faults;
  VSimProtocolFaults protocol;
  std::vector<uint32_t> codes;
  uint32_t status;
  uint64_t crcErrors;
};

const FaultRow kFaultRows[] = {
    {"drop", {1, 1000, 0, 0, 0, 0, -1}, {}, {}, 0, 0},
    {"delay", {1, 0, 0, 0, 1000, 5, -1}, {}, {0x81}, 0, 0},
    {"corrupt", {1, 0, 1000, 0, 0, 0, -1}, {}, {}, 0, 1},
    {"pending", {1, 0, 0, 0, 0, 5, -1}, {1000, 0, 0, 0, 0, 0, 0}, {0x89, 0x81}, 0, 0},
    {"busy", {1, 0, 0, 0, 0, 0, -1}, {0, 0, 0, 0, 1000, 0, 0}, {0x81}, 0x8007, 0},
    {"bad CRC", {1, 0, 0, 0, 0, 0, -1}, {0, 0, 0, 1000, 0, 0, 0}, {}, 0, 1},
    {"burst", {1, 0, 0, 0, 0, 0, -1}, {0, 0, 0, 0, 0, 1000, 7}, {}, 0, 7},
};

TEST_P(GigeFirmware, SeededFaultsSpoilAcknowledges) {
  for (const FaultRow& row : kFaultRows) {
    Load();
    ASSERT_EQ(VSimSetCameraFaultsEx(0, &row.faults, &row.protocol), 0);
    Send(Udp(Datagram{kBroadcast, kHostMac, kHostIp, 0xFFFFFFFF, 10000, kGvcpPort,
                      Gvcp(0x80, Words({0}), 7)}));
    std::vector<uint32_t> codes;
    uint32_t status = 0;
    for (std::optional<Bytes> frame = Receive(200); frame; frame = Receive(200)) {
      const std::optional<Datagram> datagram = ParseUdp(*frame);
      ASSERT_TRUE(datagram) << row.what;
      const std::optional<GvcpAck> ack = ParseAck(datagram->payload);
      ASSERT_TRUE(ack) << row.what;
      EXPECT_EQ(ack->id, 7u) << row.what;
      codes.push_back(ack->code);
      status = ack->status;
    }
    EXPECT_EQ(codes, row.codes) << row.what;
    EXPECT_EQ(status, row.status) << row.what;
    EXPECT_EQ(CrcErrors(), row.crcErrors) << row.what;
  }
}

// Each row: a message of the host and the server's answer: OFFER 2, ACK 5, NAK 6.
struct DhcpStep {
  uint8_t type;
  uint32_t requested;
  uint8_t answer;
};

const DhcpStep kDhcpSteps[] = {{1, 0, 2}, {3, 0xC0A86464, 5}, {3, 0xC0A86465, 6}, {1, 0, 2}};

TEST_P(GigeFirmware, DhcpServerOnThePortsNetworkLeasesAnAddress) {
  Load("dhcp='0'");
  uint32_t transaction = 0x5EED;
  for (const DhcpStep& step : kDhcpSteps) {
    Send(Dhcp(step.type, ++transaction, step.requested));
    const std::optional<Bytes> frame = Receive();
    ASSERT_TRUE(frame) << int{step.type};
    const std::optional<Datagram> answer = ParseUdp(*frame);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->destinationPort, 68);
    EXPECT_EQ(answer->sourceIp, 0xC0A86401u);
    const Bytes& bootp = answer->payload;
    EXPECT_EQ(Get32(bootp, 4), transaction);
    EXPECT_EQ(MacAt(bootp, 28), kHostMac);
    EXPECT_EQ(DhcpOption(bootp, 53), Bytes{step.answer});
    EXPECT_EQ(Get32(bootp, 16), step.answer == 6 ? 0u : 0xC0A86464u) << "the offered address";
  }
  // A port without a link reaches no server, and a network without one has none.
  ASSERT_EQ(VSimUnplug(0, 0), 0);
  Send(Dhcp(1, 1));
  EXPECT_FALSE(Receive(50));
  Load();
  Send(Dhcp(1, 1));
  EXPECT_FALSE(Receive(50));
}

// A TAP interface named after the process, so that test programs running at once do not meet.
std::string TapName(const char* kind) { return "vsk" + std::to_string(getpid()) + kind; }

constexpr char kNoTap[] = "this process may not make TAP interfaces";

// A bridge detached when the test ends, however it ends; its id is 0 where the host does not
// let the process make a TAP interface.
struct Bridge {
  explicit Bridge(int attached) : id(attached) {
    if (id == VSIM_ERROR_HOST && (errno == EPERM || errno == EACCES || errno == ENOENT)) id = 0;
    EXPECT_GE(id, 0) << "errno " << errno;
  }
  ~Bridge() {
    if (id > 0) VSimDetachTap(id);
  }
  int id;
};

// Whether count reaches at least want within a second: notifications come on their own thread.
bool AwaitCount(const std::atomic<int>& count, int want) {
  for (int look = 0; look < 100 && count < want; ++look) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return count >= want;
}

std::optional<GvcpAck> AckOf(const std::optional<Bytes>& frame) {
  const std::optional<Datagram> datagram = frame ? ParseUdp(*frame) : std::nullopt;
  return datagram ? ParseAck(datagram->payload) : std::nullopt;
}

TEST_P(GigeFirmware, BridgedPortWireCarriesFramesBetweenHostPortAndCamera) {
  const std::string tap = TapName("p");
  const Bridge bridge(VSimAttachPortToTap(0, 0, tap.c_str()));
  if (bridge.id <= 0) GTEST_SKIP() << kNoTap;
  HostTap host(tap);
  ASSERT_TRUE(host.Ready());
  EXPECT_EQ(VSimAttachPortToTap(0, 0, "vskother"), VSIM_ERROR_PORT_IN_USE);
  EXPECT_EQ(VSimLoadRigText("<rig/>", "empty"), VSIM_ERROR_BUSY) << "not while bridged";

  // The host's discovery reaches the camera and the port, and both hear the camera's answer.
  const Bytes discovery = Gvcp(0x02, {}, 41);
  ASSERT_TRUE(host.Send(
      Udp(Datagram{kBroadcast, kHostMac, kHostIp, 0xFFFFFFFF, 10000, kGvcpPort, discovery})));
  const std::optional<GvcpAck> heard = AckOf(host.Receive(IsGvcpAnswer));
  ASSERT_TRUE(heard);
  EXPECT_EQ(heard->code, 0x03u);
  EXPECT_EQ(heard->id, 41u);
  const std::optional<Bytes> request = Receive();
  ASSERT_TRUE(request && ParseUdp(*request));
  EXPECT_EQ(ParseUdp(*request)->payload, discovery);
  const std::optional<GvcpAck> overheard = AckOf(Receive());
  ASSERT_TRUE(overheard);
  EXPECT_EQ(overheard->payload, heard->payload);

  // What the port sends goes to the host too, with the camera's answer.
  const uint32_t cameraIp = Get32(heard->payload, 0x24);
  Send(Arp(1, kHostMac, kHostIp, Mac{}, cameraIp));
  const std::optional<Bytes> asked = host.Receive([](const Bytes& frame) {
    return Get16(frame, 12) == 0x0806 && Get16(frame, 20) == 1 && MacAt(frame, 6) == kHostMac;
  });
  EXPECT_TRUE(asked) << "the port's own frame";
  const std::optional<Bytes> reply = host.Receive(IsArpReply);
  ASSERT_TRUE(reply);
  EXPECT_EQ(Get32(*reply, 28), cameraIp);

  // An empty port's link is up while its wire is bridged, and the PHY tells of both changes as
  // it does when a cable moves.
  std::atomic<int> phyEvents{0};
  const VHalAsyncNotifyCallback counter = [](int, unsigned long what, unsigned long detail,
                                             unsigned long, void* events) {
    if (what == 3 && detail == 2) ++*static_cast<std::atomic<int>*>(events);
    return 0;
  };
  ASSERT_EQ(VHalRegisterAsyncNotifyCallback(device_, counter, &phyEvents), 0);
  EXPECT_FALSE(Link(1));
  const int empty = VSimAttachPortToTap(0, 1, (tap + "e").c_str());
  EXPECT_GT(empty, 0);
  EXPECT_TRUE(Link(1));
  EXPECT_TRUE(AwaitCount(phyEvents, 1));
  EXPECT_EQ(VSimDetachTap(empty), 0);
  EXPECT_FALSE(Link(1));
  EXPECT_TRUE(AwaitCount(phyEvents, 2));
  EXPECT_EQ(VSimDetachTap(empty), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(VHalUnregisterAsyncNotifyCallback(device_, counter, &phyEvents), 0);
}

TEST_P(GigeKa4, BridgedCameraIsFoundAndAnsweredByTheHost) {
  ASSERT_EQ(VSimUnplug(0, 0), 0);
  const std::string tap = TapName("c");
  Bridge bridge(VSimAttachCameraToTap(0, tap.c_str()));
  if (bridge.id <= 0) GTEST_SKIP() << kNoTap;
  HostTap host(tap);
  ASSERT_TRUE(host.Ready());
  EXPECT_EQ(VSimPlug(0, 0, 0, 0), VSIM_ERROR_PORT_IN_USE) << "its link is on the host's wire";

  ASSERT_TRUE(host.Send(Udp(
      Datagram{kBroadcast, kHostMac, kHostIp, 0xFFFFFFFF, 10000, kGvcpPort, Gvcp(0x02, {}, 1)})));
  const std::optional<GvcpAck> found = AckOf(host.Receive(IsGvcpAnswer));
  ASSERT_TRUE(found && found->payload.size() == 0xF8);
  EXPECT_STREQ(reinterpret_cast<const char*>(&found->payload[0x68]), "GigE Test");
  const Mac cameraMac = MacAt(found->payload, 0x0A);
  const uint32_t cameraIp = Get32(found->payload, 0x24);

  ASSERT_TRUE(host.Send(Arp(1, kHostMac, kHostIp, Mac{}, cameraIp)));
  const std::optional<Bytes> reply = host.Receive(IsArpReply);
  ASSERT_TRUE(reply);
  EXPECT_EQ(MacAt(*reply, 22), cameraMac);
  ASSERT_TRUE(host.Send(Udp(Datagram{cameraMac, kHostMac, kHostIp, cameraIp, 10000, kGvcpPort,
                                     Gvcp(0x80, Words({0x0938}), 2)})));
  const std::optional<GvcpAck> heartbeat = AckOf(host.Receive(IsGvcpAnswer));
  ASSERT_TRUE(heartbeat);
  EXPECT_EQ(heartbeat->payload, Words({3000}));

  EXPECT_EQ(VSimDetachTap(std::exchange(bridge.id, 0)), 0);
  EXPECT_EQ(VSimPlug(0, 0, 0, 0), 0) << "the link is free again";
}

// Each row: an attach the simulator refuses before it asks the host for an interface, or one
// the host refuses.
struct Refusal {
  const char* what;
  std::function<int()> attach;
  int status;
};

TEST(GigeBridge, AttachIsRefusedWhereNoGigeWireCanBeBridged) {
  ASSERT_EQ(VSimLoadRigText("<rig><board type='3650' ports='2' design='gige-ka4'/>"
                            "<board type='2656' ports='1' design='cxp-camera-ctrl'/>"
                            "<camera id='cam'><link board='0' port='0'/></camera></rig>",
                            "bridge rig"),
            0);
  const Refusal refusals[] = {
      {"a board that is not GigE Vision", [] { return VSimAttachPortToTap(1, 0, "vskx"); },
       VSIM_ERROR_NOT_SUPPORTED},
      {"no such board", [] { return VSimAttachPortToTap(2, 0, "vskx"); }, VSIM_ERROR_NO_SUCH_BOARD},
      {"no such port", [] { return VSimAttachPortToTap(0, 2, "vskx"); }, VSIM_ERROR_NO_SUCH_PORT},
      {"no name", [] { return VSimAttachPortToTap(0, 0, nullptr); }, VSIM_ERROR_INVALID_ARGUMENT},
      {"no such camera", [] { return VSimAttachCameraToTap(1, "vskx"); },
       VSIM_ERROR_NO_SUCH_CAMERA},
      {"a camera whose link is in a port", [] { return VSimAttachCameraToTap(0, "vskx"); },
       VSIM_ERROR_PORT_IN_USE},
      {"a name longer than an interface's",
       [] { return VSimAttachPortToTap(0, 0, "vsk456789abcdef0"); }, VSIM_ERROR_HOST},
      {"no such bridge", [] { return VSimDetachTap(1 << 20); }, VSIM_ERROR_INVALID_ARGUMENT},
  };
  for (const Refusal& refusal : refusals)
    EXPECT_EQ(refusal.attach(), refusal.status) << refusal.what;
}

}  // namespace
}  // namespace vesk::sim::gige
