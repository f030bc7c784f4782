// The frame of CxpController: construction from the design, teardown, power over CoaXPress, the
// properties the board object reads, and the firmware's port multiplexer (the selector).
#include "vesk_genicam/impl/CxpController.h"

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "templates/patterns/GenericLockGuard.h"
#include "templates/platform/RecursiveMutexGuard.h"
#include "templates/platform/RtTweakProperties.h"
#include "vesk_genicam/impl/BoardLocks.h"
#include "vesk_genicam/impl/BoardTypes.h"
#include "vesk_genicam/impl/CxpDiscoveryState.h"
#include "vesk_genicam/impl/Driver.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::patterns::GenericLockGuard;
using vesk::templates::platform::RecursiveMutexGuard;
using vesk::templates::platform::RtTweakProperties;

vesk::tools::logging::ClassLogger CxpController::logger_{"vesk.genicam.CxpController"};

namespace {

constexpr uint64_t kIdentitySelector = 0x7654321076543210;
constexpr uint64_t kNoSelector = 0xFFFFFFFFFFFFFFFF;
constexpr uint64_t kTwoPortSelectors[] = {kIdentitySelector, 0x7654320176543201};
constexpr uint64_t kFourPortSelectors[] = {
    0x7654321076543210, 0x7654231076542310, 0x7654312076543120, 0x7654213076541320,
    0x7654132076542130, 0x7654123076541230, 0x7654320176543201, 0x7654230176542301,
    0x7654310276543021, 0x7654210376540321, 0x7654130276542031, 0x7654120376540231,
    0x7654302176543102, 0x7654203176541302, 0x7654301276543012, 0x7654201376540312,
    0x7654103276541032, 0x7654102376540132, 0x7654032176542103, 0x7654023176541203,
    0x7654031276542013, 0x7654021376540213, 0x7654013276541023, 0x7654012376540123};
// Boards whose selector registers the library may switch besides the CoaXPress groups.
constexpr int kSelectorBoardTypes[] = {2896, 2897, 2898, 2899, 2911, 46336, 46337};

constexpr unsigned int kPowerOn = 2;
constexpr unsigned int kPowerOff = 1;
constexpr unsigned int kInvalidPowerStatus = 10;
constexpr unsigned int kFirstTripStatus = 5;
constexpr unsigned int kTypeUnsigned = 1;
constexpr unsigned int kTypeDouble = 2;

template <class T>
T Tweak(const char* key) {
  return RtTweakProperties::property<T>(key, 0, nullptr);
}

// Boards whose power and transceiver readings share one status register per port.
bool SharesStatusRegister(int board) {
  return (board >= 2656 && board <= 2663) || (board >= 2915 && board <= 2918);
}

// The power state for a single set bit, 10 for anything else.
unsigned int BitState(uint64_t value, const unsigned int* states, unsigned int count) {
  for (unsigned int bit = 0; bit < count; ++bit)
    if (value == 1ull << bit) return states[bit];
  return kInvalidPowerStatus;
}

double Signed16(uint64_t value) { return static_cast<int16_t>(value & 0xFFFF); }

}  // namespace

CxpController::CxpController(PLdevice* device, fpga_design* design)
    : device_(device),
      design_(design),
      boardIndex_(VHalGetBoardIndex(device, 0)),
      boardType_(static_cast<uint32_t>(VHalGetBoardInfoInt(device, "board/type"))),
      boardLock_(BoardLockName(boardIndex_, "-CxpController_lock").c_str(), false) {
  ReadTweaks();
  DetectNrPorts();
  discoveryState_ = std::make_unique<CxpDiscoveryState>(this);
  registers_.writeSelect = DsnGetRegisterByName(design_, "wDiscoverySelect");
  registers_.readSelect = DsnGetRegisterByName(design_, "rDiscoverySelect");
  registers_.discoveryConfig = DsnGetRegisterByName(design_, "CxpDiscoveryConfig");
  registers_.readPower = DsnGetRegisterByName(design_, "rCxpPowerEnablePower");
  registers_.writePower = DsnGetRegisterByName(design_, "wCxpPowerEnablePower");
  ReadOperators();
  for (unsigned int port = 0; port < nrPorts_; ++port)
    ports_.push_back(std::make_unique<CCxpPort>(port, gtxInterface_, device_, design_));
  MapPhysicalToLogical();
  if (disablePowerOverCxp_) DisablePowerOverFramegrabber(255);
}

