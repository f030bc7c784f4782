// The library's netif and lwIP on a simulated GigE port take an address from the DHCP server on
// the port's network, or by AutoIP. Frames leave through the variant's transmit registers and
// come back through its receive queue; the test pumps them and drives lwIP's timers, as the
// port's receive and ready threads will, all on one thread since lwIP is not thread-safe.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "loader/dsnrt.h"
#include "lwip/init.h"
#include "lwip/prot/autoip.h"
#include "lwip/prot/dhcp.h"
#include "lwip/sys.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/SimulatedRuntime.h"
#include "vesk_genicam/impl/net/GbeNetif.h"
#include "vesk_genicam/impl/net/LwipTimers.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct Variant {
  const char* name;
  const char* design;
  int type;
  bool ka4;
};

// A port of a simulated board as the netif's owner: SendPacket writes the frame into the
// variant's transmitter, Pump hands what the receive queue holds to lwIP.
class SimulatedPort : public IGbeNetifOwner {
 public:
  SimulatedPort(const Variant& variant, unsigned int port)
      : variant_(variant),
        port_(port),
        device_(VHalInitDevice(0)),
        design_(DsnLoadBoardDesign(device_)) {}
  ~SimulatedPort() override {
    DsnFreeDesign(design_);
    VHalFreeDevice(device_);
  }
  SimulatedPort(const SimulatedPort&) = delete;
  SimulatedPort& operator=(const SimulatedPort&) = delete;

  bool Opened() const { return device_ && design_; }
  unsigned char* GetMacDest() override { return destination_; }
  unsigned char* GetMacSource() override { return source_; }
  void UpdateRecvData(pbuf*) override {}

  int SendPacket(unsigned char* data, unsigned int size) override {
    Bytes frame(data, data + size);
    if (frame.size() < 60) frame.resize(60, 0);
    if (variant_.ka4) return SendKa4(frame);
    return SendKorvid(frame);
  }

  // Hands the frames that came within waitMs to the netif.
  void Pump(netif* netif, unsigned int waitMs) {
    for (Bytes frame = Receive(waitMs); !frame.empty(); frame = Receive(0)) {
      std::lock_guard<std::mutex> lock(g_clsMutexRcv);
      InputNetConnFrame(netif, frame.data(), static_cast<unsigned int>(frame.size()));
    }
  }

 private:
  int Id(const char* name) const {
    return DsnGetRegisterByName(design_, (name + std::to_string(port_)).c_str());
  }
  void Write(int id, uint64_t value) { EXPECT_EQ(VHalRegisterWrite(device_, id, value), 0); }
  // The transmitter's flag reads busy for one look after a frame.
  bool AwaitTransmitter(const char* name, uint64_t idle) {
    for (int look = 0; look < 10; ++look) {
      uint64_t value = 0;
      if (VHalRegisterRead(device_, Id(name), &value) == 0 && value == idle) return true;
    }
    return false;
  }

  int SendKa4(Bytes& frame) {
    if (!AwaitTransmitter("GigeTxTransferActive", 0)) return -1;
    frame.resize((frame.size() + 1) / 2 * 2, 0);
    Write(Id("GigeBufferReset"), 0);
    for (size_t i = 0; i < frame.size(); i += 2)
      Write(Id("GigeWriteData"), frame[i] | frame[i + 1] << 8);
    Write(Id("GigeWriteComplete"), 0);
    return 0;
  }

  // Idle lanes, start, preamble and delimiter; the frame two bytes a word; the end marked on the
  // last word, or on an idle word behind it.
  int SendKorvid(const Bytes& frame) {
    if (!AwaitTransmitter("GigeTxControlReady_", 1)) return -1;
    const int stream = Id("GigeTxControlWriteData_");
    for (uint64_t word :
         {0x30707, 0x30707, 0x30707, 0x30707, 0x30707, 0x30707, 0x155FB, 0x5555, 0x5555, 0xD555}) {
      Write(stream, word);
    }
    const size_t words = (frame.size() + 1) / 2;
    for (size_t i = 0; i + 1 < words; ++i) Write(stream, frame[2 * i] | frame[2 * i + 1] << 8);
    uint64_t last = frame[2 * (words - 1)];
    last |= frame.size() % 2 ? 0x20700 : uint64_t{frame[2 * words - 1]} << 8;
    if (words % 2) {
      Write(stream, last);
      Write(stream, 0x70707);
    } else {
      Write(stream, last | 0x40000);
    }
    return 0;
  }

