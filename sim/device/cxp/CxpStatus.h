#ifndef VESK_SIM_DEVICE_CXP_CXP_STATUS_H
#define VESK_SIM_DEVICE_CXP_CXP_STATUS_H

#include <cstdint>

namespace vesk::sim::cxp {

// Status codes of acknowledgements, as the CoaXPress standard numbers them.
constexpr uint8_t kFinalWithPayload = 0x00;
constexpr uint8_t kFinal = 0x01;
constexpr uint8_t kTentative = 0x02;
constexpr uint8_t kWait = 0x04;
constexpr uint8_t kInvalidAddress = 0x40;
constexpr uint8_t kInvalidData = 0x41;
constexpr uint8_t kInvalidOperation = 0x42;
constexpr uint8_t kReadOnly = 0x43;
constexpr uint8_t kTooLarge = 0x45;
constexpr uint8_t kBadSize = 0x46;
constexpr uint8_t kBadCrc = 0x80;

}  // namespace vesk::sim::cxp

#endif