CxpController::~CxpController() {
  RequestCancellation();
  StopThreads();
  ports_.clear();
  discoveryState_.reset();
}

void CxpController::ReadTweaks() {
  struct Row {
    const char* key;
    const char* variable;
    unsigned int* value;
  };
  const Row rows[] = {
      {"CXP::WaitAfterLinkResetOnEachPort", "VESK_CXP_WAIT_AFTER_LINK_RESET_ON_EACH_PORT",
       &waitAfterLinkResetOnEachPort_},
      {"CXP::WaitAfterLinkResetDone", "VESK_CXP_WAIT_AFTER_LINK_RESET_DONE",
       &waitAfterLinkResetDone_},
      {"CXP::WaitAfterCameraConfigDone", "VESK_CXP_WAIT_AFTER_CAMERA_CONFIG_CHANGED",
       &waitAfterCameraConfigDone_},
      {"CXP::WaitAfterUplinkSpeedReset", "VESK_CXP_WAIT_AFTER_UPLINK_SPEED_RESET",
       &waitAfterUplinkSpeedReset_},
      {"CXP::NumResetAttemptsOnPortTrip", "VESK_CXP_NUM_RESET_ATTEMPTS_ON_PORT_TRIP",
       &numResetAttemptsOnPortTrip_},
      {"CXP::WaitAfterTripReset", "VESK_CXP_WAIT_AFTER_TRIP_RESET", &waitAfterTripReset_},
      {"CXP::WaitAfterPowerup", "VESK_CXP_WAIT_AFTER_POWERUP", &waitAfterPowerup_},
      {"CXP::WaitAfterPowerdown", "VESK_CXP_WAIT_AFTER_POWERDOWN", &waitAfterPowerdown_},
      {"CXP::DisconnectsThreadSleepTimeMs", "VESK_CXP_DISCONNECTS_THREAD_SLEEP_TIME_MS",
       &disconnectsThreadSleepMs_},
      {"CXP::DiscoveryThreadSleepTimeMs", "VESK_CXP_DISCOVERY_THREAD_SLEEP_TIME_MS",
       &discoveryThreadSleepMs_},
  };
  for (const Row& row : rows) {
    *row.value = Tweak<unsigned int>(row.key);
    logger_.Line(3, [&] {
      return std::string("Using ") + row.variable + " = " + std::to_string(*row.value);
    });
  }
  const std::pair<const char*, bool*> switches[] = {
      {"CXP::UseConnectionConfigDefault", &useConnectionConfigDefault_},
      {"CXP::ReceiveAckPacketOnLinkConfig", &receiveAckPacketOnLinkConfig_},
      {"CXP::DisablePowerOverCxp", &disablePowerOverCxp_}};
  const char* variables[] = {"VESK_CXP_USE_CONNECTION_CONFIG_DEFAULT",
                             "VESK_CXP_RECEIVE_ACK_PACKET_AFTER_CAMERA_CONFIG_CHANGED",
                             "VESK_CXP_DISABLE_POWER_OVER_CXP"};
  for (size_t i = 0; i < 3; ++i) {
    *switches[i].second = Tweak<bool>(switches[i].first);
    logger_.Line(3, [&] {
      return std::string("Using ") + variables[i] + " = " + (*switches[i].second ? "On" : "Off");
    });
  }
}