  // One frame of the receive queue; empty when none came in time.
  Bytes Receive(unsigned int waitMs) {
    const int queue = static_cast<int>(variant_.ka4 ? port_ : port_ + 8);
    uint32_t header = 0;
    if (VHalDataQueueReadBufferLong(device_, queue, &header, 4, waitMs) != 4) return {};
    Bytes frame;
    if (variant_.ka4) {
      std::vector<uint32_t> words(header);
      const auto size = static_cast<unsigned int>(words.size() * 4);
      EXPECT_EQ(VHalDataQueueReadBufferLong(device_, queue, words.data(), size, 100),
                static_cast<int>(size));
      for (uint32_t word : words)
        frame.insert(frame.end(),
                     {static_cast<unsigned char>(word), static_cast<unsigned char>(word >> 8)});
      return frame;
    }
    const uint32_t code = header >> 16 & 0xF;
    const size_t valid = code == 1 ? 1 : code == 3 ? 2 : code == 7 ? 3 : code >= 15 ? 4 : 0;
    std::vector<uint32_t> words((header & 0xFFFF) + (code ? 1 : 0));
    const auto size = static_cast<unsigned int>(words.size() * 4);
    EXPECT_EQ(VHalDataQueueReadBufferLong(device_, queue, words.data(), size, 100),
              static_cast<int>(size));
    const auto* bytes = reinterpret_cast<const unsigned char*>(words.data());
    frame.assign(bytes, bytes + (header & 0xFFFF) * 4 + valid);
    return frame;
  }

  const Variant variant_;
  const unsigned int port_;
  PLdevice* device_;
  fpga_design* design_;
  unsigned char destination_[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  unsigned char source_[6] = {0x02, 0x56, 0x49, 0x0C, 0x12, 0x34};
};

// Each row: a variant, the port, and whether the port's network has a DHCP server: the address
// DHCP binds, or AutoIP's link-local one.
struct Row {
  const char* name;
  Variant variant;
  unsigned int port;
  bool dhcp;
  unsigned int waitSeconds;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

const Variant kKa4 = {"Ka4", "gige-ka4", 3650, true};
const Variant kKorvid = {"Korvid", "gige-korvid", 2898, false};

class NetAddressing : public testing::TestWithParam<Row> {
 protected:
  static void SetUpTestSuite() {
    static const bool initialised = (lwip_init(), true);
    (void)initialised;
  }

  void SetUp() override {
    const Row& row = GetParam();
    const std::string rig = "<rig><board type='" + std::to_string(row.variant.type) +
                            "' ports='2' design='" + row.variant.design + "'" +
                            (row.dhcp ? " dhcp='" + std::to_string(row.port) + "'" : "") +
                            "/><camera id='cam'><link board='0' port='" + std::to_string(row.port) +
                            "'/></camera></rig>";
    ASSERT_EQ(VSIM(VSimLoadRigText)(rig.c_str(), "addressing rig"), 0);
    port_ = std::make_unique<SimulatedPort>(row.variant, row.port);
    ASSERT_TRUE(port_->Opened());
    AddNetConn(&netif_, &dhcp_, &autoip_, port_.get());
  }
  void TearDown() override {
    if (!port_ || !port_->Opened()) return;
    dhcp_stop(&netif_);
    autoip_stop(&netif_);
    netif_remove(&netif_);
  }

  // Pumps frames and passes the timers until bound() or the seconds are over.
  bool Await(const std::function<bool()>& bound, unsigned int seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!bound() && std::chrono::steady_clock::now() < end) {
      port_->Pump(&netif_, 20);
      CLwipTimers::Shared().Advance(sys_now());
    }
    return bound();
  }

  std::unique_ptr<SimulatedPort> port_;
  netif netif_{};
  dhcp dhcp_{};
  autoip autoip_{};
};

TEST_P(NetAddressing, NetifOfASimulatedPortBindsAnAddress) {
  const Row& row = GetParam();
  if (row.dhcp) {
    ASSERT_EQ(dhcp_start(&netif_), ERR_OK);
    ASSERT_TRUE(Await([&] { return dhcp_.state == DHCP_STATE_BOUND; }, row.waitSeconds));
    EXPECT_EQ(lwip_ntohl(ip4_addr_get_u32(netif_ip4_addr(&netif_))), 0xC0A86464u + (row.port << 8));
    EXPECT_EQ(lwip_ntohl(ip4_addr_get_u32(netif_ip4_netmask(&netif_))), 0xFFFFFF00u);
    EXPECT_EQ(lwip_ntohl(ip4_addr_get_u32(netif_ip4_gw(&netif_))), 0xC0A86401u + (row.port << 8));
    return;
  }
  ASSERT_EQ(autoip_start(&netif_), ERR_OK);
  ASSERT_TRUE(Await([&] { return autoip_.state == AUTOIP_STATE_BOUND; }, row.waitSeconds));
  const uint32_t ip = lwip_ntohl(ip4_addr_get_u32(netif_ip4_addr(&netif_)));
  EXPECT_EQ(ip >> 16, 0xA9FEu) << "a link-local address";
  EXPECT_GE(ip & 0xFFFF, 0x0100u);
  EXPECT_LT(ip & 0xFFFF, 0xFF00u);
}

// AutoIP probes and announces for seconds, so one row has it.
INSTANTIATE_TEST_SUITE_P(Ports, NetAddressing,
                         testing::Values(Row{"DhcpOnKa4", kKa4, 0, true, 5},
                                         Row{"DhcpOnKorvidPort1", kKorvid, 1, true, 5},
                                         Row{"AutoIpOnKa4", kKa4, 1, false, 20}),
                         [](const testing::TestParamInfo<Row>& info) { return info.param.name; });

}  // namespace
