#include "templates/platform/RecursiveMutex.h"

namespace vesk::templates::platform {

RecursiveMutex::RecursiveMutex() {
  pthread_mutexattr_init(&attributes_);
  pthread_mutexattr_settype(&attributes_, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&mutex_, &attributes_);
}

RecursiveMutex::~RecursiveMutex() {
  pthread_mutex_destroy(&mutex_);
  pthread_mutexattr_destroy(&attributes_);
}

void RecursiveMutex::Lock() {
  pthread_mutex_lock(&mutex_);
  ++holders_;
}

void RecursiveMutex::Unlock() {
  --holders_;
  pthread_mutex_unlock(&mutex_);
}

}  // namespace vesk::templates::platform