void CxpController::DetectNrPorts() {
  auto has = [this](const std::string& name) {
    return DsnGetRegisterByName(design_, name.c_str()) > 0;
  };
  auto hasAt = [&](const char* name, unsigned int port) {
    return has(name + std::to_string(port));
  };
  const int board = static_cast<int>(boardType_);
  bool drp = true;
  for (unsigned int n = 0; n < 4; ++n)
    drp = drp && hasAt("CxpTransceiverGtxDrpAddress_", n) &&
          hasAt("CxpTransceiverGtxDrpWriteData_", n);
  if (drp && IsBoardTypeIn(kCxpGen1BoardTypes, board)) {
    gtxInterface_ = CxpIfDrpA;
    nrPorts_ = 4;
  } else if (drp && IsBoardTypeIn(kCxpGen2BoardTypes, board)) {
    gtxInterface_ = CxpIfDrpB;
    nrPorts_ = 4;
  } else if (has("CxpTransceiverGtxSetBitRateDone") && hasAt("CxpTransceiverGtxSetBitRate_", 0)) {
    gtxInterface_ = has("CxpTransceiverRxStatus") ? CxpIfRateIndexRxStatus : CxpIfRateIndex;
    nrPorts_ = hasAt("CxpTransceiverGtxSetBitRate_", 2) && hasAt("CxpTransceiverGtxSetBitRate_", 3)
                   ? 4
               : hasAt("CxpTransceiverGtxSetBitRate_", 1) ? 2
                                                          : 1;
  } else if (IsBoardTypeIn(kCxpPlBoardTypes, board) && hasAt("CxpTransceiverStatus_", 0)) {
    auto pair = [&](unsigned int n, bool downLink) {
      return hasAt("CxpTransceiverStatus_", n) &&
             (!downLink || hasAt("CxpTransceiverDownLinkBitRate_", n));
    };
    const bool transceiverRegs = hasAt("CxpTransceiverDownLinkBitRate_", 0);
    // The camera controller is asked through the design's handle, which the board library
    // takes in place of the board's.
    PLdevice* controller = reinterpret_cast<PLdevice*>(design_);
    if (transceiverRegs || VHalCameraCtrlIsAvailable(controller) == 0) {
      if (!transceiverRegs) VHalCameraCtrlReset(controller);
      gtxInterface_ = transceiverRegs ? CxpIfTransceiverRegs : CxpIfCameraCtrl;
      nrPorts_ = pair(2, transceiverRegs) && pair(3, transceiverRegs) ? 4
                 : pair(1, transceiverRegs)                           ? 2
                                                                      : 1;
    }
  }
  logger_.Line(3, [&] {
    return "DetectNrPorts - NrPorts " + std::to_string(nrPorts_) + "GtxIf" +
           std::to_string(gtxInterface_) + " Board Type:" + std::to_string(boardType_);
  });
}

void CxpController::ReadOperators() {
  bool foundMasters = false;
  bool foundExtensions = false;
  uint64_t masters = ReadFirmwareRegister("DiscoveryAppletMasterID", &foundMasters);
  uint64_t extensions = ReadFirmwareRegister("DiscoveryAppletExtensionID", &foundExtensions);
  if (!foundMasters || !foundExtensions) {
    masters = 1;
    extensions = 0;
  }
  // A design's operators can be stood in for, to try a layout without its firmware.
  const std::string simulatedMasters = Tweak<std::string>("CXP::SimulateAppletMasters");
  const std::string simulatedExtensions = Tweak<std::string>("CXP::SimulateAppletExtensions");
  if (!simulatedMasters.empty() && !simulatedExtensions.empty()) {
    masters = std::strtoull(simulatedMasters.c_str(), nullptr, 0);
    extensions = std::strtoull(simulatedExtensions.c_str(), nullptr, 0);
    logger_.Line(3, [&] {
      return "Using VESK_CXP_SIMULATE_APPLET_MASTERS = " + CUtility::HexText(masters) +
             ", VESK_CXP_SIMULATE_APPLET_EXTENSIONS = " + CUtility::HexText(extensions);
    });
  }
  for (unsigned int port = 0; port < nrPorts_; ++port) {
    const uint32_t value = static_cast<uint32_t>((masters >> (4 * port) & 0xF) << 16 |
                                                 (extensions >> (4 * port) & 0xF));
    if (value != 0) plOperators_.emplace_back(value, port);
  }
}

