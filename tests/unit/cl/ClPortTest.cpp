// CClPort on a simulated Camera Link board, with the simulator's GenCP cameras behind the
// serial channels. Ports are made as the controller makes them, then given a short max ack time.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "sim/include/vesk_sim.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/SimulatedRuntime.h"
#include "tests/support/TempDir.h"
#include "vesk_genicam/impl/ClPort.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

namespace {

using ::testing::Contains;
using ::testing::Field;
using ::testing::HasSubstr;
using vesk::test::CapturedLine;
using vesk::test::CapturedLog;
using Bytes = std::vector<unsigned char>;

constexpr unsigned int kScratch = 0x800000;  // plain memory of the camera that serves a file
constexpr unsigned int kAckMs = 50;
constexpr unsigned int kMemoryPort = 0;
constexpr unsigned int kZippedPort = 1;

VSimFaults Normal() { return {1, 0, 0, 0, 0, 0, -1}; }

// Port 0: a camera serving a plain file over plain memory, at 9600 baud only. Port 1: a camera
// of the built-in model, zipped, that supports four rates and starts at the lowest.
class ClPortRig : public ::testing::Test {
 public:
  static void SetUpTestSuite() {
    dir_ = new vesk::test::TempDir;
    std::ofstream(dir_->File("memory.xml"))
        << "<?xml version='1.0'?><RegisterDescription ModelName='Memory'/>";
    const std::string rig =
        "<rig><board type='1872' ports='2' design='cl-base'/>"
        "<camera id='memory' xmlFile='" +
        dir_->File("memory.xml") +
        "' speeds='9600'><link board='0' port='0'/></camera>"
        "<camera id='zipped' vendor='Acme' modelName='Line 1' serial='S1' userName='left' "
        "xml='zipped' speeds='9600 19200 57600 115200' defaultSpeed='9600'>"
        "<link board='0' port='1'/></camera></rig>";
    char error[512] = "";
    const int loaded = VSIM(VSimLoadRigText)(rig.c_str(), "cl port rig");
    VSIM(VSimGetLastError)(error, sizeof error);
    ASSERT_EQ(loaded, 0) << error;
    device_ = VHalInitDevice(0);
    ASSERT_NE(device_, nullptr);
  }
  static void TearDownTestSuite() {
    VHalFreeDevice(device_);
    delete dir_;
  }

 protected:
  void TearDown() override {
    const VSimFaults none = Normal();
    for (int camera = 0; camera < 2; ++camera) VSIM(VSimSetCameraFaultsEx)(camera, &none, nullptr);
  }

  static std::unique_ptr<CClPort> Port(unsigned int port) {
    auto made = std::make_unique<CClPort>(port, device_);
    made->SetMaxAckTime(kAckMs);
    return made;
  }
  static void Faults(unsigned int port, const VSimFaults& faults,
                     const VSimProtocolFaults& protocol = {}) {
    ASSERT_EQ(VSIM(VSimSetCameraFaultsEx)(static_cast<int>(port), &faults, &protocol), 0);
  }
  static uint64_t Requests(unsigned int port) {
    VSimPortCounters counters{};
    VSIM(VSimGetPortCounters)(0, port, &counters);
    return counters.packetsToCamera;
  }
  static uint32_t ReadWord(CClPort& port, unsigned int address, int* status = nullptr) {
    uint32_t word = 0;
    const int result = port.ReadPacket(address, reinterpret_cast<unsigned char*>(&word), 4, 0);
    if (status) *status = result;
    return ntohl(word);
  }

