#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "sim/core/LinkChannel.h"
#include "sim/device/cxp/CxpDevice.h"
#include "tests/support/TempDir.h"
#include "tests/unit/sim/CxpWire.h"

namespace vesk::sim {
namespace {

using namespace std::chrono_literals;

// The board's end of one port.
class Port {
 public:
  Port() {
    channel.SetReceiver([this](const Packet& packet) {
      std::lock_guard<std::mutex> lock(mutex_);
      packets_.push_back(packet);
      changed_.notify_all();
    });
  }
  ~Port() { channel.SetReceiver(nullptr); }

  // The acknowledgements that arrived once there are count of them, or by the bound.
  std::vector<Ack> Await(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, 10s, [&] { return packets_.size() >= count; });
    std::vector<Ack> acks;
    for (const Packet& packet : packets_) acks.push_back(Parse(packet));
    packets_.clear();
    return acks;
  }
  // The acknowledgements of one command, as they came at once.
  std::vector<Ack> Ask(const Packet& command) {
    channel.ToCamera(command);
    return Await(0);
  }
  Ack AskOne(const Packet& command) {
    std::vector<Ack> acks = Ask(command);
    EXPECT_EQ(acks.size(), 1u);
    return acks.empty() ? Ack{} : acks[0];
  }

  LinkChannel channel;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Packet> packets_;
};

struct Wiring {
  uint32_t revision = 0x20000;
  std::vector<uint32_t> speeds = {1250, 3125, 6250};
  unsigned links = 2;
  std::string xmlFile;  // a camera over plain memory
};

// A camera of a rig with each of its links plugged into a port, at 3125 Mbit/s.
class PluggedCamera {
 public:
  explicit PluggedCamera(const Wiring& setup) : ports(setup.links) {
    unit->described.speeds = setup.speeds;
    unit->described.defaultSpeed = 6250;
    unit->described.links.resize(setup.links);
    unit->described.defaultLinks = setup.links;
    unit->described.cxpRevision = setup.revision;
    unit->described.controlPacketSize = 512;
    const CameraIdentity identity{"Acme", "Fast 2", "0042", "1.2", "left"};
    unit->camera = setup.xmlFile.empty()
                       ? Camera::Create("AreaScan", identity, XmlForm::Zipped, Endianness::Big)
                       : Camera::FromXmlFile(setup.xmlFile, identity, XmlForm::Plain);
    for (unsigned link = 0; link < setup.links; ++link) {
      LinkChannel& channel = ports[link].channel;
      channel.SetCable({unit, link}, MakeCxpDevice({unit, link}, channel));
      channel.SetSpeed(3125);
    }
  }

  std::shared_ptr<CameraUnit> unit = std::make_shared<CameraUnit>();
  std::vector<Port> ports;
};

std::string Text(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()).c_str(); }

struct RequestRow {
  const char* name;
  uint32_t revision;
  Packet command;
  int status;     // -1: no answer at all
  Bytes payload;  // the answer's first bytes
};

TEST(CxpDevice, AnswersBootstrapRequestsWithTheStandardsStatusCodes) {
  Packet badCrc = Read(0, 4);
  badCrc.back() ^= 0x10;
  Packet shortWrite = Command(1, 0x401C, 8, Word(1));
  const RequestRow rows[] = {
      {"magic", 0x20000, Read(0, 4), 0, Word(0xC0A79AE5)},
      {"revision 2.0", 0x20000, Read(4, 4), 0, Word(0x20000)},
      {"revision 1.0", 0x10000, Read(4, 4), 0, Word(0x10000)},
      {"vendor and model in one read", 0x20000, Read(0x2000, 64), 0, Bytes{'A', 'c', 'm', 'e', 0}},
      {"user id", 0x20000, Read(0x20C0, 16), 0, Bytes{'l', 'e', 'f', 't', 0}},
      {"2.0 supports 1.0 to 2.0", 0x20000, Read(0x4044, 4), 0, Word(7)},
      {"1.1 supports 1.0 and 1.1", 0x10001, Read(0x4044, 4), 0, Word(3)},
      {"1.0 has no versions supported", 0x10000, Read(0x4044, 4), 0x40, {}},
      {"1.1 has a firmware version", 0x10001, Read(0x2090, 4), 0, Bytes{'1', '.', '2', 0}},
      {"2.0 has none", 0x20000, Read(0x2090, 4), 0x40, {}},
      {"control packet size", 0x20000, Read(0x400C, 4), 0, Word(512)},
      {"default configuration", 0x20000, Read(0x4018, 4), 0, Word(0x20048)},
      {"acquisition start address", 0x20000, Read(0x300C, 4), 0, Word(0x100204)},
      {"tagged", 0x20000, Read(0, 4, 0x9C), 0, Word(0xC0A79AE5)},
      {"tagged before 2.0", 0x10001, Read(0, 4, 0x9C), -1, {}},
      {"a camera feature", 0x20000, Read(0x100108, 4), 0, Word(1920)},
      {"an address in no register", 0x20000, Read(0x5000, 4), 0x40, {}},
      {"beyond the last register", 0x20000, Read(0x20C0, 20), 0x40, {}},
      {"read the largest", 0x20000, Read(0xF0000000, 512), 0, Bytes{'P', 'K', 3, 4}},
      {"read too much", 0x20000, Read(0xF0000000, 516), 0x45, {}},
      {"write too much", 0x20000, Write(0x100000, Bytes(516)), 0x45, {}},
      {"write read-only", 0x20000, Write(0, Word(1)), 0x43, {}},
      {"write the user id", 0x20000, Write(0x20C0, Bytes(16, 'x')), 1, {}},
      {"write half a register", 0x20000, Write(0x401C, Bytes(2)), 0x41, {}},
      {"write fewer bytes than said", 0x20000, shortWrite, 0x46, {}},
      {"unknown operation", 0x20000, Command(7, 0, 4), 0x42, {}},
      {"bad CRC", 0x20000, badCrc, 0x80, {}},
      {"connection reset", 0x20000, Write(0x4000, Word(1)), -1, {}},
      {"no command", 0x20000, Packet(12, 0x07), -1, {}},
      {"a tag that is no tag", 0x20000, Packet{5, 5, 5, 5, 1, 2, 1, 1, 0, 0, 0, 0}, -1, {}},
      {"nothing but a CRC", 0x20000, Packet{2, 2, 2, 2, 0xFF, 0xFF, 0xFF, 0xFF}, 0x46, {}},
  };
  for (const RequestRow& row : rows) {
    SCOPED_TRACE(row.name);
    PluggedCamera rig({row.revision, {1250, 3125, 6250}, 2, {}});
    const std::vector<Ack> acks = rig.ports[0].Ask(row.command);
    if (row.status < 0) {
      EXPECT_TRUE(acks.empty());
      continue;
    }
    ASSERT_EQ(acks.size(), 1u);
    EXPECT_EQ(acks[0].status, row.status);
    EXPECT_TRUE(acks[0].crcGood);
    EXPECT_EQ(acks[0].tag, row.command[0] == 0x05 ? std::optional<uint8_t>(0x9C) : std::nullopt);
    EXPECT_EQ(Bytes(acks[0].payload.begin(),
                    acks[0].payload.begin() + static_cast<ptrdiff_t>(std::min(
                                                  row.payload.size(), acks[0].payload.size()))),
              row.payload);
  }
}

