#include "sim/firmware/cxp/CxpFirmware.h"

#include <atomic>
#include <string>

#include "sim/core/Board.h"
#include "sim/firmware/cxp/CxpCommandFifo.h"
#include "sim/firmware/cxp/CxpForm.h"
#include "sim/firmware/cxp/CxpMultiplexer.h"
#include "sim/firmware/cxp/CxpPower.h"
#include "sim/firmware/cxp/CxpQueueChannel.h"
#include "sim/firmware/cxp/CxpTransceiver.h"

namespace vesk::sim {

namespace {

// What a link runs at before the host sets a speed: the discovery speed.
constexpr uint32_t kStartSpeed = 1250;
constexpr unsigned kQueuesPerPort = 4;
constexpr unsigned kPowerOff = 1;  // the camera controller's power state for off
constexpr unsigned kStatusLockBit = 48;
constexpr unsigned kStatusReadyBit = 49;
constexpr unsigned kDisparityShift = 24;
constexpr uint64_t kCounterMask = 0xFFFFFF;
constexpr uint64_t kGen1CounterMask = 0xFFFFF;

int Ignore(uint64_t) { return 0; }

// The CoaXPress firmware of one board: control channels per firmware port (FIFOs or queues),
// transceivers and power per physical port, the multiplexer between them.
class CxpFirmware : public FirmwareModel {
 public:
  explicit CxpFirmware(Board& board);
  ~CxpFirmware() override;

  void CableChanged(unsigned) override {}
  int TripPower(unsigned port) override;

 private:
  using Read = std::function<int(uint64_t&)>;

  std::vector<LinkChannel*> Channels();
  void Send(unsigned firmwarePort, const Packet& packet);
  void FromCamera(unsigned physicalPort, const Packet& packet);
  void SyncController();

  void Install(const std::string& name, Read read, std::function<int(uint64_t)> write = Ignore);
  // read(port) answers the register of each port.
  void InstallPerPort(const char* prefix, std::function<uint64_t(unsigned)> read);
  // A register that keeps what the host writes and acts on it.
  void InstallStored(const std::string& name, std::function<void(uint64_t)> effect);
  uint64_t PortBits(const std::function<bool(unsigned)>& bit) const;
  void InstallChannelRegisters();
  void InstallTransceiverRegisters();
  void InstallResetRegisters();
  void InstallSelectorRegisters();
  void InstallPowerRegisters();
  uint64_t Status(unsigned port);

