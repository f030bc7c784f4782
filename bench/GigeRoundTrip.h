#ifndef VESK_BENCH_GIGE_ROUND_TRIP_H
#define VESK_BENCH_GIGE_ROUND_TRIP_H

// A GVCP READREG frame as the host writes it into a simulated GigE port, and the answer taken
// out of the port's receive queue, as the benchmarks of the simulator and of the port send them.
#include <cstdint>
#include <vector>

#include "loader/vesk_hal.h"
#include "tests/unit/sim/GigeWire.h"

// READREG of one register by broadcast, padded to the least frame, as 16-bit halves.
inline std::vector<uint32_t> GigeReadRegHalves(uint32_t address) {
  using namespace vesk::sim::gige;
  Datagram datagram;
  datagram.payload = Gvcp(0x80, Words({address}), 1);
  Bytes frame = Udp(datagram);
  frame.resize(60, 0);
  std::vector<uint32_t> halves;
  for (size_t i = 0; i < frame.size(); i += 2) halves.push_back(frame[i] | frame[i + 1] << 8);
  return halves;
}

// Reads the answer's header word and the words behind it; false when none came in the time.
inline bool GigeTakeAnswer(PLdevice* device, int queue, bool countsWholeWords,
                           unsigned int timeoutMs) {
  uint32_t header = 0;
  if (VHalDataQueueReadBufferLong(device, queue, &header, 4, timeoutMs) != 4) return false;
  uint32_t words[512];
  const uint32_t count = countsWholeWords ? (header & 0xFFFF) + ((header >> 16) ? 1 : 0) : header;
  if (count > 512) return false;
  return VHalDataQueueReadBufferLong(device, queue, words, count * 4, timeoutMs) ==
         static_cast<int>(count * 4);
}

#endif