int CxpController::Init() { return 0; }

IPortInterface* CxpController::GetPort(unsigned int index) { return GetCxpPort(index); }

CCxpPort* CxpController::GetCxpPort(unsigned int index) const {
  return index < ports_.size() ? ports_[index].get() : nullptr;
}

bool CxpController::OnPlBoard() const {
  return IsBoardTypeIn(kCxpPlBoardTypes, static_cast<int>(boardType_));
}

void CxpController::Wait(unsigned int ms) {
  if (ms != 0) waitObject_.RevocableWaitFor(ms);
}

std::string CxpController::BoardText() const {
  std::ostringstream text;
  text << ",handle=(P8PLdevice)" << static_cast<const void*>(device_)
       << ",board-index=" << boardIndex_
       << ",board-serial=" << VHalGetBoardInfoInt(device_, "board/serial")
       << ",board-type=" << boardType_;
  return text.str();
}

void CxpController::RequestCancellation() {
  waitObject_.Revoke();
  discoveryDone_.notify_all();
  for (auto& port : ports_) port->RequestCancellation();
}

void CxpController::ResetRevocableWait() {
  waitObject_.Reset();
  for (auto& port : ports_) port->ResetRevocableWait();
}

void CxpController::SetCallBackFnct(Callback callback, void* user) {
  {
    std::lock_guard<std::mutex> lock(callbackMutex_);
    eventCallback_ = callback;
    eventUser_ = user;
  }
  discoveryState_->enableMloEvents(callback != nullptr);
}

void CxpController::PublishEvent(MloEventInfo* info) {
  std::lock_guard<std::mutex> lock(callbackMutex_);
  if (eventCallback_ && eventUser_) static_cast<CDriver*>(eventUser_)->notifyEvent(info);
}

uint64_t CxpController::ReadFirmwareRegister(const std::string& name, bool* found) {
  const int id = DsnGetRegisterByName(design_, name.c_str());
  if (found) *found = id > 0;
  uint64_t value = 0;
  if (id > 0) VHalRegisterRead(device_, id, &value);
  return value;
}

// ---- Power over CoaXPress ----

int CxpController::EnablePowerOverFramegrabber(unsigned int portMask) {
  return PowerPorts(portMask, true);
}

// Logs and waits as switching on does.
int CxpController::DisablePowerOverFramegrabber(unsigned int portMask) {
  return PowerPorts(portMask, false);
}

int CxpController::PowerPorts(unsigned int portMask, bool on) {
  RecursiveMutexGuard scope(&controllerScope_);
  logger_.Line(3, [&] {
    return "Enabling power over CXP" + BoardText() + ",port-mask=" + CUtility::HexText(portMask);
  });
  int status = 0;
  if (gtxInterface_ == CxpIfCameraCtrl) {
    for (unsigned int port = 0; port < nrPorts_; ++port) {
      if (!(portMask >> port & 1)) continue;
      const int result = VHalCameraCtrlSetPortPowerState(device_, port, on ? kPowerOn : kPowerOff);
      if (result < 0 && status == 0) status = result;
    }
  } else {
    uint64_t power = 0;
    VHalRegisterRead(device_, registers_.readPower, &power);
    power = on ? power | portMask : power & ~uint64_t{portMask};
    status = VHalRegisterWrite(device_, registers_.writePower, power & ((1u << nrPorts_) - 1));
  }
  logger_.Line(3, [&] {
    return "Power state changed; waiting " + std::to_string(waitAfterPowerup_) +
           " ms for camera(s) to power up";
  });
  Wait(waitAfterPowerup_);
  return status;
}

