// CCxpPort on simulated boards of every firmware form, built as the controller builds it, with
// the simulator's cameras behind the cables.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/SimulatedRuntime.h"
#include "tests/support/TempDir.h"
#include "vesk_genicam/impl/CxpPort.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

#ifndef VESK_TSHARK
#define VESK_TSHARK ""
#endif

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using vesk::test::CapturedLog;
using Bytes = std::vector<unsigned char>;

constexpr unsigned int kSpeed = 3125;
constexpr unsigned int kScratch = 0x800000;  // plain memory of the cameras that serve a file
constexpr unsigned int kMagic = 0xC0A79AE5;
constexpr unsigned int kQueueBoard = 5;
constexpr unsigned int kRegistersBoard = 4;

struct Form {
  const char* name;
  unsigned int board;
  ECXPINTERFACETYPE type;
};

const Form kForms[] = {{"DrpA", 0, CxpIfDrpA},
                       {"DrpB", 1, CxpIfDrpB},
                       {"RateIndex", 2, CxpIfRateIndex},
                       {"RateIndexRxStatus", 3, CxpIfRateIndexRxStatus},
                       {"TransceiverRegs", 4, CxpIfTransceiverRegs},
                       {"CameraCtrl", 5, CxpIfCameraCtrl}};

// Board i has the form kForms[i] and a camera on port 0 that serves a file over plain memory.
// The queue form's board has cameras of each revision besides, and so does a register form's.
std::string Rig(const std::string& xmlFile) {
  const char* designs[] = {"cxp-drp",
                           "cxp-drp-ready",
                           "cxp-rate-index",
                           "cxp-rate-index-rx-status",
                           "cxp-transceiver-regs",
                           "cxp-camera-ctrl"};
  const int types[] = {2641, 1872, 2656, 2917, 2917, 2656};
  std::string rig = "<rig>";
  for (int board = 0; board < 6; ++board) {
    rig += "<board type='" + std::to_string(types[board]) + "' ports='4' design='" +
           designs[board] + "'/>";
  }
  for (int board = 0; board < 6; ++board) {
    rig += "<camera id='memory" + std::to_string(board) + "' xmlFile='" + xmlFile +
           "' speeds='3125' controlPacketSize='1024'><link board='" + std::to_string(board) +
           "' port='0'/></camera>";
  }
  rig += R"(
    <camera id='rev11' vendor='Eleven' modelName='Plain 1.1' cxpRevision='1.1' speeds='3125'>
      <link board='5' port='1'/></camera>
    <camera id='rev10' vendor='Ten' modelName='Zipped 1.0' cxpRevision='1.0' xml='zipped'
      speeds='3125'><link board='5' port='2'/></camera>
    <camera id='rev20' vendor='Twenty' modelName='Zipped 2.0' xml='zipped' speeds='3125'
      controlPacketSize='4096'><link board='5' port='3'/></camera>
    <camera id='rev20r' vendor='Twenty' modelName='On registers' xml='zipped' speeds='3125'>
      <link board='4' port='1'/></camera>
  </rig>)";
  return rig;
}

// Faults that let every answer through, and a camera that answers nothing.
VSimFaults Normal() { return {0, 0, 0, 0, 0, 0, -1}; }
VSimFaults Silent() { return {0, 0, 0, 0, 0, 0, 0}; }

// One rig for the whole program; boards stay open, links stay locked from test to test.
class CxpPortRig : public ::testing::Test {
 public:
  static void SetUpTestSuite() {
    setenv("VESK_CXP_COMMAND_ACK_TIMEOUT", "20", 1);
    dir_ = new vesk::test::TempDir;
    std::ofstream(dir_->File("memory.xml"))
        << "<?xml version='1.0'?><RegisterDescription ModelName='Memory'/>";
    char error[512] = "";
    const int loaded = VSIM(VSimLoadRigText)(Rig(dir_->File("memory.xml")).c_str(), "cxp port rig");
    VSIM(VSimGetLastError)(error, sizeof error);
    ASSERT_EQ(loaded, 0) << error;
    for (unsigned int board = 0; board < 6; ++board) {
      devices_[board] = VHalInitDevice(static_cast<int>(board));
      designs_[board] = DsnLoadBoardDesign(devices_[board]);
      ASSERT_NE(designs_[board], nullptr);
    }
  }
  static void TearDownTestSuite() {
    for (unsigned int board = 0; board < 6; ++board) {
      DsnFreeDesign(designs_[board]);
      VHalFreeDevice(devices_[board]);
    }
    delete dir_;
  }

