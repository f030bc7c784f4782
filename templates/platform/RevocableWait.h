#ifndef VESK_TEMPLATES_PLATFORM_REVOCABLE_WAIT_H
#define VESK_TEMPLATES_PLATFORM_REVOCABLE_WAIT_H

#include <condition_variable>
#include <mutex>

namespace vesk::templates::platform {

// A timed wait that another thread can cut short. Once revoked, every wait returns at once
// until the owner resets it.
class RevocableWait {
 public:
  void RevocableWaitFor(unsigned int ms);
  void Revoke();
  void Reset();
  // For polls that do not wait on the condition.
  bool IsRevoked();

 private:
  bool revoked_ = false;
  std::mutex mutex_;
  std::condition_variable revokedChanged_;
};

}  // namespace vesk::templates::platform

#endif
