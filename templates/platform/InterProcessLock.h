#ifndef VESK_TEMPLATES_PLATFORM_INTER_PROCESS_LOCK_H
#define VESK_TEMPLATES_PLATFORM_INTER_PROCESS_LOCK_H

#include <semaphore.h>

#include <string>

#include "templates/patterns/GenericLock.h"

namespace vesk::templates::platform {

// A lock between processes, by name, so that several processes of the runtime take turns on
// one board. Exclusion is flock on the file of the main POSIX semaphore; the semaphores only
// count: the main and counting ones the users of the name, the thread one the recursion levels
// of the thread that built this object. A holder that dies loses its file and with it the lock.
class InterProcessLock : public patterns::GenericLock {
 public:
  // Throws std::runtime_error for a name with "/" or a semaphore that cannot be opened, and
  // std::logic_error for a name that is too long. If the main semaphore can be neither opened
  // nor created, the object is built without a usable lock and acquire() holds nothing.
  InterProcessLock(const char* name, bool recursive);
  ~InterProcessLock() override;

  void acquire() override;
  // Retries in whole seconds: 1 to 999 ms give one retry after a full second. 0xFFFFFFFF waits
  // for ever.
  bool try_acquire(unsigned int timeoutMs) override;
  void release() override;
  bool isAcquired() override;

  static constexpr unsigned int kForever = 0xFFFFFFFF;

 private:
  struct Semaphore {
    sem_t* handle = nullptr;
    std::string name;  // "/name", as sem_open takes it
    std::string path;  // its file, which the C library keeps in /dev/shm
    bool created = false;
  };

  void OpenMainSemaphore();
  void OpenRest();
  void FindFiles();
  void GiveToVideoGroup() const;
  void OpenMainFile();
  void OpenThreadSemaphores();
  void CloseAfterFailure();
  void LockFile(int operation);

  Semaphore main_;
  Semaphore thread_;
  Semaphore counting_;
  int fd_ = -1;
};

}  // namespace vesk::templates::platform

#endif
