#include "loader/LibraryInitController.h"

#include <cstdlib>
#include <iostream>

#include "templates/platform/SpinLockVariableGuard.h"

namespace vesk::loader {

using templates::platform::SpinLockVariableGuard;

namespace {

// The debug switch: off unless a developer asks for the start and stop lines.
bool TraceEnabled() {
  static const bool enabled = [] {
    const char* value = std::getenv("VESK_INIT_TRACE");
    return value && *value && *value != '0';
  }();
  return enabled;
}

}  // namespace

void LibraryInitController::CreateInstanceLocked() {
  if (instance_) return;
  instance_ = new Instance();
  if (TraceEnabled()) {
    std::cout << "LibraryInitController [Create ] - Instance: " << instance_ << std::endl;
  }
}

uint32_t LibraryInitController::AddUser() {
  SpinLockVariableGuard guard(&spin_, &owner_);
  const uint32_t count = ++useCount_;
  if (count == 1) CreateInstanceLocked();
  if (TraceEnabled()) {
    std::cout << "LibraryInitController [Init   ] - Instance: " << instance_
              << " - Use Count: " << count << std::endl;
  }
  return count;
}

void LibraryInitController::AddCloserAndOpen(Closer close, void (*open)()) {
  SpinLockVariableGuard guard(&spin_, &owner_);
  if (!instance_) return;
  instance_->closers.push_front(close);
  open();
}

void LibraryInitController::Register(GuardedSingletonBase* singleton) {
  SpinLockVariableGuard guard(&spin_, &owner_);
  CreateInstanceLocked();
  instance_->singletons.push_back(singleton);
}

void LibraryInitController::RemoveUser() {
  SpinLockVariableGuard guard(&spin_, &owner_);
  if (TraceEnabled()) {
    std::cout << "LibraryInitController [Deinit ] - Instance: " << instance_
              << " - Use Count: " << useCount_ - 1 << std::endl;
  }
  if (useCount_.fetch_sub(1) != 1) return;
  if (!instance_) return;
  for (Closer close : instance_->closers) close();
  for (GuardedSingletonBase* singleton : instance_->singletons) singleton->Teardown();
  if (TraceEnabled()) {
    std::cout << "LibraryInitController [Destroy] - Instance: " << instance_ << std::endl;
  }
  delete instance_;
  instance_ = nullptr;
}

}  // namespace vesk::loader
