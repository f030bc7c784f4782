// The frame of CGbePortBase: construction and the ready thread, the netif's life, and the
// exchange of one GVCP command.
#include "vesk_genicam/impl/GbePortBase.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "lwip/init.h"
#include "lwip/sys.h"
#include "templates/patterns/GenericLockGuard.h"
#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/BoardLocks.h"
#include "vesk_genicam/impl/GbeBufferRW.h"
#include "vesk_genicam/impl/net/LwipTimers.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::patterns::GenericLockGuard;
using vesk::templates::platform::RecursiveMutexGuard;

vesk::tools::logging::ClassLogger CGbePortBase::logger_{"vesk.genicam.GbePort"};

namespace {

constexpr unsigned int kReadyCycleMs = 100;
constexpr unsigned int kGenApiTimeoutMs = 2000;
constexpr unsigned int kKeepAliveTimeoutMs = 2000;
constexpr unsigned int kHeartbeatTimeout = 0x0938;
constexpr unsigned int kCcp = 0x0A00;
constexpr int kHeartbeatRestart = 3;
constexpr unsigned int kKeepAliveEvery = 10;
// A locally administered prefix: the owner of these MACs is this library.
constexpr unsigned char kMacPrefix[3] = {0x02, 0x56, 0x49};

}  // namespace

CGbePortBase::CGbePortBase(unsigned int port, PLdevice* device, fpga_design* design)
    : port_(port),
      board_(device),
      design_(design),
      boardIndex_(VHalGetBoardIndex(device, 0)),
      portLock_(BoardLockName(boardIndex_, "-CGbePort_lock" + std::to_string(port)).c_str(), false),
      readyLock_(BoardLockName(boardIndex_, "-CGbePort_IsReady" + std::to_string(port)).c_str(),
                 false) {
  if (port_ == 0) {
    std::lock_guard<std::mutex> core(g_clsMutexRcv);
    lwip_init();
  }
  readyAlive_ = true;
  readyThread_ = std::thread(&CGbePortBase::ReadyThreadLoop, this);
}

CGbePortBase::~CGbePortBase() {
  StopThreads();
  if (netifAdded_) Disconnect();
}

void CGbePortBase::StopThreads() {
  Shutdown();
  {
    std::lock_guard<std::mutex> lock(readyMutex_);
    readyAlive_ = false;
    readyWake_.notify_all();
  }
  if (readyThread_.joinable()) readyThread_.join();
  receiveAlive_ = false;
  if (receiveThread_.joinable()) receiveThread_.join();
}

void CGbePortBase::StartReceiving() {
  receiveAlive_ = true;
  receiveThread_ = std::thread([this] {
    while (RecvPacket()) {
    }
  });
}

// A change connects or disconnects the port and is reported through the callback. The board
// library's notify thread may come here beside the controller's.
void CGbePortBase::CheckStatusPhy() {
  std::lock_guard<std::mutex> lock(statusMutex_);
  const bool up = HasLink();
  if (up == linkState_) return;
  linkState_ = up;
  if (up) {
    Connect();
  } else {
    Disconnect();
  }
  NotifyLink(up);
}

void CGbePortBase::Shutdown() { stopping_ = true; }

void CGbePortBase::SetCallBackFnct(IControllerInterface::Callback callback, void* user) {
  std::lock_guard<std::mutex> lock(callbackMutex_);
  callback_ = callback;
  user_ = user;
}

void CGbePortBase::NotifyLink(bool up) {
  IControllerInterface::Callback callback = nullptr;
  void* user = nullptr;
  {
    std::lock_guard<std::mutex> lock(callbackMutex_);
    callback = callback_;
    user = user_;
  }
  if (callback)
    callback(up ? ControllerEventPortsConnected : ControllerEventPortsLost, 1u << port_, user);
}

void CGbePortBase::ReadyThreadLoop() {
  do {
    {
      std::lock_guard<std::mutex> core(g_clsMutexRcv);
      CLwipTimers::Shared().Advance(sys_now());
      netif_poll_all();
    }
    DoHeartBeat();
  } while (SleepUntilSignal());
}

bool CGbePortBase::SleepUntilSignal() {
  std::unique_lock<std::mutex> lock(readyMutex_);
  if (readyAlive_) readyWake_.wait_for(lock, std::chrono::milliseconds(kReadyCycleMs));
  return readyAlive_;
}

