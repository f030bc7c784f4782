// The board and camera functions over a board with a test controller: the order of their checks,
// their codes and lines, and what each hands on to the driver and the camera.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"
#include "tests/unit/api/ApiTestBoard.h"

namespace vesk::test {
namespace {

using ::testing::HasSubstr;

MloCameraHandle* const kSomeCamera = reinterpret_cast<MloCameraHandle*>(0x5ca);
MloBoardHandle* const kSomeBoard = reinterpret_cast<MloBoardHandle*>(0xb0a);

class BoardApi : public ::testing::Test {
 protected:
  void SetUp() override { CapturedLog::SetDefaultLevel(1); }

  CCameraInterface* Object(MloCameraHandle* camera) {
    return reinterpret_cast<CCameraInterface*>(camera);
  }

  ApiTestBoard board;
};

TEST_F(BoardApi, ChecksComeInTheirOrderWithTheirLinesAndCodes) {
  Fg_Struct_s fgBoard{nullptr, nullptr};
  MloBoardHandle* newBoard = kSomeBoard;
  MloCameraHandle* camera = kSomeCamera;
  MloBoardHandle* b = board.Handle();
  MloCameraHandle* linked = board.Camera(0);
  char path[] = "/nonexistent/vesk-camera.xml";
  char folder[] = "/";
  char buffer[4];
  size_t size = sizeof buffer;
  board.controller.onDiscovery = [] { throw std::bad_alloc(); };
  ExpectChecks({
      CALL(Mlo_initBoardEx(nullptr, 0, nullptr, 1), -1991, "Invalid FG handle"),
      CALL(Mlo_initBoardEx(&fgBoard, 0, nullptr, 1), -1991, "Invalid board handle pointer"),
      CALL(Mlo_initBoard(nullptr, 0, &newBoard), -1991, "Invalid FG handle"),
      CALL(Mlo_powerSwitch(nullptr, 0), -1208, "Invalid Port Mask "),
      CALL(Mlo_powerSwitch(nullptr, 1), -1001, "Invalid board handle"),
      CALL(Mlo_powerSwitchExt(nullptr, 0, 1), -1208, "Invalid Port Mask "),
      CALL(Mlo_powerSwitchExt(nullptr, 1, 1), -1001, "Invalid board handle"),
      CALL(Mlo_scanPortsEx(nullptr, 0, 10, 0, 0), -1208, "Invalid Port Mask "),
      CALL(Mlo_scanPortsEx(nullptr, 1, 10, 0, 0), -1001, "Invalid board handle"),
      CALL(Mlo_scanPorts(nullptr, 0, 10, 0), -1208, "Invalid Port Mask "),
      // A camera object that cannot be made, or a controller that throws, ends the scan.
      CALL(Mlo_scanPortsEx(b, 1, 10, 0, 0), -1999,
           "Standard exception while scanning ports: std::bad_alloc"),
      CALL(Mlo_isCameraAvailable(nullptr, 0), 0, "Invalid board handle"),
      CALL(Mlo_isCameraAvailable(b, 3), 0, "Invalid camera handle"),
      CALL(Mlo_isCameraAvailableAtIndex(nullptr, 0), 0, "Invalid board handle"),
      CALL(Mlo_isCameraAvailableAtIndex(b, 1), 0, "Invalid camera handle"),
      CALL(Mlo_getCameraCount(nullptr), -1001, "Invalid board handle"),
      CALL(Mlo_getCamera(nullptr, 0, nullptr), -1991, "Invalid camera handle pointer"),
      CALL(Mlo_getCamera(nullptr, 0, &camera), -1001, "Invalid board handle"),
      CALL(Mlo_getCameraByIndex(nullptr, 0, nullptr), -1001, "Invalid board handle"),
      // An index equal to the count is one too many.
      CALL(Mlo_getCameraByIndex(b, 1, &camera), -1991, "Invalid camera handle"),
      CALL(Mlo_updateCameraInfos(nullptr), -1001, "Invalid boardHandle"),
      CALL(Mlo_loadCameraXml(nullptr), -1000, "Invalid camera handle"),
      CALL(Mlo_connectCamera(nullptr), -1000, "Invalid camera handle"),
      CALL(Mlo_connectCameraWithExternalXml(nullptr, nullptr), -1000, "Invalid camera handle"),
      CALL(Mlo_connectCameraWithExternalXml(linked, nullptr), -1003, "Invalid file name"),
      CALL(Mlo_connectCameraWithExternalXml(linked, path), -1002, "File not found"),
      CALL(Mlo_connectCameraWithExternalXml(linked, folder), -1002, "File not found"),
      CALL(Mlo_disconnectCamera(nullptr), -1000, "Invalid camera handle"),
      CALL(Mlo_LinkConnect(b, nullptr), -1001, "Invalid boardHandle"),
      CALL(Mlo_LinkDisconnect(nullptr), -1001, "Invalid boardHandle"),
      CALL(Mlo_CxpDisconnect(nullptr), -1001, "Invalid boardHandle"),
      CALL(Mlo_getGenICamXML(nullptr, buffer, nullptr), -1991, "Invalid value pointer"),
      CALL(Mlo_getGenICamXML(nullptr, buffer, &size), -1000, "Invalid camera handle"),
      CALL(Mlo_setGenICamXML(nullptr, nullptr, 0), -1991, "Invalid value pointer"),
      CALL(Mlo_setGenICamXML(nullptr, "<x/>", 4), -1000, "Invalid camera handle"),
      CALL(Mlo_clearStringCache(nullptr), -1000, "Invalid camera handle"),
      // Without a result of its own, its exit line still shows the code.
      CheckCase{"Mlo_freeBoard(nullptr)", [] { return Mlo_freeBoard(nullptr), -1001; }, -1001,
                "Invalid board handle"},
  });
  // A failed check changes nothing the caller handed in.
  EXPECT_EQ(camera, kSomeCamera);
  EXPECT_EQ(newBoard, kSomeBoard);
}

TEST_F(BoardApi, LinesNameTheArgumentsInTheFormOfTheFunction) {
  MloBoardHandle* b = board.Handle();
  MloCameraHandle* camera = nullptr;
  CapturedLog::Take();
  Mlo_getCameraByIndex(b, 9, &camera);
  Mlo_isCameraAvailable(b, 6);
  Mlo_powerSwitchExt(nullptr, 0, 2);
  Mlo_getGenICamXML(nullptr, nullptr, nullptr);
  Mlo_freeBoard(nullptr);
  const std::string boardText = ",handle=(P14MloBoardHandle)" + Pointer(b);
  EXPECT_EQ(TakeEntries(),
            (std::vector<std::string>{
                boardText + ",index=9|Entering Mlo_getCameraByIndex",
                boardText + ",port-index=6|Entering Mlo_isCameraAvailable",
                ",port-mask=0,handle=(P14MloBoardHandle)0|Entering Mlo_powerSwitchExt; Command: 2",
                ",handle=(P15MloCameraHandle)0|Entering Mlo_getGenICamXML; Xml: ",
                ",handle=(P14MloBoardHandle)0|Entering Mlo_freeBoard",
            }));
}

// Scans and power switching go to the controller, whose answer comes back through both levels.
TEST_F(BoardApi, ScanHandsOnItsArgumentsAndFindsTheCamerasByIndexAndByPort) {
  board.controller.Link(1, 7, 0);
  board.controller.Link(2, 7, 1);
  board.controller.Link(3, 8, 0);
  MloBoardHandle* b = board.Handle();
  const std::vector<std::string>& journal = board.controller.journal;
  EXPECT_EQ(Mlo_scanPortsEx(b, 0xE, 1500, 3125, 0x40), 0);
  EXPECT_EQ(journal.back(), "Discovery 14 3125 1500 64");
  board.controller.discoveryCode = -1207;
  CapturedLog::Take();
  EXPECT_EQ(Mlo_scanPorts(b, 0x2, 700, 6250), -1207);
  EXPECT_EQ(journal.back(), "Discovery 2 6250 700 0");
  const std::string args = ",port-mask=2,handle=(P14MloBoardHandle)" + Pointer(b);
  EXPECT_EQ(TakeApiLines().trace, (std::vector<std::string>{
                                      args + "|Entering Mlo_scanPorts; Speed: 6250",
                                      args + "|Entering Mlo_scanPortsEx; Speed: 6250; Flags: 0",
                                      ",return=-1207" + args + "|Leaving Mlo_scanPortsEx",
                                      ",return=-1207" + args + "|Leaving Mlo_scanPorts",
                                  }));

  ASSERT_EQ(Mlo_getCameraCount(b), 2);
  MloCameraHandle* first = nullptr;
  MloCameraHandle* second = nullptr;
  ASSERT_EQ(Mlo_getCameraByIndex(b, 0, &first), 0);
  ASSERT_EQ(Mlo_getCameraByIndex(b, 1, &second), 0);
  EXPECT_NE(first, second);
  // A camera by any port of its links; the all-ones port of an empty link slot is none.
  const std::pair<unsigned int, IPortInterface*> masters[] = {{1, &board.controller.Port(1)},
                                                              {2, &board.controller.Port(1)},
                                                              {3, &board.controller.Port(3)},
                                                              {0, nullptr},
                                                              {0xFFFFFFFF, nullptr}};
  for (const auto& [port, master] : masters) {
    MloCameraHandle* byPort = kSomeCamera;
    EXPECT_EQ(Mlo_getCamera(b, port, &byPort), 0);
    EXPECT_EQ(byPort ? Object(byPort)->GetPortInterface() : nullptr, master) << port;
  }
  EXPECT_EQ(Mlo_isCameraAvailable(b, 3), 1);
  EXPECT_EQ(Mlo_isCameraAvailableAtIndex(b, 0), 1);
  board.controller.Port(3).speed = kNoLinkSpeed;
  EXPECT_EQ(Mlo_isCameraAvailable(b, 3), 0);

  EXPECT_EQ(Mlo_powerSwitchExt(b, 3, 1), 0);
  EXPECT_EQ(Mlo_powerSwitchExt(b, 4, 0), 0);
  EXPECT_EQ(Mlo_powerSwitch(b, 5), 0);
  EXPECT_EQ(std::vector<std::string>(journal.end() - 4, journal.end()),
            (std::vector<std::string>{"Enable 3", "Disable 4", "Disable 5", "Enable 5"}));
}

// A discovery holds the camera lock throughout: a lookup on another thread waits for the cameras
// it makes.
TEST_F(BoardApi, CameraLookupsWaitForARunningDiscovery) {
  MloBoardHandle* b = board.Handle();
  MloCameraHandle* camera = nullptr;
  const std::pair<const char*, std::function<bool()>> lookups[] = {
      {"Mlo_getCamera", [&] { return Mlo_getCamera(b, 0, &camera) == 0 && camera; }},
      {"Mlo_getCameraByIndex", [&] { return Mlo_getCameraByIndex(b, 0, &camera) == 0; }},
      {"Mlo_getCameraCount", [&] { return Mlo_getCameraCount(b) == 1; }},
  };
  for (const auto& lookup : lookups) {
    board.controller.Free(0);
    ASSERT_EQ(Mlo_scanPortsEx(b, 1, 0, 0, 0), 0);
    board.controller.Link(0, 1, 0);
    bool found = false;
    EXPECT_FALSE(EndsDuringDiscovery(
        board.controller, [&] { Mlo_scanPortsEx(b, 1, 0, 0, 0); }, [&] { found = lookup.second(); },
        std::chrono::milliseconds(200)))
        << lookup.first;
    EXPECT_TRUE(found) << lookup.first;
  }
}

// Scans on another thread make and delete the camera over and over; whatever camera a check
// found, it asks it before a scan can delete it (the address sanitizer build watches this).
TEST_F(BoardApi, CameraChecksAskTheCameraBeforeAScanDeletesIt) {
  // The trace would set the two threads in step and hide the race.
  CapturedLog::SetAllLevels(7);
  MloBoardHandle* b = board.Handle();
  TestPort& port = board.controller.Port(0);
  board.controller.Link(0, 1, 0);
  std::atomic<bool> scanning{true};
  std::thread scans([&] {
    for (int i = 0; i < 20000; ++i) {
      port.portType = i % 2 ? PortTypeMaster : PortTypeUnconnected;
      Mlo_scanPortsEx(b, 1, 0, 0, 0);
    }
    scanning = false;
  });
  int seen = 0;
  while (scanning) seen += Mlo_isCameraAvailable(b, 0) + Mlo_isCameraAvailableAtIndex(b, 0);
  scans.join();
  EXPECT_GT(seen, 0) << "the checks met the camera";
  CapturedLog::SetAllLevels(1);
}

// Mlo_updateCameraInfos traces 0 after doing its work, and answers -2000.
TEST_F(BoardApi, HandedOutHandlesStandBeforeTheResultInTheExitLine) {
  MloBoardHandle* b = board.Handle();
  MloCameraHandle* camera = board.Camera(2);
  CapturedLog::Take();
  MloCameraHandle* found = nullptr;
  ASSERT_EQ(Mlo_getCameraByIndex(b, 0, &found), 0);
  EXPECT_EQ(found, camera);
  MloCameraInfo* info = Mlo_getCameraInfo(camera);
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(Mlo_getCameraInfo(nullptr), nullptr);
  EXPECT_EQ(Mlo_updateCameraInfos(camera), -2000);
  EXPECT_EQ(board.controller.Port(2).infoUpdates, 1);
  const std::string cameraText = ",handle=(P15MloCameraHandle)" + Pointer(camera);
  const ApiLines lines = TakeApiLines();
  ASSERT_EQ(lines.trace.size(), 8u);
  EXPECT_EQ(lines.trace[1], cameraText + ",return=0,handle=(P14MloBoardHandle)" + Pointer(b) +
                                ",index=0|Leaving Mlo_getCameraByIndex");
  EXPECT_EQ(lines.trace[3], ",handle=(P13MloCameraInfo)" + Pointer(info) + ",return=0" +
                                cameraText + "|Leaving Mlo_getCameraInfo");
  EXPECT_EQ(lines.trace[5], ",return=-1000,handle=(P15MloCameraHandle)0|Leaving Mlo_getCameraInfo");
  EXPECT_EQ(lines.trace[7], ",return=0" + cameraText + "|Leaving Mlo_updateCameraInfos");
  EXPECT_EQ(lines.failures,
            (std::vector<std::string>{"thread-id=" + Thread() +
                                      ",handle=(P15MloCameraHandle)0|Invalid camera handle"}));
}

TEST_F(BoardApi, ConnectNeedsTheLinkAndKeepsAnEarlierNodeMapWithoutIt) {
  MloCameraHandle* camera = board.Camera(1);
  TestPort& port = board.controller.Port(1);
  ASSERT_EQ(Mlo_connectCamera(camera), 0);
  GenApi::CNodeMapRef* map = Object(camera)->GetCameraNodeMap();
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(port.xmlLoads, 1);

  port.speed = kNoLinkSpeed;
  EXPECT_EQ(Mlo_connectCamera(camera), -1211);
  EXPECT_EQ(Mlo_loadCameraXml(camera), -1211);
  EXPECT_EQ(Object(camera)->GetCameraNodeMap(), map);
  EXPECT_EQ(port.xmlLoads, 1);
  EXPECT_EQ(Mlo_LinkConnect(nullptr, camera), -1010);
  EXPECT_EQ(Mlo_CxpConnect(nullptr, camera), -1010);

  port.speed = 6250;
  CapturedLog::Take();
  EXPECT_EQ(Mlo_CxpConnect(board.Handle(), camera), 0);
  EXPECT_EQ(Mlo_CxpDisconnect(camera), 0);
  // The CoaXPress names trace around the link functions.
  const std::string args = ",handle=(P15MloCameraHandle)" + Pointer(camera) + "|Entering Mlo_";
  EXPECT_EQ(TakeEntries(),
            (std::vector<std::string>{args + "CxpConnect", args + "LinkConnect",
                                      args + "CxpDisconnect", args + "LinkDisconnect"}));
  EXPECT_EQ(Mlo_LinkConnect(nullptr, camera), 0);
  EXPECT_EQ(Mlo_loadCameraXml(camera), 0);
  EXPECT_EQ(port.xmlLoads, 2);
  // Disconnecting drops the map and the XML, so that a new connect reads the camera again.
  EXPECT_EQ(Mlo_disconnectCamera(camera), 0);
  EXPECT_EQ(Mlo_disconnectCamera(camera), 0);
  EXPECT_EQ(Object(camera)->GetCameraNodeMap(), nullptr);
  EXPECT_EQ(Mlo_connectCamera(camera), 0);
  EXPECT_EQ(port.xmlLoads, 3);
}

TEST_F(BoardApi, TheXmlCanBeSetReadBackAndTakenFromAFile) {
  MloCameraHandle* camera = board.Camera(0);
  const std::string xml = TestCameraDescription("");
  ASSERT_EQ(Mlo_setGenICamXML(camera, xml.c_str(), xml.size()), 0);
  size_t size = 0;
  ASSERT_EQ(Mlo_getGenICamXML(camera, nullptr, &size), 0);
  EXPECT_EQ(size, xml.size());
  std::string back(size, '\0');
  ASSERT_EQ(Mlo_getGenICamXML(camera, back.data(), &size), 0);
  EXPECT_EQ(back, xml);
  // A set description is used as it stands, without reading the camera.
  ASSERT_EQ(Mlo_connectCamera(camera), 0);
  EXPECT_EQ(board.controller.Port(0).xmlLoads, 0);

  TempDir dir;
  std::string empty = dir.File("empty.xml");
  std::string file = dir.File("camera.xml");
  WriteText(empty, "");
  WriteText(file, xml);
  EXPECT_EQ(Mlo_connectCameraWithExternalXml(camera, empty.data()), -1008);
  CapturedLog::Take();
  EXPECT_EQ(Mlo_connectCameraWithExternalXml(camera, file.data()), 0);
  EXPECT_EQ(
      TakeEntries(),
      (std::vector<std::string>{",handle=(P15MloCameraHandle)" + Pointer(camera) +
                                "|Entering Mlo_connectCameraWithExternalXml; File: " + file}));
  EXPECT_NE(Object(camera)->GetCameraNodeMap(), nullptr);
  board.controller.Port(0).speed = kNoLinkSpeed;
  EXPECT_EQ(Mlo_connectCameraWithExternalXml(camera, file.data()), -1211);
}

TEST_F(BoardApi, FreeBoardDestroysTheDriverAndItsController) {
  board.Camera(0);
  Mlo_freeBoard(board.Handle());
  board.Freed();
  EXPECT_TRUE(board.destroyed);
}

// A controller thread is inside the callback when the board is freed, and delivers one more event
// while the controller stops it. The callback uses a camera that the application holds.
TEST_F(BoardApi, FreeBoardLetsARunningCallbackEndAndDeliversNoMoreEvents) {
  struct Delivery {
    MloCameraHandle* camera = nullptr;
    std::promise<void> inside;
    std::promise<void> stopping;
    std::shared_future<void> stopped = stopping.get_future().share();
    int calls = 0;
  } delivery;
  delivery.camera = board.Camera(0);
  Mlo_registerBoardEventCallback(
      board.Handle(),
      [](MloBoardHandle*, const MloEventInfo*, void* user) {
        auto* delivery = static_cast<Delivery*>(user);
        if (delivery->calls++ == 0) {
          delivery->inside.set_value();
          delivery->stopped.wait_for(std::chrono::milliseconds(200));
        }
        return Mlo_getCameraInfo(delivery->camera) ? 0 : 1;
      },
      &delivery);
  TestController& controller = board.controller;
  std::thread events([&] {
    controller.callback(ControllerEventPortsConnected, 1, controller.callbackUser);
    delivery.stopped.wait_for(std::chrono::seconds(30));
    controller.callback(ControllerEventPortsLost, 1, controller.callbackUser);
  });
  controller.onDestroy = [&] {
    delivery.stopping.set_value();
    events.join();
  };
  EXPECT_EQ(delivery.inside.get_future().wait_for(std::chrono::seconds(30)),
            std::future_status::ready);
  Mlo_freeBoard(board.Handle());
  board.Freed();
  EXPECT_EQ(delivery.calls, 1);
}

// The fake board library's second board has a type that no transport knows: the driver is given
// up again and the handle is null.
TEST_F(BoardApi, InitBoardGivesUpTheDriverWhenTheBoardHasNoTransport) {
  Fg_Struct_s fgBoard{VHalInitDevice(1), nullptr};
  ASSERT_NE(fgBoard.device, nullptr);
  CapturedLog::Take();
  MloBoardHandle* handle = board.Handle();
  EXPECT_EQ(Mlo_initBoardEx(&fgBoard, 1, &handle, 0), -1011);
  EXPECT_EQ(handle, nullptr);
  const ApiLines lines = TakeApiLines();
  ASSERT_GE(lines.trace.size(), 2u);
  const std::string args = ",handle=(PK11Fg_Struct_s)" + Pointer(&fgBoard) +
                           ",board-index=4,board-serial=1a2b3c,board-type=a3f,port-mask=0,"
                           "handle=(P11Fg_Struct_s)" +
                           Pointer(&fgBoard);
  EXPECT_EQ(lines.trace.front(), args + "|Entering Mlo_initBoardEx");
  EXPECT_EQ(lines.trace.back(), ",return=-1011" + args + "|Leaving Mlo_initBoardEx");

  handle = board.Handle();
  EXPECT_EQ(Mlo_initBoard(&fgBoard, 0, &handle), -1011);
  EXPECT_EQ(handle, nullptr);
  EXPECT_THAT(TakeApiLines().trace.front(), HasSubstr(",port-mask=65535,"));
  VHalFreeDevice(fgBoard.device);
}

TEST(BoardApiStubs, OtherTransportsFunctionsDoNothingAndWriteNothing) {
  CapturedLog::SetDefaultLevel(1);
  CapturedLog::Take();
  MloCameraHandle* camera = nullptr;
  unsigned int socket = 0;
  unsigned long size = 0;
  unsigned char mac[6] = {};
  char name[] = "cam";
  for (int result :
       {Mlo_getCameraByIp(nullptr, 0, 0, &camera), Mlo_getCameraByMac(nullptr, 0, mac, &camera),
        Mlo_getCameraByUserName(nullptr, 0, name, &camera), Mlo_getFirstCamera(nullptr, 0, &camera),
        Mlo_scanNetwork(nullptr, 0, 0), Mlo_switchCameraConnection(nullptr, nullptr, 0),
        Mlo_invalidateCache(nullptr), Mlo_lockTLParams(nullptr), Mlo_unlockTLParams(nullptr),
        Mlo_enableChecks(nullptr, 1), Mlo_connectCameraSocket(nullptr, 0, &socket),
        Mlo_disconnectCameraSocket(nullptr, 0), Mlo_sendCameraSocket(nullptr, 0, name, 1),
        Mlo_recvCameraSocket(nullptr, 0, name, &size, 0),
        Mlo_registerCameraEventCallback(nullptr, nullptr, nullptr)}) {
    EXPECT_EQ(result, -2000);
  }
  EXPECT_EQ(Mlo_callInternalFunction(nullptr, 0, nullptr), -1);
  Mlo_freeCamera(kSomeCamera);
  EXPECT_TRUE(CapturedLog::Take().empty());
}

}  // namespace
}  // namespace vesk::test
