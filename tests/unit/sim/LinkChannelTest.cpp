#include <gtest/gtest.h>

#include <bitset>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "sim/core/LinkChannel.h"

namespace vesk::sim {
namespace {

using namespace std::chrono_literals;

// The camera's half: answers every packet with itself, and oddly with a marker before it.
class EchoDevice : public DeviceModel {
 public:
  explicit EchoDevice(LinkChannel& channel) : channel_(channel) {}
  void FromBoard(const Packet& packet) override { channel_.ToBoard(packet); }
  std::vector<LatePacket> Oddly(const Packet& answer, Fault, FaultPlan&) override {
    return {{0, kMarker}, {0, answer}};
  }

  static inline const Packet kMarker{0xee};

 private:
  LinkChannel& channel_;
};

// The firmware's half: keeps what arrives.
class Received {
 public:
  void operator()(const Packet& packet) {
    std::lock_guard<std::mutex> lock(mutex_);
    packets_.push_back(packet);
    changed_.notify_all();
  }
  // What arrived once there are count packets, or by the bound.
  std::vector<Packet> Await(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, 10s, [&] { return packets_.size() >= count; });
    return packets_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Packet> packets_;
};

enum class Arrives { Nothing, Echo, OneBitOff, MarkerThenEcho, Later };

struct Row {
  const char* name;
  bool plugged;
  std::vector<uint32_t> offered;  // the camera's speeds
  uint32_t speed;                 // the board's
  FaultSettings port;
  FaultSettings camera;
  bool reaches;
  Arrives arrives;
};

FaultSettings Faults(uint32_t drop, uint32_t corrupt, uint32_t odd, uint32_t delay,
                     int64_t silentAfter = -1) {
  return {7, drop, corrupt, odd, delay, 300, silentAfter};
}

const FaultSettings kNone = Faults(0, 0, 0, 0);
const FaultSettings kDrop = Faults(1000, 0, 0, 0);
const FaultSettings kCorrupt = Faults(0, 1000, 0, 0);
const FaultSettings kOdd = Faults(0, 0, 1000, 0);
const FaultSettings kDelay = Faults(0, 0, 0, 1000);
const FaultSettings kSilent = Faults(0, 0, 0, 0, 0);

TEST(LinkChannel, CablesSpeedsAndFaultsActOnTheTrafficBetweenTheHalves) {
  const Row rows[] = {
      {"unplugged", false, {}, 0, kNone, kNone, false, Arrives::Nothing},
      {"a camera of any speed", true, {}, 0, kNone, kNone, true, Arrives::Echo},
      {"an offered speed", true, {3125, 6250}, 6250, kNone, kNone, true, Arrives::Echo},
      {"a speed not offered", true, {3125, 6250}, 5000, kNone, kNone, false, Arrives::Nothing},
      {"the port drops", true, {}, 0, kDrop, kNone, true, Arrives::Nothing},
      {"the camera corrupts", true, {}, 0, kNone, kCorrupt, true, Arrives::OneBitOff},
      {"the port comes first", true, {}, 0, kCorrupt, kDrop, true, Arrives::OneBitOff},
      {"the camera answers oddly", true, {}, 0, kNone, kOdd, true, Arrives::MarkerThenEcho},
      {"the port delays", true, {}, 0, kDelay, kNone, true, Arrives::Later},
      {"the camera falls silent", true, {}, 0, kNone, kSilent, true, Arrives::Nothing},
  };
  const Packet sent{0x12, 0x34, 0x56};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Received received;
    LinkChannel channel;
    channel.SetReceiver([&](const Packet& packet) { received(packet); });
    auto camera = std::make_shared<CameraUnit>();
    camera->described.speeds = row.offered;
    camera->faults.Set(row.camera);
    channel.Faults().Set(row.port);
    if (row.plugged) channel.SetCable({camera, 0}, std::make_shared<EchoDevice>(channel));
    channel.SetSpeed(row.speed);

    EXPECT_EQ(channel.Locked(), row.reaches);
    EXPECT_EQ(channel.ToCamera(sent), row.reaches);
    std::vector<Packet> packets = received.Await(0);
    switch (row.arrives) {
      case Arrives::Nothing:
        EXPECT_TRUE(packets.empty());
        break;
      case Arrives::Echo:
        EXPECT_EQ(packets, std::vector<Packet>{sent});
        break;
      case Arrives::OneBitOff: {
        ASSERT_EQ(packets.size(), 1u);
        ASSERT_EQ(packets[0].size(), sent.size());
        size_t bits = 0;
        for (size_t i = 0; i < sent.size(); ++i)
          bits += std::bitset<8>(packets[0][i] ^ sent[i]).count();
        EXPECT_EQ(bits, 1u);
        break;
      }
      case Arrives::MarkerThenEcho:
        EXPECT_EQ(packets, (std::vector<Packet>{EchoDevice::kMarker, sent}));
        break;
      case Arrives::Later:
        EXPECT_TRUE(packets.empty());
        packets = received.Await(1);
        EXPECT_EQ(packets, std::vector<Packet>{sent});
        break;
    }
    const PortCounters counted = channel.Counters();
    EXPECT_EQ(counted.packetsToCamera, row.reaches ? 1u : 0u);
    EXPECT_EQ(counted.packetsFromCamera, packets.size());
  }
}

// Each row: where a packet comes from, and what the tap and the firmware's receiver then see.
struct TapRow {
  const char* name;
  bool plugged;
  bool fromTap;
  std::vector<Packet> tapped;
  std::vector<Packet> received;
};

TEST(LinkChannel, TapHearsBothWaysAndSpeaksToBoardAndCamera) {
  const Packet sent{0x12, 0x34, 0x56};
  const TapRow rows[] = {
      {"the board sends on an empty wire", false, false, {sent}, {}},
      {"the tap sends on an empty wire", false, true, {}, {sent}},
      {"the board sends to the camera", true, false, {sent, sent}, {sent}},
      {"the tap sends to the camera", true, true, {sent}, {sent, sent}},
  };
  for (const TapRow& row : rows) {
    SCOPED_TRACE(row.name);
    Received received;
    Received tapped;
    LinkChannel channel;
    channel.SetReceiver([&](const Packet& packet) { received(packet); });
    if (row.plugged) {
      channel.SetCable({std::make_shared<CameraUnit>(), 0}, std::make_shared<EchoDevice>(channel));
    }
    EXPECT_FALSE(channel.Locked() && !row.plugged);
    channel.SetTap([&](const Packet& packet) { tapped(packet); });
    EXPECT_TRUE(channel.Locked()) << "a tap holds the link up";
    if (row.fromTap) {
      channel.FromTap(sent);
    } else {
      EXPECT_TRUE(channel.ToCamera(sent));
    }
    EXPECT_EQ(tapped.Await(0), row.tapped);
    EXPECT_EQ(received.Await(0), row.received);
    channel.SetTap(nullptr);
    EXPECT_EQ(channel.Locked(), row.plugged);
    channel.ToCamera(sent);
    EXPECT_EQ(tapped.Await(0), row.tapped) << "a tap taken off hears nothing more";
  }
}

}  // namespace
}  // namespace vesk::sim
