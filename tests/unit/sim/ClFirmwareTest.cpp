// The Camera Link firmware and camera through the board library and the control API: GenCP
// frames built here from the standard's layout cross the serial queues.
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <utility>

#include "loader/vesk_hal.h"
#include "sim/include/vesk_sim.h"
#include "tests/unit/sim/ClWire.h"

namespace vesk::sim {
namespace {

using clwire::Ack;
using clwire::Bytes;
using clwire::FirstAck;
using clwire::Get;
using clwire::ReadMem;
using clwire::WriteMem;
using Clock = std::chrono::steady_clock;

constexpr uint64_t kSbrmAddress = 0x1D8;
constexpr uint64_t kManifestAddress = 0x1D0;
// What a camera answers in well within this, or not at all.
constexpr unsigned kQuietMs = 150;

const char kCamera[] =
    "vendor='Acme' modelName='Line 1' serial='S1' version='2.0' userName='leftover'";

Bytes Be32(uint32_t value) {
  Bytes bytes;
  clwire::Put(bytes, value, 4);
  return bytes;
}

std::string Text(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()).c_str(); }

class ClSerial : public ::testing::Test {
 protected:
  void TearDown() override { Close(); }
  void Close() {
    if (design_) VSimDesignFree(std::exchange(design_, nullptr));
    if (device_) VHalFreeDevice(std::exchange(device_, nullptr));
  }

  // A two-port base board with the camera on port 0, its serial channel opened at baud.
  void Load(const std::string& camera = "", unsigned baud = 9600,
            const std::string& design = "cl-base", unsigned ports = 2) {
    Close();
    const std::string rig = "<rig><board type='1872' ports='" + std::to_string(ports) +
                            "' design='" + design + "'/><camera id='cam' " + kCamera + " " +
                            camera + "><link board='0' port='0'/></camera></rig>";
    ASSERT_EQ(VSimLoadRigText(rig.c_str(), "cl rig"), 0);
    device_ = VHalInitDevice(0);
    ASSERT_NE(device_, nullptr);
    ASSERT_EQ(VHalClSerInit(device_, 0, baud, &rx_, &tx_), 0);
  }

  void Send(const Bytes& bytes) {
    ASSERT_EQ(VHalDataQueueWriteBuffer(device_, tx_, bytes.data(),
                                       static_cast<unsigned>(bytes.size()), 100),
              static_cast<int>(bytes.size()));
    ASSERT_EQ(VHalDataQueueFlush(device_, tx_), 0);
  }

  // What comes within timeoutMs, or until frames whole frames have come.
  Bytes Receive(unsigned timeoutMs = kQuietMs, unsigned frames = 1) {
    Bytes got;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (Clock::now() < deadline && Count(got) < frames) {
      unsigned char buffer[1024];
      const int count = VHalDataQueueReadBuffer(device_, rx_, buffer, sizeof buffer, 10);
      if (count > 0) got.insert(got.end(), buffer, buffer + count);
    }
    return got;
  }

  static unsigned Count(Bytes bytes) {
    unsigned frames = 0;
    while (std::optional<Ack> ack = FirstAck(bytes)) {
      ++frames;
      bytes.erase(bytes.begin(),
                  bytes.begin() + static_cast<ptrdiff_t>(ack->at + 16 + ack->scd.size()));
    }
    return frames;
  }

  std::optional<Ack> Exchange(const Bytes& request) {
    VHalDataQueueClear(device_, rx_);
    Send(request);
    return FirstAck(Receive());
  }

  // The data of a read that must succeed.
  Bytes ReadOk(uint64_t address, uint16_t length) {
    const std::optional<Ack> ack = Exchange(ReadMem(address, length, ++id_));
    EXPECT_TRUE(ack && ack->checked && ack->status == 0 && ack->command == 0x0801 && ack->id == id_)
        << "read of " << length << " at 0x" << std::hex << address;
    return ack ? ack->scd : Bytes{};
  }

  uint64_t ReadNumber(uint64_t address, uint16_t length) {
    const Bytes data = ReadOk(address, length);
    return data.size() == length ? Get(data, 0, length) : ~0ull;
  }

