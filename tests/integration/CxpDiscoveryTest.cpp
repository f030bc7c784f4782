// CoaXPress boards through the exported functions alone, on the simulated runtime: discovery,
// topology, hot-plug and events, with the waits shortened through the settings.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/ApiBoard.h"

namespace {

void ShortenWaits() {
  for (const char* name :
       {"VESK_CXP_WAIT_AFTER_LINK_RESET_DONE", "VESK_CXP_WAIT_AFTER_CAMERA_CONFIG_CHANGED",
        "VESK_CXP_WAIT_AFTER_UPLINK_SPEED_RESET", "VESK_CXP_WAIT_AFTER_POWERUP",
        "VESK_CXP_WAIT_AFTER_TRIP_RESET", "VESK_CXP_WAIT_AFTER_LINK_RESET_ON_EACH_PORT"})
    setenv(name, "0", 1);
  setenv("VESK_CXP_COMMAND_ACK_TIMEOUT", "20", 1);
  setenv("VESK_CXP_DISCOVERY_THREAD_SLEEP_TIME_MS", "10", 1);
  setenv("VESK_CXP_DISCONNECTS_THREAD_SLEEP_TIME_MS", "10", 1);
}

// Before any board opens.
const bool kWaitsShortened = (ShortenWaits(), true);

using Board = vesk::test::ApiBoard;
using Events = vesk::test::ApiEvents;
using vesk::test::ThreadCount;

struct Form {
  const char* name;
  const char* design;
  int type;
};

const Form kForms[] = {{"DrpA", "cxp-drp", 2641},
                       {"DrpB", "cxp-drp-ready", 1875},
                       {"RateIndex", "cxp-rate-index", 2656},
                       {"RateIndexRxStatus", "cxp-rate-index-rx-status", 2917},
                       {"TransceiverRegs", "cxp-transceiver-regs", 2917},
                       {"CameraCtrl", "cxp-camera-ctrl", 2656}};

std::string BoardTag(const Form& form, const char* operators) {
  return "<board type='" + std::to_string(form.type) + "' ports='4' design='" + form.design +
         "' operators='" + operators + "'/>";
}

// A camera whose links i are cabled to the ports cabling[i].
std::string CameraTag(const char* id, const char* ports, const std::string& extra = "") {
  std::string tag = std::string("<camera id='") + id + "' " + extra + ">";
  for (const char* port = ports; *port; ++port)
    tag += std::string("<link board='0' port='") + *port + "'/>";
  return tag + "</camera>";
}

class CxpForms : public ::testing::TestWithParam<Form> {};

std::string FormName(const ::testing::TestParamInfo<Form>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Forms, CxpForms, ::testing::ValuesIn(kForms), FormName);

// Whatever the cabling, the multiplexer brings link i to the operator's firmware port i.
TEST_P(CxpForms, AFourLinkCameraInAnyCablingIsOneCameraOnItsOperator) {
  for (const char* cabling : {"2301", "3210"}) {
    SCOPED_TRACE(cabling);
    Board board("<rig>" + BoardTag(GetParam(), "1 1.1 1.2 1.3") +
                CameraTag("quad", cabling, "speeds='3125' xml='zipped'") + "</rig>");
    ASSERT_TRUE(board.Ok());
    ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 5000, 0, 0), 0);
    ASSERT_EQ(Mlo_getCameraCount(board.Handle()), 1);
    MloCameraHandle* camera = nullptr;
    ASSERT_EQ(Mlo_getCameraByIndex(board.Handle(), 0, &camera), 0);
    EXPECT_EQ(board.CameraProperty(camera, "MasterPort"), unsigned(cabling[0] - '0'));
    EXPECT_EQ(board.CameraProperty(camera, "NrOfLinks"), 4u);
    EXPECT_EQ(board.CameraProperty(camera, "LinkSpeed"), 3125u);
    for (unsigned int link = 0; link < 4; ++link) {
      EXPECT_EQ(board.CameraProperty(camera, "FgPort", link), unsigned(cabling[link] - '0'));
      EXPECT_EQ(board.CameraProperty(camera, "AppletPort", link), link);
    }
  }
}

