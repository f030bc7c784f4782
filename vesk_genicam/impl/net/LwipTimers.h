#ifndef VESK_GENICAM_IMPL_NET_LWIPTIMERS_H
#define VESK_GENICAM_IMPL_NET_LWIPTIMERS_H

#include <cstdint>
#include <mutex>
#include <vector>

// lwIP's cyclic timers, driven by the passes of the ports' ready threads instead of
// sys_check_timeouts. All ports share one table and one time of the last pass, so each pass
// adds only the time since any thread's last one: together the passes count real time.
class CLwipTimers {
 public:
  struct Timer {
    uint32_t elapsedMs;
    uint32_t periodMs;
    void (*function)();
  };

  explicit CLwipTimers(std::vector<Timer> timers);

  // The table of the process: TCP fast and slow, ARP, IGMP, IP reassembly, AutoIP. DHCP runs
  // without its timers.
  static CLwipTimers& Shared();

  // One pass at `nowMs`, a millisecond clock that may wrap: each timer whose elapsed time
  // exceeds its period fires once. A time before the last pass (a thread that was overtaken)
  // adds nothing; the first pass only starts the clock.
  void Advance(uint32_t nowMs);

 private:
  std::mutex mutex_;
  std::vector<Timer> timers_;
  bool started_ = false;
  uint32_t lastMs_ = 0;
};

#endif
