#ifndef VESK_SIM_CORE_CXP_CRC_H
#define VESK_SIM_CORE_CXP_CRC_H

#include <cstddef>
#include <cstdint>

namespace vesk::sim {

// The CoaXPress CRC-32 of bytes in wire order: reflected polynomial 0xEDB88320, initial value
// 0xFFFFFFFF, no final inversion. A packet carries it little-endian.
uint32_t CxpCrc(const uint8_t* bytes, size_t length);

}  // namespace vesk::sim

#endif