TEST(CxpDiscovery, CamerasAtTheirOwnSpeedsEachTakeAnOperator) {
  Board board("<rig>" + BoardTag(kForms[5], "1 2 3 4") + CameraTag("slow", "0", "speeds='1250'") +
              CameraTag("fast", "2", "speeds='6250'") + "</rig>");
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 5000, 0, 0), 0);
  // The scan returns with the first camera; the second comes with the next passes.
  for (int tries = 0; tries < 100 && Mlo_getCameraCount(board.Handle()) < 2; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    Mlo_scanPortsEx(board.Handle(), 0xF, 0, 0, 0x20);
  }
  MloCameraHandle* slow = nullptr;
  MloCameraHandle* fast = nullptr;
  ASSERT_EQ(Mlo_getCamera(board.Handle(), 0, &slow), 0);
  ASSERT_EQ(Mlo_getCamera(board.Handle(), 2, &fast), 0);
  ASSERT_TRUE(slow && fast);
  EXPECT_EQ(board.CameraProperty(slow, "LinkSpeed"), 1250u);
  EXPECT_EQ(board.CameraProperty(fast, "LinkSpeed"), 6250u);
}

// One camera on port 0: its link count wins it the one-link operator on firmware port 2, unless
// the camera's properties are ignored and the nearer operator wins.
TEST(CxpDiscovery, IgnoringCameraPropertiesLeavesOnlyTheDistance) {
  for (const auto& [flags, appletPort] : {std::pair{0u, 2u}, std::pair{2u, 0u}}) {
    Board board("<rig>" + BoardTag(kForms[5], "1 1.1 2 -") +
                CameraTag("single", "0", "speeds='3125'") + "</rig>");
    ASSERT_TRUE(board.Ok());
    ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0x1, 5000, 0, flags), 0);
    MloCameraHandle* camera = nullptr;
    ASSERT_EQ(Mlo_getCamera(board.Handle(), 0, &camera), 0);
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(board.CameraProperty(camera, "AppletPort"), appletPort) << "flags " << flags;
  }
}

TEST(CxpDiscovery, ScanResultsForBadArgumentsAndEmptyPorts) {
  Board board("<rig>" + BoardTag(kForms[5], "1 2 3 4") + CameraTag("single", "1", "speeds='3125'") +
              "</rig>");
  ASSERT_TRUE(board.Ok());
  EXPECT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF0, 100, 0, 0), -1208);
  EXPECT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 100, 12500 + 1, 0), -1200);
  EXPECT_EQ(Mlo_scanPortsEx(board.Handle(), 0x4, 300, 0, 0), -1210);
  EXPECT_EQ(Mlo_scanPortsEx(board.Handle(), 0x2, 0, 0, 0), 0);
}

// Hot-plug: the master's loss loses the camera, and its extension comes back as a camera of its
// own; the master's return makes it one camera again.
TEST(CxpDiscovery, LinksThatGoAndComeAreTold) {
  Events events;  // outlives the board, whose threads call it until it is freed
  Board board("<rig>" + BoardTag(kForms[5], "1 1.1 2 3") +
              CameraTag("dual", "01", "speeds='3125' xml='zipped'") + "</rig>");
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(Mlo_registerBoardEventCallback(board.Handle(), Events::Callback, &events), 0);
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 5000, 0, 0), 0);
  EXPECT_EQ(events.Wait(1), (std::vector<Events::Event>{{250, 1}}));
  const int camera = VSIM(VSimFindCamera)("dual");
  ASSERT_EQ(VSIM(VSimUnplug)(0, 0), 0);
  EXPECT_EQ(events.Wait(2), (std::vector<Events::Event>{{251, 1}, {250, 2}}));
  ASSERT_EQ(VSIM(VSimPlug)(0, 0, camera, 0), 0);
  // The returning master is a camera of its own until a rediscovery makes the two links one.
  const std::vector<Events::Event> back = events.Wait(1);
  ASSERT_FALSE(back.empty());
  EXPECT_EQ(back.front(), (Events::Event{250, 1}));
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 5000, 0, 64), 0);
  EXPECT_EQ(Mlo_getCameraCount(board.Handle()), 1);
  MloCameraHandle* whole = nullptr;
  ASSERT_EQ(Mlo_getCamera(board.Handle(), 0, &whole), 0);
  ASSERT_NE(whole, nullptr);
  EXPECT_EQ(board.CameraProperty(whole, "NrOfLinks"), 2u);
  ASSERT_EQ(Mlo_connectCamera(whole), 0);
  int64_t width = 0;
  EXPECT_EQ(Mlo_getIntegerValue(whole, "Width", &width), 0);
  EXPECT_GT(width, 0);
}

