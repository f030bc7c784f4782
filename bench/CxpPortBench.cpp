// CCxpPort's reads against the same packets sent through the simulated runtime by hand: a 4-byte
// register read and a 64 KiB memory read, on the queue form and on a register form. The library's
// share is the difference between a port row and its simulator row.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/SimulatedRuntime.h"
#include "tests/support/TempDir.h"
#include "vesk_genicam/impl/CxpPort.h"
#include "vesk_genicam/impl/Utility.h"

namespace {

constexpr unsigned int kSpeed = 1250;  // where the ports start: no bit rate to set
constexpr unsigned int kPacketSize = 1024;
constexpr unsigned int kChunk = kPacketSize - 32;  // bytes that the port asks for per packet
constexpr unsigned int kMemory = 0x800000;

struct Form {
  const char* design;
  ECXPINTERFACETYPE type;
};
const Form kQueue{"cxp-camera-ctrl", CxpIfCameraCtrl};
const Form kRegisters{"cxp-transceiver-regs", CxpIfTransceiverRegs};

// One board of the form with a camera that serves plain memory on port 0.
class Rig {
 public:
  explicit Rig(const Form& form) : form_(form) {
    std::ofstream(dir_.File("memory.xml")) << "<RegisterDescription ModelName='Memory'/>";
    const std::string text = std::string("<rig><board type='2917' ports='4' design='") +
                             form.design + "'/><camera id='cam' speeds='1250' xmlFile='" +
                             dir_.File("memory.xml") + "' controlPacketSize='" +
                             std::to_string(kPacketSize) +
                             "'><link board='0' port='0'/></camera></rig>";
    ok_ = VSIM(VSimLoadRigText)(text.c_str(), "bench rig") == 0;
    device_ = VHalInitDevice(0);
    design_ = DsnLoadBoardDesign(device_);
  }
  ~Rig() {
    port_.reset();
    DsnFreeDesign(design_);
    VHalFreeDevice(device_);
  }
  bool Ok() const { return ok_ && design_; }
  PLdevice* Device() const { return device_; }
  int Id(const char* name) const { return DsnGetRegisterByName(design_, name); }
  // The port as discovery leaves it: linked, the camera's packet size settled.
  CCxpPort* Port() {
    port_ = std::make_unique<CCxpPort>(0, form_.type, device_, design_);
    if (port_->LockLinksAtSpeed(kSpeed) != 0) return nullptr;
    port_->SaveCameraInfo();
    return port_->GetMaxControlPacketSize() == kPacketSize ? port_.get() : nullptr;
  }

 private:
  const Form form_;
  vesk::test::TempDir dir_;
  bool ok_ = false;
  PLdevice* device_ = nullptr;
  fpga_design* design_ = nullptr;
  std::unique_ptr<CCxpPort> port_;
};

// A read command as the host holds its words: command word and address.
std::vector<uint32_t> ReadCommand(uint32_t address, uint32_t bytes) {
  const uint8_t body[] = {0,
                          static_cast<uint8_t>(bytes >> 16),
                          static_cast<uint8_t>(bytes >> 8),
                          static_cast<uint8_t>(bytes),
                          static_cast<uint8_t>(address >> 24),
                          static_cast<uint8_t>(address >> 16),
                          static_cast<uint8_t>(address >> 8),
                          static_cast<uint8_t>(address)};
  std::vector<uint32_t> words(2);
  std::memcpy(words.data(), body, sizeof body);
  return words;
}

// Read packets sent by hand, as the port sends them, with the ids looked up once.
class RawChannel {
 public:
  explicit RawChannel(Rig& rig)
      : device_(rig.Device()),
        fifo_(rig.Id("CxpTxCmdWriteData_0")),
        acks_(rig.Id("CxpRxCmdAckPacketData_0")) {}

  // False when no acknowledgement came.
  bool Read(uint32_t address, uint32_t bytes) {
    const std::vector<uint32_t> command = ReadCommand(address, bytes);
    return fifo_ > 0 ? ReadThroughRegisters(command) : ReadThroughQueues(command);
  }

 private:
  bool ReadThroughQueues(const std::vector<uint32_t>& command) {
    const uint32_t packet[3] = {2, command[0], command[1]};
    VHalDataQueueWriteBufferLong(device_, 3, packet, sizeof packet, 0);
    while (VHalDataQueueGetNrOfWords(device_, 0) == 0) {
    }
    uint32_t length = 0;
    if (VHalDataQueueReadBufferLong(device_, 0, &length, 4, 0) != 4) return false;
    ack_.resize(length & 0xFFFF);
    const auto size = static_cast<unsigned int>(ack_.size() * 4);
    return VHalDataQueueReadBufferLong(device_, 0, ack_.data(), size, 100) ==
           static_cast<int>(size);
  }
  bool ReadThroughRegisters(const std::vector<uint32_t>& command) {
    const uint32_t words[3] = {0x02020202, command[0], command[1]};
    VHalRegisterWrite(device_, fifo_, 0x1FBFBFBFBull);
    for (uint32_t word : words) VHalRegisterWrite(device_, fifo_, word);
    VHalRegisterWrite(device_, fifo_, CUtility::CalcualteCRC(words + 1, 2));
    VHalRegisterWrite(device_, fifo_, 0x3FDFDFDFDull);
    ack_.clear();
    for (uint64_t value = 1ull << 33; !(value & (1ull << 32));) {
      VHalRegisterRead(device_, acks_, &value);
      if (!(value >> 32)) ack_.push_back(static_cast<uint32_t>(value));
    }
    return !ack_.empty();
  }

  PLdevice* const device_;
  const int fifo_;
  const int acks_;
  std::vector<uint32_t> ack_;
};

void PortRead(benchmark::State& state, const Form& form, unsigned int bytes) {
  Rig rig(form);
  CCxpPort* port = rig.Ok() ? rig.Port() : nullptr;
  if (!port) return state.SkipWithError("no linked CoaXPress port");
  std::vector<unsigned char> buffer(bytes);
  for (auto _ : state) {
    if (port->ReadPacket(kMemory, buffer.data(), bytes, 200) != 0)
      return state.SkipWithError("read failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes);
}

void SimulatorRead(benchmark::State& state, const Form& form, unsigned int bytes) {
  Rig rig(form);
  if (!rig.Ok() || !rig.Port()) return state.SkipWithError("no linked CoaXPress port");
  RawChannel channel(rig);
  for (auto _ : state) {
    for (unsigned int done = 0; done < bytes; done += kChunk) {
      if (!channel.Read(kMemory + done, std::min(kChunk, bytes - done)))
        return state.SkipWithError("no acknowledgement");
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes);
}

BENCHMARK_CAPTURE(PortRead, Register4Queue, kQueue, 4);
BENCHMARK_CAPTURE(SimulatorRead, Register4Queue, kQueue, 4);
BENCHMARK_CAPTURE(PortRead, Register4Registers, kRegisters, 4);
BENCHMARK_CAPTURE(SimulatorRead, Register4Registers, kRegisters, 4);
BENCHMARK_CAPTURE(PortRead, Memory64KQueue, kQueue, 64 << 10);
BENCHMARK_CAPTURE(SimulatorRead, Memory64KQueue, kQueue, 64 << 10);
BENCHMARK_CAPTURE(PortRead, Memory64KRegisters, kRegisters, 64 << 10);
BENCHMARK_CAPTURE(SimulatorRead, Memory64KRegisters, kRegisters, 64 << 10);

}  // namespace

BENCHMARK_MAIN();