// A quiet line gets a read of CCP every third pass; commands of the application restart the
// count.
void CGbePortBase::DoHeartBeat() {
  readyLock_.enter();
  GenericLockGuard guard(&readyLock_);
  if (!cameraConnected_ || heartbeat_ == -1) return;
  if (--heartbeat_ > 0) return;
  heartbeat_ = kHeartbeatRestart;
  unsigned int value = 0;
  ReadWord(kCcp, value, kKeepAliveTimeoutMs);
}

void CGbePortBase::GenerateMAC() {
  const int type = VHalGetBoardInfoInt(board_, "board/type");
  const int serial = VHalGetBoardInfoInt(board_, "board/serial");
  unsigned char code = 0xFC;
  if (type == 2913) code = 12;
  if (type >= 2897 && type <= 2899) code = 8;
  if (type == 3650) code = 4;
  if (type == 3652) code = 0;
  if (code != 0xFC) code = static_cast<unsigned char>(code | port_);
  std::memcpy(macSource_, kMacPrefix, sizeof kMacPrefix);
  macSource_[3] = code;
  macSource_[4] = static_cast<unsigned char>(serial >> 8);
  macSource_[5] = static_cast<unsigned char>(serial);
}

void CGbePortBase::ConnectNetif(void* state) {
  RecursiveMutexGuard scope(&portMutex_);
  if (netifAdded_) return;
  GenerateMAC();
  std::lock_guard<std::mutex> core(g_clsMutexRcv);
  AddNetConn(&netif_, &dhcp_, &autoip_,
             static_cast<IGbeNetifOwner*>(static_cast<CGbePortBase*>(state)));
  netifAdded_ = true;
}

void CGbePortBase::Disconnect() {
  RecursiveMutexGuard scope(&portMutex_);
  {
    std::lock_guard<std::mutex> core(g_clsMutexRcv);
    if (netifAdded_) {
      if (useAutoIp_) autoip_stop(&netif_);
      if (useDhcp_) dhcp_stop(&netif_);
      netif_set_link_down(&netif_);
      netif_set_down(&netif_);
      netif_remove(&netif_);
    }
    netifAdded_ = false;
    netif_ = {};
    dhcp_ = {};
    autoip_ = {};
  }
  ClearCamera();
  portType_ = PortTypeUnconnected;
  logicPort_ = 0xFFFFFFFF;
  heartbeat_ = -1;
  xmlName_.clear();
  xml_.clear();
  xmlSize_ = 0;
  cameraConnected_ = false;
  cameraInfo_.Reset();
}

// Camera address, MAC and the fields of discovery back to all ones: the next frame is a
// broadcast.
void CGbePortBase::ClearCamera() {
  cameraIp_ = 0xFFFFFFFF;
  cameraMask_ = 0xFFFFFFFF;
  cameraGateway_ = 0xFFFFFFFF;
  std::memset(cameraMac_, 0xFF, sizeof cameraMac_);
  deviceMode_ = 0xFFFFFFFF;
  ipOptions_ = 0xFFFFFFFF;
  ipCurrent_ = 0xFFFFFFFF;
  gvcpVersion_ = 0xFFFFFFFF;
}

void CGbePortBase::GetIpStaticSource(unsigned int& ip, unsigned int& mask, unsigned int& gateway) {
  ip = staticIp_;
  mask = staticMask_;
  gateway = staticGateway_;
}

void CGbePortBase::GetIpDest(unsigned int& ip, unsigned int& mask, unsigned int& gateway) {
  RecursiveMutexGuard scope(&portMutex_);
  ip = cameraIp_;
  mask = cameraMask_;
  gateway = cameraGateway_;
}

int CGbePortBase::SendPacket(unsigned char*, unsigned int) { return MLO_ERR_NOT_IMPLEMENTED; }

void CGbePortBase::OpenPcap(char* path) {
  std::lock_guard<std::mutex> lock(pcapMutex_);
  pcap_.Open(path);
  pcapOpen_ = true;
}

