#include "templates/platform/InterProcessLock.h"

#include <fcntl.h>
#include <grp.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace vesk::templates::platform {
namespace {

// Semaphore names are kept in buffers of this size, terminator included.
constexpr int kNameSize = 252;

std::string FormatName(const char* format, const char* text, unsigned long long number,
                       const char* tooLong) {
  char name[kNameSize];
  int length = std::snprintf(name, sizeof name, format, text, number);
  if (length < 0) throw std::logic_error("Lock name is invalid (encoding error)");
  if (length >= kNameSize) throw std::logic_error(tooLong);
  return name;
}

std::string FileName(const std::string& semaphoreName) { return "sem." + semaphoreName.substr(1); }

// Created semaphores are shared with the group, whatever the process's umask.
sem_t* CreateSemaphore(const std::string& name, unsigned int value) {
  mode_t previous = umask(2);
  sem_t* semaphore = sem_open(name.c_str(), O_CREAT | O_RDWR, 0660, value);
  umask(previous);
  return semaphore == SEM_FAILED ? nullptr : semaphore;
}

sem_t* OpenSemaphore(const std::string& name) {
  sem_t* semaphore = sem_open(name.c_str(), O_RDWR);
  return semaphore == SEM_FAILED ? nullptr : semaphore;
}

void Post(sem_t* semaphore) {
  if (semaphore) sem_post(semaphore);
}

void TryWait(sem_t* semaphore) {
  if (!semaphore) return;
  while (sem_trywait(semaphore) != 0 && errno == EINTR) {
  }
}

// Whether the semaphore still has a count, which stays as it was.
bool HasCount(sem_t* semaphore) {
  if (!semaphore || sem_trywait(semaphore) != 0) return false;
  Post(semaphore);
  return true;
}

void Close(sem_t* semaphore) {
  if (semaphore) sem_close(semaphore);
}

}  // namespace

InterProcessLock::InterProcessLock(const char* name, bool recursive) : GenericLock(recursive) {
  if (std::strchr(name, '/')) throw std::runtime_error("Semaphore name is invalid");
  main_.name = FormatName("/%s", name, 0, "Lock name is too long");
  if (recursive) {
    auto self = static_cast<unsigned long long>(pthread_self());
    // Two blanks: the message has always read so.
    thread_.name = FormatName("%s_%08llX", main_.name.c_str(), self, "Lock  name is too long");
    counting_.name = FormatName("%s_c", main_.name.c_str(), 0, "Lock  name is too long");
  }
  OpenMainSemaphore();
  if (!main_.handle) return;
  try {
    OpenRest();
  } catch (const std::runtime_error& error) {
    CloseAfterFailure();
    throw error;
  }
}

void InterProcessLock::OpenMainSemaphore() {
  main_.handle = OpenSemaphore(main_.name);
  if (main_.handle) {
    Post(main_.handle);  // one more user
    return;
  }
  main_.handle = CreateSemaphore(main_.name, 1);
  main_.created = main_.handle != nullptr;
}

void InterProcessLock::OpenRest() {
  FindFiles();
  if (main_.created) GiveToVideoGroup();
  OpenMainFile();
  if (isRecursive()) OpenThreadSemaphores();
}

void InterProcessLock::FindFiles() {
  std::string directory = "/dev/shm/";
  if (access((directory + FileName(main_.name)).c_str(), F_OK) != 0) {
    directory = "/var/";
    if (access((directory + FileName(main_.name)).c_str(), F_OK) != 0) {
      throw std::runtime_error("Error: Semaphore path is invalid.");
    }
  }
  for (Semaphore* semaphore : {&main_, &thread_, &counting_}) {
    if (!semaphore->name.empty()) semaphore->path = directory + FileName(semaphore->name);
  }
}

