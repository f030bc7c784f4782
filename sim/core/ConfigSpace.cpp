#include "sim/core/ConfigSpace.h"

#include "sim/include/vesk_sim.h"

namespace vesk::sim {

int ConfigSpace::Check(unsigned tag, const void* values, unsigned count) const {
  if (!values || count == 0 || count > kMaxCount) return VSIM_ERROR_INVALID_ARGUMENT;
  return tag == kMdioTag ? 0 : VSIM_ERROR_NOT_SUPPORTED;
}

int ConfigSpace::Access(bool write, unsigned address, unsigned& value) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (std::shared_ptr<const Handler> handler = handler_) {
    lock.unlock();
    return (*handler)(write, address, value);
  }
  if (write) {
    words_[address] = value;
  } else {
    auto found = words_.find(address);
    value = found == words_.end() ? 0 : found->second;
  }
  return 0;
}

int ConfigSpace::Read(unsigned tag, unsigned address, unsigned* values, unsigned count) {
  if (int status = Check(tag, values, count)) return status;
  for (unsigned i = 0; i < count; ++i) {
    if (int status = Access(false, address + i, values[i])) return status;
  }
  return 0;
}

int ConfigSpace::Write(unsigned tag, unsigned address, const unsigned* values, unsigned count) {
  if (int status = Check(tag, values, count)) return status;
  for (unsigned i = 0; i < count; ++i) {
    unsigned value = values[i];
    if (int status = Access(true, address + i, value)) return status;
  }
  return 0;
}

void ConfigSpace::SetHandler(Handler handler) {
  std::lock_guard<std::mutex> lock(mutex_);
  handler_ = handler ? std::make_shared<const Handler>(std::move(handler)) : nullptr;
}

}  // namespace vesk::sim
