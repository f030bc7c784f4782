#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <vector>

#include "lwip/init.h"
#include "tests/unit/gige/EthernetFrames.h"
#include "vesk_genicam/impl/net/GbeNetif.h"
#include "vesk_genicam/impl/net/LwipTimers.h"

namespace {

using vesk::test::ArpFrame;
using vesk::test::ArpRequest;
using vesk::test::Bytes;
using vesk::test::kBroadcastMac;
using vesk::test::kGvcpPort;
using vesk::test::Mac;
using vesk::test::UdpFrame;

constexpr Mac kPortMac = {0x02, 0x56, 0x49, 0x0C, 0x12, 0x34};
constexpr Mac kCameraMac = {0x00, 0x0F, 0x31, 0x01, 0x02, 0x03};
constexpr uint32_t kPortIp = 0xA9FE0009;    // 169.254.0.9
constexpr uint32_t kCameraIp = 0xA9FE0102;  // 169.254.1.2
constexpr uint16_t kSourcePort = 10000;
const Bytes kAck = {0x00, 0x00, 0x00, 0x81, 0x00, 0x04, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02};

// A port that records what leaves it and what UDP hands back.
class RecordingPort : public IGbeNetifOwner {
 public:
  Mac destination = kBroadcastMac;
  std::vector<Bytes> sent;
  std::vector<Bytes> received;

  unsigned char* GetMacDest() override { return destination.data(); }
  unsigned char* GetMacSource() override { return source_.data(); }
  int SendPacket(unsigned char* data, unsigned int size) override {
    sent.emplace_back(data, data + size);
    return 0;
  }
  void UpdateRecvData(pbuf* p) override {
    const auto* bytes = static_cast<const uint8_t*>(p->payload);
    received.emplace_back(bytes, bytes + p->len);
  }

 private:
  Mac source_ = kPortMac;
};

// A port's netif with the address AutoIP would give, and the GVCP client's pcb on it.
class NetConn : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    static const bool initialised = (lwip_init(), true);
    (void)initialised;
  }
  void SetUp() override {
    AddNetConn(&netif_, &dhcp_, &autoip_, &port_);
    ip4_addr_t ip, mask, gateway;
    IP4_ADDR(&ip, 169, 254, 0, 9);
    IP4_ADDR(&mask, 255, 255, 0, 0);
    IP4_ADDR(&gateway, 0, 0, 0, 0);
    netif_set_addr(&netif_, &ip, &mask, &gateway);
    pcb_ = udp_new();
    pcb_->netif_idx = netif_get_index(&netif_);
    udp_bind(pcb_, IP_ADDR_ANY, kSourcePort);
    udp_recv(pcb_, RcvUdpFunct, &port_);
    port_.sent.clear();  // lwIP announces each address by a gratuitous ARP
  }
  void TearDown() override {
    udp_remove(pcb_);
    netif_remove(&netif_);
  }

  void Input(const Bytes& frame, bool added = true) {
    std::lock_guard<std::mutex> lock(g_clsMutexRcv);
    InputNetConnFrame(added ? &netif_ : nullptr, frame.data(),
                      static_cast<unsigned int>(frame.size()));
  }

  RecordingPort port_;
  netif netif_{};
  dhcp dhcp_{};
  autoip autoip_{};
  udp_pcb* pcb_ = nullptr;
};

TEST_F(NetConn, InitialisesTheNetifOfAPort) {
  EXPECT_EQ(netif_.name[0], 'V');
  EXPECT_EQ(netif_.name[1], 'I');
  EXPECT_EQ(netif_.mtu, 1520);
  EXPECT_EQ(Bytes(netif_.hwaddr, netif_.hwaddr + netif_.hwaddr_len),
            Bytes(kPortMac.begin(), kPortMac.end()));
  EXPECT_EQ(netif_.flags,
            NETIF_FLAG_BROADCAST | NETIF_FLAG_LINK_UP | NETIF_FLAG_ETHARP | NETIF_FLAG_UP);
}

// A frame that reaches the port, and what leaves it and what the GVCP client receives.
struct InputRow {
  const char* name;
  Bytes frame;
  bool added;
  std::vector<Bytes> sent;
  std::vector<Bytes> received;
};

void PrintTo(const InputRow& row, std::ostream* os) { *os << row.name; }

class NetConnInput : public NetConn, public testing::WithParamInterface<InputRow> {};

TEST_P(NetConnInput, AnswersArpAndHandsUdpToThePort) {
  const InputRow& row = GetParam();
  Input(row.frame, row.added);
  EXPECT_EQ(port_.sent, row.sent);
  EXPECT_EQ(port_.received, row.received);
}

