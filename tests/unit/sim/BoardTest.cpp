#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "sim/core/Board.h"
#include "sim/core/FaultPlan.h"
#include "sim/include/vesk_sim.h"

namespace vesk::sim {
namespace {

Board MakeBoard(const char* design, unsigned ports) {
  return Board(RigBoard{3, 2656, 0x1234, ports, 0, design, {}, 0}, *FindDesignVariant(design));
}

TEST(Board, RegistersKeepValuesUnlessABehaviourAnswersAndAreCounted) {
  Board board = MakeBoard("cxp-transceiver-regs", 2);
  RegisterTable& registers = board.Registers();
  const int status = registers.IdOf("CxpTransceiverStatus_1");
  const int data = registers.IdOf("CxpRxCmdAckPacketData_0");
  EXPECT_EQ(registers.IdOf("CxpTransceiverStatus_2"), 0);  // a two-port board
  std::vector<uint64_t> written;
  uint64_t next = 40;
  const auto read = [&](uint64_t& out) { return out = next++, 0; };
  const auto write = [&](uint64_t in) { return written.push_back(in), in ? 0 : -5; };
  EXPECT_TRUE(registers.SetBehaviour("CxpRxCmdAckPacketData_0", {read, write}));
  EXPECT_FALSE(registers.SetBehaviour("NoSuchRegister", {}));
  uint64_t value = 0;
  EXPECT_EQ(board.WriteRegister(status, 0x1234567890ull), 0);  // the others keep their values
  EXPECT_EQ(board.ReadRegister(status, value), 0);
  EXPECT_EQ(value, 0x1234567890ull);
  EXPECT_EQ(board.ReadRegister(data, value), 0);
  EXPECT_EQ(board.ReadRegister(data, value), 0);
  EXPECT_EQ(value, 41u);
  EXPECT_EQ(board.WriteRegister(data, 7), 0);
  EXPECT_EQ(board.WriteRegister(data, 0), -5);
  EXPECT_EQ(written, (std::vector<uint64_t>{7, 0}));

  EXPECT_EQ(board.ReadRegister(0, value), VSIM_ERROR_NO_SUCH_REGISTER);
  EXPECT_EQ(board.WriteRegister(registers.Count() + 1, 1), VSIM_ERROR_NO_SUCH_REGISTER);
  const BoardCounters counted = board.Counters();
  EXPECT_EQ(counted.registerReads, 3u);   // failures are not counted
  EXPECT_EQ(counted.registerWrites, 2u);  // nor the write the behaviour refused
  board.ResetCounters();
  EXPECT_EQ(board.Counters().registerReads, 0u);
}

TEST(Board, QueuesExistAsTheDesignLaysThemOutWithTheirUnits) {
  Board board = MakeBoard("cxp-camera-ctrl", 2);
  ASSERT_NE(board.Queue(7), nullptr);  // four per port
  EXPECT_EQ(board.Queue(8), nullptr);
  EXPECT_EQ(board.Queue(-1), nullptr);
  uint8_t bytes[4] = {};
  EXPECT_EQ(board.WriteQueue(3, QueueUnit::Byte, bytes, 4, 0), VSIM_ERROR_WRONG_QUEUE_UNIT);
  EXPECT_EQ(board.WriteQueue(8, QueueUnit::Word, bytes, 4, 0), VSIM_ERROR_NO_SUCH_QUEUE);
  EXPECT_EQ(board.ReadQueue(8, QueueUnit::Word, bytes, 4, 0), VSIM_ERROR_NO_SUCH_QUEUE);
  EXPECT_EQ(board.WriteQueue(3, QueueUnit::Word, bytes, 4, 0), 4);
  board.Queue(0)->Push(bytes, 4);
  EXPECT_EQ(board.ReadQueue(0, QueueUnit::Word, bytes, 8, 0), 4);
  EXPECT_EQ(board.Counters().queueUnitsWritten, 1u);
  EXPECT_EQ(board.Counters().queueUnitsRead, 1u);

  Board korvid = MakeBoard("gige-korvid", 4);
  EXPECT_NE(korvid.Queue(11), nullptr);  // port + 8
  EXPECT_EQ(korvid.Queue(3), nullptr);
}

TEST(Board, SerialChannelsOnCameraLinkBoardsOnly) {
  Board cl = MakeBoard("cl-base", 2);
  int rx = -1;
  int tx = -1;
  EXPECT_EQ(cl.OpenSerial(1, 9600, rx, tx), 0);
  ASSERT_NE(cl.Queue(rx), nullptr);
  ASSERT_NE(cl.Queue(tx), nullptr);
  EXPECT_NE(rx, tx);
  EXPECT_EQ(cl.Queue(rx)->Unit(), QueueUnit::Byte);
  EXPECT_EQ(cl.PortAt(1)->Baud(), 9600u);
  EXPECT_EQ(cl.SetSerialBaud(1, 921600), 0);
  EXPECT_EQ(cl.PortAt(1)->Baud(), 921600u);
  EXPECT_EQ(cl.SetSerialBaud(1, 1234), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(cl.OpenSerial(2, 9600, rx, tx), VSIM_ERROR_NO_SUCH_PORT);
  EXPECT_EQ(MakeBoard("cxp-camera-ctrl", 4).OpenSerial(0, 9600, rx, tx), VSIM_ERROR_NOT_SUPPORTED);
}

TEST(Board, InfoCameraStatusAndController) {
  Board board = MakeBoard("cxp-camera-ctrl", 4);
  EXPECT_EQ(board.InfoInt("board/type"), 2656);
  EXPECT_EQ(board.InfoInt("board/serial"), 0x1234);
  EXPECT_EQ(board.InfoInt("ports/gige"), 0);
  EXPECT_EQ(board.InfoInt("board/colour"), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(board.InfoInt(nullptr), VSIM_ERROR_INVALID_ARGUMENT);

  EXPECT_EQ(board.CameraStatus(0), 0);
  board.SetCable(0, Cable{std::make_shared<CameraUnit>(), 0});
  EXPECT_EQ(board.CameraStatus(0) & 1, 1);
  EXPECT_EQ(board.CameraStatus(4), VSIM_ERROR_NO_SUCH_PORT);

  CameraControl* controller = board.Controller();
  ASSERT_NE(controller, nullptr);
  unsigned value = 0;
  EXPECT_EQ(controller->Set(PortControl::DataPathSpeed, 3, 12500), 0);
  EXPECT_EQ(controller->Get(PortControl::DataPathSpeed, 3, value), 0);
  EXPECT_EQ(value, 12500u);
  EXPECT_EQ(controller->Set(PortControl::DataPathSpeed, 3, 7000), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(controller->Set(PortControl::Power, 4, 2), VSIM_ERROR_NO_SUCH_PORT);
  controller->SetPortMap(0x10);
  controller->Reset();
  EXPECT_EQ(controller->PortMap(), CameraControl::kIdentityMap);
  EXPECT_EQ(controller->Get(PortControl::DataPathSpeed, 3, value), 0);
  EXPECT_EQ(value, 0u);
  EXPECT_EQ(MakeBoard("cxp-transceiver-regs", 4).Controller(), nullptr);
}

TEST(Board, ConfigurationSpaceKeepsMdioWordsUnlessAHandlerAnswers) {
  Board board = MakeBoard("gige-korvid", 4);
  ConfigSpace& config = board.Config();
  const unsigned written[2] = {0x11, 0x22};
  std::array<unsigned, 3> read{9, 9, 9};
  EXPECT_EQ(config.Write(ConfigSpace::kMdioTag, 0x40, written, 2), 0);
  EXPECT_EQ(config.Read(ConfigSpace::kMdioTag, 0x40, read.data(), 3), 0);
  EXPECT_EQ(read, (std::array<unsigned, 3>{0x11, 0x22, 0}));
  EXPECT_EQ(config.Read(0x1234, 0, read.data(), 1), VSIM_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(config.Read(ConfigSpace::kMdioTag, 0, nullptr, 1), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(config.Read(ConfigSpace::kMdioTag, 0, read.data(), 0), VSIM_ERROR_INVALID_ARGUMENT);

  config.SetHandler([](bool write, unsigned address, unsigned& value) {
    return write ? -9 : (value = address * 2, 0);
  });
  EXPECT_EQ(config.Read(ConfigSpace::kMdioTag, 5, read.data(), 2), 0);
  EXPECT_EQ(read, (std::array<unsigned, 3>{10, 12, 0}));
  EXPECT_EQ(config.Write(ConfigSpace::kMdioTag, 5, written, 1), -9);
}

TEST(FaultPlan, TheSameSeedGivesTheSameFaultsAndSilenceFollowsItsAnswers) {
  FaultSettings settings{42, 100, 100, 100, 100, 0, -1};
  FaultPlan plan;
  const auto draw = [&](size_t count) {
    plan.Set(settings);
    std::vector<Fault> faults(count);
    for (Fault& fault : faults) fault = plan.Next();
    return faults;
  };
  const std::vector<Fault> first = draw(400);
  EXPECT_EQ(draw(400), first);
  for (Fault fault : {Fault::None, Fault::Drop, Fault::Corrupt, Fault::Odd, Fault::Delay}) {
    const auto count = std::count(first.begin(), first.end(), fault);
    EXPECT_TRUE(count > 0 && count < 300) << static_cast<int>(fault) << ": " << count;
  }
  settings.seed = 43;
  EXPECT_NE(draw(400), first);

  settings = FaultSettings{};
  settings.silentAfter = 2;
  EXPECT_EQ(draw(4), (std::vector<Fault>{Fault::None, Fault::None, Fault::Silent, Fault::Silent}));
  settings.silentAfter = -1;
  EXPECT_EQ(draw(1), std::vector<Fault>{Fault::None});
}

}  // namespace
}  // namespace vesk::sim
