#ifndef VESK_SIM_FIRMWARE_FIRMWARE_MODEL_H
#define VESK_SIM_FIRMWARE_FIRMWARE_MODEL_H

#include <memory>

namespace vesk::sim {

class Board;

// A transport's firmware on one board. Made while the board is built, before anyone can reach
// the board: that is when it installs its register behaviours, queue handlers and configuration
// handler, and the regions of the cameras it serves. Destroyed before the board.
class FirmwareModel {
 public:
  virtual ~FirmwareModel() = default;
  // A cable was plugged into or pulled from a port; Port::GetCable already shows it.
  virtual void CableChanged(unsigned port) = 0;
};

// The model of the board's transport; null while its transport has none, which leaves the board
// with plain registers and queues that keep what the host writes.
std::unique_ptr<FirmwareModel> MakeFirmwareModel(Board& board);

}  // namespace vesk::sim

#endif
