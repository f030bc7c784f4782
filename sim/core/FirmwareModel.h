#ifndef VESK_SIM_CORE_FIRMWARE_MODEL_H
#define VESK_SIM_CORE_FIRMWARE_MODEL_H

namespace vesk::sim {

// A transport's firmware on one board (sim/firmware/<transport>/). Made while the board is built,
// before anyone can reach the board: that is when it installs its register behaviours, queue
// handlers and configuration handler, and takes the board's end of each port's LinkChannel.
// Destroyed before the board; it gives those ends back in its destructor.
class FirmwareModel {
 public:
  virtual ~FirmwareModel() = default;
  // A cable was plugged into or pulled from a port; the port's LinkChannel already shows it.
  virtual void CableChanged(unsigned port) = 0;
};

}  // namespace vesk::sim

#endif
