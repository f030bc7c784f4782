#ifndef VESK_SIM_FIRMWARE_CXP_CXP_PACKET_H
#define VESK_SIM_FIRMWARE_CXP_CXP_PACKET_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sim/core/DeviceModel.h"

namespace vesk::sim {

// Packet-type words of the control channel as they cross the coax.
constexpr uint8_t kCxpCommand = 0x02;
constexpr uint8_t kCxpTaggedCommand = 0x05;
constexpr uint8_t kCxpAck = 0x03;
constexpr uint8_t kCxpTaggedAck = 0x06;
// Acknowledgement codes that a size field follows.
constexpr uint8_t kCxpFinalWithPayload = 0x00;
constexpr uint8_t kCxpWait = 0x04;

// Type word and body (everything behind the type word); the CRC word is appended.
Packet CxpFramed(uint8_t type, const uint8_t* body, size_t size);
// The packet's type byte when its type word repeats it and its CRC word matches; 0 otherwise.
uint8_t CxpCheckedType(const Packet& packet);

}  // namespace vesk::sim

#endif