INSTANTIATE_TEST_SUITE_P(
    Frames, NetConnInput,
    testing::Values(
        // A link-local sender answers by broadcast (RFC 3927).
        InputRow{"ArpRequestForThePort",
                 ArpRequest(kCameraMac, kCameraIp, kPortIp),
                 true,
                 {ArpFrame(2, kBroadcastMac, kPortMac, kPortIp, kCameraMac, kCameraIp)},
                 {}},
        InputRow{
            "ArpRequestForAnother", ArpRequest(kCameraMac, kCameraIp, kPortIp + 1), true, {}, {}},
        InputRow{"AckToTheClientPort",
                 UdpFrame(kPortMac, kCameraMac, kCameraIp, kPortIp, kGvcpPort, kSourcePort, kAck),
                 true,
                 {},
                 {kAck}},
        InputRow{"AckByBroadcast",
                 UdpFrame(kBroadcastMac, kCameraMac, kCameraIp, 0xFFFFFFFF, kGvcpPort, kSourcePort,
                          kAck),
                 true,
                 {},
                 {kAck}},
        InputRow{"AckBeforeTheNetifIsAdded",
                 UdpFrame(kPortMac, kCameraMac, kCameraIp, kPortIp, kGvcpPort, kSourcePort, kAck),
                 false,
                 {},
                 {}}),
    [](const testing::TestParamInfo<InputRow>& info) { return info.param.name; });

// lwIP's own choices (IP id, time to live, checksums) left out of the comparison.
Bytes WithoutStackChoices(Bytes frame) {
  for (size_t at : {18, 19, 22, 24, 25, 40, 41}) frame.at(at) = 0;
  return frame;
}

struct SendRow {
  const char* name;
  Mac destinationMac;
  uint32_t destinationIp;
};

void PrintTo(const SendRow& row, std::ostream* os) { *os << row.name; }

class NetConnSend : public NetConn, public testing::WithParamInterface<SendRow> {};

TEST_P(NetConnSend, FramesTheDatagramForTheCameraMacWithoutArp) {
  const SendRow& row = GetParam();
  port_.destination = row.destinationMac;
  const Bytes command = {0x42, 0x11, 0x00, 0x02, 0x00, 0x00, 0x00, 0x01};
  pbuf* p = pbuf_alloc(PBUF_TRANSPORT, static_cast<u16_t>(command.size()), PBUF_RAM);
  pbuf_take(p, command.data(), static_cast<u16_t>(command.size()));
  ip_addr_t camera;
  ip4_addr_set_u32(&camera, lwip_htonl(row.destinationIp));
  EXPECT_EQ(udp_sendto(pcb_, p, &camera, kGvcpPort), ERR_OK);
  pbuf_free(p);
  ASSERT_EQ(port_.sent.size(), 1u) << "one frame, no ARP request first";
  EXPECT_EQ(WithoutStackChoices(port_.sent[0]),
            WithoutStackChoices(UdpFrame(row.destinationMac, kPortMac, kPortIp, row.destinationIp,
                                         kSourcePort, kGvcpPort, command)));
}

INSTANTIATE_TEST_SUITE_P(
    Destinations, NetConnSend,
    testing::Values(SendRow{"DiscoveryBeforeTheCameraIsKnown", kBroadcastMac, 0xFFFFFFFF},
                    SendRow{"CommandToTheFoundCamera", kCameraMac, kCameraIp}),
    [](const testing::TestParamInfo<SendRow>& info) { return info.param.name; });

// Passes at the given times over two timers of 100 and 250 ms; how often each fired.
struct TimerRow {
  const char* name;
  std::vector<uint32_t> passes;
  int fast;
  int slow;
};

void PrintTo(const TimerRow& row, std::ostream* os) { *os << row.name; }

int g_fired[2];
template <int N>
void Fire() {
  ++g_fired[N];
}

class LwipTimers : public testing::TestWithParam<TimerRow> {};

TEST_P(LwipTimers, FireWhenTheirPeriodIsExceededAtMostOnceAPass) {
  const TimerRow& row = GetParam();
  g_fired[0] = g_fired[1] = 0;
  CLwipTimers timers({{0, 100, Fire<0>}, {0, 250, Fire<1>}});
  for (uint32_t now : row.passes) timers.Advance(now);
  EXPECT_EQ(g_fired[0], row.fast);
  EXPECT_EQ(g_fired[1], row.slow);
}

INSTANTIATE_TEST_SUITE_P(
    Passes, LwipTimers,
    testing::Values(TimerRow{"FirstPassStartsTheClock", {5000}, 0, 0},
                    TimerRow{"ExactlyThePeriodWaits", {1000, 1100}, 0, 0},
                    TimerRow{"BeyondThePeriodFires", {1000, 1100, 1201}, 1, 0},
                    TimerRow{"LongPassFiresOnce", {1000, 2000}, 1, 1},
                    TimerRow{"TheRestCarriesOver", {1000, 2000, 2001}, 2, 2},
                    TimerRow{"OvertakenThreadAddsNothing", {1000, 1200, 1150, 1300}, 2, 1},
                    TimerRow{"ClockWrapIsAStepForward", {0xFFFFFF00, 0x10}, 1, 1},
                    TimerRow{"ClockBeyondHalfItsRange", {0x90000000, 0x9000012C}, 1, 1}),
    [](const testing::TestParamInfo<TimerRow>& info) { return info.param.name; });

}  // namespace
