#include "sim/firmware/clhs/ClhsFirmware.h"

#include <atomic>
#include <string>

#include "sim/core/Board.h"
#include "sim/firmware/clhs/ClhsCommandFifo.h"
#include "sim/firmware/clhs/ClhsTransceiver.h"

namespace vesk::sim {

namespace {

using Registers = std::vector<RegisterDefinition>;

constexpr uint64_t kIdentitySelector = 0x7654321076543210;

// Per firmware channel: the X-Core command FIFOs, its core reset and revision, the PCS; per
// physical port: transceiver setup and LED; for the board: the selector, the channel ids and the
// grabber status that all processes on the board share.
Registers ClhsRegisters(const Registers& status) {
  Registers registers = {{"GtxSetup_<n>"},
                         {"PcsSetup_<n>"},
                         {"PcsPacketCounter_<n>"},
                         {"ClhsControlCoreReset_<n>"},
                         {"ClhsTxCmdCommand_<n>"},
                         {"ClhsTxCmdData_<n>"},
                         {"ClhsTxCmdStatus_<n>"},
                         {"ClhsTxRevision_<n>"},
                         {"ClhsRxCmdData_<n>"},
                         {"ClhsRxCmdStatus_<n>"},
                         {"ClhsLinkRxStatus_<n>"},
                         {"LEDModeWrite_<n>"},
                         {"NetworkControllerReset"},
                         {"DiscoveryAppletMasterID"},
                         {"DiscoveryAppletExtensionID"},
                         {"GrabberStatusRead"},
                         {"GrabberStatusWrite"},
                         {"DiscoverySelectRead", kIdentitySelector},
                         {"DiscoverySelectWrite", kIdentitySelector}};
  registers.insert(registers.begin(), status.begin(), status.end());
  return registers;
}

// Per-port status: bits 0 and 1 power and reference clock, 2 receiver out of reset, 3 PLL
// locked, 4 loss of signal, 5 not aligned. Setup bit 2 holds the receiver, bit 3 the PLL.
constexpr uint64_t kPortRxReset = 1u << 2;
constexpr uint64_t kPortPllReset = 1u << 3;
// Board status: bit 0 the shared PLL locked, 1 + p port p out of reset, 3 + p its loss of
// signal, 5 + p not aligned. Setup bit 1 holds the port's receiver, bit 2 the shared PLL.
constexpr uint64_t kBoardRxReset = 1u << 1;
constexpr uint64_t kBoardPllReset = 1u << 2;

class ClhsFirmware : public FirmwareModel {
 public:
  explicit ClhsFirmware(Board& board);
  ~ClhsFirmware() override;

  void CableChanged(unsigned) override {}

 private:
  using Read = std::function<int(uint64_t&)>;

  unsigned PhysicalOf(unsigned channel) const { return Nibble(channel); }
  unsigned ChannelOf(unsigned port) const { return Nibble(8 + port); }
  unsigned Nibble(unsigned at) const { return static_cast<unsigned>(selector_ >> (4 * at)) & 0xF; }

  bool PllLocked(unsigned port) const;
  bool Send(unsigned channel, const Packet& packet);
  void FromCamera(unsigned port, const Packet& packet);
  uint64_t PortStatus(unsigned port);
  uint64_t BoardStatus();

  void Install(const std::string& name, Read read, std::function<int(uint64_t)> write = nullptr);
  // A register that keeps what the host writes and acts on it.
  void InstallStored(const std::string& name, std::function<void(uint64_t)> effect);
  void InstallChannel(unsigned channel);
  void InstallPort(unsigned port);
  void InstallBoard();

