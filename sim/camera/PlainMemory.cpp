#include "sim/camera/PlainMemory.h"

#include <algorithm>
#include <cstring>

namespace vesk::sim {

namespace {

bool Inside(uint64_t address, size_t length) {
  return address <= PlainMemory::kSize && length <= PlainMemory::kSize - address;
}

}  // namespace

bool PlainMemory::Read(uint64_t address, uint8_t* bytes, size_t length) const {
  if (!Inside(address, length)) return false;
  for (size_t done = 0; done < length;) {
    const uint64_t at = address + done;
    const uint64_t offset = at % kPageSize;
    const size_t count = static_cast<size_t>(std::min<uint64_t>(length - done, kPageSize - offset));
    const auto page = pages_.find(at / kPageSize);
    if (page == pages_.end()) {
      std::memset(bytes + done, 0, count);
    } else {
      std::memcpy(bytes + done, page->second.data() + offset, count);
    }
    done += count;
  }
  return true;
}

bool PlainMemory::Write(uint64_t address, const uint8_t* bytes, size_t length) {
  if (!Inside(address, length)) return false;
  for (size_t done = 0; done < length;) {
    const uint64_t at = address + done;
    const uint64_t offset = at % kPageSize;
    const size_t count = static_cast<size_t>(std::min<uint64_t>(length - done, kPageSize - offset));
    // try_emplace value-initialises a new page: zeros.
    Page& page = pages_.try_emplace(at / kPageSize).first->second;
    std::memcpy(page.data() + offset, bytes + done, count);
    done += count;
  }
  return true;
}

}  // namespace vesk::sim
