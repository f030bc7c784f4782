// The board driver over a test controller: the controller choice, discovery and the camera
// table, ports and properties, events, the link profile file and the monitoring thread.
#include "vesk_genicam/impl/Driver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <fstream>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/CapturedLog.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestController.h"

namespace vesk::test {
namespace {

// The fake board library's only board, of type 2626, a Camera Link board.
Fg_Struct_s FakeBoard() { return {VHalInitDevice(0), nullptr}; }

struct FactoryCall {
  CDriver::EControllerKind kind;
  bool flag;
};

// A factory that hands out one controller and records what it was asked. A controller that
// nobody asked for goes with the factory.
CDriver::ControllerFactory OneController(std::unique_ptr<TestController> controller,
                                         std::vector<FactoryCall>* calls) {
  auto owned = std::make_shared<std::unique_ptr<TestController>>(std::move(controller));
  return [owned, calls](CDriver::EControllerKind kind, Fg_Struct_s*,
                        bool flag) -> IControllerInterface* {
    calls->push_back({kind, flag});
    return owned->release();
  };
}

TEST(DriverInit, BoardTypesChooseTheirTransport) {
  struct Set {
    CDriver::EControllerKind kind;
    std::vector<int> types;
  };
  const Set sets[] = {
      {CDriver::ControllerClhs, {1874, 1880, 2642, 2645, 2649, 2657, 2658}},
      {CDriver::ControllerCxp,
       {1875, 1877, 1878, 1879, 2641, 2643, 2644, 2646, 2647, 2656, 2660, 2661, 2915, 2916, 2917,
        2918, 2920}},
      {CDriver::ControllerCl,
       {1872, 1873, 1876, 1881, 2624, 2625, 2626, 2627, 2628, 2629, 2648, 2650, 29968, 29969, 30016,
        30017, 30097, 30101}},
      {CDriver::ControllerGbe, {2662, 2663, 2897, 2898, 2899, 2913, 3650, 3652}},
      {CDriver::ControllerNone, {-1, 0, 1871, 1882, 2640, 2659, 2664, 2919, 3651, 30102}},
  };
  for (const Set& set : sets) {
    for (int type : set.types) EXPECT_EQ(CDriver::ControllerKindOf(type), set.kind) << type;
  }
}

TEST(DriverInit, StartsTheControllerInOrderAndHandsOnTheFlag) {
  auto owned = std::make_unique<TestController>();
  TestController* controller = owned.get();
  std::vector<FactoryCall> calls;
  CDriver driver(OneController(std::move(owned), &calls));
  Fg_Struct_s board = FakeBoard();
  ASSERT_EQ(driver.Init(&board, true), 0);
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].kind, CDriver::ControllerCl);
  EXPECT_TRUE(calls[0].flag);
  EXPECT_EQ(controller->journal,
            (std::vector<std::string>{"ResetMultiplexer", "Init", "SetCallBackFnct"}));
  EXPECT_EQ(controller->callbackUser, &driver);
  EXPECT_EQ(driver.GetNrOfPorts(), 4u);
}

TEST(DriverInit, BoardsWithoutATransportAreRefused) {
  std::vector<FactoryCall> calls;
  CDriver driver(OneController(std::make_unique<TestController>(), &calls));
  EXPECT_EQ(driver.Init(nullptr, false), -1991);
  PLdevice* unknown = reinterpret_cast<PLdevice*>(&calls);
  Fg_Struct_s other{unknown, nullptr};
  EXPECT_EQ(driver.Init(&other, false), -1011) << "a board type in no set";
  EXPECT_TRUE(calls.empty());

  CDriver library;
  Fg_Struct_s board = FakeBoard();
  EXPECT_EQ(library.Init(&board, false), -1011) << "no transport is built in yet";
  EXPECT_EQ(library.Discovery(1, 0, 0, 0), -1017);
}

