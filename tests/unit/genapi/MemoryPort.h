#ifndef VESK_TESTS_UNIT_GENAPI_MEMORY_PORT_H
#define VESK_TESTS_UNIT_GENAPI_MEMORY_PORT_H

#include <cstdint>
#include <cstring>
#include <functional>
#include <map>

#include "genapi/IPort.h"

namespace vesk::test {

// Camera memory for node map tests: sparse, zero where nothing was written, counting what the
// node map does with it. A hook may throw to play a failing transport.
class MemoryPort : public GenApi::IPort {
 public:
  GenApi::EAccessMode GetAccessMode() const override { return GenApi::RW; }

  void Read(void* buffer, int64_t address, int64_t length) override {
    if (failure) failure(address);
    ++reads;
    ++readsAt[address];
    auto* bytes = static_cast<uint8_t*>(buffer);
    for (int64_t i = 0; i < length; ++i) {
      const auto found = memory.find(address + i);
      bytes[i] = found == memory.end() ? 0 : found->second;
    }
  }

  void Write(const void* buffer, int64_t address, int64_t length) override {
    if (failure) failure(address);
    ++writes;
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    for (int64_t i = 0; i < length; ++i) memory[address + i] = bytes[i];
  }

  // Little-endian, as the registers of the test descriptions are.
  void Put32(int64_t address, uint32_t value) {
    for (int i = 0; i < 4; ++i) memory[address + i] = static_cast<uint8_t>(value >> (8 * i));
  }
  uint32_t Get32(int64_t address) const {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
      const auto found = memory.find(address + i);
      if (found != memory.end()) value |= static_cast<uint32_t>(found->second) << (8 * i);
    }
    return value;
  }

  std::map<int64_t, uint8_t> memory;
  std::map<int64_t, int> readsAt;
  int reads = 0;
  int writes = 0;
  std::function<void(int64_t address)> failure;
};

}  // namespace vesk::test

#endif