// A scan that does not wait returns at once; the camera comes by event.
TEST(CxpDiscovery, ACameraFoundAfterAScanThatDidNotWaitComesByEvent) {
  Events events;
  Board board("<rig>" + BoardTag(kForms[5], "1 2 3 4") + CameraTag("single", "3", "speeds='3125'") +
              "</rig>");
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(Mlo_registerBoardEventCallback(board.Handle(), Events::Callback, &events), 0);
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 0, 0, 0), 0);
  EXPECT_EQ(events.Wait(1), (std::vector<Events::Event>{{250, 4}}));
}

// A port whose power trips loses its camera; the next pass switches it off and on and finds the
// camera again.
TEST(CxpDiscovery, ATrippedPortIsPowerCycledAndItsCameraFound) {
  Events events;
  Board board("<rig>" + BoardTag(kForms[5], "1 2 3 4") + CameraTag("single", "1", "speeds='3125'") +
              "</rig>");
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(Mlo_registerBoardEventCallback(board.Handle(), Events::Callback, &events), 0);
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 5000, 0, 0), 0);
  EXPECT_EQ(events.Wait(1), (std::vector<Events::Event>{{250, 2}}));
  ASSERT_EQ(VSIM(VSimTripPower)(0, 1), 0);
  EXPECT_EQ(events.Wait(2), (std::vector<Events::Event>{{251, 2}, {250, 2}}));
}

// Speed and link count of a running camera change through its properties.
TEST(CxpDiscovery, LinkConfigChangesSpeedAndLinksOfARunningCamera) {
  Board board("<rig>" + BoardTag(kForms[4], "1 1.1 1.2 1.3") +
              CameraTag("quad", "0123", "speeds='3125 6250' defaultSpeed='3125'") + "</rig>");
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 5000, 0, 0), 0);
  MloCameraHandle* camera = nullptr;
  ASSERT_EQ(Mlo_getCamera(board.Handle(), 0, &camera), 0);
  ASSERT_NE(camera, nullptr);
  ASSERT_EQ(board.CameraProperty(camera, "LinkSpeed"), 3125u);
  unsigned int speed = 6250;
  EXPECT_EQ(
      Mlo_setCameraPropertyWithType(camera, const_cast<char*>("LinkSpeed"), &speed, 1, nullptr), 0);
  EXPECT_EQ(board.CameraProperty(camera, "LinkSpeed"), 6250u);
  unsigned int links = 2;
  EXPECT_EQ(
      Mlo_setCameraPropertyWithType(camera, const_cast<char*>("NrOfLinks"), &links, 1, nullptr), 0);
  EXPECT_EQ(board.CameraProperty(camera, "NrOfLinks"), 2u);
}

