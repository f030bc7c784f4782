// The exported board configuration, connection profile and low level link profile functions over
// a board with a test controller: their argument checks, the file a save writes, the
// comparisons of a load, and the life of a connection profile.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"
#include "tests/unit/api/ApiTestBoard.h"
#include "vesk_genicam/impl/vesk_genicam_configuration.h"

namespace vesk::test {
namespace {

// Applications are built against this packed layout.
static_assert(offsetof(MloConnectionProfile, cameraCount) == 8);
static_assert(offsetof(MloConnectionProfile, cameras) == 12);
static_assert(offsetof(MloConnectionProfile, cameraInfos) == 20);
static_assert(offsetof(MloConnectionProfile, states) == 28);

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
  // Camera 1 with its master on port 0 and an extension link on port 1.
  void TwoLinks() {
    board.controller.Link(0, 1, 0);
    board.controller.Link(1, 1, 1);
    ASSERT_EQ(board.driver->Discovery(0xFF, 0, 0, 0), 0);
  }
  int Save() { return Mlo_SaveBoardConfiguration(board.Handle(), file.c_str()); }
  int Load() {
    CapturedLog::Take();
    return Mlo_LoadBoardConfiguration(board.Handle(), file.c_str());
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

  ApiTestBoard board{8};
  TempDir directory;
  std::string file = directory.File("layout.xml");
};

// The messages of the failure lines since the last take.
std::vector<std::string> Failures() {
  std::vector<std::string> messages;
  for (const std::string& line : TakeApiLines().failures) {
    messages.push_back(line.substr(line.find('|') + 1));
  }
  return messages;
}

// The file as the writer puts it, with a group for a camera with one link on each port.
std::string Layout(const std::vector<uint32_t>& ports) {
  std::string text =
      "<cxpconfiguration links=\"4\" linkgroups=\"" + std::to_string(ports.size()) + "\">\n";
  for (uint32_t port : ports) {
    text += "\t<linkgroup masterId=\"" + std::to_string(port / 2 + 1) +
            "\" speed=\"6250\" streampacketsize=\"8192\">\n\t\t<link phyIndex=\"" +
            std::to_string(port) + "\" plIndex=\"" + std::to_string(3 - port) +
            "\" linkIndex=\"0\" isMaster=\"true\"/>\n\t</linkgroup>\n";
  }
  return text + "</cxpconfiguration>\n";
}

TEST_F(ConfigurationApi, ArgumentsAreCheckedInOrderWithTheirCodesAndLines) {
  MloBoardHandle* b = board.Handle();
  char path[] = "/tmp/unused";
  char empty[] = "";
  Fg_Struct_s fg{nullptr, nullptr};
  MloConnectionProfile* profile = nullptr;
  const char* const kNoBoard = "Invalid board handle";
  const char* const kNoFile = "Invalid config file name";
  const char* const kBad = "Invalid parameter";
  ExpectChecks({
      CALL(Mlo_SaveBoardConfiguration(nullptr, nullptr), -1001, kNoBoard),
      CALL(Mlo_SaveBoardConfiguration(b, nullptr), -1003, kNoFile),
      CALL(Mlo_SaveBoardConfiguration(b, ""), -1003, kNoFile),
      CALL(Mlo_LoadBoardConfiguration(nullptr, nullptr), -1001, kNoBoard),
      CALL(Mlo_LoadBoardConfiguration(b, nullptr), -1003, kNoFile),
      CALL(Mlo_LoadBoardConfiguration(b, ""), -1003, kNoFile),
      CALL(Mlo_LoadConnectionProfile(nullptr, path, &profile), -1991, kBad),
      CALL(Mlo_LoadConnectionProfile(&fg, nullptr, &profile), -1991, kBad),
      CALL(Mlo_LoadConnectionProfile(&fg, "", &profile), -1991, kBad),
      CALL(Mlo_LoadConnectionProfile(&fg, path, nullptr), -1991, kBad),
      CALL(Mlo_UnloadConnectionProfile(nullptr), -1991, kBad),
      CALL(Mlo_StoreLowLevelLinkProfile(nullptr, nullptr), -1001, kNoBoard),
      CALL(Mlo_StoreLowLevelLinkProfile(b, nullptr), -1003, kNoFile),
      CALL(Mlo_StoreLowLevelLinkProfile(b, empty), -1003, kNoFile),
      CALL(Mlo_RestoreLowLevelLinkProfile(nullptr, nullptr), -1001, kNoBoard),
      CALL(Mlo_RestoreLowLevelLinkProfile(b, nullptr), -1003, kNoFile),
      CALL(Mlo_RestoreLowLevelLinkProfile(b, empty), -1003, kNoFile),
  });
  EXPECT_EQ(profile, nullptr);
}

// A save writes each camera up to the first one without a link, and every link of a camera; a
// load of the same layout finds no difference.
TEST_F(ConfigurationApi, SaveWritesEachCameraAndLoadFindsTheSameLayout) {
  CapturedLog::Take();
  EXPECT_EQ(Save(), 0);
  const std::vector<std::string> trace = TakeApiLines().trace;
  const std::string args = ",handle=(P14MloBoardHandle)" + Pointer(board.Handle());
  EXPECT_EQ(trace.front(), args + "|Entering Mlo_SaveBoardConfiguration");
  EXPECT_EQ(trace.back(), ",return=0" + args + "|Leaving Mlo_SaveBoardConfiguration");
  EXPECT_EQ(ReadText(file), Layout({}));
  EXPECT_EQ(Load(), 0);

  TwoCameras();
  const uint32_t first = MasterPortOf(0);
  const uint32_t second = MasterPortOf(1);
  EXPECT_EQ(Save(), 0);
  EXPECT_EQ(ReadText(file), Layout({first, second}));
  EXPECT_EQ(Load(), 0);
  EXPECT_EQ(Failures(), std::vector<std::string>{});

  // Even with linked cameras behind it.
  board.controller.Port(second).speed = kNoLinkSpeed;
  EXPECT_EQ(Save(), 0);
  EXPECT_EQ(ReadText(file), Layout({first}));
  board.controller.Port(first).speed = kNoLinkSpeed;
  board.controller.Port(second).speed = 6250;
  EXPECT_EQ(Save(), 0);
  EXPECT_EQ(ReadText(file), Layout({}));

  board.controller.Free(first);
  TwoLinks();
  EXPECT_EQ(Save(), 0);
  EXPECT_NE(ReadText(file).find(
                "\t\t<link phyIndex=\"0\" plIndex=\"3\" linkIndex=\"0\" isMaster=\"true\"/>\n"
                "\t\t<link phyIndex=\"1\" plIndex=\"2\" linkIndex=\"1\"/>\n"),
            std::string::npos)
      << ReadText(file);
}

TEST_F(ConfigurationApi, SaveFailuresOfTheFileAndOfTheRecord) {
  for (unsigned int port = 0; port < 5; ++port) board.controller.Link(port, port + 1, 0);
  board.Camera(5, 6);
  ASSERT_EQ(Mlo_getCameraCount(board.Handle()), 6);
  CapturedLog::Take();
  // The file holds four cameras at most.
  EXPECT_EQ(Save(), -1014);
  EXPECT_EQ(Failures(), std::vector<std::string>{"Error invalid config file"});

  for (unsigned int port : {5, 4, 3}) board.controller.Free(port);
  board.Camera(0, 1);
  // A folder that is not there, and a disk that is full when the text goes out.
  for (const std::string& path : {directory.File("missing/layout.xml"), std::string("/dev/full")}) {
    file = path;
    EXPECT_EQ(Save(), -1006) << path;
    EXPECT_EQ(Failures(), std::vector<std::string>{"Error saving config file"});
  }
}

// Each case changes one thing after the save; the load reports the first difference it meets.
TEST_F(ConfigurationApi, LoadReportsTheFirstDifferenceFromTheSavedLayout) {
  const std::pair<std::function<void(TestController&)>, std::string> cases[] = {
      {[](TestController& c) { c.Port(2).speed = 3125; }, "LINKSPEED"},
      {[](TestController& c) { c.Port(2).streamPacketSize = 4096; }, "STREAMPACKET_SIZE"},
      {[](TestController& c) { c.Link(2, 7, 0); }, "MASTERID"},
      {[](TestController& c) { c.Link(3, 2, 1); }, "NROFLINKS"},
      {[](TestController& c) { c.Port(2).portPL = 0; }, "APPLETPORT"},
      {[](TestController& c) { c.Free(2); }, ""},
  };
  for (const auto& [change, key] : cases) {
    SCOPED_TRACE(key);
    ApiTestBoard other{8};
    other.Camera(0, 1);
    other.Camera(2, 2);
    ASSERT_EQ(Mlo_SaveBoardConfiguration(other.Handle(), file.c_str()), 0);
    change(other.controller);
    ASSERT_EQ(other.driver->Discovery(0xFF, 0, 0, 0), 0);
    CapturedLog::Take();
    // A camera gone from its master port ends the load before any comparison.
    EXPECT_EQ(Mlo_LoadBoardConfiguration(other.Handle(), file.c_str()),
              key.empty() ? -1001 : -1999);
    EXPECT_EQ(Failures(),
              std::vector<std::string>{key.empty() ? "Invalid boardHandle"
                                                   : "Difference between CAM_PROP_" + key +
                                                         "_S saved and discovered"});
  }
}

// A saved extension link is looked up under a name that no camera answers. Only a link on another
// frame-grabber port is passed over: the load ends there with 0, before the applet port.
TEST_F(ConfigurationApi, LoadOfACameraWithAnExtensionLinkEndsWithNotImplemented) {
  TwoLinks();
  ASSERT_EQ(Save(), 0);
  EXPECT_EQ(Load(), -2000);
  EXPECT_EQ(Failures(), std::vector<std::string>{"Invalid property by EXTENSIONLINK"});

  // The links of the camera the other way round.
  WriteText(file,
            "<cxpconfiguration links=\"4\" linkgroups=\"1\">\n"
            "<linkgroup masterId=\"1\" speed=\"6250\" streampacketsize=\"8192\">\n"
            "<link phyIndex=\"1\" plIndex=\"0\" linkIndex=\"0\" isMaster=\"true\"/>\n"
            "<link phyIndex=\"0\" plIndex=\"0\" linkIndex=\"1\"/>\n"
            "</linkgroup>\n</cxpconfiguration>\n");
  EXPECT_EQ(Load(), 0);
  EXPECT_EQ(Failures(),
            std::vector<std::string>{"Difference between CAM_PROP_FGPORT_S saved and discovered"});
}

TEST_F(ConfigurationApi, LoadRefusesAMissingOrBadFile) {
  EXPECT_EQ(Load(), -1003);
  EXPECT_EQ(Failures(), std::vector<std::string>{});
  for (const char* text : {"", "<clconfiguration links=\"4\" linkgroups=\"0\"/>",
                           "<cxpconfiguration links=\"9\" linkgroups=\"0\"/>"}) {
    SCOPED_TRACE(text);
    WriteText(file, text);
    EXPECT_EQ(Load(), -1014);
    EXPECT_EQ(Failures(), std::vector<std::string>{"Error loading config pointer"});
  }
}

// Camera 1 connects, camera 2 fails its GenICam connection; camera 3 has lost its link after the
// save and was not saved, since the walk ends at it.
TEST_F(ConfigurationApi, ConnectionProfileConnectsEachCameraAndUnloadFreesTheBoard) {
  TwoCameras();
  ASSERT_EQ(Save(), 0);
  board.Camera(4, 3);
  board.controller.Port(4).speed = kNoLinkSpeed;
  board.controller.Port(2).xmlCode = -1607;
  MloConnectionProfile* profile = nullptr;
  ASSERT_EQ(genicam::LoadConnectionProfileOfBoard(board.Handle(), file.c_str(), &profile), 0);
  ASSERT_NE(profile, nullptr);
  EXPECT_EQ(profile->board, board.Handle());
  ASSERT_EQ(profile->cameraCount, 3);
  for (unsigned int index = 0; index < 3; ++index) {
    const uint32_t port = MasterPortOf(index);
    SCOPED_TRACE(port);
    CCameraInterface* camera = board.driver->GetCamera(index);
    EXPECT_EQ(profile->cameras[index], reinterpret_cast<MloCameraHandle*>(camera));
    EXPECT_EQ(profile->states[index], port == 0   ? MLO_PROFILE_CONNECTED
                                      : port == 2 ? MLO_PROFILE_GENICAM_FAILED
                                                  : MLO_PROFILE_LINK_NOT_CONNECTED);
    EXPECT_EQ(profile->cameraInfos[index],
              port == 4 ? nullptr : Mlo_getCameraInfo(profile->cameras[index]));
    EXPECT_EQ(camera->IsGenicamConnected(), port == 0);
  }
  CapturedLog::Take();
  EXPECT_EQ(Mlo_UnloadConnectionProfile(profile), 0);
  EXPECT_TRUE(board.destroyed);
  board.Freed();
  const std::vector<std::string> entries = TakeEntries();
  EXPECT_EQ(std::count_if(entries.begin(), entries.end(),
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

  // The fake board library's second board has no transport, so the profile ends where the board
  // opens.
  Fg_Struct_s fg{VHalInitDevice(1), nullptr};
  MloConnectionProfile unused{};
  profile = &unused;
  CapturedLog::Take();
  EXPECT_EQ(Mlo_LoadConnectionProfile(&fg, file.c_str(), &profile), -1011);
  EXPECT_EQ(profile, nullptr);
  const std::vector<std::string> trace = TakeApiLines().trace;
  const std::string args = ",handle=(P11Fg_Struct_s)" + Pointer(&fg);
  EXPECT_EQ(trace.front(), args + "|Entering Mlo_LoadConnectionProfile");
  EXPECT_EQ(trace.back(), ",return=-1011" + args + "|Leaving Mlo_LoadConnectionProfile");
  VHalFreeDevice(fg.device);
}

TEST_F(ConfigurationApi, LowLevelLinkProfileIsStoredButNotRestored) {
  board.Camera(0, 1);
  std::string path = directory.File("lowlevel.txt");
  EXPECT_EQ(Mlo_StoreLowLevelLinkProfile(board.Handle(), path.data()), 0);
  const std::vector<std::string> lines = ReadLines(path);
  ASSERT_EQ(lines.size(), 2u + 8u + 8u);
  EXPECT_EQ(lines[2], "pl_0=11,0");
  EXPECT_EQ(lines[10], "speed_0=6250");
  EXPECT_EQ(Mlo_RestoreLowLevelLinkProfile(board.Handle(), path.data()), -1991);
  std::string missing = directory.File("none.txt");
  EXPECT_EQ(Mlo_RestoreLowLevelLinkProfile(board.Handle(), missing.data()), -1006);
}

}  // namespace
}  // namespace vesk::test