void CxpController::PerformPortTripReset() {
  CheckIsDiscoveryThreadAlive();
  for (unsigned int attempts = numResetAttemptsOnPortTrip_;;) {
    unsigned int tripped = 0;
    for (unsigned int port = 0; port < nrPorts_; ++port) {
      if (!(discoveryMask_ >> port & 1)) continue;
      unsigned int status = kInvalidPowerStatus;
      const int result =
          GetProperty(const_cast<char*>("CxpPowerStatus"), &status, kTypeUnsigned, &port);
      if (result != 0) {
        logger_.Line(5, [&] {
          return "[CXP::Ctrl::TripReset] Failed to get power state for port " +
                 std::to_string(port);
        });
        throw std::runtime_error(CUtility::GetError(result));
      }
      if (status >= kFirstTripStatus && status <= kInvalidPowerStatus) tripped |= 1u << port;
    }
    if (tripped == 0) return;
    logger_.Line(4, [&] {
      return "[CXP::Ctrl::TripReset] Some ports are in a tripped state; port mask " +
             CUtility::HexText(tripped) + "; resetting ports";
    });
    DisablePowerOverFramegrabber(tripped);
    Wait(1);
    EnablePowerOverFramegrabber(tripped);
    if (waitAfterTripReset_ != 0) {
      logger_.Line(3, [&] {
        return "[CXP::Ctrl::TripReset] Waiting " + std::to_string(waitAfterTripReset_) +
               " milliseconds";
      });
      Wait(waitAfterTripReset_);
    }
    // The first reset comes before the count, so that even 0 attempts reset once.
    if (attempts == 0 || --attempts == 0) {
      logger_.Line(4, [&] {
        return "[CXP::Ctrl::TripReset] Some ports are in a tripped state; port mask " +
               CUtility::HexText(tripped);
      });
      return;
    }
  }
}

// ---- Properties ----

int CxpController::GetPropertyByType(void* value, unsigned int type, void* index,
                                     const std::string& prefix, unsigned int expectedType,
                                     uint64_t& out) {
  const int check = PropertyChekParam(value, type, index, expectedType);
  if (check != 0) return check;
  bool found = false;
  out = ReadFirmwareRegister(prefix + std::to_string(*static_cast<unsigned int*>(index)), &found);
  return found ? 0 : MLO_ERR_INVALID_COMMAND;
}

int CxpController::GetProperty(char* name, void* value, unsigned int type, void* index) {
  RecursiveMutexGuard scope(&controllerScope_);
  const std::string property = name ? name : "";
  const int board = static_cast<int>(boardType_);
  uint64_t raw = 0;
  if (property == "CxpPowerSense" || property == "CxpPowerVin" || property == "CxpPowerAdIn")
    return GetPowerProperty(property, value, type, index);
  if (property == "CxpPowerStatus") {
    const int status = GetPropertyByType(value, type, index, "CxpPowerStatus_", 1, raw);
    if (status == 0) *static_cast<unsigned int*>(value) = DecodePowerStatus(raw);
    return status;
  }
  if (property == "CxpTransceiverNotInTable" || property == "CxpTransceiverDisparityError") {
    const bool notInTable = property == "CxpTransceiverNotInTable";
    const bool shared = SharesStatusRegister(board);
    const std::string prefix =
        shared ? "CxpTransceiverStatus_"
               : (notInTable ? "CxpTransceiverNotInTable_" : "CxpTransceiverDisparityError_");
    const int status = GetPropertyByType(value, type, index, prefix, kTypeUnsigned, raw);
    if (status == 0 && shared) raw = notInTable ? raw & 0xFFFFFF : raw >> 24 & 0xFFFFFF;
    if (status == 0) *static_cast<unsigned int*>(value) = static_cast<unsigned int>(raw);
    return status;
  }
  if (property == "MagicValue" || property == "CameraRevision" || property == "LinkConfig") {
    const int check = PropertyChekParam(value, type, index, kTypeUnsigned);
    if (check != 0) return check;
    const unsigned int port = *static_cast<unsigned int*>(index);
    unsigned int& out = *static_cast<unsigned int*>(value);
    out = property == "MagicValue"       ? ports_[port]->GetMagicValue()
          : property == "CameraRevision" ? ports_[port]->GetRevision()
                                         : static_cast<unsigned int>(GetLinkConfig(port));
    return 0;
  }
  return MLO_ERR_NOT_IMPLEMENTED;
}