TEST(DriverInit, ExceptionsBecomeCodesWithALine) {
  struct Case {
    std::function<void()> raise;
    int code;
    std::string line;
  };
  const Case cases[] = {
      {[] { throw std::bad_alloc(); }, -1018,
       "Failed to initialise camera interface: Out of memory"},
      {[] { throw std::runtime_error("no design"); }, -40018,
       "Failed to initialise camera interface: no design"},
      {[] { throw 7; }, -1998, "Failed to initialise camera interface: Unknown error"},
  };
  CapturedLog::SetDefaultLevel(1);
  CapturedLog::SetAllLevels(1);
  for (const Case& c : cases) {
    CDriver driver([&](CDriver::EControllerKind, Fg_Struct_s*, bool) -> IControllerInterface* {
      c.raise();
      return nullptr;
    });
    Fg_Struct_s board = FakeBoard();
    CapturedLog::Take();
    EXPECT_EQ(driver.Init(&board, false), c.code);
    std::vector<CapturedLine> lines;
    for (const CapturedLine& line : CapturedLog::Take()) {
      if (line.level >= 4) lines.push_back(line);
    }
    ASSERT_EQ(lines.size(), 1u) << c.line;
    EXPECT_EQ(lines[0].level, 5u);
    EXPECT_EQ(lines[0].text.rfind("thread-id=", 0), 0u) << lines[0].text;
    EXPECT_EQ(lines[0].text.substr(lines[0].text.find('|') + 1), c.line);
  }
}

// A driver over a test controller, of four ports unless a test starts another.
class DriverTest : public ::testing::Test {
 protected:
  DriverTest() { Start(4); }

  void Start(unsigned int ports) {
    driver.reset();
    controllerDestroyed = false;
    auto owned = std::make_unique<TestController>(ports, &controllerDestroyed);
    controller = owned.get();
    driver = std::make_unique<CDriver>(OneController(std::move(owned), &calls));
    Fg_Struct_s board = FakeBoard();
    EXPECT_EQ(driver->Init(&board, false), 0);
    controller->journal.clear();
  }

  CCameraInterface* CameraAt(unsigned int port) { return driver->GetCameraByGrabberPort(port); }

  bool controllerDestroyed = false;
  std::vector<FactoryCall> calls;
  TestController* controller;
  std::unique_ptr<CDriver> driver;
};

TEST_F(DriverTest, DiscoveryMakesACameraPerMasterWithItsLinks) {
  controller->Link(0, 1, 0);
  controller->Link(1, 1, 1);
  controller->Link(3, 2, 0);
  ASSERT_EQ(driver->Discovery(0xF, 6250, 500, 2), 0);
  EXPECT_EQ(controller->journal, std::vector<std::string>{"Discovery 15 6250 500 2"});
  EXPECT_EQ(controller->discoveryDriver, driver.get());
  ASSERT_EQ(driver->GetNrOfCameras(), 2u);
  EXPECT_EQ(driver->GetNrOfConnectedCameras(), 2u);
  CCameraInterface* first = driver->GetCamera(0);
  CCameraInterface* second = driver->GetCamera(1);
  EXPECT_EQ(driver->GetCamera(2), nullptr);
  EXPECT_EQ(first->GetPortInterface(), &controller->Port(0));
  EXPECT_EQ(first->GetControllerInterface(), controller);
  EXPECT_EQ(second->GetPortInterface(), &controller->Port(3));
  EXPECT_EQ(driver->GetCameraByCameraMaster(2), second);
  EXPECT_EQ(driver->GetCameraByCameraMaster(3), nullptr);

  EXPECT_EQ(first->GetNrOfLinks(), 2u);
  EXPECT_EQ(second->GetNrOfLinks(), 1u);
  const CCameraInterface::LinkInfo& extension = *first->GetLinkInfo(1);
  EXPECT_EQ(extension.frameGrabberPort, 1u);
  EXPECT_EQ(extension.plPort, 2u);
  EXPECT_EQ(extension.plMasterId, 11u);
  EXPECT_EQ(extension.plExtensionId, 1u);
  EXPECT_EQ(first->GetLinkInfo(2)->frameGrabberPort, 0xFFFFFFFFu);
}

TEST_F(DriverTest, ACameraIsFoundOnItsMasterAndExtensionPorts) {
  controller->Link(2, 1, 0);
  controller->Link(3, 1, 1);
  controller->Link(0, 4, 0);
  ASSERT_EQ(driver->Discovery(0xF, 0, 0, 0), 0);
  CCameraInterface* camera = CameraAt(2);
  ASSERT_NE(camera, nullptr);
  EXPECT_EQ(CameraAt(3), camera);
  EXPECT_EQ(camera->GetPortInterface(), &controller->Port(2));
  EXPECT_NE(CameraAt(0), camera);
  EXPECT_EQ(CameraAt(1), nullptr);
}

