#include "vesk_genicam/impl/GbeKa4Port.h"

#include <cstring>
#include <string>

#include "templates/patterns/GenericLockGuard.h"
#include "vesk_genicam/impl/PollTimer.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::patterns::GenericLockGuard;

vesk::tools::logging::ClassLogger CGbeKa4Port::logger_{"vesk.genicam.GbeKa4Port"};

namespace {

constexpr unsigned int kMaxFrame = 1518;
constexpr unsigned int kMinFrame = 60;
constexpr unsigned int kStreamPortBase = 20000;
constexpr unsigned int kQueueTimeoutMs = 100;
constexpr unsigned int kTransmitterTimeoutMs = 1000;
constexpr uint32_t kLastWord = 1u << 16;

}  // namespace

CGbeKa4Port::CGbeKa4Port(unsigned int port, PLdevice* device, fpga_design* design)
    : CGbePortBase(port, device, design), phy_(design, device) {
  phy_.Reset(port_);
  linkState_ = phy_.IsConnected(port_);
  InitReg();
  StartReceiving();
}

CGbeKa4Port::~CGbeKa4Port() { StopThreads(); }

int CGbeKa4Port::Lookup(const char* name) const {
  return DsnGetRegisterByName(design_, (name + std::to_string(port_)).c_str());
}

void CGbeKa4Port::InitReg() {
  portLock_.enter();
  GenericLockGuard guard(&portLock_);
  Registers& r = registers_;
  r.bufferReset = Lookup("GigeBufferReset");
  r.writeData = Lookup("GigeWriteData");
  r.writeComplete = Lookup("GigeWriteComplete");
  r.imagePort = Lookup("ImagePort");
  r.syncLen = Lookup("CLSyncLen");
  r.closeImageTimeout = Lookup("CloseImageTimeout");
  r.disableCrc = Lookup("GigeTxDisableCrcGeneration");
  r.transferActive = Lookup("GigeTxTransferActive");
  r.recvPktCnt = Lookup("GigeRecvPktCnt");
  r.recvErrCnt = Lookup("GigeRecvErrCnt");
  r.ctrlPktReceived = Lookup("CtrlPktReceivedCnt");
  r.ctrlPktSendUiq = Lookup("CtrlPktSendUiqCnt");
  r.gvspOverflow = Lookup("GvspFiFoOverflow_GigeTransceiver");
  r.gvcpNotEmpty = Lookup("GvcpFiFoNotEmpty_GigeTransceiver");
  r.actionCmdConfig = Lookup("ActionCmdConfigData");
  r.actionCmdEnable = Lookup("ActionCmdEnable");
}

uint64_t CGbeKa4Port::ReadRegister(int id) {
  uint64_t value = 0;
  VHalRegisterRead(board_, id, &value);
  return value;
}

void CGbeKa4Port::WriteRegister(int id, uint64_t value) { VHalRegisterWrite(board_, id, value); }

void CGbeKa4Port::Connect() {
  if (!linkState_) return;
  ConnectNetif(this);
  framesSent_ = 0;
  bytesSent_ = 0;
  WriteRegister(registers_.disableCrc, 0);
  // Statistics only.
  statistics_.clear();
  for (int id : {registers_.recvPktCnt, registers_.ctrlPktReceived, registers_.ctrlPktSendUiq,
                 registers_.gvspOverflow, registers_.gvcpNotEmpty}) {
    if (id != 0) statistics_.push_back(ReadRegister(id));
  }
  Reset();
}

int CGbeKa4Port::SetStreamChannel(unsigned int, unsigned int value) {
  const int result = CGbePortBase::SetStreamChannel(value, value + kStreamPortBase);
  if (result == 0) WriteRegister(registers_.imagePort, value + kStreamPortBase);
  return result;
}

void CGbeKa4Port::SetUDPDest(unsigned short port) {
  CGbePortBase::SetUDPDest(port);
  WriteRegister(registers_.imagePort, port);
}

void CGbeKa4Port::SetPayloadWidth(unsigned int width) { WriteRegister(registers_.syncLen, width); }

void CGbeKa4Port::SetTimeOut(unsigned int timeoutMs) {
  WriteRegister(registers_.closeImageTimeout, timeoutMs);
}

// The transmitter takes one frame at a time, across processes too.
void CGbeKa4Port::AwaitTransmitter() {
  if (registers_.transferActive == 0) return;
  PollTimer timer(kTransmitterTimeoutMs);
  for (uint64_t value = ReadRegister(registers_.transferActive); value != 0;
       value = ReadRegister(registers_.transferActive)) {
    if (value >= 255) {
      logger_.Line(4, [&] {
        return "PHY Id '" + std::to_string(port_) +
               "': Unexpected value in VHalRegisterRead(...) (result = " + std::to_string(value) +
               ")";
      });
    }
    if (timer.Expired()) return;
  }
}

int CGbeKa4Port::SendPacket(unsigned char* data, unsigned int size) {
  if (!data) return MLO_ERR_INVALID_POINTER;
  if (size > kMaxFrame) {
    logger_.Line(5, [&] {
      return "PHY Id '" + std::to_string(port_) +
             "': Packet is too large (packet size: " + std::to_string(size) +
             ", allowed size: 1518)";
    });
    return MLO_ERR_INVALID_DATA;
  }
  AwaitTransmitter();
  std::vector<unsigned char> frame(std::max(kMinFrame, (size + 1) & ~1u), 0);
  std::memcpy(frame.data(), data, size);
  WriteRegister(registers_.bufferReset, 0);
  for (size_t i = 0; i < frame.size(); i += 2)
    WriteRegister(registers_.writeData, frame[i] | frame[i + 1] << 8);
  WritePcap(frame.data(), static_cast<unsigned int>(frame.size()), true);
  WriteRegister(registers_.writeComplete, 0);
  ++framesSent_;
  bytesSent_ += frame.size() + 4;
  return 0;
}

bool CGbeKa4Port::RecvPacket() {
  if (registers_.recvErrCnt != 0) {
    const uint64_t errors = ReadRegister(registers_.recvErrCnt);
    if (errors != lastErrors_) {
      logger_.Line(4, [&] {
        return "PHY Id '" + std::to_string(port_) + "': Detected " +
               std::to_string(errors - lastErrors_) + " new CRC packet errors";
      });
      lastErrors_ = errors;
    }
  }
  uint32_t count = 0;
  if (VHalDataQueueReadBufferLong(board_, static_cast<int>(port_), &count, 4, kQueueTimeoutMs) <
          0 ||
      count == 0)
    return ReceiveAlive();
  std::vector<uint32_t> words(count, 0);
  if (VHalDataQueueReadBufferLong(board_, static_cast<int>(port_), words.data(), count * 4,
                                  kQueueTimeoutMs) < 0)
    return ReceiveAlive();
  for (uint32_t word : words) {
    assembly_.push_back(static_cast<unsigned char>(word));
    assembly_.push_back(static_cast<unsigned char>(word >> 8));
    if (word & kLastWord) TakeFrame();
  }
  return ReceiveAlive();
}

void CGbeKa4Port::TakeFrame() {
  const auto size = static_cast<unsigned int>(assembly_.size());
  WritePcap(assembly_.data(), size, false);
  InputFrame(assembly_.data(), size);
  assembly_.clear();
}
