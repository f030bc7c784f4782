// The CoaXPress firmware through the board library and the control API, with the simulator's
// camera behind it. Packets are built here from the standard's layouts.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "loader/vesk_hal.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/TempDir.h"
#include "tests/unit/sim/CxpWire.h"

namespace vesk::sim {
namespace {

using Words = std::vector<uint32_t>;

constexpr uint64_t kStart = 0x1FBFBFBFBull;
constexpr uint64_t kEnd = 0x3FDFDFDFDull;
constexpr uint64_t kAckEnd = 0x1FDFDFDFDull;
constexpr uint64_t kEmpty = 1ull << 33;
constexpr uint32_t kCameraSpeed = 3125;

Words AsWords(const Bytes& bytes) {
  Words words(bytes.size() / 4);
  std::memcpy(words.data(), bytes.data(), words.size() * 4);
  return words;
}

struct Form {
  const char* design;
  int type;
  unsigned form;
};

const Form kForms[] = {{"cxp-drp", 2641, 1},
                       {"cxp-drp-ready", 1872, 2},
                       {"cxp-rate-index", 2656, 3},
                       {"cxp-rate-index-rx-status", 2917, 6},
                       {"cxp-transceiver-regs", 2917, 10},
                       {"cxp-camera-ctrl", 2656, 16}};

// What a reader of the acknowledgement FIFO makes of what came.
std::string Classify(Words words) {
  if (words.empty()) return "none";
  const uint32_t status = words[0] & 0xFF;
  if (status == 2) return "tentative";
  if (status == 4) return "wait";
  if (status >= 0x40) return "error";
  if (status != 0) return "unknown";
  const uint32_t crc = words.back();
  words.pop_back();
  Bytes body(words.size() * 4);
  std::memcpy(body.data(), words.data(), body.size());
  return crc == BitwiseCrc(body.data(), body.size()) ? "answer" : "bad CRC";
}

class CxpFirmware : public ::testing::Test {
 protected:
  void TearDown() override { Close(); }
  void Close() {
    if (design_) VSimDesignFree(std::exchange(design_, nullptr));
    if (device_) VHalFreeDevice(std::exchange(device_, nullptr));
  }

  // A rig of one four-port board of the form, the camera's links on the ports from cameraPort.
  void Load(const Form& form, unsigned cameraPort = 0, const std::string& extra = "",
            const std::string& camera = "", unsigned links = 1) {
    Close();
    form_ = form;
    std::string rig = "<rig><board type='" + std::to_string(form.type) + "' ports='4' design='" +
                      form.design + "' " + extra + "/><camera id='cam' speeds='3125' " + camera +
                      ">";
    for (unsigned port = cameraPort; port < cameraPort + links; ++port)
      rig += "<link board='0' port='" + std::to_string(port) + "'/>";
    rig += "</camera></rig>";
    ASSERT_EQ(VSimLoadRigText(rig.c_str(), "cxp rig"), 0);
    device_ = VHalInitDevice(0);
    design_ = VSimDesignLoad(device_);
    ASSERT_NE(design_, nullptr);
  }
  bool QueueForm() const { return form_.form == 16; }

  uint64_t Read(const std::string& name) {
    uint64_t value = 0;
    EXPECT_EQ(VHalRegisterRead(device_, VSimDesignGetRegisterByName(design_, name.c_str()), &value),
              0)
        << name;
    return value;
  }
  void Write(const std::string& name, uint64_t value) {
    EXPECT_EQ(VHalRegisterWrite(device_, VSimDesignGetRegisterByName(design_, name.c_str()), value),
              0)
        << name;
  }
  static std::string At(const char* prefix, unsigned port) { return prefix + std::to_string(port); }

