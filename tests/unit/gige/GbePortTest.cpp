// The GigE port variants on a simulated board: the frames their transmitters take, and a camera
// found, read and lost through the port alone, with the port's own threads.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/SimulatedRuntime.h"
#include "vesk_genicam/impl/GbeKa4Port.h"
#include "vesk_genicam/impl/GbeKorvid4GPort.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace {

struct Variant {
  const char* name;
  int board;
};

const Variant kKa4{"Ka4", 0};
const Variant kKorvid{"Korvid", 1};

// Board 0 of the Ka4 variant, board 1 of the Korvid one, one port each, with a camera cabled
// when the port is made, so that its construction and Connect find it. DHCP and AutoIP stay off:
// discovery goes by broadcast.
const char kRig[] =
    "<rig><board type='3650' ports='1' design='gige-ka4'/>"
    "<board type='2898' ports='1' design='gige-korvid'/>"
    "<camera id='ka4' vendor='Acme'><link board='0' port='0'/></camera>"
    "<camera id='korvid' vendor='Acme'><link board='1' port='0'/></camera></rig>";

class GigeRig : public testing::Environment {
 public:
  void SetUp() override {
    VeskGenICamInit();
    ASSERT_EQ(VSIM(VSimLoadRigText)(kRig, "port rig"), 0);
  }
  void TearDown() override { VeskGenICamDeinit(); }
};
const auto* const kRigEnvironment = testing::AddGlobalTestEnvironment(new GigeRig);

class SimulatedGigePort {
 public:
  explicit SimulatedGigePort(const Variant& variant)
      : device_(VHalInitDevice(variant.board)), design_(DsnLoadBoardDesign(device_)) {
    if (!design_) return;
    if (variant.board == kKa4.board) {
      port_ = std::make_unique<CGbeKa4Port>(0, device_, design_);
    } else {
      port_ = std::make_unique<CGbeKorvid4GPort>(0, device_, design_);
    }
    port_->SetAutoIp(false);
    port_->Connect();
  }
  ~SimulatedGigePort() {
    port_.reset();
    if (design_) DsnFreeDesign(design_);
    if (device_) VHalFreeDevice(device_);
  }
  SimulatedGigePort(const SimulatedGigePort&) = delete;
  SimulatedGigePort& operator=(const SimulatedGigePort&) = delete;

  CGbePortBase* Port() { return port_.get(); }

 private:
  PLdevice* device_;
  fpga_design* design_;
  std::unique_ptr<CGbePortBase> port_;
};

// One port per variant for the suite: a PHY reset and a camera's takeover take seconds.
class GbePort : public testing::TestWithParam<Variant> {
 protected:
  static void TearDownTestSuite() { ports_.clear(); }
  CGbePortBase& Port() {
    std::unique_ptr<SimulatedGigePort>& port = ports_[GetParam().board];
    if (!port) port = std::make_unique<SimulatedGigePort>(GetParam());
    EXPECT_NE(port->Port(), nullptr);
    return *port->Port();
  }
  static std::map<int, std::unique_ptr<SimulatedGigePort>> ports_;
};
std::map<int, std::unique_ptr<SimulatedGigePort>> GbePort::ports_;

INSTANTIATE_TEST_SUITE_P(Variants, GbePort, testing::Values(kKa4, kKorvid),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(GbePort, TheCameraIsTakenOverAtConnect) {
  CGbePortBase& port = Port();
  EXPECT_TRUE(port.IsConnected());
  EXPECT_EQ(port.GetPortType(), PortTypeMaster);
  EXPECT_STREQ(port.GetCameraInfo()->GetVendorName(), "Acme");
  EXPECT_EQ(port.GetMacDest()[0], 0x02) << "the camera's own MAC, not the broadcast one";
  EXPECT_NE(port.GetXmlSize(), 0u);
}

// The XML's URL names a file that the port loads in chunks of 512 bytes; a read of 1300 bytes
// there comes whole.
TEST_P(GbePort, TheXmlAndLongReadsComeWhole) {
  CGbePortBase& port = Port();
  std::string xml;
  ASSERT_EQ(port.LoadXML(xml, 0), 0);
  EXPECT_EQ(xml.size(), port.GetXmlSize());
  ASSERT_GT(xml.size(), 1300u);
  const std::string url = port.GetXmlName();
  ASSERT_EQ(url.rfind("Local:", 0), 0u) << url;
  const size_t at = url.find(';') + 1;
  const auto address = static_cast<unsigned int>(std::stoul(url.substr(at), nullptr, 16));
  std::vector<unsigned char> bytes(1300, 0xEE);
  ASSERT_EQ(port.ReadPacket(address, bytes.data(), 1300, 1000), 0);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), xml.substr(0, 1300));
}