// Features by name end to end, and the saved layouts and parameters of a found camera.
TEST(CxpDiscovery, AFoundCameraIsUsedByNameAndItsLayoutSaved) {
  Board board("<rig>" + BoardTag(kForms[0], "1 2 3 4") +
              CameraTag("single", "0", "speeds='3125 6250' defaultSpeed='3125' xml='zipped'") +
              "</rig>");
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 5000, 0, 0), 0);
  MloCameraHandle* camera = nullptr;
  ASSERT_EQ(Mlo_getCamera(board.Handle(), 0, &camera), 0);
  ASSERT_EQ(Mlo_connectCamera(camera), 0);
  ASSERT_EQ(Mlo_setIntegerValue(camera, "Width", 640), 0);
  int64_t width = 0;
  ASSERT_EQ(Mlo_getIntegerValue(camera, "Width", &width), 0);
  EXPECT_EQ(width, 640);
  const std::string parameters = testing::TempDir() + "/cxp-parameters.txt";
  const std::string layout = testing::TempDir() + "/cxp-layout.txt";
  ASSERT_EQ(Mlo_SaveCameraParameters(camera, parameters.c_str()), 0);
  ASSERT_EQ(Mlo_setIntegerValue(camera, "Width", 800), 0);
  ASSERT_EQ(Mlo_LoadCameraParameters(camera, parameters.c_str(), 1), 0);
  ASSERT_EQ(Mlo_getIntegerValue(camera, "Width", &width), 0);
  EXPECT_EQ(width, 640);
  ASSERT_EQ(Mlo_SaveBoardConfiguration(board.Handle(), layout.c_str()), 0);
  EXPECT_EQ(Mlo_LoadBoardConfiguration(board.Handle(), layout.c_str()), 0);
  unsigned int speed = 6250;
  ASSERT_EQ(
      Mlo_setCameraPropertyWithType(camera, const_cast<char*>("LinkSpeed"), &speed, 1, nullptr), 0);
  EXPECT_EQ(Mlo_LoadBoardConfiguration(board.Handle(), layout.c_str()), -1999);
}

// Cables go and come on one thread while others read features and a callback looks cameras up:
// nothing crashes or waits for good, the events of each camera alternate, and freeing the board
// ends every thread it started.
TEST(CxpDiscovery, CablesMovingUnderReadersAndCallbacksBreakNothing) {
  std::thread([] {}).join();  // a sanitizer starts its helper thread with the first thread
  const unsigned int threadsBefore = ThreadCount();
  struct Watch {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<unsigned int> typesOfA;  // the events of the camera whose cable moves
    // Waits, boundedly, until camera A has had count events.
    void Await(size_t count) {
      std::unique_lock<std::mutex> lock(mutex);
      changed.wait_for(lock, std::chrono::seconds(10), [&] { return typesOfA.size() >= count; });
    }
  } watch;
  auto callback = [](MloBoardHandle* board, const MloEventInfo* info, void* user) {
    auto* seen = static_cast<Watch*>(user);
    MloCameraHandle* camera = nullptr;
    Mlo_getCamera(board, 0, &camera);  // waits for a running scan, never for good
    std::lock_guard<std::mutex> lock(seen->mutex);
    if (info->port == 1) seen->typesOfA.push_back(info->type);
    seen->changed.notify_all();
    return 0;
  };
  {
    Board board("<rig>" + BoardTag(kForms[5], "1 2 3 4") + CameraTag("a", "0", "speeds='3125'") +
                CameraTag("b", "2", "speeds='3125'") + "</rig>");
    ASSERT_TRUE(board.Ok());
    ASSERT_EQ(Mlo_registerBoardEventCallback(board.Handle(), callback, &watch), 0);
    ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 5000, 0, 0), 0);
    std::atomic<bool> moving{true};
    std::vector<std::thread> readers;
    for (unsigned int port : {0u, 2u}) {
      readers.emplace_back([&, port] {
        while (moving) {
          MloCameraHandle* camera = nullptr;
          Mlo_scanPortsEx(board.Handle(), 0xF, 0, 0, 0x20);
          if (Mlo_getCamera(board.Handle(), port, &camera) == 0 && camera) {
            uint32_t value = 0;
            Mlo_registerReadFromCamera(camera, &value, 0x4);
          }
          std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
      });
    }
    const int cameraA = VSIM(VSimFindCamera)("a");
    // Each move waits for its event, so that every round is a loss and a return.
    for (size_t round = 0; round < 4; ++round) {
      VSIM(VSimUnplug)(0, 0);
      watch.Await(2 * round + 2);
      VSIM(VSimPlug)(0, 0, cameraA, 0);
      watch.Await(2 * round + 3);
    }
    moving = false;
    for (std::thread& reader : readers) reader.join();
  }
  std::lock_guard<std::mutex> lock(watch.mutex);
  ASSERT_EQ(watch.typesOfA.size(), 9u);
  for (size_t i = 0; i < watch.typesOfA.size(); ++i)
    EXPECT_EQ(watch.typesOfA[i], i % 2 ? 251u : 250u) << "event " << i;
  EXPECT_EQ(ThreadCount(), threadsBefore);
}