 protected:
  void TearDown() override {
    const VSimFaults none = Normal();
    for (int camera = 0; camera < VSIM(VSimGetNrOfCameras)(); ++camera)
      VSIM(VSimSetCameraFaultsEx)(camera, &none, nullptr);
  }

  static std::unique_ptr<CCxpPort> Port(unsigned int board, ECXPINTERFACETYPE type,
                                        unsigned int port = 0) {
    return std::make_unique<CCxpPort>(port, type, devices_[board], designs_[board]);
  }
  // A port with its link locked at the camera's speed.
  static std::unique_ptr<CCxpPort> Locked(unsigned int board, ECXPINTERFACETYPE type,
                                          unsigned int port = 0) {
    auto made = Port(board, type, port);
    EXPECT_EQ(made->LockLinksAtSpeed(kSpeed), 0);
    return made;
  }
  static void Faults(const char* camera, const VSimFaults& faults,
                     const VSimProtocolFaults& protocol) {
    ASSERT_EQ(VSIM(VSimSetCameraFaultsEx)(VSIM(VSimFindCamera)(camera), &faults, &protocol), 0);
  }
  static uint64_t PacketsToCamera(unsigned int board, unsigned int port = 0) {
    VSimPortCounters counters{};
    VSIM(VSimGetPortCounters)(static_cast<int>(board), port, &counters);
    return counters.packetsToCamera;
  }

  static inline vesk::test::TempDir* dir_ = nullptr;
  static inline PLdevice* devices_[6] = {};
  static inline fpga_design* designs_[6] = {};
};

class CxpPortForms : public CxpPortRig, public ::testing::WithParamInterface<Form> {};

std::string FormName(const ::testing::TestParamInfo<Form>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Forms, CxpPortForms, ::testing::ValuesIn(kForms), FormName);

TEST_P(CxpPortForms, LocksOnlyAtTheCameraSpeedAndProvesTheCamera) {
  const Form& form = GetParam();
  auto port = Port(form.board, form.type);
  EXPECT_NE(port->LockLinksAtSpeed(1250), 0);
  EXPECT_FALSE(port->IsConnected());
  EXPECT_EQ(port->GetCxpControlCoreResetState(), 6u);
  // A silent camera is no camera, unless the magic value is not asked for.
  const std::string camera = "memory" + std::to_string(form.board);
  Faults(camera.c_str(), Silent(), {});
  EXPECT_EQ(port->LockLinksAtSpeed(kSpeed), MLO_ERR_INVALID_LINK_SPEED);
  port->SetSkipMagic(true);
  EXPECT_EQ(port->LockLinksAtSpeed(kSpeed), 0);
  port->SetSkipMagic(false);
  Faults(camera.c_str(), Normal(), {});
  ASSERT_EQ(port->LockLinksAtSpeed(kSpeed), 0);
  EXPECT_TRUE(port->IsConnected());
  EXPECT_EQ(port->GetSpeed(), kSpeed);
  EXPECT_EQ(port->GetMagicValue(), kMagic);
  EXPECT_EQ(port->GetCxpControlCoreResetState(), 0u);
  port->Reset();
  EXPECT_FALSE(port->IsConnected());
}

struct Transfer {
  unsigned int bytes;
  bool tagged;
  bool cameraPacketSize;  // the camera's 1024 bytes instead of the first 128
  unsigned int packets;   // each way
};

// Every size goes to the camera in packets of the control packet size less 32 bytes.
const Transfer kTransfers[] = {{1, false, false, 1},    {4, true, false, 1},
                               {97, false, false, 2},   {96, true, false, 1},
                               {4096, true, false, 43}, {5000, false, true, 6}};

