#include "vesk_genicam/impl/GbeKorvid4GPort.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "templates/patterns/GenericLockGuard.h"
#include "vesk_genicam/impl/PollTimer.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::patterns::GenericLockGuard;

vesk::tools::logging::ClassLogger CGbeKorvid4GPort::logger_{"vesk.genicam.GbeKorvid4GPort"};
std::mutex CGbeKorvid4GPort::clsMutex;

namespace {

constexpr unsigned int kMaxFrame = 101;
constexpr unsigned int kMinFrame = 60;
constexpr unsigned int kStreamPortOffset = 8191;
constexpr int kQueueBase = 8;
constexpr unsigned int kQueueTimeoutMs = 1000;
constexpr unsigned int kReadyTimeoutMs = 1000;
constexpr unsigned int kStreamChannelDelayMs = 200;
constexpr unsigned long kPhyChanged = 3;
constexpr unsigned long kPhyDetail = 2;
constexpr uint64_t kCrcMask = 0xFFFFFF;
// Idle lanes, start, preamble and start of frame delimiter.
constexpr uint32_t kPreamble[] = {0x30707, 0x30707, 0x30707, 0x30707, 0x30707,
                                  0x30707, 0x155FB, 0x5555,  0x5555,  0xD555};
constexpr uint32_t kIdleHighControl = 0x20700;
constexpr uint32_t kEndMark = 0x40000;
constexpr uint32_t kIdleWord = 0x70707;
constexpr uint32_t kConfigValid = 0x1000000;
constexpr unsigned int kConfigPositionShift = 18;

// Bytes of the last word by the header's mark: 1, 3, 7 and 15 for one to four.
unsigned int ValidBytes(uint32_t code) {
  if (code >= 15) return 4;
  if (code == 7) return 3;
  if (code == 3) return 2;
  if (code == 1) return 1;
  return 0;
}

}  // namespace

CGbeKorvid4GPort::CGbeKorvid4GPort(unsigned int port, PLdevice* device, fpga_design* design)
    : CGbePortBase(port, device, design), phy_(design, device) {
  linkState_ = phy_.IsConnected(port_);
  ReadPreSendTime();
  InitReg();
  phy_.Reset(port_);
  callbackRegistered_ = VHalRegisterAsyncNotifyCallback(board_, NotifyCallback, this) == 0;
  StartReceiving();
}

// The notify thread may be in a discovery of this port: it ends it first.
CGbeKorvid4GPort::~CGbeKorvid4GPort() {
  Shutdown();
  if (callbackRegistered_) VHalUnregisterAsyncNotifyCallback(board_, NotifyCallback, this);
  StopThreads();
}

void CGbeKorvid4GPort::ReadPreSendTime() {
  const char* text = std::getenv("VESK_PRE_SEND_WAIT_TIME");
  if (!text) return;
  preSendMs_ = static_cast<unsigned int>(std::strtoul(text, nullptr, 10));
  logger_.Line(3, [&] {
    return "PHY Id " + std::to_string(port_) + ": Using a pre-send waiting time of " +
           std::to_string(preSendMs_) + " miliseconds.";
  });
}

void CGbeKorvid4GPort::InitReg() {
  portLock_.enter();
  GenericLockGuard guard(&portLock_);
  auto lookup = [this](const char* name) {
    return DsnGetRegisterByName(design_, (name + std::to_string(port_)).c_str());
  };
  controlWriteData_ = lookup("GigeTxControlWriteData_");
  configWriteData_ = lookup("GigeTxConfigWriteData_");
  controlReady_ = lookup("GigeTxControlReady_");
  monitorStatus_ = lookup("GigeMonitorStatus_");
  receivedPacketCount_ = lookup("GigeReceivedPacketCount_");
}

uint64_t CGbeKorvid4GPort::ReadRegister(int id) {
  uint64_t value = 0;
  VHalRegisterRead(board_, id, &value);
  return value;
}

void CGbeKorvid4GPort::WriteRegister(int id, uint64_t value) {
  VHalRegisterWrite(board_, id, value);
}

int CGbeKorvid4GPort::NotifyCallback(int, unsigned long what, unsigned long detail, unsigned long,
                                     void* port) {
  if (port && what == kPhyChanged && detail == kPhyDetail)
    static_cast<CGbeKorvid4GPort*>(port)->CheckStatusPhy();
  return 0;
}

void CGbeKorvid4GPort::Connect() {
  if (!linkState_) return;
  ConnectNetif(this);
  framesSent_ = 0;
  bytesSent_ = 0;
  Reset();
}

int CGbeKorvid4GPort::SetStreamChannel(unsigned int, unsigned int value) {
  std::this_thread::sleep_for(std::chrono::milliseconds(kStreamChannelDelayMs));
  return CGbePortBase::SetStreamChannel(value, value + kStreamPortOffset);
}

int CGbeKorvid4GPort::SendPacket(unsigned char* data, unsigned int size) {
  return PacketMode() ? SendPacketCfg(data, size) : SendPacketRaw(data, size);
}

