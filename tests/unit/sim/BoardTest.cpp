#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "sim/core/Board.h"
#include "sim/core/FaultPlan.h"
#include "sim/core/Notifier.h"
#include "sim/include/vesk_sim.h"

namespace vesk::sim {
namespace {

using namespace std::chrono_literals;

RigBoard Spec(const char* design, unsigned ports, int type = 2656) {
  RigBoard spec;
  spec.index = 3;
  spec.type = type;
  spec.serial = 0x1234;
  spec.ports = ports;
  spec.design = design;
  return spec;
}

Board MakeBoard(const char* design, unsigned ports) {
  return Board(Spec(design, ports), *FindDesignVariant(design));
}

TEST(Board, RegistersKeepValuesUnlessABehaviourAnswersAndAreCounted) {
  Board board(Spec("cxp-transceiver-regs", 2), *FindDesignVariant("cxp-transceiver-regs"));
  RegisterTable& registers = board.Registers();
  const int status = registers.IdOf("CxpTransceiverStatus_1");
  const int data = registers.IdOf("CxpRxCmdAckPacketData_0");
  ASSERT_GT(status, 0);
  ASSERT_GT(data, 0);
  EXPECT_EQ(registers.IdOf("CxpTransceiverStatus_2"), 0);  // a two-port board
  EXPECT_STREQ(registers.NameOf(status), "CxpTransceiverStatus_1");
  EXPECT_EQ(registers.NameOf(registers.Count() + 1), nullptr);

  uint64_t value = 0;
  EXPECT_EQ(board.WriteRegister(status, 0x1234567890ull), 0);
  EXPECT_EQ(board.ReadRegister(status, value), 0);
  EXPECT_EQ(value, 0x1234567890ull);

  std::vector<uint64_t> written;
  uint64_t next = 40;
  EXPECT_TRUE(registers.SetBehaviour("CxpRxCmdAckPacketData_0", {[&](uint64_t& out) {
                                                                   out = next++;
                                                                   return 0;
                                                                 },
                                                                 [&](uint64_t in) {
                                                                   written.push_back(in);
                                                                   return in ? 0 : -5;
                                                                 }}));
  EXPECT_FALSE(registers.SetBehaviour("NoSuchRegister", {}));
  EXPECT_EQ(board.ReadRegister(data, value), 0);
  EXPECT_EQ(value, 40u);
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
  Board cxp = MakeBoard("cxp-camera-ctrl", 4);
  EXPECT_EQ(cxp.OpenSerial(0, 9600, rx, tx), VSIM_ERROR_NOT_SUPPORTED);
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
  unsigned read[3] = {9, 9, 9};
  EXPECT_EQ(config.Write(ConfigSpace::kMdioTag, 0x40, written, 2), 0);
  EXPECT_EQ(config.Read(ConfigSpace::kMdioTag, 0x40, read, 3), 0);
  EXPECT_EQ(read[0], 0x11u);
  EXPECT_EQ(read[1], 0x22u);
  EXPECT_EQ(read[2], 0u);
  EXPECT_EQ(config.Read(0x1234, 0, read, 1), VSIM_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(config.Read(ConfigSpace::kMdioTag, 0, nullptr, 1), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(config.Read(ConfigSpace::kMdioTag, 0, read, 0), VSIM_ERROR_INVALID_ARGUMENT);

  config.SetHandler([](bool write, unsigned address, unsigned& value) {
    if (write) return -9;
    value = address * 2;
    return 0;
  });
  EXPECT_EQ(config.Read(ConfigSpace::kMdioTag, 5, read, 2), 0);
  EXPECT_EQ(read[0], 10u);
  EXPECT_EQ(read[1], 12u);
  EXPECT_EQ(config.Write(ConfigSpace::kMdioTag, 5, written, 1), -9);
}

// Collects what a notifier hands to its callback.
struct Received {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::pair<int, unsigned long>> calls;
  std::thread::id thread;

  static int Callback(int board, unsigned long what, unsigned long detail, unsigned long,
                      void* user) {
    auto* self = static_cast<Received*>(user);
    std::lock_guard<std::mutex> lock(self->mutex);
    self->calls.emplace_back(board, what * 10 + detail);
    self->thread = std::this_thread::get_id();
    self->changed.notify_all();
    return 0;
  }
  bool Await(size_t count) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, 10s, [&] { return calls.size() >= count; });
  }
};

TEST(Board, NotificationsReachEachSubscriberOnItsOwnThreadAndEthernetPlugsNotify) {
  Board board = MakeBoard("gige-ka4", 2);
  Received first;
  Received second;
  {
    Notifier one(board, &Received::Callback, &first);
    Notifier two(board, &Received::Callback, &second);
    board.Notify(1, 5);
    board.SetCable(1, Cable{std::make_shared<CameraUnit>(), 0});
    ASSERT_TRUE(first.Await(2));
    ASSERT_TRUE(second.Await(2));
    EXPECT_EQ(first.calls, (std::vector<std::pair<int, unsigned long>>{{3, 15}, {3, 32}}));
    EXPECT_NE(first.thread, std::this_thread::get_id());
    EXPECT_NE(first.thread, second.thread);
  }
  board.Notify(1, 5);  // no subscribers left
  EXPECT_EQ(first.calls.size(), 2u);
}

TEST(FaultPlan, TheSameSeedGivesTheSameFaults) {
  FaultSettings settings;
  settings.seed = 42;
  settings.dropPerMille = 100;
  settings.corruptPerMille = 100;
  settings.oddPerMille = 100;
  settings.delayPerMille = 100;
  FaultPlan plan;
  plan.Set(settings);
  std::vector<Fault> first;
  for (int i = 0; i < 400; ++i) first.push_back(plan.Next());
  plan.Set(settings);
  std::vector<Fault> again;
  for (int i = 0; i < 400; ++i) again.push_back(plan.Next());
  EXPECT_EQ(first, again);
  for (Fault fault : {Fault::None, Fault::Drop, Fault::Corrupt, Fault::Odd, Fault::Delay}) {
    const auto count = std::count(first.begin(), first.end(), fault);
    EXPECT_GT(count, 0) << static_cast<int>(fault);
    EXPECT_LT(count, 300) << static_cast<int>(fault);
  }
  settings.seed = 43;
  plan.Set(settings);
  std::vector<Fault> other;
  for (int i = 0; i < 400; ++i) other.push_back(plan.Next());
  EXPECT_NE(first, other);
}

TEST(FaultPlan, FallsSilentAfterItsAnswers) {
  FaultSettings settings;
  settings.silentAfter = 2;
  FaultPlan plan;
  plan.Set(settings);
  EXPECT_EQ(plan.Next(), Fault::None);
  EXPECT_EQ(plan.Next(), Fault::None);
  EXPECT_EQ(plan.Next(), Fault::Silent);
  EXPECT_EQ(plan.Next(), Fault::Silent);
  plan.Set(FaultSettings{});
  EXPECT_EQ(plan.Next(), Fault::None);
}

}  // namespace
}  // namespace vesk::sim