TEST_P(CxpPortForms, TransfersOfEverySizeComeBackAsWritten) {
  const Form& form = GetParam();
  auto port = Locked(form.board, form.type);
  for (const Transfer& transfer : kTransfers) {
    SCOPED_TRACE(std::to_string(transfer.bytes) + (transfer.tagged ? " tagged" : ""));
    if (transfer.cameraPacketSize) port->SaveCameraInfo();
    port->ResetTag(transfer.tagged);
    Bytes written(transfer.bytes);
    for (size_t i = 0; i < written.size(); ++i) written[i] = static_cast<unsigned char>(i * 7 + 3);
    Bytes read(transfer.bytes + 1, 0xEE);
    const uint64_t before = PacketsToCamera(form.board);
    ASSERT_EQ(port->WritePacket(kScratch, written.data(), transfer.bytes, 200), 0);
    ASSERT_EQ(port->ReadPacket(kScratch, read.data(), transfer.bytes, 200), 0);
    EXPECT_EQ(PacketsToCamera(form.board) - before, 2 * transfer.packets);
    EXPECT_EQ(Bytes(read.begin(), read.end() - 1), written);
    EXPECT_EQ(read.back(), 0xEE);
  }
}

// What the camera's answer does to a command, with the camera answering every packet so.
// The camera draws its error from the codes -64 to -70.
constexpr int kAnyCameraError = 1;

struct Answer {
  const char* name;
  VSimFaults faults;
  VSimProtocolFaults protocol;
  unsigned int address;
  bool write;
  int result;
  int queueResult;  // the queue form's firmware takes the CRC off
  unsigned int packets;
};

VSimProtocolFaults Only(uint32_t VSimProtocolFaults::*kind) {
  VSimProtocolFaults protocol{};
  protocol.*kind = 1000;
  return protocol;
}

const Answer kAnswers[] = {
    {"Wait", Normal(), Only(&VSimProtocolFaults::waitPerMille), kScratch, false, 0, 0, 1},
    {"Tentative", Normal(), Only(&VSimProtocolFaults::tentativePerMille), kScratch, true, 0, 0, 1},
    {"UnknownStatusFiveTimes", Normal(), Only(&VSimProtocolFaults::unknownPerMille), kScratch,
     false, MLO_ERR_CXP_MALFORMED, MLO_ERR_CXP_MALFORMED, 5},
    {"BadCrc", Normal(), Only(&VSimProtocolFaults::badCrcPerMille), kScratch, false,
     MLO_ERR_GENCP_CRC, MLO_ERR_TIMEOUT, 1},
    {"ErrorStatus", Normal(), Only(&VSimProtocolFaults::errorPerMille), kScratch, false,
     kAnyCameraError, kAnyCameraError, 1},
    {"SilentRead", Silent(), {}, kScratch, false, MLO_ERR_TIMEOUT, MLO_ERR_TIMEOUT, 1},
    {"SilentWrite", Silent(), {}, kScratch, true, MLO_ERR_TIMEOUT, MLO_ERR_TIMEOUT, 1},
    {"ConnectionConfig", Normal(), {}, 0x4014, true, 0, 0, 1},
    {"SilentConnectionConfig", Silent(), {}, 0x4014, true, 0, 0, 1},
    {"SilentConnectionReset", Silent(), {}, 0x4000, true, 0, 0, 1},
};

TEST_P(CxpPortForms, EachAnswerEndsTheCommandAsItShould) {
  const Form& form = GetParam();
  auto port = Locked(form.board, form.type);
  const std::string camera = "memory" + std::to_string(form.board);
  for (const Answer& answer : kAnswers) {
    SCOPED_TRACE(answer.name);
    Faults(camera.c_str(), answer.faults, answer.protocol);
    Bytes data{0x00, 0x01, 0x00, 0x38};  // one link at 3.125 Gbit/s, where it is
    const uint64_t before = PacketsToCamera(form.board);
    const int result = answer.write ? port->WritePacket(answer.address, data.data(), 4, 200)
                                    : port->ReadPacket(answer.address, data.data(), 4, 200);
    const int expected = form.type == CxpIfCameraCtrl ? answer.queueResult : answer.result;
    if (expected == kAnyCameraError) {
      EXPECT_TRUE(result <= MLO_ERR_CXP_INVALID_ADDRESS && result >= MLO_ERR_CXP_SIZE_INCONSISTENT)
          << result;
    } else {
      EXPECT_EQ(result, expected);
    }
    EXPECT_EQ(PacketsToCamera(form.board) - before, answer.packets);
    if (!answer.write && result != 0) EXPECT_EQ(data, (Bytes{0x00, 0x01, 0x00, 0x38}));
  }
}

