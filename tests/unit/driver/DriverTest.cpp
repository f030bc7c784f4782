// The board driver over a test controller: the controller choice, discovery and the camera
// table, ports and properties, events, the link profile file and the monitoring thread.
#include "vesk_genicam/impl/Driver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/CapturedLog.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestController.h"
#include "vesk_genicam/impl/LibraryLogger.h"

namespace vesk::test {
namespace {

// The fake board library's only board, of type 2626, a Camera Link board.
Fg_Struct_s FakeBoard() { return {VHalInitDevice(0), nullptr}; }

TEST(DriverInit, BoardTypesChooseTheirTransport) {
  struct Set {
    EBoardTransport kind;
    std::vector<int> types;
  };
  const Set sets[] = {
      {BoardTransportClhs, {1874, 1880, 2642, 2645, 2649, 2657, 2658}},
      {BoardTransportCxp,
       {1875, 1877, 1878, 1879, 2641, 2643, 2644, 2646, 2647, 2656, 2660, 2661, 2915, 2916, 2917,
        2918, 2920}},
      {BoardTransportCl,
       {1872, 1873, 1876, 1881, 2624, 2625, 2626, 2627, 2628, 2629, 2648, 2650, 29968, 29969, 30016,
        30017, 30097, 30101}},
      {BoardTransportGbe, {2662, 2663, 2897, 2898, 2899, 2913, 3650, 3652}},
      {BoardTransportNone, {-1, 0, 1871, 1882, 2640, 2659, 2664, 2919, 3651, 30102}},
  };
  for (const Set& set : sets) {
    for (int type : set.types) EXPECT_EQ(BoardTransportOf(type), set.kind) << type;
  }
}

TEST(DriverInit, StartsTheControllerInOrderAndRefusesBoardsWithoutATransport) {
  auto made = std::make_unique<TestController>();
  TestController* controller = made.get();  // the driver's from the factory call on
  std::vector<std::pair<EBoardTransport, bool>> calls;
  CDriver driver([&](EBoardTransport kind, Fg_Struct_s*, bool flag) {
    calls.emplace_back(kind, flag);
    return std::move(made);
  });
  EXPECT_EQ(driver.Init(nullptr, false), -1991);
  Fg_Struct_s other{reinterpret_cast<PLdevice*>(&calls), nullptr};
  EXPECT_EQ(driver.Init(&other, false), -1011) << "a board type in no set";
  EXPECT_TRUE(calls.empty());

  Fg_Struct_s board = FakeBoard();
  ASSERT_EQ(driver.Init(&board, true), 0);
  EXPECT_EQ(calls, (std::vector<std::pair<EBoardTransport, bool>>{{BoardTransportCl, true}}));
  EXPECT_EQ(controller->journal,
            (std::vector<std::string>{"ResetMultiplexer", "Init", "SetCallBackFnct"}));
  EXPECT_EQ(controller->callbackUser, &driver);
  EXPECT_EQ(driver.GetNrOfPorts(), 4u);

  CDriver bare;
  EXPECT_EQ(bare.Discovery(1, 0, 0, 0), -1017) << "no controller";
}

TEST(DriverInit, ExceptionsBecomeCodesWithALine) {
  struct Case {
    std::function<void()> raise;
    int code;
    std::string line;
  };
  const Case cases[] = {
      {[] { throw std::bad_alloc(); }, -1018, "Out of memory"},
      {[] { throw std::runtime_error("no design"); }, -40018, "no design"},
      {[] { throw 7; }, -1998, "Unknown error"},
  };
  CapturedLog::SetDefaultLevel(1);
  CapturedLog::SetAllLevels(1);
  const std::string start = "5 thread-id=" + std::to_string(tools::logging::CurrentThreadId()) +
                            "|Failed to initialise camera interface: ";
  for (const Case& c : cases) {
    CDriver driver(
        [&](EBoardTransport, Fg_Struct_s*, bool) -> std::unique_ptr<IControllerInterface> {
          c.raise();
          return nullptr;
        });
    Fg_Struct_s board = FakeBoard();
    CapturedLog::Take();
    EXPECT_EQ(driver.Init(&board, false), c.code);
    // Warnings and failures: the one failure line alone.
    std::vector<std::string> lines;
    for (const CapturedLine& line : CapturedLog::Take()) {
      if (line.level >= 4) lines.push_back(std::to_string(line.level) + " " + line.text);
    }
    EXPECT_EQ(lines, std::vector<std::string>{start + c.line});
  }
}

// A driver over a test controller, of four ports unless a test starts another.
class DriverTest : public ::testing::Test {
 protected:
  DriverTest() { Start(4); }

