#ifndef VESK_SIM_FIRMWARE_CXP_CXP_FORM_H
#define VESK_SIM_FIRMWARE_CXP_CXP_FORM_H

#include <cstdint>

namespace vesk::sim {

// The transceiver interface forms of the CoaXPress designs, numbered as the library numbers them.
enum CxpForm : unsigned {
  kCxpDrpA = 1,
  kCxpDrpB = 2,
  kCxpRateIndex = 3,
  kCxpRateIndexRxStatus = 6,
  kCxpTransceiverRegs = 10,
  kCxpCameraCtrl = 16,
};

// Nibble k (k = 0 .. 7): the physical port of firmware port k; nibble 8 + k: the firmware port of
// physical port k.
constexpr uint64_t kCxpIdentitySelector = 0x7654321076543210;

}  // namespace vesk::sim

#endif