TEST_P(CxpPortForms, ARemappedPortSpeaksThroughTheFifosOfAnotherFirmwarePort) {
  const Form& form = GetParam();
  auto master = Locked(form.board, form.type);
  auto empty = Port(form.board, form.type, 3);
  uint32_t magic = 0;
  EXPECT_NE(empty->ReadPacket(0, reinterpret_cast<unsigned char*>(&magic), 4, 20), 0);
  empty->RemapReg(0);
  ASSERT_EQ(empty->ReadPacket(0, reinterpret_cast<unsigned char*>(&magic), 4, 20), 0);
  EXPECT_EQ(ntohl(magic), kMagic);
}

TEST_P(CxpPortForms, ALinkWhoseErrorsKeepRisingIsLostInTheSixthInterval) {
  const Form& form = GetParam();
  auto port = Locked(form.board, form.type);
  EXPECT_TRUE(port->CheckTransceiverSynchronizedCounter());
  EXPECT_TRUE(port->CheckTransceiverSynchronizedCounter());
  int camera = -1;
  unsigned int link = 0;
  ASSERT_EQ(VSIM(VSimGetCable)(static_cast<int>(form.board), 0, &camera, &link), 0);
  ASSERT_EQ(VSIM(VSimUnplug)(static_cast<int>(form.board), 0), 0);
  std::vector<bool> intervals;
  for (int i = 0; i < 6; ++i) intervals.push_back(port->CheckTransceiverSynchronizedCounter());
  EXPECT_EQ(intervals, (std::vector<bool>{true, true, true, true, true, false}));
  ASSERT_EQ(VSIM(VSimPlug)(static_cast<int>(form.board), 0, camera, link), 0);
}

struct Identity {
  const char* name;
  unsigned int board;
  unsigned int port;
  const char* maxPacketTweak;
  uint32_t revision;
  uint32_t versionUsed;
  bool tagged;
  uint32_t controlPacketSize;
  const char* vendor;
  const char* model;
};

const Identity kIdentities[] = {
    {"Cxp20", kQueueBoard, 3, "0", 0x20000, 0x20000, true, 2048, "Twenty", "Zipped 2.0"},
    {"Cxp20Tweaked", kQueueBoard, 3, "512", 0x20000, 0x20000, true, 512, "Twenty", "Zipped 2.0"},
    {"Cxp11", kQueueBoard, 1, "0", 0x10001, 0, false, 1024, "Eleven", "Plain 1.1"},
    {"Cxp10", kQueueBoard, 2, "0", 0x10000, 0, false, 1024, "Ten", "Zipped 1.0"},
    {"Cxp20OnRegisters", kRegistersBoard, 1, "0", 0x20000, 0x10001, false, 1024, "Twenty",
     "On registers"},
};

class CxpPortIdentity : public CxpPortRig, public ::testing::WithParamInterface<Identity> {};

std::string IdentityName(const ::testing::TestParamInfo<Identity>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Cameras, CxpPortIdentity, ::testing::ValuesIn(kIdentities), IdentityName);