  PLdevice* device_ = nullptr;
  fpga_design* design_ = nullptr;
  int rx_ = -1;
  int tx_ = -1;
  uint16_t id_ = 0;
};

struct RateRow {
  const char* camera;
  unsigned other;
  unsigned own;
};

void PrintTo(const RateRow& row, std::ostream* os) { *os << row.camera << " at " << row.own; }

class ClSerialRate : public ClSerial, public ::testing::WithParamInterface<RateRow> {};

TEST_P(ClSerialRate, AnswersOnlyAtTheCamerasRate) {
  Load(GetParam().camera, GetParam().other);
  EXPECT_FALSE(Exchange(ReadMem(kSbrmAddress, 8, 7)));
  ASSERT_EQ(VHalClSerSetBaudrate(device_, 0, GetParam().own), 0);
  const std::optional<Ack> ack = Exchange(ReadMem(kSbrmAddress, 8, 8));
  ASSERT_TRUE(ack);
  EXPECT_EQ(ack->scd.size(), 8u);
}

INSTANTIATE_TEST_SUITE_P(Rates, ClSerialRate,
                         ::testing::Values(RateRow{"", 19200, 9600},
                                           RateRow{"speeds='115200'", 9600, 115200},
                                           RateRow{"speeds='9600 57600'", 921600, 57600}));

TEST_F(ClSerial, SwitchesBaudWhenToldAfterAnsweringAtTheOldRate) {
  Load("speeds='9600 19200 115200' defaultSpeed='9600'");
  const uint64_t sbrm = ReadNumber(kSbrmAddress, 8);
  EXPECT_EQ(ReadNumber(sbrm, 4), 0x13u);  // 9600, 19200, 115200
  EXPECT_EQ(ReadNumber(sbrm + 4, 4), 0x01u);
  // Two rates at once, and one the camera lacks, are refused; the rate stays.
  for (uint32_t refused : {0x11u, 0x80u}) {
    const std::optional<Ack> ack = Exchange(WriteMem(sbrm + 4, Be32(refused), ++id_));
    ASSERT_TRUE(ack);
    EXPECT_NE(ack->status, 0) << refused;
  }
  const std::optional<Ack> ack = Exchange(WriteMem(sbrm + 4, Be32(0x10), ++id_));
  ASSERT_TRUE(ack);
  EXPECT_EQ(ack->status, 0);
  EXPECT_EQ(ack->scd, Be32(4));
  EXPECT_FALSE(Exchange(ReadMem(sbrm + 4, 4, ++id_)));
  ASSERT_EQ(VHalClSerSetBaudrate(device_, 0, 115200), 0);
  EXPECT_EQ(ReadNumber(sbrm + 4, 4), 0x10u);
}

struct XmlRow {
  const char* form;
  uint32_t fileType;
  const char* start;
};

void PrintTo(const XmlRow& row, std::ostream* os) { *os << row.form; }

class ClSerialXml : public ClSerial, public ::testing::WithParamInterface<XmlRow> {};

TEST_P(ClSerialXml, ManifestNamesTheFileInItsForm) {
  Load(std::string("xml='") + GetParam().form + "'");
  const uint64_t table = ReadNumber(kManifestAddress, 8);
  ASSERT_EQ(ReadNumber(table, 8), 1u);
  const Bytes entry = ReadOk(table + 8, 64);
  ASSERT_EQ(entry.size(), 64u);
  EXPECT_EQ(Get(entry, 4, 4) >> 10 & 0x3F, GetParam().fileType);
  const uint64_t address = Get(entry, 8, 8);
  const uint64_t size = Get(entry, 16, 8);
  ASSERT_GT(size, 100u);
  Bytes file;
  for (uint64_t at = 0; at < size; at += 480)
    for (uint8_t byte :
         ReadOk(address + at, static_cast<uint16_t>(std::min<uint64_t>(480, size - at))))
      file.push_back(byte);
  ASSERT_EQ(file.size(), size);
  EXPECT_EQ(Text(Bytes(file.begin(), file.begin() + 5)), GetParam().start);
  if (GetParam().fileType == 1) EXPECT_EQ(Get(file, size - 22, 4), 0x504B0506u);  // end record
}

INSTANTIATE_TEST_SUITE_P(Forms, ClSerialXml,
                         ::testing::Values(XmlRow{"zipped", 1, "PK\x03\x04\x14"},
                                           XmlRow{"plain", 0, "<?xml"}));

struct TextRow {
  uint64_t address;
  const char* text;
};

void PrintTo(const TextRow& row, std::ostream* os) { *os << row.text; }

class ClSerialIdentity : public ClSerial, public ::testing::WithParamInterface<TextRow> {};

TEST_P(ClSerialIdentity, StringsOfTheBootstrap) {
  Load();
  EXPECT_EQ(Text(ReadOk(GetParam().address, 64)), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Strings, ClSerialIdentity,
                         ::testing::Values(TextRow{0x04, "Acme"}, TextRow{0x44, "Line 1"},
                                           TextRow{0xC4, "2.0"}, TextRow{0x144, "S1"},
                                           TextRow{0x184, "leftover"}));

TEST_F(ClSerial, ReadsAndWritesOfAnyLength) {
  Load();
  EXPECT_EQ(ReadNumber(0, 4) >> 16, 1u);   // GenCP 1.x
  EXPECT_EQ(ReadOk(0, 480).size(), 480u);  // across the strings
  std::optional<Ack> ack = Exchange(WriteMem(0x184, {'r', 'i', 'g', 'h', 't'}, ++id_));
  ASSERT_TRUE(ack);
  EXPECT_EQ(ack->command, 0x0803);
  EXPECT_EQ(ack->scd, Be32(5));
  EXPECT_EQ(Text(ReadOk(0x184, 64)), "rightver");
  ack = Exchange(WriteMem(0x04, {'X'}, ++id_));
  ASSERT_TRUE(ack);
  EXPECT_EQ(ack->status, 0x8004);  // read-only
  EXPECT_EQ(ack->scd, Be32(0));
  ack = Exchange(ReadMem(0x0FF0, 4, ++id_));
  ASSERT_TRUE(ack);
  EXPECT_EQ(ack->status, 0x8003);  // nothing there
  EXPECT_TRUE(ack->scd.empty());
}

TEST_F(ClSerial, FramesAreFoundInTheByteStream) {
  Load();
  const Bytes request = ReadMem(0x04, 4, 9);
  Send({0x00, 0x01, 0x00, 0x77});  // noise holding a preamble
  Send(Bytes(request.begin(), request.begin() + 10));
  EXPECT_FALSE(FirstAck(Receive(50)));
  Send(Bytes(request.begin() + 10, request.end()));
  const std::optional<Ack> ack = FirstAck(Receive());
  ASSERT_TRUE(ack);
  EXPECT_EQ(ack->id, 9);
  EXPECT_EQ(Text(ack->scd), "Acme");
  // A command that asks for no acknowledgement gets none.
  Bytes scd;
  clwire::Put(scd, 0x04, 8);
  clwire::Put(scd, 4, 4);
  EXPECT_FALSE(Exchange(clwire::Frame(0x0800, 10, scd, 0)));
  // Words waiting and a clear.
  Send(ReadMem(0x04, 4, 11));
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kQuietMs);
  while (VHalDataQueueGetNrOfWords(device_, rx_) < 20 && Clock::now() < deadline) {
    std::this_thread::yield();
  }
  EXPECT_EQ(VHalDataQueueGetNrOfWords(device_, rx_), 20);
  EXPECT_EQ(VHalDataQueueClear(device_, rx_), 0);
  EXPECT_EQ(VHalDataQueueGetNrOfWords(device_, rx_), 0);
}

constexpr VSimFaults kNone = {1, 0, 0, 0, 0, 50, -1};
constexpr VSimProtocolFaults kNoProtocol = {0, 0, 0, 0, 0, 0, 0};

enum class Seen { Noise, BadChecksum, StaleId, Pending, Late, Silence, UnknownStatus };

struct FaultRow {
  const char* name;
  VSimFaults faults;
  VSimProtocolFaults protocol;
  Seen seen;
};

void PrintTo(const FaultRow& row, std::ostream* os) { *os << row.name; }

class ClSerialFault : public ClSerial, public ::testing::WithParamInterface<FaultRow> {};

TEST_P(ClSerialFault, SpoilsTheAnswerAsSeeded) {
  const FaultRow& row = GetParam();
  Load();
  ASSERT_EQ(VSimSetCameraFaultsEx(0, &row.faults, &row.protocol), 0);
  VHalDataQueueClear(device_, rx_);
  Send(ReadMem(0x04, 4, 42));
  const Bytes got = Receive(kQuietMs, row.seen == Seen::Pending ? 2 : 1);
  const std::optional<Ack> ack = FirstAck(got);
  switch (row.seen) {
    case Seen::Noise:
      ASSERT_TRUE(ack);
      EXPECT_GT(ack->at, 0u);
      EXPECT_TRUE(ack->checked && ack->id == 42);
      return;
    case Seen::BadChecksum:
      ASSERT_TRUE(ack);
      EXPECT_FALSE(ack->checked);
      return;
    case Seen::StaleId:
      ASSERT_TRUE(ack);
      EXPECT_TRUE(ack->checked && ack->id == 41);
      return;
    case Seen::UnknownStatus:
      ASSERT_TRUE(ack);
      EXPECT_TRUE(ack->checked && ack->status >= 0x8100 && ack->scd.empty());
      return;
    case Seen::Pending:
      ASSERT_EQ(Count(got), 2u);
      ASSERT_TRUE(ack);
      EXPECT_EQ(ack->command, 0x0805);
      EXPECT_EQ(ack->id, 42);
      return;
    case Seen::Late:
      EXPECT_FALSE(ack);
      EXPECT_TRUE(FirstAck(Receive(2000)));
      return;
    case Seen::Silence:
      EXPECT_TRUE(got.empty());
      // The camera heard it all the same and answers once the faults are gone.
      ASSERT_EQ(VSimSetCameraFaults(0, &kNone), 0);
      EXPECT_TRUE(Exchange(ReadMem(0x04, 4, 43)));
      return;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Faults, ClSerialFault,
    ::testing::Values(
        FaultRow{"Noise", {1, 0, 0, 1000, 0, 50, -1}, kNoProtocol, Seen::Noise},
        FaultRow{"BadChecksum", kNone, {0, 0, 0, 1000, 0, 0, 0}, Seen::BadChecksum},
        FaultRow{"StaleId", kNone, {0, 0, 0, 0, 1000, 0, 0}, Seen::StaleId},
        FaultRow{"UnknownStatus", kNone, {0, 0, 1000, 0, 0, 0, 0}, Seen::UnknownStatus},
        FaultRow{"Pending", kNone, {1000, 0, 0, 0, 0, 0, 0}, Seen::Pending},
        FaultRow{"Late", {1, 0, 0, 0, 1000, 400, -1}, kNoProtocol, Seen::Late},
        FaultRow{"Dropped", {1, 1000, 0, 0, 0, 0, -1}, kNoProtocol, Seen::Silence},
        FaultRow{"SilentAfterNone", {1, 0, 0, 0, 0, 0, 0}, kNoProtocol, Seen::Silence}),
    [](const ::testing::TestParamInfo<FaultRow>& info) { return info.param.name; });

TEST_F(ClSerial, CameraClockFollowsTheCableAndDropsInABurst) {
  Load();
  EXPECT_EQ(VHalGetCameraStatusExtended(device_, 0) & 1, 1);
  EXPECT_EQ(VHalGetCameraStatusExtended(device_, 1) & 1, 0);
  ASSERT_EQ(VSimUnplug(0, 0), 0);
  EXPECT_EQ(VHalGetCameraStatusExtended(device_, 0) & 1, 0);
  ASSERT_EQ(VSimPlug(0, 1, 0, 0), 0);
  EXPECT_EQ(VHalGetCameraStatusExtended(device_, 1) & 1, 1);

  const VSimProtocolFaults burst = {0, 0, 0, 0, 0, 1000, 10};
  ASSERT_EQ(VSimSetCameraFaultsEx(0, &kNone, &burst), 0);
  int rx = -1, tx = -1;
  ASSERT_EQ(VHalClSerInit(device_, 1, 9600, &rx, &tx), 0);
  const Bytes request = ReadMem(0x04, 4, 1);
  ASSERT_EQ(VHalDataQueueWriteBuffer(device_, tx, request.data(),
                                     static_cast<unsigned>(request.size()), 100),
            static_cast<int>(request.size()));
  EXPECT_EQ(VHalGetCameraStatusExtended(device_, 1) & 1, 0);
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(2);
  while ((VHalGetCameraStatusExtended(device_, 1) & 1) == 0 && Clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(VHalGetCameraStatusExtended(device_, 1) & 1, 1);
}

struct DesignRow {
  const char* design;
  unsigned ports;
  const char* name;
  bool hasValue;
  uint64_t value;
};

void PrintTo(const DesignRow& row, std::ostream* os) { *os << row.design << " " << row.name; }

class ClDesign : public ClSerial, public ::testing::WithParamInterface<DesignRow> {};

TEST_P(ClDesign, TellsItsPortsAndMode) {
  const DesignRow& row = GetParam();
  Load("", 9600, row.design, row.ports);
  design_ = VSimDesignLoad(device_);
  ASSERT_NE(design_, nullptr);
  const int id = VSimDesignGetRegisterByName(design_, row.name);
  ASSERT_GT(id, 0) << row.name;
  uint64_t value = 99;
  ASSERT_EQ(VHalRegisterRead(device_, id, &value), 0);
  if (row.hasValue) EXPECT_EQ(value, row.value);
}

INSTANTIATE_TEST_SUITE_P(
    Designs, ClDesign,
    ::testing::Values(DesignRow{"cl-port-config-medium", 1, "AACamPortConfig", true, 1},
                      DesignRow{"cl-port-config-full", 1, "AACamPortConfig", true, 2},
                      DesignRow{"cl-base-full", 2, "Device1\\Process0\\Camera\\BaseMode", false, 0},
                      DesignRow{"cl-base-full", 2, "Device1\\Process0\\Cam\\FullMode", false, 0}));

}  // namespace
}  // namespace vesk::sim
