#ifndef VESK_SIM_DEVICE_GIGE_GVCP_STATUS_H
#define VESK_SIM_DEVICE_GIGE_GVCP_STATUS_H

#include <cstdint>

namespace vesk::sim::gvcp {

// Status codes of GVCP acknowledges, as GigE Vision publishes them.
constexpr uint16_t kSuccess = 0x0000;
constexpr uint16_t kNotImplemented = 0x8001;
constexpr uint16_t kInvalidParameter = 0x8002;
constexpr uint16_t kInvalidAddress = 0x8003;
constexpr uint16_t kWriteProtect = 0x8004;
constexpr uint16_t kBadAlignment = 0x8005;
constexpr uint16_t kAccessDenied = 0x8006;
constexpr uint16_t kBusy = 0x8007;

// Commands; each acknowledge's code is its command's plus one.
constexpr uint16_t kDiscovery = 0x0002;
constexpr uint16_t kPacketResend = 0x0040;
constexpr uint16_t kReadReg = 0x0080;
constexpr uint16_t kWriteReg = 0x0082;
constexpr uint16_t kReadMem = 0x0084;
constexpr uint16_t kWriteMem = 0x0086;
constexpr uint16_t kPendingAck = 0x0089;
constexpr uint16_t kAction = 0x0100;

}  // namespace vesk::sim::gvcp

#endif
