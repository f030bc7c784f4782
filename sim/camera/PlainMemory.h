#ifndef VESK_SIM_CAMERA_PLAIN_MEMORY_H
#define VESK_SIM_CAMERA_PLAIN_MEMORY_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace vesk::sim {

// Register memory without features, behind a camera that serves a given XML file: the whole
// 32-bit address space reads as zeros until written. Memory is taken page by page on writes.
// Not thread-safe: the camera serialises the calls.
class PlainMemory {
 public:
  static constexpr uint64_t kSize = 1ULL << 32;

  // False for a range that leaves the address space.
  bool Read(uint64_t address, uint8_t* bytes, size_t length) const;
  bool Write(uint64_t address, const uint8_t* bytes, size_t length);

 private:
  static constexpr uint64_t kPageSize = 4096;
  using Page = std::array<uint8_t, kPageSize>;

  std::unordered_map<uint64_t, Page> pages_;
};

}  // namespace vesk::sim

#endif