// The frame-grabber users of a machine share the group "video"; a failure only narrows who can
// use the lock.
void InterProcessLock::GiveToVideoGroup() const {
  const group* video = getgrnam("video");
  if (!video) {
    std::fprintf(stderr, "Warning: Cannot resolve group 'video'.\n");
    return;
  }
  if (chown(main_.path.c_str(), static_cast<uid_t>(-1), video->gr_gid) != 0) {
    std::fprintf(stderr, "Warning: Cannot change group of %s to 'video'.\n", main_.path.c_str());
  }
}

void InterProcessLock::OpenMainFile() {
  fd_ = open(main_.path.c_str(), O_RDWR);
  if (fd_ < 0) {
    std::fprintf(stderr, "Error: Cannot open file %s (Error: %d).\n", main_.path.c_str(), errno);
    throw std::runtime_error("can not open the requested semaphore");
  }
}

void InterProcessLock::OpenThreadSemaphores() {
  thread_.handle = OpenSemaphore(thread_.name);
  if (!thread_.handle) {
    thread_.handle = CreateSemaphore(thread_.name, 0);
    if (!thread_.handle) throw std::runtime_error("can not open/create the requested semaphore");
    thread_.created = true;
  }
  counting_.handle = OpenSemaphore(counting_.name);
  if (counting_.handle) {
    Post(counting_.handle);
    return;
  }
  counting_.handle = CreateSemaphore(counting_.name, 1);
  if (!counting_.handle) {
    std::fprintf(stderr, "Error: can not open/create the counting semaphore. (Error: %d)\n", errno);
    return;
  }
  counting_.created = true;
}

void InterProcessLock::CloseAfterFailure() {
  for (Semaphore* semaphore : {&main_, &thread_, &counting_}) {
    if (!semaphore->handle) continue;
    sem_close(semaphore->handle);
    if (semaphore->created) sem_unlink(semaphore->name.c_str());
    semaphore->handle = nullptr;
  }
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
}

// The share is taken off without waiting: while another process ends at the same time, the
// counting semaphore may have been unlinked and made anew, and then this object's share is on a
// semaphore that nobody counts any more. A blocking wait there would wait for ever.
InterProcessLock::~InterProcessLock() {
  TryWait(main_.handle);
  TryWait(counting_.handle);
  bool othersRemain = HasCount(main_.handle) && HasCount(counting_.handle);
  if (fd_ >= 0) close(fd_);
  if (!othersRemain) {
    // The main semaphore stays: its file is what flock works on, and a new file under the same
    // name would split the lock between old and new users.
    if (thread_.handle) sem_unlink(thread_.name.c_str());
    if (counting_.handle) sem_unlink(counting_.name.c_str());
  }
  Close(main_.handle);
  Close(thread_.handle);
  Close(counting_.handle);
}

// A signal must not end a blocking flock with the lock not taken.
void InterProcessLock::LockFile(int operation) {
  while (flock(fd_, operation) != 0 && errno == EINTR) {
  }
}

void InterProcessLock::acquire() {
  if (!isRecursive()) {
    LockFile(LOCK_EX);
    return;
  }
  if (!isAcquired()) LockFile(LOCK_EX);
  Post(thread_.handle);
}

bool InterProcessLock::try_acquire(unsigned int timeoutMs) {
  if (isRecursive() && isAcquired()) {
    Post(thread_.handle);
    return true;
  }
  unsigned int remaining = timeoutMs;
  while (flock(fd_, LOCK_EX | LOCK_NB) != 0) {
    // Only a held lock is worth waiting for; a lock without its file never comes free.
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    if (remaining == 0) return false;
    if (remaining != kForever) remaining -= std::min(1000u, remaining);
    sleep(1);
  }
  if (isRecursive()) Post(thread_.handle);
  return true;
}

void InterProcessLock::release() {
  if (isRecursive()) {
    // A try, not a wait: a release without a level held must not block the caller for ever.
    if (sem_trywait(thread_.handle) == 0 && isAcquired()) return;
  }
  LockFile(LOCK_UN);
}

bool InterProcessLock::isAcquired() { return isRecursive() && HasCount(thread_.handle); }

}  // namespace vesk::templates::platform