// A camera that wants two links but has one cable runs on one; its second cable, plugged later,
// joins the camera as an extension.
TEST(CxpDiscovery, AnExtensionPluggedLaterJoinsItsCamera) {
  Events events;
  Board board("<rig>" + BoardTag(kForms[5], "1 1.1 2 3") +
              CameraTag("dual", "01", "speeds='3125' defaultLinks='2'") + "</rig>");
  ASSERT_TRUE(board.Ok());
  const int camera = VSIM(VSimFindCamera)("dual");
  ASSERT_EQ(VSIM(VSimUnplug)(0, 1), 0);
  ASSERT_EQ(Mlo_registerBoardEventCallback(board.Handle(), Events::Callback, &events), 0);
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 5000, 0, 0), 0);
  EXPECT_EQ(events.Wait(1), (std::vector<Events::Event>{{250, 1}}));
  ASSERT_EQ(VSIM(VSimPlug)(0, 1, camera, 1), 0);
  EXPECT_EQ(events.Wait(1), (std::vector<Events::Event>{{252, 1}}));
  Mlo_scanPortsEx(board.Handle(), 0xF, 0, 0, 0x20);
  MloCameraHandle* joined = nullptr;
  ASSERT_EQ(Mlo_getCamera(board.Handle(), 0, &joined), 0);
  ASSERT_NE(joined, nullptr);
  EXPECT_EQ(board.CameraProperty(joined, "NrOfLinks"), 2u);
}

// "CamPort" moves a camera to the operator asked for: it is lost, and found there.
TEST(CxpDiscovery, CamPortPinsACameraToAnOperator) {
  Events events;
  Board board("<rig>" + BoardTag(kForms[5], "1 2 3 4") + CameraTag("single", "0", "speeds='3125'") +
              "</rig>");
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(Mlo_registerBoardEventCallback(board.Handle(), Events::Callback, &events), 0);
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 5000, 0, 0), 0);
  EXPECT_EQ(events.Wait(1), (std::vector<Events::Event>{{250, 1}}));
  unsigned int operatorId = 3;
  unsigned int masterId = 1;
  ASSERT_EQ(Mlo_setBoardPropertyWithType(board.Handle(), const_cast<char*>("CamPort"), &operatorId,
                                         1, &masterId),
            0);
  EXPECT_EQ(events.Wait(2), (std::vector<Events::Event>{{251, 1}, {250, 1}}));
  Mlo_scanPortsEx(board.Handle(), 0xF, 0, 0, 0x20);
  MloCameraHandle* moved = nullptr;
  ASSERT_EQ(Mlo_getCamera(board.Handle(), 0, &moved), 0);
  ASSERT_NE(moved, nullptr);
  EXPECT_EQ(board.CameraProperty(moved, "AppletPort"), 2u);
}

// The design's operators can be stood in for by the settings: four one-link operators become one
// four-link operator, and a four-link camera takes it.
TEST(CxpDiscovery, SimulatedAppletOperatorsStandInForTheDesigns) {
  setenv("VESK_CXP_SIMULATE_APPLET_MASTERS", "0x1111", 1);
  setenv("VESK_CXP_SIMULATE_APPLET_EXTENSIONS", "0x3210", 1);
  Board board("<rig>" + BoardTag(kForms[5], "1 2 3 4") +
              CameraTag("quad", "3210", "speeds='3125'") + "</rig>");
  unsetenv("VESK_CXP_SIMULATE_APPLET_MASTERS");
  unsetenv("VESK_CXP_SIMULATE_APPLET_EXTENSIONS");
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 5000, 0, 0), 0);
  ASSERT_EQ(Mlo_getCameraCount(board.Handle()), 1);
  MloCameraHandle* camera = nullptr;
  ASSERT_EQ(Mlo_getCamera(board.Handle(), 3, &camera), 0);
  ASSERT_NE(camera, nullptr);
  EXPECT_EQ(board.CameraProperty(camera, "AppletOperatorSize"), 4u);
  for (unsigned int link = 0; link < 4; ++link)
    EXPECT_EQ(board.CameraProperty(camera, "AppletPort", link), link);
}

}  // namespace
