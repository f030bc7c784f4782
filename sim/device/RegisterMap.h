#ifndef VESK_SIM_DEVICE_REGISTER_MAP_H
#define VESK_SIM_DEVICE_REGISTER_MAP_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vesk::sim {

// A camera's bootstrap registers: fixed addresses and sizes, each holding its bytes as the wire
// carries them. What a write may change and what it sets off is the bootstrap's to say. Not safe
// from several threads: its owner guards it.
class RegisterMap {
 public:
  struct Register {
    uint64_t address;
    uint32_t size;
    bool writable;
  };

  // A register whose value depends on who reads it (a link's own number, say), as one reader
  // sees it.
  struct Seen {
    uint64_t address;
    uint64_t value;
  };

  // value is padded with zeros or cut to size. Registers do not overlap.
  void Add(uint64_t address, uint32_t size, bool writable, std::vector<uint8_t> value);
  void AddNumber(uint64_t address, uint32_t size, bool writable, uint64_t value);
  // A text ends with a zero byte within its register.
  void AddText(uint64_t address, uint32_t size, bool writable, const std::string& text);

  // The registers that cover [address, address + length) without a gap, by address; empty if
  // none do. An empty range is covered by the register that holds its address.
  std::vector<const Register*> Covering(uint64_t address, size_t length) const;
  // Fills bytes from the registers that cover them; false if none do.
  bool Read(uint64_t address, uint8_t* bytes, size_t length,
            std::optional<Seen> seen = std::nullopt) const;
  // Stores the part of bytes, written from address on, that falls into reg.
  void Store(const Register& reg, uint64_t address, const uint8_t* bytes, size_t length);

  bool Has(uint64_t address) const { return values_.count(address) != 0; }
  uint64_t Number(uint64_t address) const;
  void SetNumber(uint64_t address, uint64_t value);

 private:
  std::vector<Register> registers_;  // by address
  std::map<uint64_t, std::vector<uint8_t>> values_;
};

}  // namespace vesk::sim

#endif
