#include "sim/device/RegisterMap.h"

#include <algorithm>

#include "sim/core/ByteOrder.h"

namespace vesk::sim {

void RegisterMap::Add(uint64_t address, uint32_t size, bool writable, std::vector<uint8_t> value) {
  value.resize(size);
  const auto after =
      std::upper_bound(registers_.begin(), registers_.end(), address,
                       [](uint64_t at, const Register& reg) { return at < reg.address; });
  registers_.insert(after, {address, size, writable});
  values_[address] = std::move(value);
}

void RegisterMap::AddNumber(uint64_t address, uint32_t size, bool writable, uint64_t value) {
  Add(address, size, writable, BigEndian(value, size));
}

void RegisterMap::AddText(uint64_t address, uint32_t size, bool writable, const std::string& text) {
  Add(address, size, writable,
      std::vector<uint8_t>(text.begin(), text.begin() + std::min<size_t>(text.size(), size - 1)));
}

std::vector<const RegisterMap::Register*> RegisterMap::Covering(uint64_t address,
                                                                size_t length) const {
  std::vector<const Register*> covering;
  const uint64_t end = address + length;
  uint64_t at = address;
  for (const Register& reg : registers_) {
    if (reg.address + reg.size <= at) continue;
    if (reg.address > at) return {};  // a gap
    covering.push_back(&reg);
    at = std::min<uint64_t>(end, reg.address + reg.size);
    if (at == end) return covering;
  }
  return {};
}

bool RegisterMap::Read(uint64_t address, uint8_t* bytes, size_t length,
                       std::optional<Seen> seen) const {
  const std::vector<const Register*> covering = Covering(address, length);
  for (const Register* reg : covering) {
    const uint64_t from = std::max(address, reg->address);
    const uint64_t to = std::min<uint64_t>(address + length, reg->address + reg->size);
    std::vector<uint8_t> own;
    const std::vector<uint8_t>* value = &values_.at(reg->address);
    if (seen && seen->address == reg->address) value = &(own = BigEndian(seen->value, reg->size));
    std::copy(value->begin() + static_cast<ptrdiff_t>(from - reg->address),
              value->begin() + static_cast<ptrdiff_t>(to - reg->address), bytes + (from - address));
  }
  return !covering.empty();
}

void RegisterMap::Store(const Register& reg, uint64_t address, const uint8_t* bytes,
                        size_t length) {
  const uint64_t from = std::max(address, reg.address);
  const uint64_t to = std::min<uint64_t>(address + length, reg.address + reg.size);
  std::copy(bytes + (from - address), bytes + (to - address),
            values_[reg.address].begin() + static_cast<ptrdiff_t>(from - reg.address));
}

uint64_t RegisterMap::Number(uint64_t address) const {
  const std::vector<uint8_t>& value = values_.at(address);
  return BeAt(value.data(), value.size());
}

void RegisterMap::SetNumber(uint64_t address, uint64_t value) {
  std::vector<uint8_t>& stored = values_.at(address);
  PutBe(stored.data(), value, stored.size());
}

}  // namespace vesk::sim