int CxpController::GetPowerProperty(const std::string& name, void* value, unsigned int type,
                                    void* index) {
  const int board = static_cast<int>(boardType_);
  const bool gen1 = IsBoardTypeIn(kCxpGen1BoardTypes, board);
  const bool gen2 = IsBoardTypeIn(kCxpGen2BoardTypes, board);
  const bool shared = SharesStatusRegister(board);
  std::string prefix;
  if (name == "CxpPowerSense") {
    prefix = gen1 ? "CxpPowerSense_" : gen2 ? "CxpPowerShuntVoltage_" : "CxpPowerStatus_";
  } else if (name == "CxpPowerVin") {
    prefix = gen1 ? "CxpPowerVin_" : gen2 ? "CxpPowerBusVoltage_" : "CxpPowerStatus_";
  } else {
    prefix = "CxpPowerAdIn_";
  }
  if (!gen1 && !(name != "CxpPowerAdIn" && (gen2 || shared))) return MLO_ERR_INVALID_COMMAND;
  uint64_t raw = 0;
  const int status = GetPropertyByType(value, type, index, prefix, kTypeDouble, raw);
  if (status != 0) return status;
  double& out = *static_cast<double*>(value);
  if (name == "CxpPowerSense") {
    out = gen1 ? static_cast<double>(raw) * 0.0004 * 1000 : Signed16(raw) * 0.2;
  } else if (name == "CxpPowerVin") {
    out = gen1   ? static_cast<double>(raw) * 0.025
          : gen2 ? static_cast<double>(raw) * 0.004
                 : static_cast<double>(raw >> 16 & 0x3FFF) * 0.004;
  } else {
    out = 300.0 * static_cast<double>(raw) / (13800.0 - static_cast<double>(raw));
  }
  return 0;
}

unsigned int CxpController::DecodePowerStatus(uint64_t raw) {
  const int board = static_cast<int>(boardType_);
  unsigned int status = kInvalidPowerStatus;
  if (IsBoardTypeIn(kCxpGen1BoardTypes, board)) {
    static const unsigned int kStates[] = {1, 2, 3, 4, 5, 6, 7};
    status = raw >> 7 & 1 ? 9 : BitState(raw, kStates, 7);
  } else if (IsBoardTypeIn(kCxpGen2BoardTypes, board)) {
    static const unsigned int kStates[] = {1, 2, 3, 4, 5, 6, 7, 8};
    status = raw >> 8 & 1 ? 9 : BitState(raw & 0x1FF, kStates, 8);
  } else if (IsBoardTypeIn(kCxpPlBoardTypes, board)) {
    static const unsigned int kStates[] = {1, 4, 6, 7};
    status = raw >> 35 & 1 ? 9 : BitState(raw >> 30 & 0x3F, kStates, 4);
  } else {
    logger_.Line(5, [] { return "Failed to get PoCXP status: board not supported"; });
    return kInvalidPowerStatus;
  }
  if (status == kInvalidPowerStatus)
    logger_.Line(5, [] { return "Failed to get PoCXP status: invalid value"; });
  return status;
}

int CxpController::GetLinkConfig(unsigned int port) {
  CCxpPort* master = ports_[port].get();
  if (master->GetPortType() != PortTypeMaster) return 0;
  uint32_t config = 0;
  return master->ReadWord(0x4014, config) == 0 ? static_cast<int>(config) : 0;
}