TEST_P(CxpPortIdentity, TheCameraIsKnownByItsBootstrapAndItsXmlLoads) {
  const Identity& camera = GetParam();
  setenv("VESK_CXP_MAX_CONTROL_PACKET_SIZE", camera.maxPacketTweak, 1);
  auto port = Locked(camera.board, kForms[camera.board].type, camera.port);
  unsetenv("VESK_CXP_MAX_CONTROL_PACKET_SIZE");
  port->SaveCameraInfo();
  ICameraInfo* info = port->GetCameraInfo();
  EXPECT_EQ(info->GetRevision(), camera.revision);
  EXPECT_EQ(info->GetVersionUsed(), camera.versionUsed);
  EXPECT_EQ(port->IsTagEnabled(), camera.tagged);
  EXPECT_EQ(port->GetMaxControlPacketSize(), camera.controlPacketSize);
  EXPECT_STREQ(info->GetVendorName(), camera.vendor);
  EXPECT_STREQ(info->GetModelName(), camera.model);
  std::string xml;
  ASSERT_EQ(port->LoadXML(xml, 0), 0);
  EXPECT_NE(xml.find("<RegisterDescription"), std::string::npos);
  EXPECT_NE(xml.find("VendorName=\"" + std::string(camera.vendor) + "\""), std::string::npos);
  EXPECT_EQ(port->LoadXML(xml, 1), MLO_ERR_DEVICE_INVALID_ADDRESS);
}

TEST_F(CxpPortRig, QueuesClaimedByAnotherHandleLeaveThePortWithoutCommands) {
  std::unique_ptr<PLdevice, int (*)(PLdevice*)> other(VHalInitDevice(kQueueBoard), VHalFreeDevice);
  ASSERT_EQ(VHalDataQueueAcquireLock(other.get(), 8), 0);  // port 2's reception
  CapturedLog::SetDefaultLevel(5);
  CapturedLog::SetAllLevels(5);
  CapturedLog::Take();
  auto port = Port(kQueueBoard, CxpIfCameraCtrl, 2);
  EXPECT_THAT(CapturedLog::TakeFailures(),
              ElementsAre(HasSubstr(
                  "] Failed to get data queue lock for port 2; port is already in use!")));
  uint32_t magic = 0;
  EXPECT_EQ(port->ReadPacket(0, reinterpret_cast<unsigned char*>(&magic), 4, 20),
            VSIM_ERROR_QUEUE_LOCKED);
}

// Each request and each acknowledgement is one record: the type word, the packet's words and an
// end word.
TEST_F(CxpPortRig, ACaptureHoldsOneRecordPerRequestAndAcknowledgement) {
  vesk::test::TempDir captures;
  setenv("VESK_ENABLE_PCAP", "On", 1);
  setenv("VESK_PCAP_DIR", captures.Path().c_str(), 1);
  auto port = Locked(kQueueBoard, CxpIfCameraCtrl);
  unsetenv("VESK_ENABLE_PCAP");
  uint32_t word = 0;
  for (int read = 0; read < 3; ++read)
    ASSERT_EQ(port->ReadPacket(0, reinterpret_cast<unsigned char*>(&word), 4, 200), 0);
  ASSERT_EQ(port->WritePacket(kScratch, reinterpret_cast<unsigned char*>(&word), 4, 200), 0);
  port.reset();

  // The magic read of the lock, three reads and a write.
  const std::vector<uint32_t> expected = {16, 20, 16, 20, 16, 20, 16, 20, 20, 12};
  const std::string path =
      captures.File("packetlog-phy-cxp-" + std::to_string(kQueueBoard) + "-0-0.pcap");
  std::ifstream file(path, std::ios::binary);
  file.seekg(24);
  std::vector<uint32_t> lengths;
  for (uint32_t header[4]; file.read(reinterpret_cast<char*>(header), sizeof header);) {
    lengths.push_back(header[2]);
    file.seekg(header[2], std::ios::cur);
  }
  EXPECT_EQ(lengths, expected);
  if (std::string(VESK_TSHARK).empty()) GTEST_SKIP() << "tshark is not installed";
  const std::string command =
      std::string(VESK_TSHARK) + " -r " + path + " -T fields -e frame.len 2>/dev/null";
  FILE* pipe = popen(command.c_str(), "r");
  std::vector<uint32_t> read;
  for (unsigned int length = 0; fscanf(pipe, "%u", &length) == 1;) read.push_back(length);
  EXPECT_EQ(pclose(pipe), 0) << command;
  EXPECT_EQ(read, expected);
}

}  // namespace