uint32_t Le32(const std::string& bytes, size_t at) {
  uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

// Each command and its answer are recorded as Ethernet frames: GVCP to and from UDP port 3956.
TEST_P(GbePort, ACaptureRecordsTheExchangeAsEthernet) {
  CGbePortBase& port = Port();
  const std::string path = testing::TempDir() + "/gige-" + GetParam().name + ".pcap";
  port.OpenPcap(const_cast<char*>(path.c_str()));
  unsigned char bytes[4] = {};
  ASSERT_EQ(port.ReadPacket(0x0A00, bytes, 4, 1000), 0);
  std::ifstream file(path, std::ios::binary);
  const std::string capture((std::istreambuf_iterator<char>(file)), {});
  ASSERT_GE(capture.size(), 24u);
  EXPECT_EQ(Le32(capture, 0), 0xA1B2C3D4u);
  EXPECT_EQ(Le32(capture, 20), 1u) << "link type Ethernet";
  unsigned int requests = 0;
  unsigned int answers = 0;
  for (size_t at = 24; at + 16 <= capture.size(); at += 16 + Le32(capture, at + 8)) {
    const std::string frame = capture.substr(at + 16, Le32(capture, at + 8));
    if (frame.size() < 42 || frame[12] != 0x08 || frame[13] != 0x00 || frame[23] != 17) continue;
    const auto port16 = [&](size_t offset) {
      return static_cast<unsigned char>(frame[offset]) << 8 |
             static_cast<unsigned char>(frame[offset + 1]);
    };
    requests += port16(36) == 3956;
    answers += port16(34) == 3956;
  }
  EXPECT_GE(requests, 1u);
  EXPECT_GE(answers, 1u);
}

struct CommandRow {
  const char* name;
  unsigned short command;
  bool nullData;
  int expected;
};

TEST_P(GbePort, CommandsThatCannotBeSent) {
  CGbePortBase& port = Port();
  for (const CommandRow& row : {CommandRow{"NullData", 0x80, true, -1017},
                                CommandRow{"WriteMemIsNotCoded", 0x86, false, -1008}}) {
    unsigned char data[4] = {};
    unsigned int received = 7;
    EXPECT_EQ(
        port.ExecCmd(row.command, 0x0A00, row.nullData ? nullptr : data, 4, received, 1, 100, true),
        row.expected)
        << row.name;
  }
}

struct FrameRow {
  unsigned int size;
  int ka4;
  int korvid;
};

// The Korvid transmitter takes control frames only; the Ka4 one any Ethernet frame.
TEST_P(GbePort, EachTransmitterTakesItsSizes) {
  CGbePortBase& port = Port();
  for (const FrameRow& row : {FrameRow{60, 0, 0}, FrameRow{101, 0, 0}, FrameRow{102, 0, -1014},
                              FrameRow{1518, 0, -1014}, FrameRow{1519, -1014, -1014}}) {
    std::vector<unsigned char> frame(row.size, 0);
    EXPECT_EQ(port.SendPacket(frame.data(), row.size),
              GetParam().board == kKa4.board ? row.ka4 : row.korvid)
        << row.size;
  }
  EXPECT_EQ(port.SendPacket(nullptr, 60), -1017);
}

// Last of the suite: the camera goes. A command waits out its time-out, and the PHY's next look
// (on Korvid boards the board library's notice comes first) disconnects the port.
TEST_P(GbePort, ACameraThatGoesTimesOut) {
  CGbePortBase& port = Port();
  ASSERT_EQ(VSIM(VSimUnplug)(GetParam().board, 0), 0);
  unsigned char bytes[4] = {};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(port.ReadPacket(0x0A00, bytes, 4, 200), -1997);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(190));
  port.CheckStatusPhy();
  EXPECT_FALSE(port.IsConnected());
  EXPECT_EQ(port.GetPortType(), PortTypeUnconnected);
}

}  // namespace
