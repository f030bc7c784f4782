// Camera Link HS boards through the exported functions alone, on the simulated runtime: core and
// link resets, device ids, links grouped into cameras, routing, features, faults and events.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ApiBoard.h"

namespace {

using vesk::test::ApiBoard;
using vesk::test::ApiEvents;

struct Form {
  const char* name;
  const char* design;
};

const Form kForms[] = {{"PortStatus", "clhs"},
                       {"BoardStatus", "clhs-single-status"},
                       {"BothStatus", "clhs-both-status"}};

std::string BoardTag(const char* design, const char* operators, int index = 0) {
  return "<board index='" + std::to_string(index) + "' type='2657' ports='2' design='" + design +
         "' operators='" + operators + "'/>";
}

// A camera whose links i are cabled to the ports cabling[i] of the board.
std::string CameraTag(const char* id, const char* cabling, const std::string& extra = "",
                      int board = 0) {
  std::string tag = std::string("<camera id='") + id + "' " + extra + ">";
  for (const char* port = cabling; *port; ++port)
    tag += "<link board='" + std::to_string(board) + "' port='" + *port + "'/>";
  return tag + "</camera>";
}

MloCameraHandle* Camera(ApiBoard& board, unsigned int index) {
  MloCameraHandle* camera = nullptr;
  EXPECT_EQ(Mlo_getCameraByIndex(board.Handle(), index, &camera), 0);
  return camera;
}

class ClhsForms : public ::testing::TestWithParam<Form> {};

INSTANTIATE_TEST_SUITE_P(Forms, ClhsForms, ::testing::ValuesIn(kForms),
                         [](const auto& info) { return std::string(info.param.name); });

// Whichever way the cables run, the camera's link i reaches firmware channel i.
TEST_P(ClhsForms, ATwoLinkCameraInEitherCableOrderIsOneCamera) {
  for (const char* cabling : {"01", "10"}) {
    SCOPED_TRACE(cabling);
    ApiBoard board("<rig>" + BoardTag(GetParam().design, "1 1.1") +
                   CameraTag("dual", cabling, "xml='zipped'") + "</rig>");
    ASSERT_TRUE(board.Ok());
    ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0x3, 1000, 0, 0), 0);
    ASSERT_EQ(Mlo_getCameraCount(board.Handle()), 1);
    MloCameraHandle* camera = Camera(board, 0);
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(board.CameraProperty(camera, "MasterPort"), unsigned(cabling[0] - '0'));
    EXPECT_EQ(board.CameraProperty(camera, "MasterID"), 1u);
    EXPECT_EQ(board.CameraProperty(camera, "LinkSpeed"), 10000u);
    for (unsigned int link = 0; link < 2; ++link) {
      EXPECT_EQ(board.CameraProperty(camera, "FgPort", link), unsigned(cabling[link] - '0'));
      EXPECT_EQ(board.CameraProperty(camera, "AppletPort", link), link);
    }
  }
}

TEST(ClhsDiscovery, OneLinkCamerasEachGetADeviceIdAndTheirChannel) {
  ApiBoard board("<rig>" + BoardTag("clhs", "1 2") + CameraTag("a", "0") + CameraTag("b", "1") +
                 "</rig>");
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0x3, 1000, 0, 0), 0);
  ASSERT_EQ(Mlo_getCameraCount(board.Handle()), 2);
  // By port: the index order of cameras is that of their ports' addresses.
  for (unsigned int port = 0; port < 2; ++port) {
    MloCameraHandle* camera = nullptr;
    ASSERT_EQ(Mlo_getCamera(board.Handle(), port, &camera), 0);
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(board.CameraProperty(camera, "MasterID"), port + 1);
    EXPECT_EQ(board.CameraProperty(camera, "AppletPort"), port);
  }
}

