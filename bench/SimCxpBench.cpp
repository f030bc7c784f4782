// A 4-byte register read round trip through the simulator alone: the host's writes and reads of
// the board library, the firmware's framing and routing, and the simulated camera's answer from
// its bootstrap registers. Register form (FIFO registers) and queue form (data queues).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "bench/SimBoard.h"
#include "loader/vesk_hal.h"
#include "sim/include/vesk_sim.h"

namespace {

uint32_t Crc(const uint8_t* bytes, size_t size) {
  uint32_t crc = 0xFFFFFFFF;
  for (size_t at = 0; at < size; ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      const bool feedback = ((crc ^ (bytes[at] >> bit)) & 1) != 0;
      crc = (crc >> 1) ^ (feedback ? 0xEDB88320 : 0);
    }
  }
  return crc;
}

// A board of the design with the simulator's camera on port 0, at the speed the ports start at.
std::string Rig(const char* design) {
  return std::string("<rig><board type='2917' ports='4' design='") + design +
         "'/><camera id='cam' speeds='1250'><link board='0' port='0'/></camera></rig>";
}

// The read command of 4 bytes at 0, as the host holds its words.
std::vector<uint32_t> ReadCommand() {
  const uint8_t body[] = {0, 0, 0, 4, 0, 0, 0, 0};
  std::vector<uint32_t> words(2);
  std::memcpy(words.data(), body, sizeof body);
  words.push_back(Crc(body, sizeof body));
  return words;
}

void RegisterForm(benchmark::State& state) {
  SimBoard rig(Rig("cxp-transceiver-regs"));
  const int fifo = rig.Id("CxpTxCmdWriteData_0");
  const int acks = rig.Id("CxpRxCmdAckPacketData_0");
  if (!rig.Ok() || fifo <= 0 || acks <= 0) return state.SkipWithError("no CoaXPress board");
  const std::vector<uint32_t> command = ReadCommand();
  PLdevice* device = rig.Device();
  for (auto _ : state) {
    VHalRegisterWrite(device, fifo, 0x1FBFBFBFBull);
    VHalRegisterWrite(device, fifo, 0x02020202);
    for (uint32_t word : command) VHalRegisterWrite(device, fifo, word);
    VHalRegisterWrite(device, fifo, 0x3FDFDFDFDull);
    uint64_t value = 0;
    int words = 0;
    for (VHalRegisterRead(device, acks, &value); !(value >> 32);
         VHalRegisterRead(device, acks, &value)) {
      ++words;
    }
    if (words != 4) return state.SkipWithError("no acknowledgement");
  }
}
BENCHMARK(RegisterForm);

void QueueForm(benchmark::State& state) {
  SimBoard rig(Rig("cxp-camera-ctrl"));
  if (!rig.Ok()) return state.SkipWithError("no CoaXPress board");
  const std::vector<uint32_t> command = ReadCommand();
  const uint32_t packet[3] = {2, command[0], command[1]};  // the header word, no CRC
  PLdevice* device = rig.Device();
  uint32_t ack[8] = {};
  for (auto _ : state) {
    VHalDataQueueWriteBufferLong(device, 3, packet, sizeof packet, 0);
    if (VHalDataQueueReadBufferLong(device, 0, ack, 4, 0) != 4) {
      return state.SkipWithError("no acknowledgement");
    }
    VHalDataQueueReadBufferLong(device, 0, ack + 1, (ack[0] & 0xFFFF) * 4, 0);
  }
}
BENCHMARK(QueueForm);

}  // namespace

BENCHMARK_MAIN();
