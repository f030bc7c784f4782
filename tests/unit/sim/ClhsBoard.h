#ifndef VESK_TESTS_UNIT_SIM_CLHS_BOARD_H
#define VESK_TESTS_UNIT_SIM_CLHS_BOARD_H

// A simulated Camera Link HS board opened through the board library, with the host's side of the
// X-Core command FIFOs done the way a port does it: every wait bounded.
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "loader/vesk_hal.h"
#include "sim/include/vesk_sim.h"
#include "tests/unit/sim/ClhsWire.h"
#include "tests/unit/sim/SimBoardRegisters.h"

namespace vesk::sim {

class ClhsBoard : public ::testing::Test, protected SimBoardRegisters {
 public:
  // A camera with a link on each port given ('-' for none), in link order, on board 0.
  static std::string Camera(const std::string& ports, const std::string& attributes = "") {
    std::string text = "<camera id='cam" + ports + "' speeds='10312' " + attributes + ">";
    for (char port : ports) {
      text += port == '-' ? "<link/>" : "<link board='0' port='" + std::string(1, port) + "'/>";
    }
    return text + "</camera>";
  }

 protected:
  using Clock = std::chrono::steady_clock;

  static constexpr uint64_t kSend = 2 << 6 | 1;  // the command channel, subchannel 0

  void TearDown() override { Close(); }

  // Board 0 of the design with cameras, the given text of <camera> elements.
  void Load(const std::string& design, const std::string& cameras, unsigned ports = 2,
            const std::string& board = "") {
    const std::string rig = "<rig><board type='2657' ports='" + std::to_string(ports) +
                            "' design='" + design + "' " + board + "/>" + cameras + "</rig>";
    Open(rig.c_str(), 0);
  }

  // Board index of the built-in rig, or of rig when given.
  void Open(const char* rig, int index) {
    Close();
    ASSERT_EQ(rig ? VSimLoadRigText(rig, "clhs rig") : VSimLoadDefaultRig(), 0);
    device_ = VHalInitDevice(index);
    ASSERT_NE(device_, nullptr);
    design_ = VSimDesignLoad(device_);
    ASSERT_NE(design_, nullptr);
  }

  static std::string At(const char* prefix, unsigned n) { return prefix + std::to_string(n); }

  // Pushes the words and sends them; the transmit status after.
  uint64_t Send(unsigned channel, const clhswire::Words& words) {
    for (uint32_t word : words) Write(At("ClhsTxCmdData_", channel), word);
    Write(At("ClhsTxCmdCommand_", channel), kSend);
    return Read(At("ClhsTxCmdStatus_", channel));
  }

  // The words of the next acknowledge within timeoutMs; empty when none came.
  std::optional<clhswire::Words> Receive(unsigned channel, unsigned timeoutMs = 100) {
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    uint64_t status = 0;
    while (!((status = Read(At("ClhsRxCmdStatus_", channel))) & 1)) {
      if (Clock::now() > deadline) return std::nullopt;
    }
    clhswire::Words words;
    for (int guard = 0; status & 0x80 && guard < 1024; ++guard) {
      const uint64_t data = Read(At("ClhsRxCmdData_", channel));
      if (data >> 32 & 1) words.push_back(static_cast<uint32_t>(data));
      status = Read(At("ClhsRxCmdStatus_", channel));
    }
    return words;
  }

  std::optional<clhswire::Ack> Exchange(unsigned channel, const clhswire::Words& words,
                                        unsigned timeoutMs = 100) {
    if (Send(channel, words) != 0) return std::nullopt;
    const std::optional<clhswire::Words> got = Receive(channel, timeoutMs);
    return got ? clhswire::Parse(*got) : std::nullopt;
  }

  // The data of a read that must succeed, as a big-endian number.
  uint64_t ReadNumber(unsigned channel, uint64_t address, uint16_t length) {
    const std::optional<clhswire::Ack> ack =
        Exchange(channel, clhswire::ReadMem(address, length, ++id_));
    EXPECT_TRUE(ack && ack->status == 0 && ack->ack == 0x0801 && ack->id == id_ &&
                ack->scd.size() == length)
        << "read of " << length << " at 0x" << std::hex << address;
    return ack && ack->scd.size() == length ? clhswire::Get(ack->scd, 0, length) : ~0ull;
  }

  uint16_t id_ = 0;
};

}  // namespace vesk::sim

#endif
