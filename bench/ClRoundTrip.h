#ifndef VESK_BENCH_CL_ROUND_TRIP_H
#define VESK_BENCH_CL_ROUND_TRIP_H

#include "loader/vesk_hal.h"
#include "tests/unit/sim/ClWire.h"

// One GenCP command and its answer of answerSize bytes through a Camera Link serial channel, as
// the port makes it, by hand: the queues cleared, the frame written and flushed, the answer read
// as it comes. False when the whole answer did not come.
inline bool ClRawRoundTrip(PLdevice* device, int rx, int tx,
                           const vesk::sim::clwire::Bytes& request, int answerSize) {
  unsigned char answer[256];
  VHalDataQueueClear(device, rx);
  VHalDataQueueClear(device, tx);
  VHalDataQueueWriteBuffer(device, tx, request.data(), static_cast<unsigned>(request.size()), 100);
  VHalDataQueueFlush(device, tx);
  int got = VHalDataQueueReadBuffer(device, rx, answer, 1, 1000);
  while (got > 0 && got < answerSize) {
    const int waiting = VHalDataQueueGetNrOfWords(device, rx);
    if (waiting < 1) break;
    got += VHalDataQueueReadBuffer(device, rx, answer + got, static_cast<unsigned>(waiting), 0);
  }
  return got == answerSize;
}

#endif
