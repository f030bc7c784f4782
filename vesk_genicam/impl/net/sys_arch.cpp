// The operating-system side that lwIP needs without an OS layer: time, randomness, assertions and
// the critical section around its memory pools.
#include <pthread.h>
#include <sys/random.h>
#include <time.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <string>

#include "lwip/sys.h"
#include "tools/logging/ClassLogger.h"

namespace {

vesk::tools::logging::ClassLogger g_logger{"vesk.genicam.lwip"};

// Not a thread id that pthread_self gives.
constexpr unsigned long kNoOwner = 0xDEAD;

// lwIP calls protect from inside protected code (a pbuf freed while a pool is held), so the
// section is recursive; the owner word says whether this thread is already in.
std::mutex g_protectMutex;
std::atomic<unsigned long> g_protectOwner{kNoOwner};
unsigned int g_protectDepth = 0;

timespec Monotonic() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now;
}

}  // namespace

extern "C" {

u32_t sys_now(void) {
  const timespec now = Monotonic();
  return static_cast<u32_t>(static_cast<uint64_t>(now.tv_sec) * 1000 +
                            static_cast<uint64_t>(now.tv_nsec) / 1000000);
}

u32_t sys_jiffies(void) {
  const timespec now = Monotonic();
  return static_cast<u32_t>(static_cast<uint64_t>(now.tv_sec) * 1000000000 +
                            static_cast<uint64_t>(now.tv_nsec));
}

void sys_init(void) {}

sys_prot_t sys_arch_protect(void) {
  const unsigned long self = pthread_self();
  if (g_protectOwner.load() == self) {
    ++g_protectDepth;
    return 0;
  }
  g_protectMutex.lock();
  g_protectOwner.store(self);
  g_protectDepth = 1;
  return 0;
}

void sys_arch_unprotect(sys_prot_t) {
  if (g_protectOwner.load() != pthread_self()) return;
  if (--g_protectDepth > 0) return;
  g_protectOwner.store(kNoOwner);
  g_protectMutex.unlock();
}

// DHCP transaction ids, AutoIP addresses and first local ports; the application's rand()
// sequence stays untouched.
uint32_t vesk_lwip_rand(void) {
  uint32_t value = 0;
  if (getrandom(&value, sizeof value, GRND_NONBLOCK) != sizeof value) {
    value = sys_jiffies() ^ static_cast<uint32_t>(pthread_self());
  }
  return value;
}

// lwIP asserts only its own invariants; past a broken one its memory cannot be trusted.
void vesk_lwip_assert(const char* message, const char* file, int line) {
  g_logger.Line(5, [&] {
    return std::string("lwIP assertion \"") + message + "\" failed at " + file + ":" +
           std::to_string(line);
  });
  std::abort();
}

}  // extern "C"
