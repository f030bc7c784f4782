#include "sim/core/HandleRegistry.h"

#include "sim/include/vesk_sim.h"

namespace vesk::sim {

PLdevice* HandleRegistry::OpenDevice(std::shared_ptr<Board> board) {
  auto device = std::make_unique<PLdevice>();
  device->board = std::move(board);
  PLdevice* handle = device.get();
  std::lock_guard<std::mutex> lock(mutex_);
  devices_.emplace(handle, std::move(device));
  return handle;
}

int HandleRegistry::CloseDevice(PLdevice* device) {
  std::unique_ptr<PLdevice> closed;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = devices_.find(device);
    if (found == devices_.end()) return VSIM_ERROR_INVALID_HANDLE;
    if (found->second->notifier && found->second->notifier->RunsOnThisThread()) {
      return VSIM_ERROR_BUSY;
    }
    closed = std::move(found->second);
    devices_.erase(found);
  }
  Release(*closed);
  return 0;
}

// Joining the notifier waits for a callback that may call in: no lock here. Another thread
// removing a callback may still hold the notifier, so it is stopped rather than let go.
void HandleRegistry::Release(PLdevice& closed) {
  if (closed.notifier) closed.notifier->Stop();
  closed.board->ReleaseQueueLocksOf(&closed);
}

std::shared_ptr<Board> HandleRegistry::BoardOf(const PLdevice* device) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = devices_.find(device);
  return found == devices_.end() ? nullptr : found->second->board;
}

int HandleRegistry::AddCallback(PLdevice* device, VHalAsyncNotifyCallback callback,
                                void* userData) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = devices_.find(device);
  if (found == devices_.end()) return VSIM_ERROR_INVALID_HANDLE;
  if (!callback) return VSIM_ERROR_INVALID_ARGUMENT;
  std::shared_ptr<Notifier>& notifier = found->second->notifier;
  if (!notifier) notifier = std::make_shared<Notifier>(*found->second->board);
  notifier->Add(callback, userData);
  return 0;
}

int HandleRegistry::RemoveCallback(PLdevice* device, VHalAsyncNotifyCallback callback,
                                   void* userData) {
  std::shared_ptr<Notifier> notifier;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = devices_.find(device);
    if (found == devices_.end()) return VSIM_ERROR_INVALID_HANDLE;
    notifier = found->second->notifier;
    // On its own thread the handle's reference must stay the last: the thread cannot join itself.
    if (notifier && notifier->RunsOnThisThread()) {
      return notifier->Remove(callback, userData) ? 0 : VSIM_ERROR_INVALID_ARGUMENT;
    }
  }
  // Waiting for a running callback, which may call in, holds no lock.
  return notifier && notifier->Remove(callback, userData) ? 0 : VSIM_ERROR_INVALID_ARGUMENT;
}

fpga_design* HandleRegistry::OpenDesign(const PLdevice* device) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = devices_.find(device);
  if (found == devices_.end()) return nullptr;
  auto design = std::make_unique<fpga_design>();
  design->board = found->second->board;
  fpga_design* handle = design.get();
  designs_.emplace(handle, std::move(design));
  return handle;
}

int HandleRegistry::CloseDesign(fpga_design* design) {
  std::lock_guard<std::mutex> lock(mutex_);
  return designs_.erase(design) ? 0 : VSIM_ERROR_INVALID_HANDLE;
}

std::shared_ptr<Board> HandleRegistry::BoardOfDesign(const fpga_design* design) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = designs_.find(design);
  return found == designs_.end() ? nullptr : found->second->board;
}

std::shared_ptr<Board> HandleRegistry::BoardOfEither(const void* handle) const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (auto device = devices_.find(handle); device != devices_.end()) return device->second->board;
  if (auto design = designs_.find(handle); design != designs_.end()) return design->second->board;
  return nullptr;
}

bool HandleRegistry::Empty() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return devices_.empty() && designs_.empty();
}

void HandleRegistry::CloseAll() {
  std::map<const void*, std::unique_ptr<PLdevice>> devices;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    devices.swap(devices_);
    designs_.clear();
  }
  for (auto& [handle, device] : devices) Release(*device);
}

}  // namespace vesk::sim