  void Start(unsigned int ports) {
    driver.reset();
    auto made = std::make_unique<TestController>(ports);
    controller = made.get();
    driver = std::make_unique<CDriver>(HandOver(std::move(made)));
    Fg_Struct_s board = FakeBoard();
    EXPECT_EQ(driver->Init(&board, false), 0);
    controller->journal.clear();
  }

  CCameraInterface* CameraAt(unsigned int port) { return driver->GetCameraByGrabberPort(port); }

  TestController* controller;  // the driver's
  std::unique_ptr<CDriver> driver;
};

TEST_F(DriverTest, DiscoveryMakesACameraPerMasterWithItsLinks) {
  // Link numbers differ from port numbers, so that a camera is found by its grabber ports.
  controller->Link(1, 1, 0);
  controller->Link(2, 1, 1);
  controller->Link(0, 2, 0);
  ASSERT_EQ(driver->Discovery(0xF, 6250, 500, 2), 0);
  EXPECT_EQ(controller->journal, std::vector<std::string>{"Discovery 15 6250 500 2"});
  EXPECT_EQ(controller->discoveryDriver, driver.get());
  ASSERT_EQ(driver->GetNrOfCameras(), 2u);
  EXPECT_EQ(driver->GetNrOfConnectedCameras(), 2u);
  CCameraInterface* first = CameraAt(1);
  CCameraInterface* second = CameraAt(0);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(CameraAt(2), first);
  EXPECT_EQ(CameraAt(3), nullptr);
  EXPECT_EQ((std::set<CCameraInterface*>{driver->GetCamera(0), driver->GetCamera(1)}),
            (std::set<CCameraInterface*>{first, second}));
  EXPECT_EQ(driver->GetCamera(2), nullptr);
  EXPECT_EQ(first->GetPortInterface(), &controller->Port(1));
  EXPECT_EQ(first->GetControllerInterface(), controller);
  EXPECT_EQ(second->GetPortInterface(), &controller->Port(0));
  EXPECT_EQ(driver->GetCameraByCameraMaster(2), second);
  EXPECT_EQ(driver->GetCameraByCameraMaster(3), nullptr);

  EXPECT_EQ(first->GetNrOfLinks(), 2u);
  EXPECT_EQ(second->GetNrOfLinks(), 1u);
  const CCameraInterface::LinkInfo& extension = *first->GetLinkInfo(1);
  EXPECT_EQ(extension.frameGrabberPort, 2u);
  EXPECT_EQ(extension.plPort, 1u);
  EXPECT_EQ(extension.plMasterId, 11u);
  EXPECT_EQ(extension.plExtensionId, 1u);
  EXPECT_EQ(first->GetLinkInfo(2)->frameGrabberPort, 0xFFFFFFFFu);
}

TEST_F(DriverTest, FinishedDiscoveriesUpdateTheTableAndFailedOnesDoNot) {
  const std::pair<int, bool> cases[] = {
      {0, true}, {-1206, true}, {-1210, true}, {-1207, false}, {-1017, false}};
  for (const auto& [code, updates] : cases) {
    controller->Link(0, 1, 0);
    controller->discoveryCode = 0;
    ASSERT_EQ(driver->Discovery(1, 0, 0, 0), 0);
    ASSERT_NE(CameraAt(0), nullptr);
    controller->Free(0);
    controller->discoveryCode = code;
    EXPECT_EQ(driver->Discovery(1, 0, 0, 0), code);
    EXPECT_EQ(driver->GetNrOfCameras(), updates ? 0u : 1u) << code;
  }
}

TEST_F(DriverTest, CamerasMoveOutAndAreDeletedUnlessKept) {
  controller->Link(0, 1, 0);
  controller->Link(1, 2, 0);
  ASSERT_EQ(driver->Discovery(3, 0, 0, 0), 0);
  CCameraInterface* kept = CameraAt(1);
  ASSERT_NE(kept, nullptr);

  controller->Free(1);
  ASSERT_EQ(driver->Discovery(3, 0, 0, 0x40), 0);
  EXPECT_EQ(driver->GetNrOfCameras(), 1u);
  EXPECT_EQ(CameraAt(1), nullptr);
  // Kept: the handle still works (the address sanitizer build watches this).
  EXPECT_EQ(kept->GetNrOfLinks(), 1u);
  controller->Link(1, 2, 0);
  ASSERT_EQ(driver->Discovery(3, 0, 0, 0x40), 0);
  EXPECT_NE(CameraAt(1), kept) << "a camera object is never reused";
  EXPECT_EQ(driver->GetNrOfCameras(), 2u);

  // Flag 32 only picks up what the background found, and retires without deleting.
  CCameraInterface* gone = CameraAt(0);
  controller->Free(0);
  controller->Link(2, 3, 0);
  controller->discoveryCode = -1207;
  controller->journal.clear();
  ASSERT_EQ(driver->Discovery(0xF, 0, 0, 0x20), 0) << "the controller is not asked";
  EXPECT_TRUE(controller->journal.empty());
  EXPECT_EQ(driver->GetNrOfCameras(), 2u);
  EXPECT_NE(CameraAt(2), nullptr);
  EXPECT_EQ(gone->GetNrOfLinks(), 1u);
}

TEST_F(DriverTest, LinksBeyondTheTableAndAbsentPortsAreSkipped) {
  Start(5);
  controller->absentPorts = 1;
  controller->Link(0, 1, 0);
  controller->Link(1, 1, 5);
  controller->Link(2, 1, 1);
  ASSERT_EQ(driver->Discovery(0x3F, 0, 0, 0), 0);
  CCameraInterface* camera = CameraAt(0);
  ASSERT_NE(camera, nullptr);
  EXPECT_EQ(camera->GetNrOfLinks(), 3u) << "every port of the camera counts";
  EXPECT_EQ(CameraAt(2), camera);
  EXPECT_EQ(CameraAt(1), nullptr) << "link 5 has no place";
  // More than four links keep the old count.
  controller->Link(3, 1, 2);
  controller->Link(4, 1, 3);
  ASSERT_EQ(driver->Discovery(0x3F, 0, 0, 0x20), 0);
  EXPECT_EQ(camera->GetNrOfLinks(), 3u);
}

TEST_F(DriverTest, PacketFailuresOfTheirPortComeBack) {
  controller->Link(1, 1, 0);
  controller->Port(1).packetCode = -256;
  unsigned char data[4] = {};
  EXPECT_EQ(driver->ReadPacket(1, 0x10, data, 4, 200), -256);
  EXPECT_EQ(driver->WritePacket(1, 0x10, data, 4, 200), -256);
}

TEST_F(DriverTest, BoardPropertiesAfterTheControllers) {
  Start(34);
  auto get = [&](const char* name, uint32_t* value, unsigned int type = 1) {
    std::string text = name;
    return driver->GetProperty(text.data(), value, type, nullptr);
  };
  controller->Link(0, 1, 0);
  driver->Discovery(1, 0, 0, 0);
  // Ports from 32 on wrap onto the low bits.
  for (unsigned int port : {0, 3, 33}) controller->Port(port).synchronized = true;
  const std::pair<const char*, uint32_t> rows[] = {{"MagicValue", 0xC0FFEE},
                                                   {"NrOfCameras", 1},
                                                   {"NrOfPorts", 34},
                                                   {"TransceiversLockedMask", 0b1011}};
  for (const auto& [name, expected] : rows) {
    uint32_t value = 0;
    EXPECT_EQ(get(name, &value), 0) << name;
    EXPECT_EQ(value, expected) << name;
  }
  uint32_t value = 0;
  EXPECT_EQ(get("TransceiversLockedMask", &value, 3), -1990);
  EXPECT_EQ(get("NrOfPorts", nullptr), -1017);
  EXPECT_EQ(get("nrofports", &value), -2000) << "board names keep their case";

  // Without a controller only the board's own names answer.
  CDriver bare;
  char name[] = "CamPort";
  char own[] = "NrOfPorts";
  EXPECT_EQ(bare.SetProperty(name, &value, 1, nullptr), -2000);
  EXPECT_EQ(bare.GetProperty(own, &value, 1, nullptr), 0);
  EXPECT_EQ(value, 0u);
}

// A discovery holds the camera lock throughout; the count does not wait for it.
TEST_F(DriverTest, NrOfCamerasAnswersDuringADiscovery) {
  controller->Link(0, 1, 0);
  ASSERT_EQ(driver->Discovery(1, 0, 0, 0), 0);
  char name[] = "NrOfCameras";
  uint32_t count = 0;
  EXPECT_TRUE(EndsDuringDiscovery(
      *controller, [&] { driver->Discovery(1, 0, 0, 0); },
      [&] { driver->GetProperty(name, &count, 1, nullptr); }, std::chrono::seconds(2)));
  EXPECT_EQ(count, 1u);
}

TEST_F(DriverTest, AnUnknownPowerCommandDoesNothing) {
  EXPECT_EQ(driver->PowerSwitchExt(7, 3), 0);
  EXPECT_TRUE(controller->journal.empty());
}

TEST_F(DriverTest, TheLinkProfileHasTheSelectorThenLayoutThenSpeeds) {
  controller->ports.pop_back();
  controller->absentPorts = 1;
  controller->Link(0, 1, 0);
  controller->Link(1, 1, 1);
  controller->Port(1).speed = 3125;
  controller->Port(1).logicPLPort = 0x00020001;
  controller->selector = 0x7654321076543210;
  TempDir dir;
  std::string path = dir.File("profile.txt");
  WriteText(path, "old text that is replaced\nsecond\nthird\nfourth\nfifth\nsixth\n");
  ASSERT_EQ(driver->StoreLowLevelLinkProfile(path.data()), 0);
  EXPECT_EQ(ReadLines(path),
            (std::vector<std::string>{"# low level link profile v1.0", "mux=0x7654321076543210",
                                      "pl_0=11,0", "pl_1=2,1", "pl_2=-1,-1", "pl_3=-1,-1",
                                      "speed_0=6250", "speed_1=3125", "speed_2=-1", "speed_3=-1"}));
  EXPECT_EQ(driver->RestoreLowLevelLinkProfile(path.data()), -1991);
  EXPECT_TRUE(controller->journal.empty()) << "restoring changes nothing";

  const auto restore = [&](std::string file) {
    return driver->RestoreLowLevelLinkProfile(&file[0]);
  };
  EXPECT_EQ(ReadWithinBound(dir.Fifo("profile.fifo"), restore), -1991);

  std::string folder = dir.File("none/profile.txt");
  EXPECT_EQ(driver->StoreLowLevelLinkProfile(folder.data()), -1006);
  CDriver bare;
  EXPECT_EQ(bare.StoreLowLevelLinkProfile(path.data()), -1001);
  EXPECT_EQ(bare.RestoreLowLevelLinkProfile(path.data()), -1001);
}

// What a callback saw: each event as "type/port", and the board of the last.
struct Received {
  std::vector<std::string> events;
  MloBoardHandle* board = nullptr;
};

int Record(MloBoardHandle* board, const MloEventInfo* info, void* user) {
  auto* received = static_cast<Received*>(user);
  received->events.push_back(std::to_string(info->type) + "/" + std::to_string(info->port));
  received->board = board;
  return 42;
}

TEST_F(DriverTest, ControllerEventsBecomeApplicationEvents) {
  MloEventInfo info{};
  EXPECT_EQ(driver->notifyEvent(&info), -1016);
  Received received;
  ASSERT_EQ(driver->SetBoardEventCallback(Record, &received), 0);
  controller->callback(0, 0b0011, controller->callbackUser);
  controller->callback(1, 0b0100, controller->callbackUser);
  controller->callback(9, 0b1000, controller->callbackUser);
  CDriver::CtrlCallbackHandler(0, 1, nullptr);
  // An event of no meaning goes out empty.
  EXPECT_EQ(received.events, (std::vector<std::string>{"101/3", "200/4", "0/0"}));
  EXPECT_EQ(received.board, reinterpret_cast<MloBoardHandle*>(driver.get()));
  info.type = 250;
  EXPECT_EQ(driver->notifyEvent(&info), 42) << "the callback's result";

  // A callback that throws is caught, and one may register another from inside.
  driver->SetBoardEventCallback(
      [](MloBoardHandle*, const MloEventInfo*, void*) -> int { throw std::runtime_error("x"); },
      nullptr);
  EXPECT_EQ(driver->notifyEvent(&info), -1999);
  driver->SetBoardEventCallback(
      [](MloBoardHandle* board, const MloEventInfo*, void*) {
        return reinterpret_cast<CDriver*>(board)->SetBoardEventCallback(nullptr, nullptr) + 5;
      },
      nullptr);
  EXPECT_EQ(driver->notifyEvent(&info), 5);
  EXPECT_EQ(driver->notifyEvent(&info), -1016);
}

TEST_F(DriverTest, EventsOfOneBoardArriveOneAtATime) {
  struct Overlap {
    std::atomic<int> inside{0};
    std::atomic<int> calls{0};
    std::atomic<bool> overlapped{false};
  } overlap;
  driver->SetBoardEventCallback(
      [](MloBoardHandle*, const MloEventInfo*, void* user) {
        auto* state = static_cast<Overlap*>(user);
        if (state->inside.fetch_add(1) != 0) state->overlapped = true;
        std::this_thread::yield();
        state->inside.fetch_sub(1);
        state->calls.fetch_add(1);
        return 0;
      },
      &overlap);
  auto fire = [&](unsigned int event) {
    for (int i = 0; i < 200; ++i) controller->callback(event, 1, controller->callbackUser);
  };
  std::thread connects(fire, 0);
  std::thread losses(fire, 1);
  connects.join();
  losses.join();
  EXPECT_EQ(overlap.calls, 400);
  EXPECT_FALSE(overlap.overlapped);
}

// A board without a controller, whose monitor counts its ticks.
struct TickCounter : CDriver {
  void DoAsyncMonitoring() override {
    std::lock_guard<std::mutex> lock(mutex);
    ++ticks;
    ticked.notify_all();
  }

  std::mutex mutex;
  std::condition_variable ticked;
  int ticks = 0;
};

// The sanitized builds watch that each thread joins and the monitor is not called after it.
TEST(DriverMonitoringThread, TicksAtOnceAndStopsWhenDestroyed) {
  TickCounter monitor;
  {
    CDriverMonitoringThread stoppedAtOnce(&monitor);
    stoppedAtOnce.Start();
  }
  const int before = monitor.ticks;
  auto thread = std::make_unique<CDriverMonitoringThread>(&monitor);
  ASSERT_TRUE(thread->Start());
  {
    std::unique_lock<std::mutex> lock(monitor.mutex);
    ASSERT_TRUE(monitor.ticked.wait_for(lock, std::chrono::seconds(30),
                                        [&] { return monitor.ticks > before; }));
  }
  thread.reset();
}

}  // namespace
}  // namespace vesk::test