  // The speed as the form programs it, with the ready or done bit seen cleared, then set.
  void SetSpeed(unsigned port, uint32_t mbps) {
    const bool fast = mbps == kCameraSpeed;
    const unsigned bit = 1u << port;
    switch (form_.form) {
      case 1: {
        const uint32_t values[] = {fast ? 0x78C6u : 0x78C0u, 0x20, fast ? 0x78C6u : 0x78C0u, 0x20};
        const uint32_t addresses[] = {27, 28, 31, 32};
        for (int i = 0; i < 4; ++i) WriteDrp(port, addresses[i], values[i]);
        return;
      }
      case 2: {
        const uint32_t values[] = {fast ? 0x1020u : 0x1010u, fast ? 0x1083u : 0x1082u,
                                   fast ? 0x11u : 0x22u};
        const uint32_t addresses[] = {0xA9, 0x5E, 0x88};
        for (int i = 0; i < 3; ++i) {
          WriteDrp(port, addresses[i], values[i]);
          EXPECT_EQ(Read("CxpTransceiverGtxDrpReady") & bit, 0u);
          EXPECT_EQ(Read("CxpTransceiverGtxDrpReady") & bit, bit);
        }
        return;
      }
      case 3:
      case 6:
        Write(At("CxpTransceiverGtxSetBitRate_", port), fast ? 2 : 0);
        EXPECT_EQ(Read("CxpTransceiverGtxSetBitRateDone") & bit, 0u);
        EXPECT_EQ(Read("CxpTransceiverGtxSetBitRateDone") & bit, bit);
        return;
      case 10:
        Write(At("CxpTransceiverDownLinkBitRate_", port), fast ? 2 : 0);
        EXPECT_EQ(Read(At("CxpTransceiverStatus_", port)) >> 49 & 1, 0u);
        EXPECT_EQ(Read(At("CxpTransceiverStatus_", port)) >> 49 & 1, 1u);
        return;
      default:
        EXPECT_EQ(VHalCameraCtrlSetPortDataPathSpeed(device_, port, mbps), 0);
    }
  }
  void WriteDrp(unsigned port, uint32_t address, uint32_t value) {
    Write(At("CxpTransceiverGtxDrpAddress_", port), address);
    Write(At("CxpTransceiverGtxDrpWriteData_", port), value);
  }

  uint64_t Errors(unsigned port) {
    if (form_.form < 10) return Read(At("CxpTransceiverNotInTable_", port));
    return Read(At("CxpTransceiverStatus_", port)) & 0xFFFFFF;
  }
  void ResetCore(unsigned port) {
    if (QueueForm()) {
      EXPECT_EQ(VHalCameraCtrlSetPortDataPathState(device_, port, 4), 0);
      EXPECT_EQ(VHalCameraCtrlSetPortDataPathState(device_, port, 5), 0);
      return;
    }
    Write(At(form_.form == 3 ? "CxpReset_" : "CxpControlCoreReset_", port), 2);
    Write(At(form_.form == 3 ? "CxpReset_" : "CxpControlCoreReset_", port), 0);
  }
  // -1 where the form shows no lock bit.
  int LockBit(unsigned port) {
    if (form_.form == 6)
      return static_cast<int>(Read("CxpTransceiverRxStatus") >> (2 * port + 1) & 1);
    if (form_.form >= 10)
      return static_cast<int>(Read(At("CxpTransceiverStatus_", port)) >> 48 & 1);
    return -1;
  }

  // A command as the host sends it, tagged with 0x2A; a write carries bytes i * 7.
  static Packet Command(bool write, bool tagged, uint32_t address, uint32_t size) {
    const std::optional<uint8_t> tag = tagged ? std::optional<uint8_t>(0x2A) : std::nullopt;
    if (!write) return sim::Read(address, size, tag);
    Bytes payload;
    for (uint32_t i = 0; i < size; ++i) payload.push_back(static_cast<uint8_t>(i * 7));
    return sim::Write(address, payload, tag);
  }

