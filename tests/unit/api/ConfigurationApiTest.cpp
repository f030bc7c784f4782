// The exported board configuration, connection profile and low level link profile functions over
// a board with a test controller: their argument checks, the file a save writes, the
// comparisons of a load, and the life of a connection profile.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "tests/support/CapturedLog.h"
#include "tests/support/TempDir.h"
#include "tests/unit/api/ApiTestBoard.h"
#include "vesk_genicam/impl/vesk_genicam.h"
#include "vesk_genicam/impl/vesk_genicam_configuration.h"

namespace vesk::test {
namespace {

class ConfigurationApi : public ::testing::Test {
 protected:
  void SetUp() override {
    CapturedLog::SetDefaultLevel(1);
    CapturedLog::SetAllLevels(1);
  }

  // Cameras 1 and 2 with one link each, on ports 0 and 2.
  void TwoCameras() {
    board.Camera(0, 1);
    board.Camera(2, 2);
    ASSERT_EQ(Mlo_getCameraCount(board.Handle()), 2);
  }
  int Save() { return Mlo_SaveBoardConfiguration(board.Handle(), file.c_str()); }
  int Load() { return Mlo_LoadBoardConfiguration(board.Handle(), file.c_str()); }
  void Write(const std::string& text) { std::ofstream(file) << text; }
  std::string Text() {
    std::string text;
    for (const std::string& line : ReadLines(file)) text += line + "\n";
    return text;
  }
  // The camera's port of its master link; the camera table is ordered by port object.
  uint32_t MasterPortOf(unsigned int index) {
    MloCameraHandle* camera = nullptr;
    EXPECT_EQ(Mlo_getCameraByIndex(board.Handle(), index, &camera), 0);
    char name[] = "MasterPort";
    unsigned int type = 1;
    uint32_t port = 0;
    EXPECT_EQ(Mlo_getCameraPropertyWithType(camera, name, &port, &type, nullptr), 0);
    return port;
  }
  // The one failure line of the last call, without its thread and arguments.
  std::string Failure() {
    const ApiLines lines = TakeApiLines();
    if (lines.failures.size() != 1) return "(" + std::to_string(lines.failures.size()) + " lines)";
    return lines.failures[0].substr(lines.failures[0].find('|') + 1);
  }