// The trace records a received frame with its check sequence, which the firmware has taken off:
// zeros stand in for it.
void CGbePortBase::WritePcap(unsigned char* frame, unsigned int size, bool outgoing) {
  std::lock_guard<std::mutex> lock(pcapMutex_);
  if (!pcapOpen_) return;
  if (outgoing) {
    pcap_.WritePcapPacket(frame, size, true);
    return;
  }
  std::vector<unsigned char> received(frame, frame + size);
  received.resize(std::max<size_t>(size + 4, 64), 0);
  pcap_.WritePcapPacket(received.data(), static_cast<unsigned int>(received.size()), false);
}

void CGbePortBase::InputFrame(const unsigned char* frame, unsigned int size) {
  std::lock_guard<std::mutex> core(g_clsMutexRcv);
  InputNetConnFrame(netifAdded_ ? &netif_ : nullptr, frame, size);
}

void CGbePortBase::UpdateRecvData(pbuf* p) {
  std::lock_guard<std::mutex> lock(responseMutex_);
  const auto* bytes = static_cast<const unsigned char*>(p->payload);
  response_.assign(bytes, bytes + p->len);
  ++arrivals_;
  responseArrived_.notify_all();
}

void CGbePortBase::PushNet() {
  saved_.packetMode = packetMode_;
  saved_.udpDestination = udpDestination_;
  saved_.udpSource = udpSource_;
  saved_.cameraIp = cameraIp_;
  saved_.requestId = requestId_;
  std::memcpy(saved_.cameraMac, cameraMac_, sizeof cameraMac_);
}

void CGbePortBase::PopNet() {
  packetMode_ = saved_.packetMode;
  udpDestination_ = saved_.udpDestination;
  udpSource_ = saved_.udpSource;
  cameraIp_ = saved_.cameraIp;
  requestId_ = saved_.requestId;
  std::memcpy(cameraMac_, saved_.cameraMac, sizeof cameraMac_);
}

int CGbePortBase::ExecCmd(unsigned short command, unsigned int address, unsigned char* data,
                          unsigned int length, unsigned int& received, unsigned int flags,
                          unsigned int timeoutMs, bool wait) {
  received = 0;
  if (!data) return MLO_ERR_INVALID_POINTER;
  RecursiveMutexGuard scope(&portMutex_);
  const unsigned int requestId = ++requestId_;
  CGbeBufferRW buffer(command, address, requestId, data, length, static_cast<unsigned char>(flags));
  unsigned char* packet = nullptr;
  unsigned int size = 0;
  if (!buffer.GetPacket(&packet, size)) return MLO_ERR_NO_DATA;
  const std::unique_ptr<unsigned char[]> owned(packet);
  uint64_t arrivalsBefore = 0;
  {
    std::lock_guard<std::mutex> lock(responseMutex_);
    arrivalsBefore = arrivals_;
  }
  udp_pcb* pcb = nullptr;
  int result = SendCommand(packet, size, pcb);
  if (result == 0 && wait)
    result =
        AwaitAnswer(command, address, requestId, data, length, received, arrivalsBefore, timeoutMs);
  // Removed even without a wait: a pcb left behind would hand a late frame to a port that has
  // gone.
  std::lock_guard<std::mutex> core(g_clsMutexRcv);
  if (pcb) udp_remove(pcb);
  return result;
}

// The pcb is bound to this port's netif, so that each port's traffic stays on its own interface,
// and stays registered for the answer.
int CGbePortBase::SendCommand(unsigned char* packet, unsigned int size, udp_pcb*& pcb) {
  std::lock_guard<std::mutex> core(g_clsMutexRcv);
  pcb = udp_new();
  if (!pcb) return MLO_ERR_OUT_OF_MEMORY;
  pcb->netif_idx = netifAdded_ ? netif_get_index(&netif_) : NETIF_NO_INDEX;
  udp_recv(pcb, RcvUdpFunct, static_cast<IGbeNetifOwner*>(this));
  ip_set_option(pcb, SOF_REUSEADDR);
  udp_bind(pcb, IP4_ADDR_ANY, udpSource_);
  pbuf* p = pbuf_alloc(PBUF_TRANSPORT, static_cast<u16_t>(size), PBUF_RAM);
  if (!p) return MLO_ERR_OUT_OF_MEMORY;
  pbuf_take(p, packet, static_cast<u16_t>(size));
  ip4_addr_t camera;
  ip4_addr_set_u32(&camera, lwip_htonl(cameraIp_));
  udp_sendto(pcb, p, &camera, udpDestination_);
  pbuf_free(p);
  return 0;
}