int CGbeKorvid4GPort::CheckFrame(unsigned char* data, unsigned int size) {
  if (!data) return MLO_ERR_INVALID_POINTER;
  if (size <= kMaxFrame) return 0;
  logger_.Line(5, [&] {
    return "PHY Id '" + std::to_string(port_) +
           "': Packet is too large (packet size: " + std::to_string(size) + ", allowed size: 101)";
  });
  return MLO_ERR_INVALID_DATA;
}

int CGbeKorvid4GPort::AwaitTransmitter() {
  PollTimer timer(kReadyTimeoutMs);
  while (true) {
    const uint64_t ready = ReadRegister(controlReady_);
    if (ready == 255) {
      logger_.Line(5, [&] {
        return "PHY Id " + std::to_string(port_) +
               ": Unexpected value in VHalRegisterRead(...) (result = 255)";
      });
      return MLO_ERR_TIMEOUT;
    }
    if (ready != 0) return 0;
    if (timer.Expired()) {
      logger_.Line(5, [&] {
        return "PHY Id " + std::to_string(port_) +
               ": Timeout occured while waitning for sending ready !!!";
      });
      return MLO_ERR_TIMEOUT;
    }
  }
}

void CGbeKorvid4GPort::CountFrame(unsigned int size) {
  ++framesSent_;
  bytesSent_ += size + 4;
}

int CGbeKorvid4GPort::SendPacketRaw(unsigned char* data, unsigned int size) {
  std::lock_guard<std::mutex> lock(clsMutex);
  const int check = CheckFrame(data, size);
  if (check != 0) return check;
  if (preSendMs_ != 0) std::this_thread::sleep_for(std::chrono::milliseconds(preSendMs_));
  const int ready = AwaitTransmitter();
  if (ready != 0) {
    CountFrame(size);
    return ready;
  }
  std::vector<unsigned char> frame(std::max(kMinFrame, size), 0);
  std::memcpy(frame.data(), data, size);
  const auto length = static_cast<unsigned int>(frame.size());
  for (uint32_t word : kPreamble) WriteRegister(controlWriteData_, word);
  const unsigned int words = (length + 1) / 2;
  for (unsigned int i = 0; i + 1 < words; ++i)
    WriteRegister(controlWriteData_, frame[2 * i] | frame[2 * i + 1] << 8);
  uint32_t last = frame[2 * (words - 1)];
  last |= length % 2 ? kIdleHighControl : static_cast<uint32_t>(frame[2 * words - 1]) << 8;
  if (words % 2) {
    WriteRegister(controlWriteData_, last);
    WriteRegister(controlWriteData_, kIdleWord);
  } else {
    WriteRegister(controlWriteData_, last | kEndMark);
  }
  WritePcap(frame.data(), length, true);
  CountFrame(length);
  return 0;
}

int CGbeKorvid4GPort::SendPacketCfg(unsigned char* data, unsigned int size) {
  const int check = CheckFrame(data, size);
  if (check != 0) return check;
  std::vector<unsigned char> frame(std::max(kMinFrame, size), 0);
  std::memcpy(frame.data(), data, size);
  uint64_t position = 0;
  for (uint32_t word : kPreamble)
    WriteRegister(configWriteData_, position++ << kConfigPositionShift | word | kConfigValid);
  for (size_t i = 0; i < frame.size(); i += 2) {
    const uint32_t high = i + 1 < frame.size() ? frame[i + 1] : 0;
    WriteRegister(configWriteData_,
                  position++ << kConfigPositionShift | frame[i] | high << 8 | kConfigValid);
  }
  CountFrame(static_cast<unsigned int>(frame.size()));
  return 0;
}

bool CGbeKorvid4GPort::RecvPacket() {
  const uint64_t errors = ReadRegister(monitorStatus_) >> 16 & kCrcMask;
  if (errors != lastErrors_) {
    logger_.Line(4, [&] {
      return "PHY Id '" + std::to_string(port_) + "': Detected " +
             std::to_string((errors - lastErrors_) & kCrcMask) + " new CRC packet errors";
    });
    lastErrors_ = errors;
  }
  const int queue = static_cast<int>(port_) + kQueueBase;
  uint32_t header = 0;
  if (VHalDataQueueReadBufferLong(board_, queue, &header, 4, kQueueTimeoutMs) < 0)
    return ReceiveAlive();
  const unsigned int valid = ValidBytes(header >> 16 & 0xF);
  std::vector<uint32_t> words((header & 0xFFFF) + (valid ? 1 : 0), 0);
  for (uint32_t& word : words) {
    if (VHalDataQueueReadBufferLong(board_, queue, &word, 4, kQueueTimeoutMs) < 0)
      return ReceiveAlive();
  }
  const unsigned int size = (header & 0xFFFF) * 4 + valid;
  auto* bytes = reinterpret_cast<unsigned char*>(words.data());
  WritePcap(bytes, size, false);
  InputFrame(bytes, size);
  return ReceiveAlive();
}
