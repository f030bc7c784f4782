#include "sim/firmware/cl/ClFirmware.h"

#include <chrono>
#include <mutex>

#include "sim/core/Board.h"

namespace vesk::sim {

std::vector<DesignVariant> ClDesigns() {
  // Two byte queues per port, receive then transmit: the serial channels.
  const std::vector<QueueBlock> serial = {{0, 2, QueueUnit::Byte}};
  std::vector<DesignVariant> designs = {
      // The library counts Camera Link ports from a parameter name or from AACamPortConfig.
      {"cl-base",
       "Acquisition_CL_Base",
       Family::Cl,
       {2},
       {{"Device1\\Process0\\Camera\\BaseMode"}},
       serial},
      {"cl-medium",
       "Acquisition_CL_Medium",
       Family::Cl,
       {1},
       {{"Device1\\Process0\\Camera\\MediumMode"}},
       serial},
      {"cl-full",
       "Acquisition_CL_Full",
       Family::Cl,
       {1},
       {{"Device1\\Process0\\Camera\\FullMode"}},
       serial},
      // Two base channels with the full mode's parameter under its other name besides.
      {"cl-base-full",
       "Acquisition_CL_BaseFull",
       Family::Cl,
       {2},
       {{"Device1\\Process0\\Camera\\BaseMode"}, {"Device1\\Process0\\Cam\\FullMode"}},
       serial},
      // AACamPortConfig: 0 two base ports, 1 one medium, 2 one full.
      {"cl-port-config",
       "Acquisition_CL_PortConfig",
       Family::Cl,
       {2},
       {{"AACamPortConfig", 0}},
       serial},
      {"cl-port-config-medium",
       "Acquisition_CL_PortConfigMedium",
       Family::Cl,
       {1},
       {{"AACamPortConfig", 1}},
       serial},
      {"cl-port-config-full",
       "Acquisition_CL_PortConfigFull",
       Family::Cl,
       {1},
       {{"AACamPortConfig", 2}},
       serial},
  };
  for (DesignVariant& design : designs) design.serialQueueBlock = 0;
  return designs;
}

namespace {

// How long the camera clock stays away once a burst of line errors took it.
constexpr auto kClockDrop = std::chrono::milliseconds(300);

class ClFirmware : public FirmwareModel {
 public:
  explicit ClFirmware(Board& board);
  ~ClFirmware() override;

  void CableChanged(unsigned port) override;
  int CameraStatus(unsigned port, int plain) override;

 private:
  using Clock = std::chrono::steady_clock;

  struct ClockState {
    uint64_t lineErrorsSeen = 0;
    Clock::time_point downUntil;
  };

  int ToCamera(unsigned port, const uint8_t* bytes, size_t size);

  Board& board_;
  // Looked up once: at exit the design tables may go before the board.
  std::vector<DataQueue*> transmit_;
  std::mutex clockMutex_;
  std::vector<ClockState> clocks_;
};

ClFirmware::ClFirmware(Board& board) : board_(board), clocks_(board.PortCount()) {
  const QueueBlock& block =
      board.Variant().queues[static_cast<size_t>(board.Variant().serialQueueBlock)];
  for (unsigned port = 0; port < board.PortCount(); ++port) {
    const int receive = block.first + block.perPort * static_cast<int>(port);
    transmit_.push_back(board.Queue(receive + 1));
    transmit_.back()->SetWriteHandler(
        [this, port](const uint8_t* bytes, size_t size) { return ToCamera(port, bytes, size); });
    DataQueue* queue = board.Queue(receive);
    board.PortAt(port)->SetReceiver(
        [queue](const Packet& bytes) { queue->Push(bytes.data(), bytes.size()); });
  }
}

ClFirmware::~ClFirmware() {
  for (unsigned port = 0; port < transmit_.size(); ++port) {
    transmit_[port]->SetWriteHandler(nullptr);
    board_.PortAt(port)->SetReceiver(nullptr);
  }
}

// The bytes leave at the rate the host set last; a camera listening at another rate makes
// nothing of them, so they are lost on the way.
int ClFirmware::ToCamera(unsigned port, const uint8_t* bytes, size_t size) {
  Port& wire = *board_.PortAt(port);
  wire.SetSpeed(wire.Baud());
  wire.ToCamera(Packet(bytes, bytes + size));
  return 0;
}

void ClFirmware::CableChanged(unsigned port) {
  std::lock_guard<std::mutex> lock(clockMutex_);
  clocks_[port] = {board_.PortAt(port)->LineErrors(), {}};
}

// A burst of line errors on the link is the camera clock failing: the board sees it gone at its
// next look, and for a while after.
int ClFirmware::CameraStatus(unsigned port, int plain) {
  if (!(plain & 1)) return plain;
  const uint64_t lineErrors = board_.PortAt(port)->LineErrors();
  const Clock::time_point now = Clock::now();
  std::lock_guard<std::mutex> lock(clockMutex_);
  ClockState& clock = clocks_[port];
  if (lineErrors != clock.lineErrorsSeen) {
    clock.lineErrorsSeen = lineErrors;
    clock.downUntil = now + kClockDrop;
  }
  return now < clock.downUntil ? plain & ~1 : plain;
}

}  // namespace

std::unique_ptr<FirmwareModel> MakeClFirmware(Board& board) {
  return std::make_unique<ClFirmware>(board);
}

}  // namespace vesk::sim