int CGbePortBase::AwaitAnswer(unsigned short command, unsigned int address, unsigned int requestId,
                              unsigned char* data, unsigned int length, unsigned int& received,
                              uint64_t arrivalsBefore, unsigned int timeoutMs) {
  std::unique_lock<std::mutex> lock(responseMutex_);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  // Whatever came since the command left answers it; the acknowledge id is not compared.
  if (!responseArrived_.wait_until(lock, deadline, [&] { return arrivals_ != arrivalsBefore; }))
    return MLO_ERR_TIMEOUT;
  if (response_.empty()) return 0;
  CGbeBufferRW buffer(command, address, requestId, data, length, 0);
  const int result = buffer.GetDataFromRawPacket(
      response_.data(), static_cast<unsigned int>(response_.size()), data, length, received);
  response_.clear();
  return result;
}

int CGbePortBase::ReadMem(unsigned int address, unsigned char* buffer, unsigned int length,
                          unsigned int timeoutMs) {
  if (!buffer) return MLO_ERR_INVALID_POINTER;
  std::memset(buffer, 0, length);
  unsigned int done = 0;
  unsigned int chunk = 0;
  while (done < length) {
    const unsigned int ask = std::min(GetMaxControlPacketSize(), length - done);
    unsigned int received = 0;
    const int result = ExecCmd(GVCP_READMEM_CMD, address + done, buffer + done, ask, received,
                               kGvcpFlagAcknowledge, timeoutMs, true);
    if (++chunk % kKeepAliveEvery == 0) {
      unsigned int value = 0;
      ReadWord(kHeartbeatTimeout, value, kKeepAliveTimeoutMs);
      ReadWord(kCcp, value, kKeepAliveTimeoutMs);
    }
    heartbeat_ = kHeartbeatRestart;
    if (result != 0) return result;
    // An answer without data would never end the loop.
    if (received == 0) return MLO_ERR_NO_DATA;
    done += received;
  }
  return 0;
}

int CGbePortBase::ReadPacket(unsigned int address, unsigned char* data, unsigned int length,
                             unsigned int timeoutMs) {
  RecursiveMutexGuard scope(&portMutex_);
  return ReadMem(address, data, length, timeoutMs);
}

// `data` holds the register in camera byte order; the coder wants its words as numbers.
int CGbePortBase::WritePacket(unsigned int address, unsigned char* data, unsigned int length,
                              unsigned int timeoutMs) {
  if (!data) return MLO_ERR_INVALID_POINTER;
  std::vector<uint32_t> words((length + 3) / 4);
  for (unsigned int i = 0; i < length; ++i)
    words[i / 4] |= static_cast<uint32_t>(data[i]) << (24 - 8 * (i % 4));
  RecursiveMutexGuard scope(&portMutex_);
  unsigned int received = 0;
  const int result =
      ExecCmd(GVCP_WRITEREG_CMD, address, reinterpret_cast<unsigned char*>(words.data()), length,
              received, kGvcpFlagAcknowledge, timeoutMs, true);
  if (result == 0) heartbeat_ = kHeartbeatRestart;
  return result;
}

// A big-endian camera register of 4 bytes, in host order.
int CGbePortBase::ReadWord(unsigned int address, unsigned int& value, unsigned int timeoutMs) {
  unsigned char bytes[4] = {};
  const int result = ReadPacket(address, bytes, 4, timeoutMs);
  value = static_cast<unsigned int>(bytes[0]) << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3];
  return result;
}

int CGbePortBase::WriteWord(unsigned int address, unsigned int value, unsigned int timeoutMs) {
  unsigned char bytes[4] = {
      static_cast<unsigned char>(value >> 24), static_cast<unsigned char>(value >> 16),
      static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
  return WritePacket(address, bytes, 4, timeoutMs);
}

void CGbePortBase::Read(void* buffer, int64_t address, int64_t length) {
  ReadPacket(static_cast<unsigned int>(address), static_cast<unsigned char*>(buffer),
             static_cast<unsigned int>(length), kGenApiTimeoutMs);
}

void CGbePortBase::Write(const void* buffer, int64_t address, int64_t length) {
  WritePacket(static_cast<unsigned int>(address),
              static_cast<unsigned char*>(const_cast<void*>(buffer)),
              static_cast<unsigned int>(length), kGenApiTimeoutMs);
}