  enum class Spoil { None, Crc, NoStart, StrayCode };
  // The packet as the host hands it to the firmware: the body behind the packet-type word, and in
  // the register form its K-codes, the type word and the CRC.
  void Send(unsigned port, const Packet& packet, Spoil spoil = Spoil::None) {
    const bool tagged = packet[0] == 0x05;
    const Words words = AsWords(Bytes(packet.begin() + 4, packet.end() - 4));
    if (QueueForm()) {
      Words queued{static_cast<uint32_t>(words.size()) | (tagged ? 0x00200000u : 0)};
      queued.insert(queued.end(), words.begin(), words.end());
      const auto size = static_cast<unsigned>(queued.size() * 4);
      EXPECT_EQ(VHalDataQueueWriteBufferLong(device_, static_cast<int>(port * 4 + 3), queued.data(),
                                             size, 100),
                static_cast<int>(size));
      return;
    }
    const std::string fifo = At("CxpTxCmdWriteData_", port);
    if (spoil != Spoil::NoStart) Write(fifo, kStart);
    Write(fifo, tagged ? 0x05050505 : 0x02020202);
    for (uint32_t word : words) Write(fifo, word);
    if (spoil == Spoil::StrayCode) Write(fifo, 0x1BCBCBCBCull);
    const uint32_t crc = AsWords(Bytes(packet.end() - 4, packet.end()))[0];
    Write(fifo, crc ^ (spoil == Spoil::Crc ? 1u : 0u));
    Write(fifo, kEnd);
  }

