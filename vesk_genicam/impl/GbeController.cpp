#include "vesk_genicam/impl/GbeController.h"

#include <chrono>
#include <cstring>
#include <thread>

#include "templates/platform/RecursiveMutexGuard.h"
#include "templates/platform/RtTweakProperties.h"
#include "vesk_genicam/impl/GbeKa4Port.h"
#include "vesk_genicam/impl/GbeKorvid4GPort.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::platform::RecursiveMutexGuard;
using vesk::templates::platform::RtTweakProperties;

vesk::tools::logging::ClassLogger CGbeController::logger_{"vesk.genicam.GbeController"};

namespace {

constexpr unsigned int kReadyCycleMs = 100;
constexpr unsigned int kResetMask = 15;
constexpr unsigned short kGvcpPort = 3956;
constexpr unsigned short kServicePort = 10000;
constexpr unsigned int kPayloadWidth = 1024;
constexpr unsigned int kPortTimeoutMs = 1000;
constexpr unsigned int kExpectedSize = 1;

const char* const kGetNames[] = {
    "GbeNrLinks", "GbeMaskLinks", "GbeAggregLinks", "GbeAlgorithm", "GbeMacSource", "GbeIpSource",
    "GbeIpDest",  "GbeIpStatic",  "GbeMacDest",     "GbeDHCP",      "GbeTimeOut",   "GbeDevMode",
    "GbeConfOpt", "GbeConfCur",   "GbeGvcpVer",     "GbeActionCmd", "GbeNrNetIntf", "GbeStreamCh",
    "GbeNrMsgCh", "GbeActionSgn", "GbeGvcpConf"};
const char* const kSetNames[] = {"GbeStreamChannel", "GbeCLExtendID", "GbeCLSyncLen", "GbeDHCP",
                                 "GbeRestartIp",     "GbeAutoIp",     "GbeCCP"};

// Names of the other layers pass through untouched, whatever their arguments.
template <size_t N>
bool Known(const char* const (&names)[N], const char* name) {
  if (!name) return false;
  for (const char* known : names) {
    if (std::strcmp(known, name) == 0) return true;
  }
  return false;
}

void SleepMs(unsigned int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

unsigned short TweakPort(const char* key, unsigned short fallback) {
  const auto port = RtTweakProperties::property<unsigned short>(key, 0, nullptr);
  return port != 0 ? port : fallback;
}

template <class T>
void Put(void* value, T field) {
  std::memcpy(value, &field, sizeof field);
}

}  // namespace

CGbeController::CGbeController(PLdevice* device, fpga_design* design)
    : device_(device),
      design_(design),
      boardIndex_(VHalGetBoardIndex(device, 0)),
      boardType_(VHalGetBoardInfoInt(device, "board/type")) {
  const int ports = VHalGetBoardInfoInt(device, "ports/gige");
  nrPorts_ = ports > 0 ? static_cast<unsigned int>(ports) : 0;
  resetRegister_ = DsnGetRegisterByName(design, "GigeReset");
  DoReset(kResetMask);
  const unsigned short destination = TweakPort("GIGE::StreamChannelUdpDestinationPort", kGvcpPort);
  const unsigned short source = TweakPort("GIGE::ServiceUdpSourcePort", kServicePort);
  unsigned int connected = 0;
  for (unsigned int i = 0; i < nrPorts_; ++i) {
    std::unique_ptr<IGbePort> port = MakePort(i);
    if (port) {
      port->SetUDPDest(destination);
      port->SetUDPSource(source);
      port->SetPayloadWidth(kPayloadWidth);
      port->SetTimeOut(kPortTimeoutMs);
      port->Connect();
      if (port->IsConnected()) port->SetPortPL(connected++);
    }
    ports_.push_back(std::move(port));
  }
  readyAlive_ = true;
  readyThread_ = std::thread(&CGbeController::ReadyThreadLoop, this);
}

// A port waiting for a camera in the thread's pass is told to stop first.
CGbeController::~CGbeController() {
  for (auto& port : ports_) {
    if (port) port->Shutdown();
  }
  {
    std::lock_guard<std::mutex> lock(readyMutex_);
    readyAlive_ = false;
    readyWake_.notify_all();
  }
  if (readyThread_.joinable()) readyThread_.join();
  ports_.clear();
}

std::unique_ptr<IGbePort> CGbeController::MakePort(unsigned int port) {
  if (boardType_ == 2898 || boardType_ == 2913)
    return std::make_unique<CGbeKorvid4GPort>(port, device_, design_);
  if (boardType_ == 3650 || boardType_ == 3652)
    return std::make_unique<CGbeKa4Port>(port, device_, design_);
  return nullptr;
}

bool CGbeController::IsZeltor(int boardType) {
  return boardType == 2897 || boardType == 2898 || boardType == 2899 || boardType == 2913;
}

// Designs without the register keep their ports as they are.
void CGbeController::DoReset(unsigned int mask) {
  if (resetRegister_ == 0) return;
  VHalRegisterWrite(device_, resetRegister_, ~mask);
  SleepMs(100);
  VHalRegisterWrite(device_, resetRegister_, mask);
  SleepMs(100);
}

void CGbeController::SetCallBackFnct(Callback callback, void* user) {
  RecursiveMutexGuard scope(&controllerScope_);
  for (auto& port : ports_) {
    if (port) port->SetCallBackFnct(callback, user);
  }
}

int CGbeController::Discovery(unsigned int, unsigned int, unsigned int, unsigned int, CDriver*) {
  RecursiveMutexGuard scope(&controllerScope_);
  return 0;
}

uint32_t CGbeController::GetNrOfPorts() {
  RecursiveMutexGuard scope(&controllerScope_);
  return static_cast<uint32_t>(ports_.size());
}

IPortInterface* CGbeController::GetPort(unsigned int index) {
  RecursiveMutexGuard scope(&controllerScope_);
  return index < ports_.size() ? ports_[index].get() : nullptr;
}

int CGbeController::ForceTransceiverBitrate(unsigned int, unsigned int) {
  return MLO_ERR_INVALID_ARGUMENT;
}

int CGbeController::ForceResetControlCore(unsigned int, unsigned int) {
  return MLO_ERR_NOT_IMPLEMENTED;
}

int CGbeController::GetProperty(char* name, void* value, unsigned int type, void* index) {
  RecursiveMutexGuard scope(&controllerScope_);
  if (!Known(kGetNames, name)) return MLO_ERR_NOT_IMPLEMENTED;
  const int check = PropertyChekParam(value, type, index, kExpectedSize);
  if (check != 0) return check;
  const unsigned int i = *static_cast<unsigned int*>(index);
  if (i >= ports_.size() || !ports_[i]) return MLO_ERR_NOT_IMPLEMENTED;
  return GetPortProperty(name, *ports_[i], value);
}

int CGbeController::GetPortProperty(const std::string& name, IGbePort& port, void* value) {
  unsigned int three[3] = {};
  if (name == "GbeNrLinks") return Put(value, port.GetNrLinks()), 0;
  if (name == "GbeMaskLinks") return Put(value, port.GetMaskLinks()), 0;
  if (name == "GbeAggregLinks") return Put(value, port.GetAggregationLink()), 0;
  if (name == "GbeAlgorithm") return Put(value, port.GetAlgorithm()), 0;
  if (name == "GbeMacSource") {
    uint64_t mac = 0;
    std::memcpy(&mac, port.GetMacSource(), 6);
    return Put(value, mac), 0;
  }
  if (name == "GbeIpSource" || name == "GbeIpDest" || name == "GbeIpStatic") {
    if (name == "GbeIpSource") port.GetIpSource(three[0], three[1], three[2]);
    if (name == "GbeIpDest") port.GetIpDest(three[0], three[1], three[2]);
    if (name == "GbeIpStatic") port.GetIpStaticSource(three[0], three[1], three[2]);
    std::memcpy(value, three, sizeof three);
    return 0;
  }
  // The camera's MAC and the two bytes behind it.
  if (name == "GbeMacDest") return std::memcpy(value, port.GetMacDest(), 8), 0;
  if (name == "GbeDHCP") return Put(value, static_cast<unsigned int>(port.GetDHCP())), 0;
  if (name == "GbeTimeOut") return Put(value, kPortTimeoutMs), 0;
  if (name == "GbeDevMode") return Put(value, port.GetDevMode()), 0;
  if (name == "GbeConfOpt") return Put(value, port.GetIpConfOpt()), 0;
  if (name == "GbeConfCur") return Put(value, port.GetIpConfCur()), 0;
  if (name == "GbeGvcpVer") return Put(value, port.GetGvcpVersion()), 0;
  if (name == "GbeActionCmd") return Put(value, port.GetActionCmdValid()), 0;
  if (name == "GbeNrNetIntf") return Put(value, port.GetNrNetIntf()), 0;
  if (name == "GbeStreamCh") return Put(value, port.GetNrStreamCh()), 0;
  if (name == "GbeNrMsgCh") return Put(value, port.GetNrMsgCh()), 0;
  if (name == "GbeActionSgn") return Put(value, port.GetActionSgn()), 0;
  if (name == "GbeGvcpConf") return Put(value, port.GetGvcpConf()), 0;
  return MLO_ERR_NOT_IMPLEMENTED;
}

int CGbeController::SetProperty(char* name, void* value, unsigned int type, void* index) {
  RecursiveMutexGuard scope(&controllerScope_);
  if (!Known(kSetNames, name)) return MLO_ERR_NOT_IMPLEMENTED;
  const int check = PropertyChekParam(value, type, index, kExpectedSize);
  if (check != 0) return check;
  const unsigned int i = *static_cast<unsigned int*>(index);
  if (i >= ports_.size() || !ports_[i]) return MLO_ERR_NOT_IMPLEMENTED;
  return SetPortProperty(name, *ports_[i], *static_cast<unsigned int*>(value));
}

int CGbeController::SetPortProperty(const std::string& name, IGbePort& port, unsigned int value) {
  if (name == "GbeStreamChannel") return port.SetStreamChannel(0, value);
  if (name == "GbeCLExtendID") return port.SetExtendId(value);
  if (name == "GbeCLSyncLen") return port.SetPayloadWidth(value), 0;
  if (name == "GbeDHCP") return port.SetDHCP(value != 0), 0;
  if (name == "GbeRestartIp") return port.Reset(), 0;
  if (name == "GbeAutoIp") return port.SetAutoIp(value != 0), 0;
  if (name == "GbeCCP") return value != 0 ? port.ConnectChannel() : port.DisconnectChannel();
  return MLO_ERR_NOT_IMPLEMENTED;
}

void CGbeController::ReadyThreadLoop() {
  do {
    CheckStatusPhy();
  } while (SleepUntilSignal());
}

bool CGbeController::SleepUntilSignal() {
  std::unique_lock<std::mutex> lock(readyMutex_);
  if (readyAlive_) readyWake_.wait_for(lock, std::chrono::milliseconds(kReadyCycleMs));
  return readyAlive_;
}

void CGbeController::CheckStatusPhy() {
  for (auto& port : ports_) {
    if (port) port->CheckStatusPhy();
  }
}
