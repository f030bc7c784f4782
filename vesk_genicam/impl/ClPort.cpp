// The frame of CClPort: construction, the polling thread that cuts replies out of the bytes that
// come in, and the port's state.
#include "vesk_genicam/impl/ClPort.h"

#include <chrono>

#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/ClBufferRet.h"

using vesk::templates::platform::RecursiveMutexGuard;

// The port logs under the name of the Camera Link HS controller, as it always has.
vesk::tools::logging::ClassLogger CClPort::logger_{"vesk.genicam.ClhsController"};

CClPort::CClPort(unsigned int portId, PLdevice* device) : device_(device), portId_(portId) {
  SetConnSpeed(kRates[0]);
  int rx = -1;
  int tx = -1;
  // A channel that does not open is not reported: every command fails on its queues.
  if (VHalClSerInit(device_, portId_, kRates[0], &rx, &tx) != 0) rx = tx = -1;
  rxQueue_ = rx;
  txQueue_ = tx;
  pollingAlive_ = true;
  pollingThread_ = std::thread(&CClPort::PollingThread, this);
  DetectSpeed();
}

CClPort::~CClPort() {
  SetSpeed(kRates[0]);
  pollingAlive_ = false;
  pollingThread_.join();
}

std::string CClPort::Prefix() const { return "[CClPort " + std::to_string(portId_) + "] "; }

void CClPort::PollingThread() {
  std::vector<unsigned char> pending;
  while (ReadData(pending)) {
  }
}

bool CClPort::ReadData(std::vector<unsigned char>& pending) {
  std::vector<unsigned char> buffer(1);
  int count = VHalDataQueueReadBuffer(device_, rxQueue_, buffer.data(), 1, maxAckTimeMs_);
  while (count >= 1) {
    pending.insert(pending.end(), buffer.begin(), buffer.begin() + count);
    const int waiting = VHalDataQueueGetNrOfWords(device_, rxQueue_);
    if (waiting < 1) break;
    buffer.resize(static_cast<size_t>(waiting));
    count = VHalDataQueueReadBuffer(device_, rxQueue_, buffer.data(),
                                    static_cast<unsigned int>(waiting), maxAckTimeMs_);
  }
  // A channel that failed answers at once; waiting as a read would keeps the thread from spinning.
  if (count < 0) std::this_thread::sleep_for(std::chrono::milliseconds(maxAckTimeMs_));
  if (pending.empty()) return pollingAlive_;
  // Only the first preamble counts: bytes that are no reply stay until a frame is found behind
  // them, so a stray 01 00 ahead of the replies keeps them all back.
  CClBufferRet collected(pending.data(), static_cast<unsigned int>(pending.size()));
  unsigned int offset = 0;
  unsigned int length = 0;
  if (!collected.IsValidPacket(offset, length)) return pollingAlive_;
  {
    std::lock_guard<std::mutex> lock(replyMutex_);
    replies_.push_back(std::make_unique<CClBufferRet>(pending.data() + offset, length));
  }
  SignalAck();
  pending.erase(pending.begin(), pending.begin() + offset + length);
  return pollingAlive_;
}

void CClPort::SignalAck() {
  std::lock_guard<std::mutex> lock(ackMutex_);
  if (ackSignalled_) return;
  ackSignalled_ = true;
  ackSignal_.notify_one();
}

EPORT_TYPE CClPort::GetPortType() {
  RecursiveMutexGuard scope(&portScope_);
  return portType_;
}

uint32_t CClPort::GetPortId() {
  RecursiveMutexGuard scope(&portScope_);
  return portId_;
}

uint32_t CClPort::GetPortPL() {
  RecursiveMutexGuard scope(&portScope_);
  return portPL_;
}

uint32_t CClPort::GetLogicPort() {
  RecursiveMutexGuard scope(&portScope_);
  return logicPort_;
}

uint32_t CClPort::GetLogicPLPort() {
  RecursiveMutexGuard scope(&portScope_);
  return logicPLPort_;
}

uint32_t CClPort::GetSpeed() {
  RecursiveMutexGuard scope(&portScope_);
  return speed_;
}

bool CClPort::IsConnected() {
  RecursiveMutexGuard scope(&portScope_);
  return speed_ != kNoLinkSpeed;
}

bool CClPort::IsBootstrapAddress(uint64_t) {
  RecursiveMutexGuard scope(&portScope_);
  return false;
}

void CClPort::SetPortType(EPORT_TYPE type, uint32_t logicalPort) {
  portType_ = type;
  logicPort_ = logicalPort;
}

void CClPort::SetLEDState(unsigned int state) {
  logger_.Line(2, [&] { return Prefix() + "SetLEDState: " + std::to_string(state); });
}

bool CClPort::IsClockPresent() { return VHalGetCameraStatusExtended(device_, portId_) & 1; }

void CClPort::Reset(bool clearSpeeds) {
  speed_ = kNoLinkSpeed;
  portType_ = PortTypeUnconnected;
  logicPort_ = 0xFFFFFFFF;
  logicPLPort_ = 0xFFFFFFFF;
  if (!clearSpeeds) return;
  for (std::atomic<bool>& supported : supported_) supported = false;
}