  ApiTestBoard board{8};
  TempDir directory;
  std::string file = directory.File("layout.xml");
};

// The group of a camera with one link as the writer puts it.
std::string SingleLinkGroup(uint32_t port, uint32_t masterId) {
  return "\t<linkgroup masterId=\"" + std::to_string(masterId) +
         "\" speed=\"6250\" streampacketsize=\"8192\">\n"
         "\t\t<link phyIndex=\"" +
         std::to_string(port) + "\" plIndex=\"" + std::to_string(3 - port) +
         "\" linkIndex=\"0\" isMaster=\"true\"/>\n"
         "\t</linkgroup>\n";
}

TEST_F(ConfigurationApi, ArgumentsAreCheckedInOrderWithTheirCodesAndLines) {
  MloBoardHandle* handle = board.Handle();
  char path[] = "/tmp/unused";
  char empty[] = "";
  Fg_Struct_s fgBoard{nullptr, nullptr};
  MloConnectionProfile* profile = nullptr;
  ExpectChecks({
      {"save board", [&] { return Mlo_SaveBoardConfiguration(nullptr, nullptr); }, -1001,
       "Invalid board handle"},
      {"save null file", [&] { return Mlo_SaveBoardConfiguration(handle, nullptr); }, -1003,
       "Invalid config file name"},
      {"save empty file", [&] { return Mlo_SaveBoardConfiguration(handle, ""); }, -1003,
       "Invalid config file name"},
      {"load board", [&] { return Mlo_LoadBoardConfiguration(nullptr, nullptr); }, -1001,
       "Invalid board handle"},
      {"load null file", [&] { return Mlo_LoadBoardConfiguration(handle, nullptr); }, -1003,
       "Invalid config file name"},
      {"load empty file", [&] { return Mlo_LoadBoardConfiguration(handle, ""); }, -1003,
       "Invalid config file name"},
      {"profile board", [&] { return Mlo_LoadConnectionProfile(nullptr, path, &profile); }, -1991,
       "Invalid parameter"},
      {"profile file", [&] { return Mlo_LoadConnectionProfile(&fgBoard, nullptr, &profile); },
       -1991, "Invalid parameter"},
      {"profile empty file", [&] { return Mlo_LoadConnectionProfile(&fgBoard, "", &profile); },
       -1991, "Invalid parameter"},
      {"profile pointer", [&] { return Mlo_LoadConnectionProfile(&fgBoard, path, nullptr); }, -1991,
       "Invalid parameter"},
      {"unload", [&] { return Mlo_UnloadConnectionProfile(nullptr); }, -1991, "Invalid parameter"},
      {"store board", [&] { return Mlo_StoreLowLevelLinkProfile(nullptr, nullptr); }, -1001,
       "Invalid board handle"},
      {"store null file", [&] { return Mlo_StoreLowLevelLinkProfile(handle, nullptr); }, -1003,
       "Invalid config file name"},
      {"store empty file", [&] { return Mlo_StoreLowLevelLinkProfile(handle, empty); }, -1003,
       "Invalid config file name"},
      {"restore board", [&] { return Mlo_RestoreLowLevelLinkProfile(nullptr, nullptr); }, -1001,
       "Invalid board handle"},
      {"restore null file", [&] { return Mlo_RestoreLowLevelLinkProfile(handle, nullptr); }, -1003,
       "Invalid config file name"},
      {"restore empty file", [&] { return Mlo_RestoreLowLevelLinkProfile(handle, empty); }, -1003,
       "Invalid config file name"},
  });
  EXPECT_EQ(profile, nullptr);
}

TEST_F(ConfigurationApi, ExitLinesCarryTheBoardAndTheResult) {
  CapturedLog::Take();
  EXPECT_EQ(Save(), 0);
  const std::vector<std::string> trace = TakeApiLines().trace;
  const std::string args = ",handle=(P14MloBoardHandle)" + Pointer(board.Handle());
  EXPECT_EQ(trace.front(), args + "|Entering Mlo_SaveBoardConfiguration");
  EXPECT_EQ(trace.back(), ",return=0" + args + "|Leaving Mlo_SaveBoardConfiguration");
}

TEST_F(ConfigurationApi, SaveWritesEachCameraAndLoadFindsTheSameLayout) {
  TwoCameras();
  EXPECT_EQ(Save(), 0);
  std::string expected = "<cxpconfiguration links=\"4\" linkgroups=\"2\">\n";
  for (unsigned int index = 0; index < 2; ++index) {
    const uint32_t port = MasterPortOf(index);
    expected += SingleLinkGroup(port, port / 2 + 1);
  }
  EXPECT_EQ(Text(), expected + "</cxpconfiguration>\n");
  CapturedLog::Take();
  EXPECT_EQ(Load(), 0);
  EXPECT_TRUE(TakeApiLines().failures.empty());
}

TEST_F(ConfigurationApi, SaveWritesEveryLinkOfACamera) {
  board.controller.Link(0, 1, 0);
  board.controller.Link(2, 3, 0);
  board.controller.Link(3, 3, 1);
  ASSERT_EQ(board.driver->Discovery(0xFF, 0, 0, 0), 0);
  ASSERT_EQ(Mlo_getCameraCount(board.Handle()), 2);
  EXPECT_EQ(Save(), 0);
  const std::string text = Text();
  EXPECT_NE(text.find("\t\t<link phyIndex=\"2\" plIndex=\"1\" linkIndex=\"0\" isMaster=\"true\"/>\n"
                      "\t\t<link phyIndex=\"3\" plIndex=\"0\" linkIndex=\"1\"/>\n"),
            std::string::npos)
      << text;
}

TEST_F(ConfigurationApi, SavingABoardWithoutCamerasWritesNoCamera) {
  EXPECT_EQ(Save(), 0);
  EXPECT_EQ(Text(), "<cxpconfiguration links=\"4\" linkgroups=\"0\">\n</cxpconfiguration>\n");
  EXPECT_EQ(Load(), 0);
}

// The walk ends at the first camera without a link, even with linked cameras behind it.
TEST_F(ConfigurationApi, SaveStopsAtTheFirstCameraWithoutALink) {
  TwoCameras();
  const uint32_t first = MasterPortOf(0);
  const uint32_t second = MasterPortOf(1);
  board.controller.Port(second).speed = kNoLinkSpeed;
  EXPECT_EQ(Save(), 0);
  EXPECT_EQ(Text(), "<cxpconfiguration links=\"4\" linkgroups=\"1\">\n" +
                        SingleLinkGroup(first, first / 2 + 1) + "</cxpconfiguration>\n");

  board.controller.Port(first).speed = kNoLinkSpeed;
  board.controller.Port(second).speed = 6250;
  EXPECT_EQ(Save(), 0);
  EXPECT_NE(Text().find("linkgroups=\"0\""), std::string::npos) << Text();
}

TEST_F(ConfigurationApi, SaveFailuresOfTheFileAndOfTheRecord) {
  for (unsigned int port = 0; port < 5; ++port) board.controller.Link(port, port + 1, 0);
  board.Camera(5, 6);
  ASSERT_EQ(Mlo_getCameraCount(board.Handle()), 6);
  CapturedLog::Take();
  // The file holds four cameras at most.
  EXPECT_EQ(Save(), -1014);
  EXPECT_EQ(Failure(), "Error invalid config file");

  board.controller.Free(5);
  board.controller.Free(4);
  board.controller.Free(3);
  board.Camera(0, 1);
  file = directory.File("missing/layout.xml");
  CapturedLog::Take();
  EXPECT_EQ(Save(), -1006);
  EXPECT_EQ(Failure(), "Error saving config file");
}

// Each case changes one thing after the save; the load reports the first difference it meets.
TEST_F(ConfigurationApi, LoadReportsTheFirstDifferenceFromTheSavedLayout) {
  struct Case {
    const char* name;
    std::function<void(TestController&)> change;
    int code;
    const char* line;
  };
  const Case cases[] = {
      {"link speed", [](TestController& c) { c.Port(2).speed = 3125; }, -1999,
       "Difference between CAM_PROP_LINKSPEED_S saved and discovered"},
      {"packet size", [](TestController& c) { c.Port(2).streamPacketSize = 4096; }, -1999,
       "Difference between CAM_PROP_STREAMPACKET_SIZE_S saved and discovered"},
      {"master id", [](TestController& c) { c.Link(2, 7, 0); }, -1999,
       "Difference between CAM_PROP_MASTERID_S saved and discovered"},
      {"extension link", [](TestController& c) { c.Link(3, 2, 1); }, -1999,
       "Difference between CAM_PROP_NROFLINKS_S saved and discovered"},
      {"applet port", [](TestController& c) { c.Port(2).portPL = 0; }, -1999,
       "Difference between CAM_PROP_APPLETPORT_S saved and discovered"},
      {"camera gone", [](TestController& c) { c.Free(2); }, -1001, "Invalid boardHandle"},
  };
  for (const Case& check : cases) {
    SCOPED_TRACE(check.name);
    ApiTestBoard other{8};
    other.Camera(0, 1);
    other.Camera(2, 2);
    ASSERT_EQ(Mlo_SaveBoardConfiguration(other.Handle(), file.c_str()), 0);
    check.change(other.controller);
    ASSERT_EQ(other.driver->Discovery(0xFF, 0, 0, 0), 0);
    CapturedLog::Take();
    EXPECT_EQ(Mlo_LoadBoardConfiguration(other.Handle(), file.c_str()), check.code);
    EXPECT_EQ(Failure(), check.line);
  }
}

// A saved extension link is looked up under a name that no camera answers.
TEST_F(ConfigurationApi, LoadOfACameraWithAnExtensionLinkEndsWithNotImplemented) {
  board.controller.Link(0, 1, 0);
  board.controller.Link(1, 1, 1);
  ASSERT_EQ(board.driver->Discovery(0xFF, 0, 0, 0), 0);
  ASSERT_EQ(Save(), 0);
  CapturedLog::Take();
  EXPECT_EQ(Load(), -2000);
  EXPECT_EQ(Failure(), "Invalid property by EXTENSIONLINK");
}

// Only a moved frame-grabber port is passed over: the load ends there with 0, and does not
// compare the applet port behind it.
TEST_F(ConfigurationApi, LoadOfALinkOnAnotherGrabberPortEndsWithSuccess) {
  board.controller.Link(0, 1, 0);
  board.controller.Link(1, 1, 1);
  ASSERT_EQ(board.driver->Discovery(0xFF, 0, 0, 0), 0);
  // The links of the camera the other way round.
  Write(
      "<cxpconfiguration links=\"4\" linkgroups=\"1\">\n"
      "<linkgroup masterId=\"1\" speed=\"6250\" streampacketsize=\"8192\">\n"
      "<link phyIndex=\"1\" plIndex=\"0\" linkIndex=\"0\" isMaster=\"true\"/>\n"
      "<link phyIndex=\"0\" plIndex=\"0\" linkIndex=\"1\"/>\n"
      "</linkgroup>\n</cxpconfiguration>\n");
  CapturedLog::Take();
  EXPECT_EQ(Load(), 0);
  EXPECT_EQ(Failure(), "Difference between CAM_PROP_FGPORT_S saved and discovered");
}

TEST_F(ConfigurationApi, LoadRefusesAMissingOrBadFile) {
  CapturedLog::Take();
  EXPECT_EQ(Load(), -1003);
  EXPECT_TRUE(TakeApiLines().failures.empty());
  for (const char* text : {"", "<clconfiguration links=\"4\" linkgroups=\"0\"/>",
                           "<cxpconfiguration links=\"9\" linkgroups=\"0\"/>"}) {
    SCOPED_TRACE(text);
    Write(text);
    CapturedLog::Take();
    EXPECT_EQ(Load(), -1014);
    EXPECT_EQ(Failure(), "Error loading config pointer");
  }
}

TEST(ConnectionProfileRecord, IsPackedInTheOrderOfItsFields) {
  EXPECT_EQ(offsetof(MloConnectionProfile, board), 0u);
  EXPECT_EQ(offsetof(MloConnectionProfile, cameraCount), 8u);
  EXPECT_EQ(offsetof(MloConnectionProfile, cameras), 12u);
  EXPECT_EQ(offsetof(MloConnectionProfile, cameraInfos), 20u);
  EXPECT_EQ(offsetof(MloConnectionProfile, states), 28u);
  EXPECT_EQ(sizeof(MloConnectionProfile), 36u);
}

// Camera 1 connects, camera 2 fails its GenICam connection; camera 3 has lost its link after the
// save and was not saved, since the walk ends at it.
TEST_F(ConfigurationApi, ConnectionProfileConnectsEachCameraAndUnloadFreesTheBoard) {
  TwoCameras();
  ASSERT_EQ(Save(), 0);
  board.Camera(4, 3);
  board.controller.Port(4).speed = kNoLinkSpeed;
  board.controller.Port(2).xmlCode = -1607;
  const std::map<uint32_t, uint32_t> stateOfPort = {{0, MLO_PROFILE_CONNECTED},
                                                    {2, MLO_PROFILE_GENICAM_FAILED},
                                                    {4, MLO_PROFILE_LINK_NOT_CONNECTED}};
  std::vector<uint32_t> ports;
  for (unsigned int index = 0; index < 3; ++index) ports.push_back(MasterPortOf(index));

  MloConnectionProfile* profile = nullptr;
  ASSERT_EQ(genicam::LoadConnectionProfileOfBoard(board.Handle(), file.c_str(), &profile), 0);
  ASSERT_NE(profile, nullptr);
  EXPECT_EQ(profile->board, board.Handle());
  ASSERT_EQ(profile->cameraCount, 3);
  for (unsigned int index = 0; index < 3; ++index) {
    SCOPED_TRACE(ports[index]);
    auto* camera = board.driver->GetCamera(index);
    EXPECT_EQ(profile->cameras[index], reinterpret_cast<MloCameraHandle*>(camera));
    EXPECT_EQ(profile->states[index], stateOfPort.at(ports[index]));
    EXPECT_EQ(profile->cameraInfos[index],
              ports[index] == 4 ? nullptr : Mlo_getCameraInfo(profile->cameras[index]));
    EXPECT_EQ(camera->IsGenicamConnected(), ports[index] == 0);
  }
  CapturedLog::Take();
  EXPECT_EQ(Mlo_UnloadConnectionProfile(profile), 0);
  EXPECT_TRUE(board.destroyed);
  board.Freed();
  const std::vector<std::string> trace = TakeApiLines().trace;
  EXPECT_EQ(std::count_if(trace.begin(), trace.end(),
                          [](const std::string& line) {
                            return line.find("|Entering Mlo_disconnectCamera") != std::string::npos;
                          }),
            3);
}

TEST_F(ConfigurationApi, ConnectionProfileGivesTheBoardUpWhenTheLoadFails) {
  board.Camera(0, 1);
  MloConnectionProfile* profile = nullptr;
  EXPECT_EQ(genicam::LoadConnectionProfileOfBoard(board.Handle(), file.c_str(), &profile), -1003);
  EXPECT_EQ(profile, nullptr);
  EXPECT_TRUE(board.destroyed);
  board.Freed();
}

// The fake board library's board has no transport, so the profile ends where the board opens.
TEST_F(ConfigurationApi, ConnectionProfileOfABoardThatDoesNotOpen) {
  Fg_Struct_s fgBoard{VHalInitDevice(0), nullptr};
  MloConnectionProfile unused{};
  MloConnectionProfile* profile = &unused;
  CapturedLog::Take();
  EXPECT_EQ(Mlo_LoadConnectionProfile(&fgBoard, file.c_str(), &profile), -1011);
  EXPECT_EQ(profile, nullptr);
  const std::vector<std::string> trace = TakeApiLines().trace;
  const std::string args = ",handle=(P11Fg_Struct_s)" + Pointer(&fgBoard);
  EXPECT_EQ(trace.front(), args + "|Entering Mlo_LoadConnectionProfile");
  EXPECT_EQ(trace.back(), ",return=-1011" + args + "|Leaving Mlo_LoadConnectionProfile");
  VHalFreeDevice(fgBoard.device);
}

TEST_F(ConfigurationApi, LowLevelLinkProfileIsStoredButNotRestored) {
  board.Camera(0, 1);
  std::string path = directory.File("lowlevel.txt");
  EXPECT_EQ(Mlo_StoreLowLevelLinkProfile(board.Handle(), path.data()), 0);
  const std::vector<std::string> lines = ReadLines(path);
  ASSERT_EQ(lines.size(), 2u + 8u + 8u);
  EXPECT_EQ(lines[0], "# low level link profile v1.0");
  EXPECT_EQ(lines[2], "pl_0=11,0");
  EXPECT_EQ(lines[10], "speed_0=6250");
  EXPECT_EQ(lines[11], "speed_1=-1");

  EXPECT_EQ(Mlo_RestoreLowLevelLinkProfile(board.Handle(), path.data()), -1991);
  EXPECT_EQ(ReadLines(path), lines);
  std::string missing = directory.File("none.txt");
  EXPECT_EQ(Mlo_RestoreLowLevelLinkProfile(board.Handle(), missing.data()), -1006);
}

}  // namespace
}  // namespace vesk::test
