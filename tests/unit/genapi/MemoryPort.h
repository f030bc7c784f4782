#ifndef VESK_TESTS_UNIT_GENAPI_MEMORY_PORT_H
#define VESK_TESTS_UNIT_GENAPI_MEMORY_PORT_H

#include <cstdint>
#include <functional>
#include <map>

#include "genapi/IPort.h"

namespace vesk::test {

// Camera memory for node map tests: sparse, zero where nothing was written, counting the reads
// at each address. A hook may throw to play a failing transport.
class MemoryPort : public GenApi::IPort {
 public:
  GenApi::EAccessMode GetAccessMode() const override { return GenApi::RW; }

  void Read(void* buffer, int64_t address, int64_t length) override {
    if (failure) failure();
    ++readsAt[address];
    for (int64_t i = 0; i < length; ++i) static_cast<uint8_t*>(buffer)[i] = Byte(address + i);
  }
  void Write(const void* buffer, int64_t address, int64_t length) override {
    if (failure) failure();
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    for (int64_t i = 0; i < length; ++i) memory[address + i] = bytes[i];
  }

  uint8_t Byte(int64_t address) const {
    const auto found = memory.find(address);
    return found == memory.end() ? 0 : found->second;
  }
  // Little-endian, as the registers of the test descriptions are.
  void Put32(int64_t address, uint32_t value) {
    for (int i = 0; i < 4; ++i) memory[address + i] = static_cast<uint8_t>(value >> (8 * i));
  }
  uint32_t Get32(int64_t address) const {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value |= static_cast<uint32_t>(Byte(address + i)) << (8 * i);
    return value;
  }

  std::map<int64_t, uint8_t> memory;
  std::map<int64_t, int> readsAt;
  std::function<void()> failure;
};

}  // namespace vesk::test

#endif