  static inline vesk::test::TempDir* dir_ = nullptr;
  static inline PLdevice* device_ = nullptr;
};

TEST_F(ClPortRig, FindsTheCameraAtItsRateAndMovesToTheFastestBothSupport) {
  auto port = Port(kZippedPort);
  ASSERT_TRUE(port->IsConnected());
  EXPECT_EQ(port->GetSpeed(), 9600u);
  std::vector<bool> supported;
  for (unsigned int rate = 0; rate < CClPort::kRateCount; ++rate)
    supported.push_back(port->IsRateSupported(rate));
  EXPECT_EQ(supported, (std::vector<bool>{true, true, false, true, true, false, false, false}));
  ASSERT_EQ(port->SetSpeed(0), 0);
  EXPECT_EQ(port->GetSpeed(), 115200u);
  // Searched from the lowest rate up, the camera answers at 115200 after four silent rates.
  port->Reset(true);
  EXPECT_FALSE(port->IsConnected());
  EXPECT_EQ(port->SetSpeed(0), MLO_ERR_INVALID_LINK_SPEED);
  ASSERT_EQ(port->DetectSpeed(), 0);
  EXPECT_EQ(port->GetSpeed(), 115200u);
  EXPECT_TRUE(port->IsRateSupported(1));
  EXPECT_EQ(ReadWord(*port, 0) >> 16, 1u);  // GenCP 1.x at the new rate
}

struct SpeedRow {
  unsigned int asked;
  unsigned int selected;
};

class ClPortSpeed : public ClPortRig, public ::testing::WithParamInterface<SpeedRow> {};

// A supported rate selects the lowest supported one; none, an unknown or an unsupported rate the
// highest.
TEST_P(ClPortSpeed, SelectsARateFromTheTable) {
  auto port = Port(kZippedPort);
  ASSERT_EQ(port->SetSpeed(GetParam().asked), 0);
  EXPECT_EQ(port->GetSpeed(), GetParam().selected);
  EXPECT_EQ(ReadWord(*port, 0) >> 16, 1u);
}

INSTANTIATE_TEST_SUITE_P(Rates, ClPortSpeed,
                         ::testing::Values(SpeedRow{0, 115200}, SpeedRow{115200, 9600},
                                           SpeedRow{19200, 9600}, SpeedRow{38400, 115200},
                                           SpeedRow{1234, 115200}));

TEST_F(ClPortRig, ACameraThatIsGoneIsSearchedAtEveryRateAndNotFound) {
  auto port = Port(kMemoryPort);
  ASSERT_TRUE(port->IsClockPresent());
  int camera = -1;
  unsigned int link = 0;
  ASSERT_EQ(VSIM(VSimGetCable)(0, kMemoryPort, &camera, &link), 0);
  ASSERT_EQ(VSIM(VSimUnplug)(0, kMemoryPort), 0);
  EXPECT_FALSE(port->IsClockPresent());
  CapturedLog::SetDefaultLevel(3);
  CapturedLog::SetAllLevels(3);
  CapturedLog::Take();
  EXPECT_EQ(port->DetectSpeed(), MLO_ERR_INVALID_LINK_SPEED);
  EXPECT_THAT(CapturedLog::Take(),
              Contains(Field(&CapturedLine::text,
                             HasSubstr("] Ending PerformSpeedDetect -1200 Speed: 4294967295"))));
  EXPECT_FALSE(port->IsConnected());
  ASSERT_EQ(VSIM(VSimPlug)(0, kMemoryPort, camera, link), 0);
  ASSERT_EQ(port->DetectSpeed(), 0);
  EXPECT_EQ(port->GetSpeed(), 9600u);
}

struct TransferRow {
  unsigned int bytes;
  int written;  // the camera acknowledges the padded length it was sent
  unsigned int commands;
};

class ClPortTransfer : public ClPortRig, public ::testing::WithParamInterface<TransferRow> {};

TEST_P(ClPortTransfer, ReadsAndWritesComeBackInCommandsOf480Bytes) {
  const TransferRow& row = GetParam();
  auto port = Port(kMemoryPort);
  Bytes written(row.bytes);
  for (size_t i = 0; i < written.size(); ++i) written[i] = static_cast<unsigned char>(i * 7 + 3);
  uint64_t before = Requests(kMemoryPort);
  ASSERT_EQ(port->WritePacket(kScratch, written.data(), row.bytes, 0), row.written);
  EXPECT_EQ(Requests(kMemoryPort) - before, row.commands);
  Bytes read(row.bytes + 1, 0xEE);
  before = Requests(kMemoryPort);
  ASSERT_EQ(port->ReadPacket(kScratch, read.data(), row.bytes, 0), 0);
  EXPECT_EQ(Requests(kMemoryPort) - before, row.commands);
  EXPECT_EQ(Bytes(read.begin(), read.end() - 1), written);
  EXPECT_EQ(read.back(), 0xEE);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ClPortTransfer,
                         ::testing::Values(TransferRow{4, 0, 1}, TransferRow{480, 0, 1},
                                           TransferRow{484, 0, 2}, TransferRow{1000, 0, 3},
                                           TransferRow{5, MLO_ERR_NO_DATA, 1},
                                           TransferRow{481, MLO_ERR_NO_DATA, 2}));

// A read that fails half way keeps what came and zeros behind it.
TEST_F(ClPortRig, AReadThatFailsHalfWayKeepsWhatCame) {
  auto port = Port(kMemoryPort);
  Bytes written(960, 0x5A);
  ASSERT_EQ(port->WritePacket(kScratch, written.data(), 960, 0), 0);
  Faults(kMemoryPort, {1, 0, 0, 0, 0, 0, 1});
  Bytes read(960, 0xEE);
  EXPECT_EQ(port->ReadPacket(kScratch, read.data(), 960, 0), MLO_ERR_GENCP_INVALID_PACKET);
  EXPECT_EQ(Bytes(read.begin(), read.begin() + 480), Bytes(480, 0x5A));
  EXPECT_EQ(Bytes(read.begin() + 480, read.end()), Bytes(480, 0));
}

struct AnswerRow {
  const char* name;
  VSimFaults faults;
  VSimProtocolFaults protocol;
  int result;
  uint32_t value;  // what a successful read gives
  bool recovers;   // a later read, with the faults gone, gets the camera's value
};

// The GenCP version register reads 0x00010003.
constexpr uint32_t kVersion = 0x00010003;

const AnswerRow kAnswers[] = {
    {"Noise", {1, 0, 0, 1000, 0, 0, -1}, {}, 0, kVersion, true},
    {"StaleId", Normal(), {0, 0, 0, 0, 1000, 0, 0}, MLO_ERR_GENCP_INVALID_PACKET, 0, true},
    {"Silent", {1, 0, 0, 0, 0, 0, 0}, {}, MLO_ERR_GENCP_INVALID_PACKET, 0, true},
    {"Late", {1, 0, 0, 0, 1000, 3 * kAckMs, -1}, {}, MLO_ERR_GENCP_INVALID_PACKET, 0, true},
    // The status is not looked at: a pending acknowledgement carries the request id and is
    // taken for the answer, its timeout for the data.
    {"Pending", Normal(), {1000, 0, 0, 0, 0, 0, 0}, 0, 0, true},
    // A reply whose checksum fails is kept as the start of a frame to come, and every reply
    // behind it stays unseen.
    {"BadChecksum", Normal(), {0, 0, 0, 1000, 0, 0, 0}, MLO_ERR_GENCP_INVALID_PACKET, 0, false},
};

class ClPortAnswer : public ClPortRig, public ::testing::WithParamInterface<AnswerRow> {};

TEST_P(ClPortAnswer, EachAnswerEndsTheCommandWithinTheMaxAckTime) {
  const AnswerRow& row = GetParam();
  auto port = Port(kMemoryPort);
  Faults(kMemoryPort, row.faults, row.protocol);
  int status = 1;
  const uint32_t value = ReadWord(*port, 0, &status);
  EXPECT_EQ(status, row.result);
  if (status == 0) EXPECT_EQ(value, row.value);
  Faults(kMemoryPort, Normal());
  usleep(4 * kAckMs * 1000);  // late answers have come
  // The signal of an answer that came after its command gave up ends the next wait early.
  ReadWord(*port, 0);
  const uint32_t later = ReadWord(*port, 0, &status);
  EXPECT_EQ(later == kVersion && status == 0, row.recovers) << later << " " << status;
}

INSTANTIATE_TEST_SUITE_P(Faults, ClPortAnswer, ::testing::ValuesIn(kAnswers),
                         [](const ::testing::TestParamInfo<AnswerRow>& info) {
                           return info.param.name;
                         });

// The odd last byte of a reply counts sign-extended in the port's checksum, where GenCP pads it
// with zero: the two agree below 0x80 only.
TEST_F(ClPortRig, AnOddReplyEndingAtOrAbove0x80FailsItsChecksum) {
  auto port = Port(kMemoryPort);
  Bytes bytes{0x7F, 0x80, 0, 0};
  ASSERT_EQ(port->WritePacket(kScratch, bytes.data(), 4, 0), 0);
  Bytes read(1, 0xEE);
  EXPECT_EQ(port->ReadPacket(kScratch, read.data(), 1, 0), 0);
  EXPECT_EQ(read[0], 0x7F);
  EXPECT_EQ(port->ReadPacket(kScratch + 1, read.data(), 1, 0), MLO_ERR_GENCP_INVALID_PACKET);
}

TEST_F(ClPortRig, TheZippedXmlLoadsAndTheManifestGivesItsLocation) {
  auto port = Port(kZippedPort);
  std::string xml;
  ASSERT_EQ(port->LoadXML(xml, 0), 0);
  EXPECT_NE(xml.find("<RegisterDescription"), std::string::npos);
  EXPECT_EQ(port->LoadXML(xml, 1), MLO_ERR_DEVICE_INVALID_ADDRESS);
  EXPECT_EQ(port->GetXmlInfo(), MLO_ERR_INTERNAL);
  EXPECT_EQ(port->GetXmlName().rfind("0;0;Local:ManifestXmlFile_0.0.1.zip;f0000000;", 0), 0u)
      << port->GetXmlName();
  EXPECT_GT(port->GetXmlSize(), 0u);
}

TEST_F(ClPortRig, APlainXmlGivesNoDescription) {
  auto port = Port(kMemoryPort);
  std::string xml = "as it was";
  ASSERT_EQ(port->LoadXML(xml, 0), 0);
  EXPECT_EQ(xml, "as it was");
  EXPECT_EQ(port->GetXmlInfo(), MLO_ERR_INTERNAL);
  EXPECT_NE(port->GetXmlName().find(".xml;f0000000;"), std::string::npos) << port->GetXmlName();
}

TEST_F(ClPortRig, TheIdentityComesFromTheBootstrapStrings) {
  auto port = Port(kZippedPort);
  ASSERT_EQ(port->SaveCameraInfo(), 0);
  ICameraInfo* info = port->GetCameraInfo();
  EXPECT_STREQ(info->GetVendorName(), "Acme");
  EXPECT_STREQ(info->GetModelName(), "Line 1");
  EXPECT_STREQ(info->GetSerialNr(), "S1");
  EXPECT_STREQ(info->GetUserId(), "left");
  EXPECT_STREQ(info->GetFamilyName(), "Camera Link");
  char name[8] = "right";
  ASSERT_EQ(port->WritePacket(0x184, reinterpret_cast<unsigned char*>(name), 8, 0), 0);
  EXPECT_EQ(port->UpdateCameraInfo(), 0);
  EXPECT_STREQ(info->GetUserId(), "right");
}

}  // namespace
