#ifndef VESK_LOADER_LIBRARY_INIT_CONTROLLER_H
#define VESK_LOADER_LIBRARY_INIT_CONTROLLER_H

#include <atomic>
#include <cstdint>
#include <list>

#include "loader/GuardedSingleton.h"

namespace vesk::loader {

// Counts the users of a library. The first user creates the instance; when the last one leaves,
// the close functions run from the front of their list, then every registered singleton is torn
// down. The guard is a spin lock, recursive per thread, so that a close function may call back.
//
// One controller serves libvesk_genicam.so itself (VeskGenICamInit) and one each library the
// loaders open. With VESK_INIT_TRACE set in the environment each step prints a line on stdout.
class LibraryInitController {
 public:
  using Closer = void (*)();

  LibraryInitController() = default;
  LibraryInitController(const LibraryInitController&) = delete;
  LibraryInitController& operator=(const LibraryInitController&) = delete;

  // Adds a user; returns the new count.
  uint32_t AddUser();
  // If an instance exists, puts close at the front of the close functions, then calls open, all
  // under the guard: the close is registered before the open is tried.
  void AddCloserAndOpen(Closer close, void (*open)());
  // The singleton is torn down with the instance. Creates the instance if none exists, so that a
  // library used without any user is still released after the next user leaves.
  void Register(GuardedSingletonBase* singleton);
  // Removes a user; the last one closes and tears down. Unmatched calls wrap the count.
  void RemoveUser();

  uint32_t GetUseCount() const { return useCount_.load(); }

 private:
  struct Instance {
    std::list<Closer> closers;
    std::list<GuardedSingletonBase*> singletons;
  };

  void CreateInstanceLocked();

  Instance* instance_ = nullptr;
  std::atomic<uint32_t> useCount_{0};
  std::atomic<uint64_t> owner_{0};
  std::atomic<uint32_t> spin_{0};
};

}  // namespace vesk::loader

#endif