TEST(ClhsDiscovery, ScanResultsForBadArgumentsAndLayouts) {
  ApiBoard board("<rig>" + BoardTag("clhs", "1 1.1") + CameraTag("single", "1") + "</rig>");
  ASSERT_TRUE(board.Ok());
  EXPECT_EQ(Mlo_scanPortsEx(board.Handle(), 0x1, 100, 0, 0), -1208);
  EXPECT_EQ(Mlo_scanPortsEx(board.Handle(), 0x3, 100, 5000, 0), -1200);
  // The channels wait for a camera of two links.
  EXPECT_EQ(Mlo_scanPortsEx(board.Handle(), 0x3, 100, 10000, 0), -1206);
}

// A second user of the board finds the core reset done and leaves the cores alone, unless told
// to reset them.
TEST(ClhsDiscovery, TheCoreResetIsSkippedOnceTheGrabberSaysItIsDone) {
  ApiBoard first("<rig>" + BoardTag("clhs", "1 1.1") + CameraTag("dual", "01") + "</rig>");
  ASSERT_TRUE(first.Ok());
  const int revision = DsnGetRegisterByName(first.Design(), "ClhsTxRevision_0");
  struct Row {
    unsigned int flags;
    uint64_t after;
  };
  constexpr uint64_t kMarker = 0x1234;
  constexpr uint64_t kMasterRevision = 0xB0014;
  for (const Row& row : {Row{0, kMasterRevision}, Row{0, kMarker}, Row{1, kMasterRevision}}) {
    SCOPED_TRACE(row.flags);
    ApiBoard user("", 0, row.flags);
    ASSERT_TRUE(user.Ok());
    ASSERT_EQ(VHalRegisterWrite(first.Device(), revision, kMarker), 0);
    ASSERT_EQ(Mlo_scanPortsEx(user.Handle(), 0x3, 1000, 0, 0), 0);
    uint64_t value = 0;
    ASSERT_EQ(VHalRegisterRead(first.Device(), revision, &value), 0);
    EXPECT_EQ(value, row.after);
  }
}

TEST(ClhsDiscovery, FeaturesWorkByNameAndParametersLoadBack) {
  for (const char* xml : {"plain", "zipped"}) {
    SCOPED_TRACE(xml);
    ApiBoard board("<rig>" + BoardTag("clhs", "1 1.1") +
                   CameraTag("dual", "10", std::string("xml='") + xml + "'") + "</rig>");
    ASSERT_TRUE(board.Ok());
    ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0x3, 1000, 0, 0), 0);
    MloCameraHandle* camera = Camera(board, 0);
    ASSERT_NE(camera, nullptr);
    ASSERT_EQ(Mlo_connectCamera(camera), 0);
    ASSERT_EQ(Mlo_setIntegerValue(camera, "Width", 640), 0);
    const std::string parameters = testing::TempDir() + "/clhs-parameters.txt";
    ASSERT_EQ(Mlo_SaveCameraParameters(camera, parameters.c_str()), 0);
    ASSERT_EQ(Mlo_setIntegerValue(camera, "Width", 800), 0);
    ASSERT_EQ(Mlo_LoadCameraParameters(camera, parameters.c_str(), 1), 0);
    int64_t width = 0;
    ASSERT_EQ(Mlo_getIntegerValue(camera, "Width", &width), 0);
    EXPECT_EQ(width, 640);
  }
}

struct FaultRow {
  const char* name;
  VSimFaults faults;
  VSimProtocolFaults protocol;
  int expected;
};

constexpr int64_t kNever = -1;
const FaultRow kFaultRows[] = {
    {"Pending", {1, 0, 0, 0, 0, 0, kNever}, {1000, 0, 0, 0, 0, 0, 0}, 0},
    {"LateWithinTheWait", {1, 0, 0, 0, 1000, 20, kNever}, {}, 0},
    {"SomeDroppedOrResent", {2, 200, 0, 0, 0, 0, kNever}, {0, 0, 0, 0, 200, 0, 0}, 0},
    {"AlwaysDropped", {1, 1000, 0, 0, 0, 0, kNever}, {}, -1602},
    {"AlwaysLate", {1, 0, 0, 0, 1000, 400, kNever}, {}, -1602},
    {"AlwaysResent", {1, 0, 0, 0, 0, 0, kNever}, {0, 0, 0, 0, 1000, 0, 0}, -1602},
    {"AlwaysUnknownStatus", {1, 0, 0, 0, 0, 0, kNever}, {0, 0, 1000, 0, 0, 0, 0}, -1602},
    {"AlwaysBroken", {1, 0, 0, 0, 0, 0, kNever}, {0, 0, 0, 1000, 0, 0, 0}, -1602},
    {"AnotherRequestId", {1, 0, 0, 1000, 0, 0, kNever}, {}, -1609},
    {"Silent", {1, 0, 0, 0, 0, 0, 0}, {}, -1602},
};

