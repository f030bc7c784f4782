#include "templates/platform/RevocableWait.h"

#include <chrono>

namespace vesk::templates::platform {

void RevocableWait::RevocableWaitFor(unsigned int ms) {
  std::unique_lock<std::mutex> lock(mutex_);
  auto deadline = std::chrono::system_clock::now() + std::chrono::milliseconds(ms);
  revokedChanged_.wait_until(lock, deadline, [this] { return revoked_; });
}

void RevocableWait::Revoke() {
  std::lock_guard<std::mutex> lock(mutex_);
  revoked_ = true;
  revokedChanged_.notify_all();
}

void RevocableWait::Reset() {
  std::lock_guard<std::mutex> lock(mutex_);
  revoked_ = false;
}

bool RevocableWait::IsRevoked() {
  std::lock_guard<std::mutex> lock(mutex_);
  return revoked_;
}

}  // namespace vesk::templates::platform
