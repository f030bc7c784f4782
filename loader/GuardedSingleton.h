#ifndef VESK_LOADER_GUARDED_SINGLETON_H
#define VESK_LOADER_GUARDED_SINGLETON_H

#include <atomic>
#include <cstdint>
#include <memory>

#include "templates/platform/SpinLockVariableGuard.h"

namespace vesk::loader {

// What a LibraryInitController tears down when its last user leaves.
class GuardedSingletonBase {
 public:
  virtual ~GuardedSingletonBase() = default;
  // Destroys the instance; the next Get() builds a new one.
  virtual void Teardown() = 0;
};

// A lazily built T (default constructible, with a Build() step). Building is guarded by a spin
// flag that is recursive per thread: T::Build may call back into Get() on the building thread and
// then receives the half-built instance.
template <class T>
class GuardedSingleton final : public GuardedSingletonBase {
 public:
  GuardedSingleton() = default;
  ~GuardedSingleton() override { Teardown(); }

  // onBuilt, if given, is called once per build, after the build, outside the guard.
  T* Get(void (*onBuilt)(GuardedSingletonBase*) = nullptr) {
    if (T* built = instance_.load(std::memory_order_acquire)) return built;
    {
      templates::platform::SpinLockVariableGuard guard(&spin_, &owner_);
      if (!guard.IsAcquired()) return halfBuilt_;
      if (T* built = instance_.load(std::memory_order_acquire)) return built;
      auto made = std::make_unique<T>();
      halfBuilt_ = made.get();
      made->Build();
      halfBuilt_ = nullptr;
      instance_.store(made.release(), std::memory_order_release);
    }
    if (onBuilt) onBuilt(this);
    return instance_.load(std::memory_order_acquire);
  }

  void Teardown() override {
    templates::platform::SpinLockVariableGuard guard(&spin_, &owner_);
    delete instance_.exchange(nullptr, std::memory_order_acq_rel);
  }

 private:
  std::atomic<T*> instance_{nullptr};
  T* halfBuilt_ = nullptr;
  std::atomic<uint64_t> owner_{0};
  std::atomic<uint32_t> spin_{0};
};

}  // namespace vesk::loader

#endif