  Board& board_;
  const bool boardStatus_;
  const unsigned ports_;
  std::atomic<uint64_t> selector_{kIdentitySelector};
  std::atomic<uint64_t> grabberStatus_{0};
  std::atomic<uint64_t> unroutedErrors_{0};
  std::vector<std::unique_ptr<ClhsTransceiver>> transceivers_;
  std::vector<std::unique_ptr<ClhsCommandFifo>> fifos_;
};

ClhsFirmware::ClhsFirmware(Board& board)
    : board_(board),
      boardStatus_(board.Variant().form == kClhsStatusOfBoard),
      ports_(board.PortCount()) {
  for (unsigned port = 0; port < ports_; ++port) {
    transceivers_.push_back(std::make_unique<ClhsTransceiver>(
        *board.PortAt(port), boardStatus_ ? kBoardPllReset : kPortPllReset,
        boardStatus_ ? kBoardRxReset : kPortRxReset));
    fifos_.push_back(std::make_unique<ClhsCommandFifo>(
        [this, port](const Packet& packet) { return Send(port, packet); }));
  }
  for (unsigned port = 0; port < ports_; ++port) {
    InstallChannel(port);
    InstallPort(port);
  }
  InstallBoard();
  for (unsigned port = 0; port < ports_; ++port) {
    board.PortAt(port)->SetReceiver(
        [this, port](const Packet& packet) { FromCamera(port, packet); });
  }
}

ClhsFirmware::~ClhsFirmware() {
  for (unsigned port = 0; port < ports_; ++port) board_.PortAt(port)->SetReceiver(nullptr);
}

// On the board-wide form one PLL feeds every port.
bool ClhsFirmware::PllLocked(unsigned port) const {
  if (!boardStatus_) return !transceivers_[port]->PllReset();
  for (const auto& transceiver : transceivers_) {
    if (transceiver->PllReset()) return false;
  }
  return true;
}

bool ClhsFirmware::Send(unsigned channel, const Packet& packet) {
  const unsigned port = PhysicalOf(channel);
  if (port >= ports_ || !transceivers_[port]->Up(PllLocked(port))) return false;
  transceivers_[port]->CountPacket();
  return board_.PortAt(port)->ToCamera(packet);
}

void ClhsFirmware::FromCamera(unsigned port, const Packet& packet) {
  const unsigned channel = ChannelOf(port);
  if (channel >= ports_ || !transceivers_[port]->Up(PllLocked(port))) return;
  transceivers_[port]->CountPacket();
  fifos_[channel]->Acknowledge(packet);
}

uint64_t ClhsFirmware::PortStatus(unsigned port) {
  ClhsTransceiver& transceiver = *transceivers_[port];
  const bool pll = PllLocked(port);
  const bool signal = transceiver.Signal();
  return 0x3 | uint64_t{!transceiver.RxReset()} << 2 | uint64_t{pll} << 3 | uint64_t{!signal} << 4 |
         uint64_t{!transceiver.Up(pll)} << 5;
}

uint64_t ClhsFirmware::BoardStatus() {
  uint64_t status = 0;
  bool pll = true;
  for (unsigned port = 0; port < ports_; ++port) {
    ClhsTransceiver& transceiver = *transceivers_[port];
    pll = pll && PllLocked(port);
    status |= uint64_t{!transceiver.RxReset()} << (1 + port);
    status |= uint64_t{!transceiver.Signal()} << (3 + port);
    status |= uint64_t{!transceiver.Up(PllLocked(port))} << (5 + port);
  }
  return status | uint64_t{pll};
}

void ClhsFirmware::Install(const std::string& name, Read read, std::function<int(uint64_t)> write) {
  board_.Registers().SetBehaviour(name, {std::move(read), std::move(write)});
}

void ClhsFirmware::InstallStored(const std::string& name, std::function<void(uint64_t)> effect) {
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

void ClhsFirmware::InstallChannel(unsigned channel) {
  ClhsCommandFifo& fifo = *fifos_[channel];
  const std::string number = std::to_string(channel);
  auto zero = [](uint64_t& value) { return value = 0, 0; };
  Install("ClhsTxCmdData_" + number, zero, [&fifo](uint64_t value) {
    fifo.WriteData(value);
    return 0;
  });
  Install("ClhsTxCmdCommand_" + number, zero, [&fifo](uint64_t value) {
    fifo.Command(value);
    return 0;
  });
  Install("ClhsTxCmdStatus_" + number,
          [&fifo](uint64_t& value) { return value = fifo.TxStatus(), 0; });
  Install("ClhsRxCmdStatus_" + number,
          [&fifo](uint64_t& value) { return value = fifo.RxStatus(), 0; });
  Install("ClhsRxCmdData_" + number,
          [&fifo](uint64_t& value) { return value = fifo.ReadData(), 0; });
  // Any value but 0 holds some part of the X-Core in reset.
  InstallStored("ClhsControlCoreReset_" + number,
                [&fifo](uint64_t value) { fifo.SetReset(value != 0); });
  // The PCS of the channel is that of the physical port the selector routes to it; a channel
  // routed nowhere counts errors only.
  Install("PcsPacketCounter_" + number, [this, channel](uint64_t& value) {
    const unsigned port = PhysicalOf(channel);
    value = port < ports_ ? transceivers_[port]->PacketCounter(PllLocked(port))
                          : (++unroutedErrors_ & 0xFF) << 16;
    return 0;
  });
  Install("ClhsLinkRxStatus_" + number, [this, channel](uint64_t& value) {
    const unsigned port = PhysicalOf(channel);
    value = port < ports_ && transceivers_[port]->Up(PllLocked(port));
    return 0;
  });
}

void ClhsFirmware::InstallPort(unsigned port) {
  const std::string number = std::to_string(port);
  ClhsTransceiver& transceiver = *transceivers_[port];
  InstallStored("GtxSetup_" + number,
                [&transceiver](uint64_t value) { transceiver.SetSetup(value); });
  Install("GtxStatus_" + number,
          [this, port](uint64_t& value) { return value = PortStatus(port), 0; });
}

void ClhsFirmware::InstallBoard() {
  Install("GtxStatus", [this](uint64_t& value) { return value = BoardStatus(), 0; });
  InstallStored("DiscoverySelectWrite", [this](uint64_t value) { selector_ = value; });
  Install("DiscoverySelectRead", [this](uint64_t& value) { return value = selector_.load(), 0; });
  InstallStored("GrabberStatusWrite", [this](uint64_t value) { grabberStatus_ = value; });
  Install("GrabberStatusRead",
          [this](uint64_t& value) { return value = grabberStatus_.load(), 0; });
  Install("DiscoveryAppletMasterID",
          [this](uint64_t& value) { return value = board_.Described().operatorMasters, 0; });
  Install("DiscoveryAppletExtensionID",
          [this](uint64_t& value) { return value = board_.Described().operatorExtensions, 0; });
}

}  // namespace

std::vector<DesignVariant> ClhsDesigns() {
  const Registers perPort = {{"GtxStatus_<n>"}};
  const Registers ofBoard = {{"GtxStatus"}};
  const Registers both = {{"GtxStatus"}, {"GtxStatus_<n>"}};
  return {
      {"clhs",
       "Acquisition_CLHS",
       Family::Clhs,
       {1, 2},
       ClhsRegisters(perPort),
       {},
       false,
       -1,
       kClhsStatusPerPort},
      {"clhs-single-status",
       "Acquisition_CLHS_SingleStatus",
       Family::Clhs,
       {1, 2},
       ClhsRegisters(ofBoard),
       {},
       false,
       -1,
       kClhsStatusOfBoard},
      // An applet that keeps the per-port status beside the board's: the board's form wins.
      {"clhs-both-status",
       "Acquisition_CLHS_BothStatus",
       Family::Clhs,
       {1, 2},
       ClhsRegisters(both),
       {},
       false,
       -1,
       kClhsStatusOfBoard},
  };
}

std::unique_ptr<FirmwareModel> MakeClhsFirmware(Board& board) {
  return std::make_unique<ClhsFirmware>(board);
}

}  // namespace vesk::sim
