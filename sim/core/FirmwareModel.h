#ifndef VESK_SIM_CORE_FIRMWARE_MODEL_H
#define VESK_SIM_CORE_FIRMWARE_MODEL_H

#include "sim/include/vesk_sim.h"

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
  // Trips the power of a port as an overload would; VSIM_ERROR_NOT_SUPPORTED where the firmware
  // has no power switch.
  virtual int TripPower(unsigned /*port*/) { return VSIM_ERROR_NOT_SUPPORTED; }
  // The camera status word of a port as the firmware shows it; plain has bit 0 set while a cable
  // is in. Firmware whose camera clock can fail clears it then.
  virtual int CameraStatus(unsigned /*port*/, int plain) { return plain; }
};

}  // namespace vesk::sim

#endif