TEST(CxpDevice, ServesItsXmlAndKeepsWhatIsWrittenToItsMemory) {
  test::TempDir dir;
  const std::string xml = "<?xml version=\"1.0\"?>\n<RegisterDescription/>\n";
  { std::ofstream(dir.File("cam.xml")) << xml; }
  PluggedCamera rig({0x20000, {}, 1, dir.File("cam.xml")});
  Port& port = rig.ports[0];
  const uint32_t at = WordAt(port.AskOne(Read(0x18, 4)).payload, 0);
  EXPECT_EQ(Text(port.AskOne(Read(at, 256)).payload), "Local:cam.xml;F0000000;2D");
  EXPECT_EQ(Text(port.AskOne(Read(0xF0000000, 0x2D)).payload), xml);

  Bytes written(400);
  for (size_t i = 0; i < written.size(); ++i) written[i] = static_cast<uint8_t>(i * 7);
  for (std::optional<uint8_t> tag : {std::optional<uint8_t>(), std::optional<uint8_t>(3)}) {
    EXPECT_EQ(port.AskOne(Write(0x20000, written, tag)).status, 1);
    const Ack read = port.AskOne(Read(0x20000, 400, tag));
    EXPECT_EQ(read.payload, written);
    EXPECT_EQ(read.tag, tag);
    written[0] ^= 0xFF;
  }
}

TEST(CxpDevice, AConnectionConfigurationSetsSpeedAndLinksUntilAConnectionReset) {
  PluggedCamera rig(Wiring{});
  LinkChannel& master = rig.ports[0].channel;
  LinkChannel& extension = rig.ports[1].channel;
  // Any offered speed locks before a configuration.
  for (uint32_t speed : {1250u, 6250u, 3125u}) {
    master.SetSpeed(speed);
    EXPECT_TRUE(master.Locked()) << speed;
  }
  master.SetSpeed(5000);
  EXPECT_FALSE(master.Locked());
  master.SetSpeed(3125);

  EXPECT_EQ(rig.ports[0].AskOne(Write(0x4014, Word(0x20040))).status, 0x41);  // 5000 not offered
  EXPECT_EQ(rig.ports[0].AskOne(Write(0x4014, Word(0x30048))).status, 0x41);  // three links
  // Acknowledged at the old speed, then one link at 6250 only.
  EXPECT_EQ(rig.ports[0].AskOne(Write(0x4014, Word(0x10048))).status, 1);
  EXPECT_FALSE(master.Locked());
  master.SetSpeed(6250);
  extension.SetSpeed(6250);
  EXPECT_TRUE(master.Locked());
  EXPECT_FALSE(extension.Locked());
  EXPECT_EQ(rig.ports[0].AskOne(Read(0x4014, 4)).payload, Word(0x10048));

  EXPECT_TRUE(rig.ports[0].Ask(Write(0x4000, Word(1))).empty());
  master.SetSpeed(1250);
  EXPECT_TRUE(master.Locked());
  EXPECT_TRUE(extension.Locked());
  EXPECT_EQ(rig.ports[1].AskOne(Read(0x4014, 4)).payload, Word(0x20048));
}

}  // namespace
}  // namespace vesk::sim
