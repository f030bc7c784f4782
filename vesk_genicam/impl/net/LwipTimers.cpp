#include "vesk_genicam/impl/net/LwipTimers.h"

#include <utility>

#include "lwip/autoip.h"
#include "lwip/etharp.h"
#include "lwip/igmp.h"
#include "lwip/ip4_frag.h"
#include "lwip/priv/tcp_priv.h"

CLwipTimers::CLwipTimers(std::vector<Timer> timers) : timers_(std::move(timers)) {}

CLwipTimers& CLwipTimers::Shared() {
  static CLwipTimers shared({{0, 250, tcp_fasttmr},
                             {0, 500, tcp_slowtmr},
                             {0, ARP_TMR_INTERVAL, etharp_tmr},
                             {0, IGMP_TMR_INTERVAL, igmp_tmr},
                             {0, IP_TMR_INTERVAL, ip_reass_tmr},
                             {0, AUTOIP_TMR_INTERVAL, autoip_tmr}});
  return shared;
}

void CLwipTimers::Advance(uint32_t nowMs) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!started_) {
    started_ = true;
    lastMs_ = nowMs;
    return;
  }
  // Modulo 2^32, so a wrap of the clock is an ordinary step forward.
  const auto delta = static_cast<int32_t>(nowMs - lastMs_);
  if (delta <= 0) return;
  lastMs_ = nowMs;
  for (Timer& timer : timers_) {
    timer.elapsedMs += static_cast<uint32_t>(delta);
    if (timer.elapsedMs > timer.periodMs) {
      timer.function();
      timer.elapsedMs -= timer.periodMs;
    }
  }
}