TEST_F(DriverTest, FinishedDiscoveriesUpdateTheTableAndFailedOnesDoNot) {
  const struct {
    int code;
    bool updates;
  } cases[] = {{0, true}, {-1206, true}, {-1210, true}, {-1207, false}, {-1017, false}};
  for (const auto& c : cases) {
    controller->Link(0, 1, 0);
    controller->discoveryCode = 0;
    ASSERT_EQ(driver->Discovery(1, 0, 0, 0), 0);
    ASSERT_NE(CameraAt(0), nullptr);

    controller->Free(0);
    controller->discoveryCode = c.code;
    EXPECT_EQ(driver->Discovery(1, 0, 0, 0), c.code);
    EXPECT_EQ(driver->GetNrOfCameras(), c.updates ? 0u : 1u) << c.code;
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
}

TEST_F(DriverTest, FlagThirtyTwoOnlyPicksUpWhatTheBackgroundFound) {
  controller->Link(0, 1, 0);
  ASSERT_EQ(driver->Discovery(1, 0, 0, 0), 0);
  CCameraInterface* gone = CameraAt(0);
  controller->Free(0);
  controller->Link(2, 3, 0);
  ASSERT_EQ(driver->Discovery(0xF, 0, 0, 0x20), 0);
  EXPECT_EQ(controller->journal.size(), 1u) << "no discovery of the controller";
  EXPECT_EQ(driver->GetNrOfCameras(), 1u);
  EXPECT_NE(CameraAt(2), nullptr);
  EXPECT_EQ(gone->GetNrOfLinks(), 1u) << "retired but not deleted";

  controller->discoveryCode = -1207;
  EXPECT_EQ(driver->Discovery(0xF, 0, 0, 0x20), 0) << "the controller is not asked";
}

TEST_F(DriverTest, LinksBeyondTheTableAndAbsentPortsAreSkipped) {
  controller->absentPorts = 2;
  controller->Link(0, 1, 0);
  controller->Link(1, 1, 5);
  controller->Link(2, 1, 1);
  ASSERT_EQ(driver->Discovery(0xF, 0, 0, 0), 0);
  CCameraInterface* camera = CameraAt(0);
  ASSERT_NE(camera, nullptr);
  EXPECT_EQ(camera->GetNrOfLinks(), 3u) << "every port of the camera counts";
  EXPECT_EQ(CameraAt(2), camera);
  EXPECT_EQ(CameraAt(1), nullptr) << "link 5 has no place";
}

TEST_F(DriverTest, MoreThanFourLinksKeepTheOldCount) {
  Start(5);
  for (unsigned int i = 0; i < 4; ++i) controller->Link(i, 1, i);
  ASSERT_EQ(driver->Discovery(0x1F, 0, 0, 0), 0);
  CCameraInterface* camera = driver->GetCamera(0);
  ASSERT_NE(camera, nullptr);
  EXPECT_EQ(camera->GetNrOfLinks(), 4u);
  controller->Link(4, 1, 4);
  ASSERT_EQ(driver->Discovery(0x1F, 0, 0, 0x20), 0);
  EXPECT_EQ(camera->GetNrOfLinks(), 4u);
}

TEST_F(DriverTest, PacketsGoToConnectedPortsOnly) {
  controller->Link(1, 1, 0);
  unsigned char data[4] = {1, 2, 3, 4};
  EXPECT_EQ(driver->WritePacket(9, 0x10, data, 4, 200), -1017);
  EXPECT_EQ(driver->WritePacket(0, 0x10, data, 4, 200), -1211);
  ASSERT_EQ(driver->WritePacket(1, 0x10, data, 4, 200), 0);
  unsigned char back[4] = {};
  ASSERT_EQ(driver->ReadPacket(1, 0x10, back, 4, 200), 0);
  EXPECT_EQ(std::vector<unsigned char>(back, back + 4), std::vector<unsigned char>(data, data + 4));
  EXPECT_EQ(driver->ReadPacket(0, 0x10, back, 4, 200), -1211);
  controller->Port(1).packetCode = -256;
  EXPECT_EQ(driver->ReadPacket(1, 0x10, back, 4, 200), -256);
  EXPECT_TRUE(controller->Port(0).timeouts.empty());
}

TEST_F(DriverTest, BoardPropertiesAfterTheControllers) {
  auto get = [&](const char* name, uint32_t* value, unsigned int type = 1) {
    std::string text = name;
    return driver->GetProperty(text.data(), value, type, nullptr);
  };
  controller->Link(0, 1, 0);
  driver->Discovery(1, 0, 0, 0);
  controller->Port(0).synchronized = true;
  controller->Port(3).synchronized = true;
  const struct {
    const char* name;
    uint32_t expected;
  } rows[] = {{"MagicValue", 0xC0FFEE},
              {"NrOfCameras", 1},
              {"NrOfPorts", 4},
              {"TransceiversLockedMask", 0b1001}};
  for (const auto& row : rows) {
    uint32_t value = 0;
    EXPECT_EQ(get(row.name, &value), 0) << row.name;
    EXPECT_EQ(value, row.expected) << row.name;
  }
  uint32_t value = 0;
  EXPECT_EQ(get("TransceiversLockedMask", &value, 3), -1990);
  EXPECT_EQ(get("NrOfPorts", nullptr), -1017);
  EXPECT_EQ(get("nrofports", &value), -2000) << "board names keep their case";

  char name[] = "CamPort";
  uint32_t port = 2;
  EXPECT_EQ(driver->SetProperty(name, &port, 1, nullptr), 0);
  ASSERT_EQ(controller->writes.size(), 1u);
  EXPECT_EQ(controller->writes[0].name, "CamPort");
  char own[] = "NrOfPorts";
  controller->setCode = -2000;
  EXPECT_EQ(driver->SetProperty(own, &port, 1, nullptr), -2000);
  CDriver bare;
  EXPECT_EQ(bare.SetProperty(name, &port, 1, nullptr), -2000);
  EXPECT_EQ(bare.GetProperty(own, &value, 1, nullptr), 0);
  EXPECT_EQ(value, 0u);
}

TEST_F(DriverTest, LockedTransceiversBeyondBitThirtyOneWrap) {
  Start(34);
  controller->Port(2).synchronized = true;
  controller->Port(33).synchronized = true;
  char name[] = "TransceiversLockedMask";
  uint32_t mask = 0;
  ASSERT_EQ(driver->GetProperty(name, &mask, 1, nullptr), 0);
  EXPECT_EQ(mask, 0b110u);
}

TEST_F(DriverTest, PowerCommandsReachTheControllerAndAlwaysSucceed) {
  EXPECT_EQ(driver->PowerSwitchExt(5, 0), 0);
  EXPECT_EQ(driver->PowerSwitchExt(6, 1), 0);
  EXPECT_EQ(driver->PowerSwitchExt(7, 3), 0);
  EXPECT_EQ(driver->PowerSwitchExt(8, 2), 0);
  EXPECT_EQ(controller->journal,
            (std::vector<std::string>{"Disable 5", "Enable 6", "Disable 8", "Enable 8"}));
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
  std::ofstream(path) << "old text that is replaced\nsecond\nthird\nfourth\nfifth\nsixth\n";
  ASSERT_EQ(driver->StoreLowLevelLinkProfile(path.data()), 0);
  EXPECT_EQ(ReadLines(path), (std::vector<std::string>{
                                 "# low level link profile v1.0",
                                 "mux=0x7654321076543210",
                                 "pl_0=11,0",
                                 "pl_1=2,1",
                                 "pl_2=-1,-1",
                                 "pl_3=-1,-1",
                                 "speed_0=6250",
                                 "speed_1=3125",
                                 "speed_2=-1",
                                 "speed_3=-1",
                             }));

  std::string folder = dir.File("none/profile.txt");
  EXPECT_EQ(driver->StoreLowLevelLinkProfile(folder.data()), -1006);
  EXPECT_EQ(driver->RestoreLowLevelLinkProfile(folder.data()), -1006);
  EXPECT_EQ(driver->RestoreLowLevelLinkProfile(path.data()), -1991);
  EXPECT_EQ(ReadLines(path).size(), 10u);
  EXPECT_TRUE(controller->journal.empty()) << "restoring changes nothing";
  CDriver bare;
  EXPECT_EQ(bare.StoreLowLevelLinkProfile(path.data()), -1001);
  EXPECT_EQ(bare.RestoreLowLevelLinkProfile(path.data()), -1001);
}

TEST_F(DriverTest, TheControllerGoesWithTheDriver) {
  controller->Link(0, 1, 0);
  driver->Discovery(1, 0, 0, 0);
  driver.reset();
  EXPECT_TRUE(controllerDestroyed);
}

// What a callback saw.
struct Received {
  std::vector<MloEventInfo> events;
  std::vector<MloBoardHandle*> boards;
  std::vector<MloCameraHandle*> cameras;
  int result = 0;
};

int BoardCallback(MloBoardHandle* board, const MloEventInfo* info, void* user) {
  auto* received = static_cast<Received*>(user);
  received->events.push_back(*info);
  received->boards.push_back(board);
  return received->result;
}

int OlderCallback(MloBoardHandle* board, MloCameraHandle* camera, const MloEventInfo* info,
                  const void* user) {
  auto* received = static_cast<Received*>(const_cast<void*>(user));
  received->cameras.push_back(camera);
  return BoardCallback(board, info, received);
}

TEST_F(DriverTest, ControllerEventsBecomeApplicationEvents) {
  Received received;
  received.result = 42;
  ASSERT_EQ(driver->SetBoardEventCallback(BoardCallback, &received), 0);
  controller->callback(0, 0b0011, controller->callbackUser);
  controller->callback(1, 0b0100, controller->callbackUser);
  controller->callback(9, 0b1000, controller->callbackUser);
  CDriver::CtrlCallbackHandler(0, 1, nullptr);
  ASSERT_EQ(received.events.size(), 3u);
  // The record is packed: its fields are read by value.
  EXPECT_EQ(+received.events[0].type, 101);
  EXPECT_EQ(+received.events[0].port, 0b0011u);
  EXPECT_EQ(+received.events[1].type, 200);
  EXPECT_EQ(+received.events[1].port, 0b0100u);
  EXPECT_EQ(+received.events[2].type, 0) << "an event of no meaning goes out empty";
  EXPECT_EQ(received.boards[0], reinterpret_cast<MloBoardHandle*>(driver.get()));

  MloEventInfo info{};
  info.type = 250;
  EXPECT_EQ(driver->notifyEvent(&info), 42) << "the callback's result";
}

TEST_F(DriverTest, BothCallbackFormsReplaceEachOtherAndNullUnregisters) {
  Received older;
  Received board;
  MloEventInfo info{};
  EXPECT_EQ(driver->notifyEvent(&info), -1016);
  ASSERT_EQ(driver->SetEventCallback(OlderCallback, &older), 0);
  EXPECT_EQ(driver->notifyEvent(&info), 0);
  ASSERT_EQ(older.cameras.size(), 1u);
  EXPECT_EQ(older.cameras[0], nullptr) << "events of the older form name no camera";
  EXPECT_EQ(older.boards[0], reinterpret_cast<MloBoardHandle*>(driver.get()));

  driver->SetBoardEventCallback(BoardCallback, &board);
  driver->notifyEvent(&info);
  EXPECT_EQ(older.events.size(), 1u);
  EXPECT_EQ(board.events.size(), 1u);

  driver->SetEventCallback(OlderCallback, &older);
  driver->notifyEvent(&info);
  EXPECT_EQ(older.events.size(), 2u);
  EXPECT_EQ(board.events.size(), 1u);

  driver->SetEventCallback(nullptr, &older);
  EXPECT_EQ(driver->notifyEvent(&info), -1016);
  driver->SetBoardEventCallback(nullptr, nullptr);
  EXPECT_EQ(driver->notifyEvent(&info), -1016);
  EXPECT_EQ(older.events.size(), 2u);
}

TEST_F(DriverTest, ACallbackThatThrowsIsCaughtAndOneMayReRegisterFromInside) {
  MloEventInfo info{};
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

// A monitor that counts its ticks.
class TickCounter : public IMonitorInterface {
 public:
  void DoAsyncMonitoring() override {
    std::lock_guard<std::mutex> lock(mutex);
    ++ticks;
    ticked.notify_all();
  }
  vesk::tools::logging::Logger* GetLogger() override { return nullptr; }
  int ReadPacket(unsigned int, unsigned int, unsigned char*, unsigned int, unsigned int) override {
    return -2000;
  }
  int WritePacket(unsigned int, unsigned int, unsigned char*, unsigned int, unsigned int) override {
    return -2000;
  }
  uint32_t GetNrOfCameras() override { return 0; }
  uint32_t GetNrOfConnectedCameras() override { return 0; }

  std::mutex mutex;
  std::condition_variable ticked;
  int ticks = 0;
};

TEST(DriverMonitoringThread, TicksAtOnceAndStopsWhenDestroyed) {
  TickCounter monitor;
  auto thread = std::make_unique<CDriverMonitoringThread>(&monitor);
  ASSERT_TRUE(thread->Start());
  {
    std::unique_lock<std::mutex> lock(monitor.mutex);
    ASSERT_TRUE(
        monitor.ticked.wait_for(lock, std::chrono::seconds(30), [&] { return monitor.ticks > 0; }));
  }
  // Joins, and the monitor is not called after it (the sanitized builds watch this).
  thread.reset();
}

TEST(DriverMonitoringThread, AThreadStoppedAtOnceStillJoins) {
  TickCounter monitor;
  {
    CDriverMonitoringThread thread(&monitor);
    thread.Start();
  }
  EXPECT_LE(monitor.ticks, 1);
}

}  // namespace
}  // namespace vesk::test