  // An acknowledgement as the library reads it; empty when none came.
  Words Ack(unsigned port) {
    Words words;
    if (QueueForm()) {
      uint32_t length = 0;
      const int queue = static_cast<int>(port * 4);
      if (VHalDataQueueReadBufferLong(device_, queue, &length, 4, 0) != 4) return words;
      words.resize(length & 0xFFFF);
      const auto size = static_cast<unsigned>(words.size() * 4);
      EXPECT_EQ(VHalDataQueueReadBufferLong(device_, queue, words.data(), size, 100),
                static_cast<int>(size));
      return words;
    }
    for (int bound = 0; bound < 100000; ++bound) {
      const uint64_t value = Read(At("CxpRxCmdAckPacketData_", port));
      if (value == kEmpty) break;
      if (value == kAckEnd) return words;
      words.push_back(static_cast<uint32_t>(value));
    }
    EXPECT_TRUE(words.empty()) << "an acknowledgement without its end mark";
    return {};
  }
  // The camera's acknowledgement in the words the library reads: the register form keeps the CRC
  // of those with a size field.
  Words Reply(bool tagged, uint8_t code, const Bytes& payload = {}) const {
    const Packet packet =
        AckPacket(tagged ? std::optional<uint8_t>(0x2A) : std::nullopt, code, payload);
    const bool crc = !QueueForm() && (code == 0 || code == 4);
    return AsWords(Bytes(packet.begin() + 4, packet.end() - (crc ? 0 : 4)));
  }
  Words Magic() const { return Reply(false, 0, {0xC0, 0xA7, 0x9A, 0xE5}); }
  // A late acknowledgement, once it has come or by the bound.
  Words AckWithin(unsigned port) {
    Words words;
    for (int tries = 0; tries < 2000 && words.empty(); ++tries) {
      words = Ack(port);
      if (words.empty()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return words;
  }
  // The classes of forty answers under a mix of faults that spoil them at once.
  std::vector<std::string> Sequence(uint32_t seed) {
    VSimFaults plain{seed, 150, 0, 0, 0, 0, -1};
    VSimProtocolFaults protocol{0, 0, 150, 150, 150, 0, 0};
    EXPECT_EQ(VSimSetCameraFaultsEx(0, &plain, &protocol), 0);
    std::vector<std::string> classes;
    for (int i = 0; i < 40; ++i) {
      Send(0, Command(false, false, 0, 4));
      classes.push_back(Classify(Ack(0)));
    }
    return classes;
  }
  // A burst of errors on the line of port 0 loses one answer of the camera.
  void LoseAnswerInBurst(uint32_t errors) {
    VSimFaults none{};
    none.silentAfter = -1;
    VSimProtocolFaults burst{};
    burst.burstPerMille = 1000;
    burst.burstErrors = errors;
    EXPECT_EQ(VSimSetCameraFaultsEx(0, &none, &burst), 0);
    Send(0, Command(false, false, 0, 4));
    EXPECT_TRUE(Ack(0).empty());
    EXPECT_EQ(VSimSetCameraFaultsEx(0, &none, nullptr), 0);
  }
  void Locate(unsigned port) {
    SetSpeed(port, kCameraSpeed);
    ResetCore(port);
  }

  Form form_{};
  PLdevice* device_ = nullptr;
  fpga_design* design_ = nullptr;
};

// The simulator's own camera behind each form: its magic value, and 400 bytes written to its
// memory and read back.
TEST_F(CxpFirmware, EachFormCarriesTheCamerasOwnAnswers) {
  test::TempDir dir;
  test::WriteText(dir.File("cam.xml"), "<RegisterDescription/>");
  Bytes written;
  for (uint32_t i = 0; i < 400; ++i) written.push_back(static_cast<uint8_t>(i * 7));
  for (const Form& form : kForms) {
    SCOPED_TRACE(form.design);
    Load(form, 0, "", "xmlFile='" + dir.File("cam.xml") + "'");
    Locate(0);
    for (bool tagged : {false, true}) {
      Send(0, Command(false, tagged, 0, 4));
      EXPECT_EQ(Ack(0), Reply(tagged, 0, {0xC0, 0xA7, 0x9A, 0xE5}));
      Send(0, Command(true, tagged, 0x20000, 400));
      EXPECT_EQ(Ack(0), Reply(tagged, 1));
      Send(0, Command(false, tagged, 0x20000, 400));
      EXPECT_EQ(Ack(0), Reply(tagged, 0, written));
    }
    if (!QueueForm()) EXPECT_EQ(Read("CxpTxCmdPacketSent") & 1, 1u);
  }
}

struct FaultRow {
  const char* name;
  uint32_t VSimFaults::*plain;
  uint32_t VSimProtocolFaults::*protocol;
  const char* first;
  bool answerLater;
};

// Each fault of the control API, set on the camera at certainty, on a read of its magic value.
TEST_F(CxpFirmware, EachFaultOfTheControlApiSpoilsTheAnswerItsWay) {
  const FaultRow rows[] = {
      {"wait", nullptr, &VSimProtocolFaults::waitPerMille, "wait", true},
      {"tentative", nullptr, &VSimProtocolFaults::tentativePerMille, "tentative", true},
      {"late", &VSimFaults::delayPerMille, nullptr, "none", true},
      {"unknown status", nullptr, &VSimProtocolFaults::unknownPerMille, "unknown", false},
      {"error status", nullptr, &VSimProtocolFaults::errorPerMille, "error", false},
      {"bad CRC", nullptr, &VSimProtocolFaults::badCrcPerMille, "bad CRC", false},
      {"no answer", &VSimFaults::dropPerMille, nullptr, "none", false},
      {"silent", nullptr, nullptr, "none", false},
  };
  Load(kForms[4]);
  Locate(0);
  for (const FaultRow& row : rows) {
    SCOPED_TRACE(row.name);
    VSimFaults plain{7, 0, 0, 0, 0, 20, row.plain || row.protocol ? -1 : 0};
    VSimProtocolFaults protocol{};
    if (row.plain) plain.*row.plain = 1000;
    if (row.protocol) protocol.*row.protocol = 1000;
    ASSERT_EQ(VSimSetCameraFaultsEx(0, &plain, &protocol), 0);
    Send(0, Command(false, false, 0, 4));
    EXPECT_EQ(Classify(Ack(0)), row.first);
    if (row.answerLater) EXPECT_EQ(AckWithin(0), Magic());
  }
}

TEST_F(CxpFirmware, ASeedGivesTheSameFaultsEveryTime) {
  Load(kForms[4]);
  Locate(0);
  EXPECT_EQ(Sequence(5), Sequence(5));
  EXPECT_NE(Sequence(5), Sequence(6));
}

// A two-link camera: each link tells its own connection ID, and both carry the host connection ID
// written on the master.
TEST_F(CxpFirmware, ExtensionLinksTellTheirIdAndTheMastersHostId) {
  Load(kForms[4], 0, "", "", 2);
  Locate(0);
  Locate(1);
  Send(0, sim::Write(0x4008, Word(0x0103)));
  EXPECT_EQ(Ack(0), Reply(false, 1));
  for (unsigned link = 0; link < 2; ++link) {
    Send(link, sim::Read(0x4004, 4));
    EXPECT_EQ(Ack(link), Reply(false, 0, Word(link)));
    Send(link, sim::Read(0x4008, 4));
    EXPECT_EQ(Ack(link), Reply(false, 0, Word(0x0103)));
  }
  Send(1, sim::Write(0x4008, Word(0x0203)));
  EXPECT_EQ(Ack(1), Reply(false, 0x43)) << "written on the master only";
}

TEST_F(CxpFirmware, RegisterFormsDropBadlyFramedPacketsAsTheWireWould) {
  const Spoil spoils[] = {Spoil::Crc, Spoil::NoStart, Spoil::StrayCode};
  Load(kForms[4]);
  Locate(0);
  for (Spoil spoil : spoils) {
    Send(0, Command(false, false, 0, 4), spoil);
    EXPECT_EQ(Read("CxpTxCmdPacketSent") & 1, 0u);
    EXPECT_TRUE(Ack(0).empty());
  }
  Send(0, Command(false, false, 0, 4));
  EXPECT_EQ(Ack(0), Magic());
}

TEST_F(CxpFirmware, LinksLockOnlyAtTheCameraSpeedAndCountErrorsOnlyWithoutLock) {
  for (const Form& form : kForms) {
    SCOPED_TRACE(form.design);
    Load(form);
    SetSpeed(0, 1250);
    ResetCore(0);
    const uint64_t first = Errors(0);
    EXPECT_GT(Errors(0), first);
    EXPECT_NE(LockBit(0), 1);
    Send(0, Command(false, false, 0, 4));
    EXPECT_TRUE(Ack(0).empty());

    Locate(0);
    EXPECT_EQ(Errors(0), 0u);
    EXPECT_EQ(Errors(0), 0u);
    EXPECT_NE(LockBit(0), 0);
    LoseAnswerInBurst(5);
    EXPECT_EQ(Errors(0), 5u);
    EXPECT_EQ(Errors(0), 5u);
    if (form.form >= 10) EXPECT_EQ(Read("CxpTransceiverStatus_0") >> 24 & 0xFFFFFF, 0u);
    Send(0, Command(false, false, 0, 4));
    EXPECT_EQ(Ack(0), Magic());
  }
}

// Holding a receiver in reset drops its lock and its done bits until it is let go.
TEST_F(CxpFirmware, ReceiveResetsClearTheirDoneBitsWhileHeld) {
  const std::pair<Form, const char*> rows[] = {{kForms[0], "CxpTransceiverRxPlllDet"},
                                               {kForms[0], "CxpTransceiverRxResetDone"},
                                               {kForms[1], "CxpTransceiverRxResetDone"},
                                               {kForms[3], "CxpTransceiverRxStatus"}};
  for (const auto& [form, done] : rows) {
    SCOPED_TRACE(done);
    Load(form);
    Locate(0);
    const uint64_t bit = form.form == 6 ? 3 : 1;  // with the lock bit
    EXPECT_EQ(Read(done) & bit, bit);
    Write("CxpTransceiverGtxRxReset", 1);
    EXPECT_EQ(Read(done) & bit, 0u);
    const uint64_t otherPort = form.form == 6 ? 4 : 2;  // its done bit stays
    EXPECT_EQ(Read(done) & otherPort, otherPort);
    Write("CxpTransceiverGtxRxReset", 0);
    EXPECT_EQ(Read(done) & bit, bit);
  }
}

// Firmware port 0 and physical port 2 change places; the transceivers stay with their ports.
TEST_F(CxpFirmware, TheSelectorMovesAFirmwarePortsChannelToAnotherPhysicalPort) {
  constexpr uint64_t kSwap = 0x7654301276543012;
  for (const Form& form : {kForms[4], kForms[0], kForms[5]}) {
    SCOPED_TRACE(form.design);
    Load(form, 2);
    Locate(2);
    Send(0, Command(false, false, 0, 4));
    EXPECT_TRUE(Ack(0).empty());
    if (form.form == 1) {
      Write("CxpDiscoveryConfig", 14);
    } else if (form.form == 16) {
      EXPECT_EQ(VHalCameraCtrlSetPortMap(device_, kSwap), 0);
    } else {
      Write("wDiscoverySelect", kSwap);
    }
    if (form.form != 1) EXPECT_EQ(Read("rDiscoverySelect"), kSwap);
    Send(0, Command(false, false, 0, 4));
    EXPECT_EQ(Ack(0), Magic());
  }
}

TEST_F(CxpFirmware, OperatorRegistersDescribeTheRigsOperators) {
  const std::pair<const char*, std::pair<uint64_t, uint64_t>> rows[] = {
      {"", {0x4321, 0}}, {"operators='1 1.1 2 -'", {0x0211, 0x0010}}};
  for (const auto& [attribute, expected] : rows) {
    Load(kForms[4], 0, attribute);
    EXPECT_EQ(Read("DiscoveryAppletMasterID"), expected.first) << attribute;
    EXPECT_EQ(Read("DiscoveryAppletExtensionID"), expected.second) << attribute;
  }
}

// Status numbers and readings as the library decodes each board group's power monitor.
struct PowerReading {
  unsigned status;
  double volts;
  double milliamps;
};

PowerReading Decode(const Form& form, uint64_t status, uint64_t a, uint64_t b) {
  auto code = [](uint64_t v, std::initializer_list<uint64_t> powers) {
    unsigned n = 1;
    for (uint64_t power : powers) {
      if (v == power) return n;
      ++n;
    }
    return 10u;
  };
  if (form.type == 2641) {
    return {(status & 0x80) ? 9 : code(status, {1, 2, 4, 8, 16, 32, 64}), b * 0.025, a * 0.4};
  }
  if (form.type == 1872) {
    return {(status & 0x100) ? 9 : code(status & 0x1FF, {1, 2, 4, 8, 16, 32, 64, 128}), b * 0.004,
            static_cast<int16_t>(a) * 0.2};
  }
  const unsigned pl[] = {10, 1, 4, 10, 6, 10, 10, 10, 7};
  const uint64_t bits = status >> 30 & 0x3F;
  return {(status >> 35 & 1) ? 9
          : bits < 9         ? pl[bits]
                             : 10,
          (status >> 16 & 0x3FFF) * 0.004, static_cast<int16_t>(status & 0xFFFF) * 0.2};
}

TEST_F(CxpFirmware, PowerReadsGoodTripsOnDemandAndRecoversWhenCycled) {
  for (const Form& form : {kForms[0], kForms[1], kForms[4], kForms[5]}) {
    SCOPED_TRACE(form.design);
    Load(form);
    Locate(0);
    auto reading = [&] {
      const uint64_t status = Read("CxpPowerStatus_0");
      if (form.type == 2641)
        return Decode(form, status, Read("CxpPowerSense_0"), Read("CxpPowerVin_0"));
      if (form.type == 1872) {
        return Decode(form, status, Read("CxpPowerShuntVoltage_0"), Read("CxpPowerBusVoltage_0"));
      }
      return Decode(form, status, 0, 0);
    };
    const PowerReading good = reading();
    EXPECT_EQ(good.status, 1u);
    EXPECT_NEAR(good.volts, 24.0, 1.0);
    EXPECT_NEAR(good.milliamps, 250.0, 10.0);

    ASSERT_EQ(VSimTripPower(0, 0), 0);
    const unsigned tripped = reading().status;
    EXPECT_TRUE(tripped >= 5 && tripped <= 9) << tripped;
    Send(0, Command(false, false, 0, 4));
    EXPECT_TRUE(Ack(0).empty());
    EXPECT_NE(LockBit(0), 1);

    if (QueueForm()) {
      EXPECT_EQ(VHalCameraCtrlSetPortPowerState(device_, 0, 1), 0);
      EXPECT_EQ(VHalCameraCtrlSetPortPowerState(device_, 0, 2), 0);
    } else {
      EXPECT_EQ(Read("rCxpPowerEnablePower"), 0xFu);
      Write("wCxpPowerEnablePower", 0xE);
      EXPECT_EQ(reading().volts, 0.0);
      Write("wCxpPowerEnablePower", 0xF);
    }
    EXPECT_EQ(reading().status, 1u);
    Send(0, Command(false, false, 0, 4));
    EXPECT_EQ(Ack(0), Magic());
  }
}

}  // namespace
}  // namespace vesk::sim