int CxpController::SetProperty(char* name, void* value, unsigned int type, void* index) {
  const std::string property = name ? name : "";
  if (property != "LinkConfig" && property != "CamPort") return MLO_ERR_NOT_IMPLEMENTED;
  const int check = PropertyChekParam(value, type, index, kTypeUnsigned);
  if (check != 0) return check;
  // Both take the discovery lock, which comes before controllerScope_: neither holds the scope.
  const unsigned int port = *static_cast<unsigned int*>(index);
  const unsigned int setting = *static_cast<unsigned int*>(value);
  return property == "LinkConfig" ? ChangeLinkConfig(port, setting) : ChangeCamPort(setting, port);
}

int CxpController::ForceTransceiverBitrate(unsigned int port, unsigned int bitrate) {
  RecursiveMutexGuard scope(&controllerScope_);
  if (port >= nrPorts_) return MLO_ERR_INVALID_ARGUMENT;
  bool changed = false;
  ports_[port]->SetUplinkBitrate(bitrate, &changed);
  if (changed) {
    logger_.Line(3, [&] {
      return "Waiting " + std::to_string(waitAfterUplinkSpeedReset_) + " milliseconds";
    });
    Wait(waitAfterUplinkSpeedReset_);
  }
  return ports_[port]->SetDownlinkBitrate(bitrate);
}

int CxpController::ForceResetControlCore(unsigned int portMask, unsigned int state) {
  RecursiveMutexGuard scope(&controllerScope_);
  int result = 0;
  for (unsigned int port = 0; port < nrPorts_; ++port) {
    if (!(portMask >> port & 1)) continue;
    const int status = ports_[port]->ResetCxpControlCore(state);
    if (status != 0 && result == 0) result = status;
  }
  return result;
}

// ---- Selector ----

uint64_t CxpController::GetDiscoverySelector() {
  GenericLockGuard guard(OnPlBoard() ? nullptr : (boardLock_.enter(), &boardLock_));
  uint64_t value = 0;
  if (registers_.readSelect > 0) {
    VHalRegisterRead(device_, registers_.readSelect, &value);
    return value;
  }
  if (registers_.discoveryConfig <= 0) return kIdentitySelector;
  VHalRegisterRead(device_, registers_.discoveryConfig, &value);
  if (nrPorts_ == 2) return value < 2 ? kTwoPortSelectors[value] : kNoSelector;
  if (nrPorts_ == 4) return value < 24 ? kFourPortSelectors[value] : kNoSelector;
  return kIdentitySelector;
}

int CxpController::SwitchDiscoverySelector(uint64_t selector) {
  if (gtxInterface_ == CxpIfCameraCtrl) return VHalCameraCtrlSetPortMap(device_, selector);
  if (registers_.writeSelect <= 0 || registers_.readSelect <= 0) {
    logger_.Line(4, [] {
      return "[CXP::Ctrl] Failed to switch discovery selector. No Discovery Select interface";
    });
    return 0;
  }
  const int board = static_cast<int>(boardType_);
  if (!IsBoardTypeIn(kCxpGen1BoardTypes, board) && !IsBoardTypeIn(kCxpGen2BoardTypes, board) &&
      !OnPlBoard() && !IsBoardTypeIn(kSelectorBoardTypes, board)) {
    logger_.Line(5, [&] {
      return "[CXP::Ctrl] Failed to switch discovery selector. Board Type " +
             std::to_string(boardType_) + " not supported";
    });
    return MLO_ERR_INTERNAL;
  }
  GenericLockGuard guard(OnPlBoard() ? nullptr : (boardLock_.enter(), &boardLock_));
  uint64_t current = 0;
  VHalRegisterRead(device_, registers_.readSelect, &current);
  if (current != selector) VHalRegisterWrite(device_, registers_.writeSelect, selector);
  return 0;
}
