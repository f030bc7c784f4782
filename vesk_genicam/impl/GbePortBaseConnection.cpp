// The camera's connection on CGbePortBase: addressing by AutoIP or DHCP, discovery, takeover
// with the heartbeat, the channels, and the resend and action commands.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "lwip/etharp.h"
#include "lwip/prot/autoip.h"
#include "lwip/prot/dhcp.h"
#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/GbeBufferRW.h"
#include "vesk_genicam/impl/GbePortBase.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::platform::RecursiveMutexGuard;

namespace {

constexpr unsigned int kChannelTimeoutMs = 2000;
constexpr unsigned int kDiscoveryTimeoutMs = 1000;
constexpr unsigned int kDiscoveryBufferSize = 4096;
constexpr unsigned int kBindPolls = 2000;
constexpr unsigned int kBindPollMs = 10;
constexpr unsigned int kResendSourcePort = 10004;
constexpr unsigned int kServiceSourcePort = 10000;
constexpr unsigned int kHeartbeatMs = 5000;

// Bootstrap registers by their published names.
constexpr unsigned int kNrNetIntf = 0x0600;
constexpr unsigned int kNrMsgCh = 0x0900;
constexpr unsigned int kNrStreamCh = 0x0904;
constexpr unsigned int kHeartbeatTimeout = 0x0938;
constexpr unsigned int kCcp = 0x0A00;
constexpr unsigned int kMcp = 0x0B00;
constexpr unsigned int kMcda = 0x0B10;
constexpr unsigned int kScp = 0x0D00;
constexpr unsigned int kScps = 0x0D04;
constexpr unsigned int kScpd = 0x0D08;
constexpr unsigned int kScda = 0x0D18;
constexpr unsigned int kStreamChannelStride = 0x40;
constexpr unsigned int kControlAccess = 2;
// Packet size 1500 with the do-not-fragment bit.
constexpr unsigned int kStreamPacketSize = 0x400005DC;

void SleepMs(unsigned int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

uint32_t BigEndian32(const unsigned char* bytes) {
  return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
         static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

// A text field of the discovery answer; its last byte is the terminator whatever it held.
std::string Field(unsigned char* reply, unsigned int offset, unsigned int size) {
  reply[offset + size - 1] = 0;
  return reinterpret_cast<const char*>(reply + offset);
}

}  // namespace

int CGbePortBase::Reset() {
  RecursiveMutexGuard scope(&portMutex_);
  cameraConnected_ = false;
  ipOptions_ = 0xFFFFFFFF;
  ipCurrent_ = 0xFFFFFFFF;
  SleepMs(1000);
  BindAddress();
  ClearCamera();
  int result = Discover();
  if (result != 0) return result;
  portType_ = PortTypeMaster;
  logicPort_ = port_ << 16;
  result = TakeControl();
  if (GetActionCmdValid()) {
    ResendCmd(false);
    ActionCmd();
  }
  unsigned int value = 0;
  for (auto [address, field] :
       {std::pair{kNrNetIntf, &nrNetIntf_}, std::pair{kNrStreamCh, &nrStreamCh_},
        std::pair{kNrMsgCh, &nrMsgCh_}}) {
    result = ReadWord(address, value, kChannelTimeoutMs);
    if (result != 0) break;
    *field = value;
  }
  if (result == 0) result = GetXmlInfo();
  cameraConnected_ = true;
  return result;
}

// AutoIP, then DHCP, as they are switched on; a limit waited out is no failure: discovery
// answers by broadcast all the same.
void CGbePortBase::BindAddress() {
  if (!netifAdded_) return;
  if (useAutoIp_) {
    {
      std::lock_guard<std::mutex> core(g_clsMutexRcv);
      autoip_stop(&netif_);
      autoip_start(&netif_);
    }
    AwaitBound(false);
  }
  if (useDhcp_) {
    {
      std::lock_guard<std::mutex> core(g_clsMutexRcv);
      dhcp_stop(&netif_);
      dhcp_start(&netif_);
    }
    AwaitBound(true);
  }
}

bool CGbePortBase::AwaitBound(bool dhcp) {
  for (unsigned int poll = 0; poll < kBindPolls && !stopping_; ++poll) {
    {
      std::lock_guard<std::mutex> core(g_clsMutexRcv);
      if (dhcp ? dhcp_.state == DHCP_STATE_BOUND : autoip_.state == AUTOIP_STATE_BOUND) return true;
    }
    SleepMs(kBindPollMs);
  }
  return false;
}

// Asks by broadcast until a camera answers, as long as the link stays and the port is not going.
int CGbePortBase::Discover() {
  std::vector<unsigned char> reply(kDiscoveryBufferSize);
  while (true) {
    unsigned int received = 0;
    const int result =
        ExecCmd(GVCP_DISCOVERY_CMD, 0, reply.data(), kDiscoveryBufferSize, received,
                kGvcpFlagAcknowledge | kGvcpFlagBroadcastOrExtendedId, kDiscoveryTimeoutMs, true);
    if (result == 0 && received != 0) break;
    if (stopping_ || !HasLink()) return MLO_ERR_TIMEOUT;
    SleepMs(1000);
  }
  TakeIdentity(reply.data());
  return 0;
}

void CGbePortBase::TakeIdentity(const unsigned char* answer) {
  std::vector<unsigned char> reply(answer, answer + kDiscoveryBufferSize);
  std::memcpy(cameraMac_, &reply[0x0A], 2);
  std::memcpy(cameraMac_ + 2, &reply[0x0C], 4);
  cameraIp_ = BigEndian32(&reply[0x24]);
  cameraMask_ = BigEndian32(&reply[0x34]);
  cameraGateway_ = BigEndian32(&reply[0x44]);
  deviceMode_ = BigEndian32(&reply[0x04]);
  ipOptions_ = BigEndian32(&reply[0x10]);
  ipCurrent_ = BigEndian32(&reply[0x14]);
  gvcpVersion_ = BigEndian32(&reply[0x00]);
  FindUnreportedMac();
  cameraInfo_.SetVendorName(Field(reply.data(), 0x48, 32));
  cameraInfo_.SetModelName(Field(reply.data(), 0x68, 32));
  cameraInfo_.SetVersion(Field(reply.data(), 0x88, 32));
  cameraInfo_.SetManufactureInfo(Field(reply.data(), 0xA8, 48));
  cameraInfo_.SetSerialNr(Field(reply.data(), 0xD8, 16));
  cameraInfo_.SetUserId(Field(reply.data(), 0xE8, 16));
}

// A device that reports no MAC (Aravis's fake camera does so) is found in lwIP's ARP cache: it
// asked for this port's address before its answer came.
void CGbePortBase::FindUnreportedMac() {
  if (std::any_of(cameraMac_, cameraMac_ + 6, [](unsigned char byte) { return byte != 0; })) return;
  std::lock_guard<std::mutex> core(g_clsMutexRcv);
  ip4_addr_t camera;
  ip4_addr_set_u32(&camera, lwip_htonl(cameraIp_));
  eth_addr* mac = nullptr;
  const ip4_addr_t* found = nullptr;
  if (etharp_find_addr(&netif_, &camera, &mac, &found) >= 0 && mac)
    std::memcpy(cameraMac_, mac->addr, sizeof cameraMac_);
}

// Control access, and a heartbeat time-out that the reads of the ready thread keep well within.
// Each read restarts the heartbeat count.
int CGbePortBase::TakeControl() {
  const int result = WriteWord(kCcp, kControlAccess, kChannelTimeoutMs);
  if (result != 0) return result;
  unsigned int value = 0;
  ReadWord(kHeartbeatTimeout, value, kChannelTimeoutMs);
  WriteWord(kHeartbeatTimeout, kHeartbeatMs, kChannelTimeoutMs);
  ReadWord(kHeartbeatTimeout, value, kChannelTimeoutMs);
  ReadWord(kCcp, value, kChannelTimeoutMs);
  return 0;
}

int CGbePortBase::ConnectChannel() {
  ip4_addr_t address;
  {
    std::lock_guard<std::mutex> core(g_clsMutexRcv);
    address = *netif_ip4_addr(&netif_);
  }
  int result = WriteWord(kCcp, kControlAccess, kChannelTimeoutMs);
  if (result == 0)
    result = WriteWord(kMcda, lwip_ntohl(ip4_addr_get_u32(&address)), kChannelTimeoutMs);
  if (result == 0) result = WriteWord(kMcp, kServiceSourcePort, kChannelTimeoutMs);
  return result;
}

int CGbePortBase::DisconnectChannel() {
  int result = WriteWord(kScp, 0, kChannelTimeoutMs);
  if (result == 0) result = WriteWord(kMcp, 0, kChannelTimeoutMs);
  if (result == 0) result = WriteWord(kCcp, 0, kChannelTimeoutMs);
  return result;
}

int CGbePortBase::SetStreamChannel(unsigned int channel, unsigned int port) {
  if (channel == 0) return WriteWord(kScp, 0, kChannelTimeoutMs);
  const unsigned int block = (channel - 1) * kStreamChannelStride;
  ip4_addr_t address;
  {
    std::lock_guard<std::mutex> core(g_clsMutexRcv);
    address = *netif_ip4_addr(&netif_);
  }
  int result = WriteWord(kScda + block, lwip_ntohl(ip4_addr_get_u32(&address)), kChannelTimeoutMs);
  if (result == 0) result = WriteWord(kScp + block, port, kChannelTimeoutMs);
  if (result == 0) result = WriteWord(kScpd + block, 0, kChannelTimeoutMs);
  if (result == 0) result = WriteWord(kScps + block, kStreamPacketSize, kChannelTimeoutMs);
  return result;
}

int CGbePortBase::ResendCmd(bool extendedId) {
  RecursiveMutexGuard scope(&portMutex_);
  PushNet();
  udpSource_ = kResendSourcePort;
  requestId_ = 1;
  uint32_t payload[5] = {};
  payload[2] = lwip_htonl(65535);
  payload[3] = lwip_htonl(0xFFFFFFFF);
  unsigned int received = 0;
  const int result = ExecCmd(GVCP_PACKETRESEND_CMD, 0, reinterpret_cast<unsigned char*>(payload),
                             extendedId ? 20 : 12, received,
                             extendedId ? kGvcpFlagBroadcastOrExtendedId : 0, 1000, false);
  PopNet();
  return result;
}

// To every camera of the link at once; no answer is waited for.
int CGbePortBase::ActionCmd() {
  RecursiveMutexGuard scope(&portMutex_);
  PushNet();
  udpSource_ = kServiceSourcePort;
  requestId_ = 1;
  cameraIp_ = 0xFFFFFFFF;
  std::memset(cameraMac_, 0xFF, sizeof cameraMac_);
  unsigned char payload[12] = {};
  unsigned int received = 0;
  const int result =
      ExecCmd(GVCP_ACTION_CMD, 0, payload, sizeof payload, received, kGvcpFlagAcknowledge, 0, true);
  PopNet();
  return result;
}
