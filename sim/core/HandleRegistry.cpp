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
  // Joining the notifier, when closed goes, waits for a callback that may call in: no lock here.
  closed->board->ReleaseQueueLocksOf(closed.get());
  return 0;
}

std::shared_ptr<Board> HandleRegistry::BoardOf(const PLdevice* device) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = devices_.find(device);
  return found == devices_.end() ? nullptr : found->second->board;
}

int HandleRegistry::SetCallback(PLdevice* device, VHalAsyncNotifyCallback callback,
                                void* userData) {
  std::unique_ptr<Notifier> replaced;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = devices_.find(device);
    if (found == devices_.end()) return VSIM_ERROR_INVALID_HANDLE;
    std::unique_ptr<Notifier>& notifier = found->second->notifier;
    if (notifier && notifier->RunsOnThisThread()) return VSIM_ERROR_BUSY;
    replaced = std::move(notifier);
    if (callback) notifier = std::make_unique<Notifier>(*found->second->board, callback, userData);
  }
  return 0;  // the replaced notifier stops here, outside the lock
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
  for (auto& [handle, device] : devices) device->board->ReleaseQueueLocksOf(device.get());
}

}  // namespace vesk::sim