class ClhsFaults : public ::testing::TestWithParam<FaultRow> {
 protected:
  static void SetUpTestSuite() {
    board_ = new ApiBoard("<rig>" + BoardTag("clhs", "1 1.1") +
                          CameraTag("dual", "01", "modelName='Faulty Model'") + "</rig>");
    ASSERT_TRUE(board_->Ok());
    ASSERT_EQ(Mlo_scanPortsEx(board_->Handle(), 0x3, 1000, 0, 0), 0);
  }
  static void TearDownTestSuite() { delete board_; }
  static ApiBoard* board_;
};
ApiBoard* ClhsFaults::board_ = nullptr;

INSTANTIATE_TEST_SUITE_P(Rows, ClhsFaults, ::testing::ValuesIn(kFaultRows),
                         [](const auto& info) { return std::string(info.param.name); });

// Reads of the model name under each fault: answers that come at last give the name every time,
// the others the code of the first fault that no resend helps.
TEST_P(ClhsFaults, ReadsSurviveOrReportEachFault) {
  ASSERT_NE(board_, nullptr);
  MloCameraHandle* camera = Camera(*board_, 0);
  ASSERT_NE(camera, nullptr);
  ASSERT_EQ(VSIM(VSimSetCameraFaultsEx)(0, &GetParam().faults, &GetParam().protocol), 0);
  for (int read = 0; read < 8; ++read) {
    char name[64] = {};
    const int status = Mlo_memoryReadFromCameraWithTimeout(camera, name, 0x44, 64, 100);
    ASSERT_EQ(status, GetParam().expected) << "read " << read;
    if (status == 0) EXPECT_STREQ(name, "Faulty Model");
    if (status != 0) break;
  }
  const VSimFaults none{0, 0, 0, 0, 0, 0, kNever};
  ASSERT_EQ(VSIM(VSimSetCameraFaultsEx)(0, &none, nullptr), 0);
  // Late answers still on their way would meet the next row's commands.
  std::this_thread::sleep_for(std::chrono::milliseconds(GetParam().faults.delayMs));
}

uint64_t BigEndian(const unsigned char* bytes) {
  uint64_t value = 0;
  for (int i = 0; i < 8; ++i) value = value << 8 | bytes[i];
  return value;
}

// Reads are cut into commands of 992 bytes at most; the camera's XML file is long enough.
TEST_F(ClhsFaults, LongReadsTakeOneCommandPer992Bytes) {
  ASSERT_NE(board_, nullptr);
  MloCameraHandle* camera = Camera(*board_, 0);
  ASSERT_NE(camera, nullptr);
  unsigned char table[8];
  unsigned char entry[64];
  ASSERT_EQ(Mlo_memoryReadFromCamera(camera, table, 0x1D0, 8), 0);
  ASSERT_EQ(Mlo_memoryReadFromCamera(camera, entry, BigEndian(table) + 8, 64), 0);
  const uint64_t file = BigEndian(entry + 8);
  ASSERT_GE(BigEndian(entry + 16), 993u);
  std::vector<char> buffer(993);
  for (const auto& [length, commands] : {std::pair{992u, 1u}, std::pair{993u, 2u}}) {
    VSimPortCounters before{};
    VSimPortCounters after{};
    ASSERT_EQ(VSIM(VSimGetPortCounters)(0, 0, &before), 0);
    ASSERT_EQ(Mlo_memoryReadFromCamera(camera, buffer.data(), file, length), 0);
    ASSERT_EQ(VSIM(VSimGetPortCounters)(0, 0, &after), 0);
    EXPECT_EQ(after.packetsToCamera - before.packetsToCamera, commands) << length;
  }
}