  Board& board_;
  const unsigned form_;
  const unsigned ports_;
  CxpPower power_;
  CxpMultiplexer multiplexer_;
  std::vector<std::unique_ptr<CxpTransceiver>> transceivers_;
  std::vector<std::unique_ptr<CxpCommandFifo>> fifos_;
  std::vector<std::unique_ptr<CxpQueueChannel>> queues_;
  std::mutex syncMutex_;
  std::vector<unsigned> dataPathStates_;
};

CxpFirmware::CxpFirmware(Board& board)
    : board_(board),
      form_(board.Variant().form),
      ports_(board.PortCount()),
      power_(board.Described().type, Channels()),
      dataPathStates_(ports_, 0) {
  for (unsigned port = 0; port < ports_; ++port) {
    transceivers_.push_back(
        std::make_unique<CxpTransceiver>(port, form_, *board.PortAt(port), power_));
    transceivers_.back()->SetSpeed(kStartSpeed);
    auto send = [this, port](const Packet& packet) { Send(port, packet); };
    if (form_ == kCxpCameraCtrl) {
      queues_.push_back(std::make_unique<CxpQueueChannel>(
          *board.Queue(static_cast<int>(port * kQueuesPerPort)),
          *board.Queue(static_cast<int>(port * kQueuesPerPort + 3)), send));
    } else {
      fifos_.push_back(std::make_unique<CxpCommandFifo>(send));
    }
  }
  InstallChannelRegisters();
  InstallTransceiverRegisters();
  InstallResetRegisters();
  InstallSelectorRegisters();
  InstallPowerRegisters();
  for (unsigned port = 0; port < ports_; ++port) {
    board.PortAt(port)->SetReceiver(
        [this, port](const Packet& packet) { FromCamera(port, packet); });
  }
  if (CameraControl* controller = board.Controller()) {
    controller->SetObserver([this] { SyncController(); });
  }
}

CxpFirmware::~CxpFirmware() {
  if (CameraControl* controller = board_.Controller()) controller->SetObserver(nullptr);
  for (unsigned port = 0; port < ports_; ++port) board_.PortAt(port)->SetReceiver(nullptr);
}

std::vector<LinkChannel*> CxpFirmware::Channels() {
  std::vector<LinkChannel*> channels;
  for (unsigned port = 0; port < board_.PortCount(); ++port)
    channels.push_back(board_.PortAt(port));
  return channels;
}

int CxpFirmware::TripPower(unsigned port) {
  if (port >= ports_) return VSIM_ERROR_NO_SUCH_PORT;
  power_.Trip(port);
  return 0;
}

void CxpFirmware::Send(unsigned firmwarePort, const Packet& packet) {
  const unsigned port = multiplexer_.PhysicalOf(firmwarePort);
  if (port < ports_ && power_.Powered(port)) board_.PortAt(port)->ToCamera(packet);
}

void CxpFirmware::FromCamera(unsigned physicalPort, const Packet& packet) {
  const unsigned port = multiplexer_.FirmwareOf(physicalPort);
  if (port >= ports_ || !power_.Powered(physicalPort)) return;
  if (form_ == kCxpCameraCtrl) {
    queues_[port]->Acknowledge(packet);
  } else {
    fifos_[port]->Acknowledge(packet);
  }
}

// The queue form's port state lives in the camera controller; the firmware follows it.
void CxpFirmware::SyncController() {
  CameraControl& controller = *board_.Controller();
  std::lock_guard<std::mutex> lock(syncMutex_);
  multiplexer_.Set(controller.PortMap());
  for (unsigned port = 0; port < ports_; ++port) {
    unsigned power = 0;
    unsigned speed = 0;
    unsigned state = 0;
    controller.Get(PortControl::Power, port, power);
    controller.Get(PortControl::DataPathSpeed, port, speed);
    controller.Get(PortControl::DataPathState, port, state);
    power_.SetEnabled(port, power != kPowerOff);
    if (speed) transceivers_[port]->SetSpeed(speed);
    if (state != dataPathStates_[port]) transceivers_[port]->ClearErrors();
    dataPathStates_[port] = state;
  }
}

void CxpFirmware::Install(const std::string& name, Read read, std::function<int(uint64_t)> write) {
  board_.Registers().SetBehaviour(name, {std::move(read), std::move(write)});
}

void CxpFirmware::InstallPerPort(const char* prefix, std::function<uint64_t(unsigned)> read) {
  for (unsigned port = 0; port < ports_; ++port) {
    Install(prefix + std::to_string(port), [read, port](uint64_t& value) {
      value = read(port);
      return 0;
    });
  }
}

void CxpFirmware::InstallStored(const std::string& name, std::function<void(uint64_t)> effect) {
  uint64_t initial = 0;
  board_.Registers().Read(board_.Registers().IdOf(name), initial);
  auto stored = std::make_shared<std::atomic<uint64_t>>(initial);
  Install(
      name, [stored](uint64_t& value) { return value = stored->load(), 0; },
      [stored, effect](uint64_t value) {
        effect(value);
        stored->store(value);
        return 0;
      });
}

uint64_t CxpFirmware::PortBits(const std::function<bool(unsigned)>& bit) const {
  uint64_t bits = 0;
  for (unsigned port = 0; port < ports_; ++port) bits |= uint64_t{bit(port)} << port;
  return bits;
}

void CxpFirmware::InstallChannelRegisters() {
  if (form_ == kCxpCameraCtrl) return;
  for (unsigned port = 0; port < ports_; ++port) {
    CxpCommandFifo& fifo = *fifos_[port];
    const std::string number = std::to_string(port);
    Install(
        "CxpTxCmdWriteData_" + number, [](uint64_t& value) { return value = 0, 0; },
        [&fifo](uint64_t value) { return fifo.Write(value), 0; });
    Install("CxpRxCmdAckPacketData_" + number,
            [&fifo](uint64_t& value) { return value = fifo.Read(), 0; });
    RegisterTable& registers = board_.Registers();
    const int led = registers.IdOf("CxpLedModeSelectWrite_" + number);
    Install("CxpLedModeSelectRead_" + number,
            [&registers, led](uint64_t& value) { return registers.Read(led, value); });
  }
  Install("CxpTxCmdPacketSent", [this](uint64_t& value) {
    value = PortBits([this](unsigned port) { return fifos_[port]->Sent(); });
    return 0;
  });
}

// Characters outside the table in the low 24 bits, disparity errors above them, then lock and
// the bit rate's done bit.
uint64_t CxpFirmware::Status(unsigned port) {
  CxpTransceiver& transceiver = *transceivers_[port];
  const CxpTransceiver::ErrorCounts errors = transceiver.Errors();
  const bool ready = transceiver.Ready();
  return (errors.notInTable & kCounterMask) | (errors.disparity & kCounterMask) << kDisparityShift |
         uint64_t{transceiver.Locked()} << kStatusLockBit | uint64_t{ready} << kStatusReadyBit;
}

void CxpFirmware::InstallTransceiverRegisters() {
  const uint64_t mask = CxpBoardGroupOf(board_.Described().type) == CxpBoardGroup::Gen1
                            ? kGen1CounterMask
                            : kCounterMask;
  InstallPerPort("CxpTransceiverStatus_", [this](unsigned port) { return Status(port); });
  InstallPerPort("CxpTransceiverNotInTable_", [this, mask](unsigned port) {
    return transceivers_[port]->Errors().notInTable & mask;
  });
  InstallPerPort("CxpTransceiverDisparityError_", [this, mask](unsigned port) {
    return transceivers_[port]->Errors().disparity & mask;
  });
  RegisterTable& registers = board_.Registers();
  for (unsigned port = 0; port < ports_; ++port) {
    CxpTransceiver& transceiver = *transceivers_[port];
    const std::string number = std::to_string(port);
    auto rate = [&transceiver](uint64_t index) { transceiver.SetRateIndex(index); };
    InstallStored("CxpTransceiverGtxSetBitRate_" + number, rate);
    InstallStored("CxpTransceiverDownLinkBitRate_" + number, rate);
    const int address = registers.IdOf("CxpTransceiverGtxDrpAddress_" + number);
    InstallStored("CxpTransceiverGtxDrpWriteData_" + number,
                  [&registers, &transceiver, address](uint64_t value) {
                    uint64_t at = 0;
                    registers.Read(address, at);
                    transceiver.WriteDrp(static_cast<uint32_t>(at), static_cast<uint32_t>(value));
                  });
  }
  auto ready = [this](uint64_t& value) {
    value = PortBits([this](unsigned port) { return transceivers_[port]->Ready(); });
    return 0;
  };
  Install("CxpTransceiverGtxSetBitRateDone", ready);
  Install("CxpTransceiverGtxDrpReady", ready);
}

void CxpFirmware::InstallResetRegisters() {
  auto outOfReset = [this](uint64_t& value) {
    value = PortBits([this](unsigned port) { return !transceivers_[port]->InRxReset(); });
    return 0;
  };
  InstallStored("CxpTransceiverGtxRxReset", [this](uint64_t mask) {
    for (unsigned port = 0; port < ports_; ++port)
      transceivers_[port]->SetRxReset(mask >> port & 1);
  });
  Install("CxpTransceiverRxPlllDet", outOfReset);
  Install("CxpTransceiverRxResetDone", outOfReset);
  Install("CxpTransceiverRxStatus", [this](uint64_t& value) {
    value = 0;
    for (unsigned port = 0; port < ports_; ++port) {
      const CxpTransceiver& transceiver = *transceivers_[port];
      value |= uint64_t{!transceiver.InRxReset()} << (2 * port);
      value |= uint64_t{transceiver.Locked()} << (2 * port + 1);
    }
    return 0;
  });
  // The core reset of a firmware port restarts the counters of the link that serves it.
  for (const char* prefix : {"CxpControlCoreReset_", "CxpReset_"}) {
    for (unsigned port = 0; port < ports_; ++port) {
      InstallStored(prefix + std::to_string(port), [this, port](uint64_t) {
        const unsigned physical = multiplexer_.PhysicalOf(port);
        if (physical < ports_) transceivers_[physical]->ClearErrors();
      });
    }
  }
}

void CxpFirmware::InstallSelectorRegisters() {
  const unsigned ports = ports_;
  InstallStored("wDiscoverySelect", [this](uint64_t selector) { multiplexer_.Set(selector); });
  InstallStored("CxpDiscoveryConfig", [this, ports](uint64_t index) {
    multiplexer_.Set(CxpMultiplexer::FromIndex(index, ports));
  });
  Install("rDiscoverySelect",
          [this](uint64_t& value) { return value = multiplexer_.Selector(), 0; });
  Install("DiscoveryAppletMasterID",
          [this](uint64_t& value) { return value = board_.Described().operatorMasters, 0; });
  Install("DiscoveryAppletExtensionID",
          [this](uint64_t& value) { return value = board_.Described().operatorExtensions, 0; });
}

void CxpFirmware::InstallPowerRegisters() {
  using Reading = CxpPower::Reading;
  const std::pair<const char*, Reading> readings[] = {
      {"CxpPowerStatus_", Reading::Status},
      {"CxpPowerSense_", Reading::Sense},
      {"CxpPowerVin_", Reading::Vin},
      {"CxpPowerAdIn_", Reading::AdIn},
      {"CxpPowerShuntVoltage_", Reading::ShuntVoltage},
      {"CxpPowerBusVoltage_", Reading::BusVoltage}};
  for (const auto& [prefix, reading] : readings) {
    InstallPerPort(prefix,
                   [this, reading = reading](unsigned port) { return power_.Read(reading, port); });
  }
  InstallStored("wCxpPowerEnablePower",
                [this](uint64_t mask) { power_.SetEnabledMask(static_cast<uint32_t>(mask)); });
  Install("rCxpPowerEnablePower",
          [this](uint64_t& value) { return value = power_.EnabledMask(), 0; });
}

}  // namespace

std::unique_ptr<FirmwareModel> MakeCxpFirmware(Board& board) {
  return std::make_unique<CxpFirmware>(board);
}

}  // namespace vesk::sim
