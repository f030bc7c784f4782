#ifndef VESK_SIM_DEVICE_GENCP_H
#define VESK_SIM_DEVICE_GENCP_H

#include <cstdint>

// Status codes, command ids and flags of GenCP, as the standard numbers them: the cameras of
// every transport that carries GenCP answer by them.
namespace vesk::sim::gencp {

constexpr uint16_t kSuccess = 0x0000;
constexpr uint16_t kNotImplemented = 0x8001;
constexpr uint16_t kInvalidParameter = 0x8002;
constexpr uint16_t kInvalidAddress = 0x8003;
constexpr uint16_t kWriteProtect = 0x8004;
constexpr uint16_t kInvalidHeader = 0x800E;

constexpr uint16_t kReadMemory = 0x0800;
constexpr uint16_t kReadMemoryAck = 0x0801;
constexpr uint16_t kWriteMemory = 0x0802;
constexpr uint16_t kWriteMemoryAck = 0x0803;
constexpr uint16_t kPendingAck = 0x0805;

constexpr uint16_t kRequestAck = 0x4000;  // a command that wants an answer
constexpr uint16_t kResend = 0x8000;      // a command sent again under the same request id

}  // namespace vesk::sim::gencp

#endif