// The link signal of the extension goes and comes: the controller tells the driver, whose
// events carry the port.
TEST(ClhsDiscovery, ALinkSignalThatGoesAndComesIsTold) {
  ApiEvents events;  // outlives the board, whose thread calls it until it is freed
  ApiBoard board("<rig>" + BoardTag("clhs", "1 1.1") + CameraTag("dual", "01") + "</rig>");
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0x3, 1000, 0, 0), 0);
  ASSERT_EQ(Mlo_registerBoardEventCallback(board.Handle(), ApiEvents::Callback, &events), 0);
  ASSERT_EQ(VSIM(VSimUnplug)(0, 1), 0);
  EXPECT_EQ(events.Wait(1), (std::vector<ApiEvents::Event>{{MLO_EVENT_PORTS_LOST, 2}}));
  ASSERT_EQ(VSIM(VSimPlug)(0, 1, 0, 1), 0);
  EXPECT_EQ(events.Wait(1), (std::vector<ApiEvents::Event>{{MLO_EVENT_PORTS_CONNECTED, 2}}));
}

// The device id carries the board index, which the camera's 8-bit register drops again.
TEST(ClhsDiscovery, ABoardAtIndexOneFindsItsCamera) {
  ApiBoard board("<rig>" + BoardTag("clhs", "1 1.1") + BoardTag("clhs", "1 1.1", 1) +
                     CameraTag("dual", "10", "", 1) + "</rig>",
                 1);
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0x3, 1000, 0, 0), 0);
  ASSERT_EQ(Mlo_getCameraCount(board.Handle()), 1);
  MloCameraHandle* camera = Camera(board, 0);
  ASSERT_NE(camera, nullptr);
  EXPECT_EQ(board.CameraProperty(camera, "MasterPort"), 1u);
  ASSERT_EQ(Mlo_connectCamera(camera), 0);
  int64_t width = 0;
  EXPECT_EQ(Mlo_getIntegerValue(camera, "Width", &width), 0);
  EXPECT_EQ(width, 1920);
}

// Readers on their own threads while the extension's cable goes and comes: nothing crashes or
// hangs, and freeing the board ends every thread it started.
TEST(ClhsDiscovery, CablesMovingUnderReadersBreakNothing) {
  std::thread([] {}).join();  // a sanitizer starts its helper thread with the first thread
  const unsigned int threadsBefore = vesk::test::ThreadCount();
  {
    ApiBoard board("<rig>" + BoardTag("clhs", "1 1.1") + CameraTag("dual", "01") + "</rig>");
    ASSERT_TRUE(board.Ok());
    ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0x3, 1000, 0, 0), 0);
    MloCameraHandle* camera = Camera(board, 0);
    ASSERT_NE(camera, nullptr);
    ASSERT_EQ(Mlo_connectCamera(camera), 0);
    std::atomic<bool> stop{false};
    std::atomic<int> reads{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i) {
      readers.emplace_back([&] {
        while (!stop) {
          int64_t width = 0;
          if (Mlo_getIntegerValue(camera, "Width", &width) == 0 && width == 1920) ++reads;
        }
      });
    }
    for (int round = 0; round < 3; ++round) {
      ASSERT_EQ(VSIM(VSimUnplug)(0, 1), 0);
      std::this_thread::sleep_for(std::chrono::milliseconds(150));
      ASSERT_EQ(VSIM(VSimPlug)(0, 1, 0, 1), 0);
      std::this_thread::sleep_for(std::chrono::milliseconds(150));
    }
    stop = true;
    for (std::thread& reader : readers) reader.join();
    EXPECT_GT(reads.load(), 0);
  }
  EXPECT_EQ(vesk::test::ThreadCount(), threadsBefore);
}

}  // namespace
