// GigE Vision boards of both port variants through the exported functions alone, on the
// simulated runtime: a camera cabled to a port gets an address from the port's DHCP server, is
// discovered and taken over; identity, XML, features and parameters; the heartbeat; a camera
// that goes; a late acknowledge; control refused to a second application; every property.
//
// Addressing and PHY resets take seconds, so the boards are opened once for all tests, each
// camera unplugged until AutoIP is switched off and DHCP on.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "tests/support/ApiBoard.h"

namespace {

using vesk::test::ApiBoard;
using vesk::test::ApiEvents;

struct Variant {
  const char* name;
  int board;
  unsigned int streamPortBase;  // the UDP port of stream channel v is v + this
  // The transmitter of the Korvid ports takes control frames only, too short for DHCP: their
  // netif keeps the address it was added with, and the camera answers discovery by broadcast.
  bool dhcp;
  uint32_t port1Address;
};

const Variant kKa4{"Ka4", 0, 20000, true, 0xC0A86564};
const Variant kKorvid{"Korvid", 1, 8191, false, 0xFFFFFF00};

// Each board's port 0 has a camera of plain XML, port 1 one of zipped XML; board 2 serves the
// second application.
const char kRig[] =
    "<rig>"
    "<board type='3650' ports='2' design='gige-ka4' dhcp='0 1' serial='0x1234'/>"
    "<board type='2898' ports='2' design='gige-korvid' dhcp='0 1' serial='0x1235'/>"
    "<board type='2898' ports='1' design='gige-korvid' dhcp='0' serial='0x1236'/>"
    "<camera id='ka4-plain' vendor='Acme' modelName='Gige Plain' serial='P1'><link/></camera>"
    "<camera id='ka4-zip' xml='zipped' vendor='Acme' modelName='Gige Zip'><link/></camera>"
    "<camera id='korvid-plain' vendor='Acme' modelName='Gige Plain' serial='P1'><link/></camera>"
    "<camera id='korvid-zip' xml='zipped' vendor='Acme' modelName='Gige Zip'><link/></camera>"
    "<camera id='alone' modelName='Alone'><link/></camera>"
    "</rig>";

constexpr unsigned int kCcp = 0x0A00;
constexpr unsigned int kHeartbeatTimeout = 0x0938;
constexpr unsigned int kMcp = 0x0B00;
constexpr unsigned int kMcda = 0x0B10;
constexpr unsigned int kScp = 0x0D00;
constexpr unsigned int kVendor = 0x0048;
constexpr unsigned int kModel = 0x0068;

int CameraId(const Variant& variant, unsigned int port) {
  static const char* const kIds[2][2] = {{"ka4-plain", "ka4-zip"}, {"korvid-plain", "korvid-zip"}};
  return VSIM(VSimFindCamera)(kIds[variant.board][port]);
}

int SetPortProperty(MloBoardHandle* board, const char* name, unsigned int value,
                    unsigned int port) {
  return Mlo_setBoardPropertyWithType(board, const_cast<char*>(name), &value, 1, &port);
}

// Whether the event comes within a few waits of the events' own.
bool AwaitEvent(ApiEvents& events, const ApiEvents::Event& expected) {
  for (int wait = 0; wait < 3; ++wait) {
    for (const auto& event : events.Wait(1)) {
      if (event == expected) return true;
    }
  }
  return false;
}

// Switches AutoIP off and DHCP on or off, then plugs the camera and waits until the port has
// taken it over.
void Plug(ApiBoard& board, ApiEvents& events, int camera, unsigned int port, bool dhcp) {
  ASSERT_EQ(SetPortProperty(board.Handle(), "GbeAutoIp", 0, port), 0);
  ASSERT_EQ(SetPortProperty(board.Handle(), "GbeDHCP", dhcp, port), 0);
  ASSERT_EQ(VSIM(VSimPlug)(VHalGetBoardIndex(board.Device(), 0), port, camera, 0), 0);
  ASSERT_TRUE(AwaitEvent(events, {MLO_EVENT_PORTS_CONNECTED, 1u << port}))
      << "port " << port << " did not connect";
}

// One opened board per variant, both cameras taken over and scanned.
struct GigeBoard {
  explicit GigeBoard(const Variant& variant) : events(), board("", variant.board) {
    if (!board.Ok()) return;
    EXPECT_EQ(Mlo_registerBoardEventCallback(board.Handle(), ApiEvents::Callback, &events), 0);
    for (unsigned int port = 0; port < 2; ++port)
      Plug(board, events, CameraId(variant, port), port, variant.dhcp);
    EXPECT_EQ(Mlo_scanPortsEx(board.Handle(), 0x3, 1000, 0, 0), 0);
  }
  ~GigeBoard() {
    for (unsigned int port = 0; port < 2; ++port)
      VSIM(VSimUnplug)(VHalGetBoardIndex(board.Device(), 0), port);
  }
  MloCameraHandle* Camera(unsigned int port) {
    MloCameraHandle* camera = nullptr;
    EXPECT_EQ(Mlo_getCamera(board.Handle(), port, &camera), 0);
    return camera;
  }
  // Declared first, so that it outlives the board whose threads report to it.
  ApiEvents events;
  ApiBoard board;
};

// Loaded once; the library keeps the runtime, and with it the rig, while it has a user.
class GigeRig : public testing::Environment {
 public:
  void SetUp() override {
    VeskGenICamInit();
    ASSERT_EQ(VSIM(VSimLoadRigText)(kRig, "gige rig"), 0);
  }
  void TearDown() override { VeskGenICamDeinit(); }
};
const auto* const kRigEnvironment = testing::AddGlobalTestEnvironment(new GigeRig);

class GbeBoards : public testing::TestWithParam<Variant> {
 protected:
  static void TearDownTestSuite() { boards_.clear(); }
  GigeBoard& Board() {
    std::unique_ptr<GigeBoard>& board = boards_[GetParam().board];
    if (!board) board = std::make_unique<GigeBoard>(GetParam());
    return *board;
  }
  static std::map<int, std::unique_ptr<GigeBoard>> boards_;
};
std::map<int, std::unique_ptr<GigeBoard>> GbeBoards::boards_;

INSTANTIATE_TEST_SUITE_P(Variants, GbeBoards, testing::Values(kKa4, kKorvid),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(GbeBoards, CamerasAreFoundWithTheirIdentityAndXml) {
  GigeBoard& gige = Board();
  ASSERT_TRUE(gige.board.Ok());
  ASSERT_EQ(Mlo_getCameraCount(gige.board.Handle()), 2);
  for (unsigned int port = 0; port < 2; ++port) {
    SCOPED_TRACE(port);
    MloCameraHandle* camera = gige.Camera(port);
    ASSERT_NE(camera, nullptr);
    const MloCameraInfo* info = Mlo_getCameraInfo(camera);
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(info->vendorName, "Acme");
    EXPECT_STREQ(info->modelName, port == 0 ? "Gige Plain" : "Gige Zip");
    EXPECT_EQ(gige.board.CameraProperty(camera, "MasterPort"), port);
    ASSERT_EQ(Mlo_connectCamera(camera), 0);
    size_t size = 0;
    ASSERT_EQ(Mlo_getGenICamXML(camera, nullptr, &size), 0);
    std::string xml(size, '\0');
    ASSERT_EQ(Mlo_getGenICamXML(camera, xml.data(), &size), 0);
    EXPECT_NE(xml.find("<RegisterDescription"), std::string::npos);
    EXPECT_NE(xml.find("Width"), std::string::npos);
  }
}

TEST_P(GbeBoards, FeaturesWorkByNameAndParametersLoadBack) {
  GigeBoard& gige = Board();
  ASSERT_TRUE(gige.board.Ok());
  for (unsigned int port = 0; port < 2; ++port) {
    SCOPED_TRACE(port);
    MloCameraHandle* camera = gige.Camera(port);
    ASSERT_NE(camera, nullptr);
    ASSERT_EQ(Mlo_connectCamera(camera), 0);
    ASSERT_EQ(Mlo_setIntegerValue(camera, "Width", 640), 0);
    const std::string parameters = testing::TempDir() + "/gige-parameters.txt";
    ASSERT_EQ(Mlo_SaveCameraParameters(camera, parameters.c_str()), 0);
    ASSERT_EQ(Mlo_setIntegerValue(camera, "Width", 800), 0);
    int64_t width = 0;
    ASSERT_EQ(Mlo_getIntegerValue(camera, "Width", &width), 0);
    EXPECT_EQ(width, 800);
    ASSERT_EQ(Mlo_LoadCameraParameters(camera, parameters.c_str(), 1), 0);
    ASSERT_EQ(Mlo_getIntegerValue(camera, "Width", &width), 0);
    EXPECT_EQ(width, 640);
  }
}

// The camera drops a controller silent for longer than the heartbeat time-out; the port's reads
// keep it through a quiet stretch longer than that.
TEST_P(GbeBoards, TheHeartbeatKeepsControlThroughAQuietStretch) {
  GigeBoard& gige = Board();
  ASSERT_TRUE(gige.board.Ok());
  MloCameraHandle* camera = gige.Camera(0);
  ASSERT_NE(camera, nullptr);
  uint32_t timeout = 0;
  ASSERT_EQ(Mlo_registerReadFromCamera(camera, &timeout, kHeartbeatTimeout), 0);
  EXPECT_EQ(timeout, 5000u);
  std::this_thread::sleep_for(std::chrono::milliseconds(timeout + 700));
  uint32_t ccp = 0;
  ASSERT_EQ(Mlo_registerReadFromCamera(camera, &ccp, kCcp), 0);
  EXPECT_EQ(ccp, 2u) << "control access";
}

// An acknowledge that comes after its command gave up answers the next command that waits.
TEST_P(GbeBoards, ALateAcknowledgeAnswersTheNextCommand) {
  GigeBoard& gige = Board();
  ASSERT_TRUE(gige.board.Ok());
  MloCameraHandle* camera = gige.Camera(0);
  ASSERT_NE(camera, nullptr);
  char vendor[8] = {};
  char model[8] = {};
  // Fresh, so that no heartbeat read comes between.
  ASSERT_EQ(Mlo_memoryReadFromCamera(camera, vendor, kVendor, 4), 0);
  const int id = CameraId(GetParam(), 0);
  const VSimFaults late{1, 0, 0, 0, 1000, 300, -1};
  ASSERT_EQ(VSIM(VSimSetCameraFaults)(id, &late), 0);
  EXPECT_EQ(Mlo_memoryReadFromCameraWithTimeout(camera, vendor, kVendor, 4, 100), -1997);
  EXPECT_EQ(Mlo_memoryReadFromCameraWithTimeout(camera, model, kModel, 4, 1000), 0);
  EXPECT_STREQ(model, "Acme") << "the vendor's answer, late";
  const VSimFaults none{0, 0, 0, 0, 0, 0, -1};
  ASSERT_EQ(VSIM(VSimSetCameraFaults)(id, &none), 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(400));
  ASSERT_EQ(Mlo_memoryReadFromCamera(camera, model, kModel, 4), 0);
  EXPECT_STREQ(model, "Gige");
}

struct GetRow {
  const char* name;
  unsigned int words;  // 32-bit words of the value
};

TEST_P(GbeBoards, EveryPropertyReads) {
  GigeBoard& gige = Board();
  ASSERT_TRUE(gige.board.Ok());
  const GetRow rows[] = {{"GbeNrLinks", 1},   {"GbeMaskLinks", 1}, {"GbeAggregLinks", 1},
                         {"GbeAlgorithm", 1}, {"GbeMacSource", 2}, {"GbeIpSource", 3},
                         {"GbeIpDest", 3},    {"GbeIpStatic", 3},  {"GbeMacDest", 2},
                         {"GbeDHCP", 1},      {"GbeTimeOut", 1},   {"GbeDevMode", 1},
                         {"GbeConfOpt", 1},   {"GbeConfCur", 1},   {"GbeGvcpVer", 1},
                         {"GbeActionCmd", 1}, {"GbeNrNetIntf", 1}, {"GbeStreamCh", 1},
                         {"GbeNrMsgCh", 1},   {"GbeActionSgn", 1}, {"GbeGvcpConf", 1}};
  std::map<std::string, std::vector<uint32_t>> values;
  for (const GetRow& row : rows) {
    std::vector<uint32_t> value(row.words + 1, 0xA5A5A5A5);
    unsigned int port = 1;
    EXPECT_EQ(Mlo_getBoardPropertyWithType(gige.board.Handle(), const_cast<char*>(row.name),
                                           value.data(), 1, &port),
              0)
        << row.name;
    EXPECT_EQ(value[row.words], 0xA5A5A5A5u) << row.name << " wrote past its value";
    values[row.name] = value;
  }
  EXPECT_EQ(values["GbeNrLinks"][0], 1u);
  EXPECT_EQ(values["GbeDHCP"][0], unsigned{GetParam().dhcp});
  EXPECT_EQ(values["GbeTimeOut"][0], 1000u);
  EXPECT_EQ(values["GbeIpDest"][0] >> 16, 0xA9FEu) << "the camera's link-local address";
  EXPECT_EQ(values["GbeIpDest"][1], 0xFFFF0000u);
  EXPECT_EQ(values["GbeIpStatic"][0], 0xA9FE0009u);
  EXPECT_EQ(values["GbeIpSource"][0], 0u);
  EXPECT_EQ(values["GbeMacDest"][0] & 0xFFFF, 0x5602u) << "the camera's locally administered MAC";
  EXPECT_EQ(values["GbeMacSource"][0] & 0xFFFFFF, 0x495602u);
  EXPECT_EQ(values["GbeNrNetIntf"][0], 1u);
  EXPECT_EQ(values["GbeStreamCh"][0], 1u);
  EXPECT_EQ(values["GbeNrMsgCh"][0], 1u);
  EXPECT_EQ(values["GbeGvcpVer"][0], 0x00020000u);
  EXPECT_EQ(values["GbeConfCur"][0], 6u);
}

TEST_P(GbeBoards, PropertiesWriteToThePortAndCamera) {
  GigeBoard& gige = Board();
  ASSERT_TRUE(gige.board.Ok());
  MloBoardHandle* board = gige.board.Handle();
  MloCameraHandle* camera = gige.Camera(1);
  ASSERT_NE(camera, nullptr);
  uint32_t value = 0;
  ASSERT_EQ(SetPortProperty(board, "GbeStreamChannel", 1, 1), 0);
  ASSERT_EQ(Mlo_registerReadFromCamera(camera, &value, kScp), 0);
  EXPECT_EQ(value, 1 + GetParam().streamPortBase) << "opened on the port of the value";
  ASSERT_EQ(SetPortProperty(board, "GbeStreamChannel", 0, 1), 0);
  ASSERT_EQ(Mlo_registerReadFromCamera(camera, &value, kScp), 0);
  EXPECT_EQ(value, 0u) << "closed";
  ASSERT_EQ(SetPortProperty(board, "GbeCCP", 1, 1), 0);
  ASSERT_EQ(Mlo_registerReadFromCamera(camera, &value, kMcp), 0);
  EXPECT_EQ(value, 10000u);
  ASSERT_EQ(Mlo_registerReadFromCamera(camera, &value, kMcda), 0);
  EXPECT_EQ(value, GetParam().port1Address) << "the port's own address";
  ASSERT_EQ(SetPortProperty(board, "GbeCCP", 0, 1), 0);
  ASSERT_EQ(Mlo_registerReadFromCamera(camera, &value, kCcp), 0);
  EXPECT_EQ(value, 0u) << "control given up";
  ASSERT_EQ(SetPortProperty(board, "GbeCCP", 1, 1), 0);
  ASSERT_EQ(Mlo_registerReadFromCamera(camera, &value, kCcp), 0);
  EXPECT_EQ(value, 2u) << "and taken again";
  for (const char* name : {"GbeCLExtendID", "GbeCLSyncLen"})
    EXPECT_EQ(SetPortProperty(board, name, 1, 1), 0) << name;
  EXPECT_EQ(SetPortProperty(board, "GbeDHCP", GetParam().dhcp, 1), 0);
  EXPECT_EQ(SetPortProperty(board, "GbeAutoIp", 0, 1), 0);
  ASSERT_EQ(SetPortProperty(board, "GbeRestartIp", 1, 1), 0);
  ASSERT_EQ(Mlo_registerReadFromCamera(camera, &value, kCcp), 0);
  EXPECT_EQ(value, 2u) << "the restart took the camera over again";
  unsigned int port = 1;
  unsigned int any = 1;
  EXPECT_EQ(Mlo_setBoardPropertyWithType(board, const_cast<char*>("GbeNoSuch"), &any, 1, &port),
            -2000);
  EXPECT_EQ(Mlo_setBoardPropertyWithType(board, const_cast<char*>("GbeDHCP"), &any, 4, &port),
            -1990);
  port = 2;
  EXPECT_EQ(Mlo_setBoardPropertyWithType(board, const_cast<char*>("GbeDHCP"), &any, 1, &port),
            -1009);
}

// Last: the camera goes silent, then its cable goes, and both come back.
TEST_P(GbeBoards, ACameraThatGoesTimesOutAndItsLinkGoesDown) {
  GigeBoard& gige = Board();
  ASSERT_TRUE(gige.board.Ok());
  MloCameraHandle* camera = gige.Camera(1);
  ASSERT_NE(camera, nullptr);
  const int id = CameraId(GetParam(), 1);
  const VSimFaults silent{1, 0, 0, 0, 0, 0, 0};
  ASSERT_EQ(VSIM(VSimSetCameraFaults)(id, &silent), 0);
  char bytes[4] = {};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Mlo_memoryReadFromCameraWithTimeout(camera, bytes, kVendor, 4, 300), -1997);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(290));
  const VSimFaults none{0, 0, 0, 0, 0, 0, -1};
  ASSERT_EQ(VSIM(VSimSetCameraFaults)(id, &none), 0);
  ASSERT_EQ(VSIM(VSimUnplug)(GetParam().board, 1), 0);
  EXPECT_TRUE(AwaitEvent(gige.events, {MLO_EVENT_PORTS_LOST, 2}));
  EXPECT_NE(Mlo_memoryReadFromCameraWithTimeout(camera, bytes, kVendor, 4, 300), 0);
  Plug(gige.board, gige.events, id, 1, GetParam().dhcp);
  ASSERT_EQ(Mlo_memoryReadFromCamera(camera, bytes, kVendor, 4), 0);
  EXPECT_EQ(std::string(bytes, 4), "Acme");
}

// A second application, one of another UDP port, is refused control while the first holds it,
// and so are its writes. Freeing the first board ends all its threads.
TEST(GbeControl, ASecondApplicationIsRefusedControl) {
  const int camera = VSIM(VSimFindCamera)("alone");
  uint32_t ccp = 0;
  // A thread first, so that a sanitizer's own, started with the first, is in the count.
  std::thread([] {}).join();
  const unsigned int threads = vesk::test::ThreadCount();
  {
    ApiEvents events;
    ApiBoard first("", 2);
    ASSERT_TRUE(first.Ok());
    ASSERT_EQ(Mlo_registerBoardEventCallback(first.Handle(), ApiEvents::Callback, &events), 0);
    Plug(first, events, camera, 0, false);
    ASSERT_EQ(Mlo_scanPortsEx(first.Handle(), 0x1, 1000, 0, 0), 0);
    MloCameraHandle* handle = nullptr;
    ASSERT_EQ(Mlo_getCamera(first.Handle(), 0, &handle), 0);
    ASSERT_EQ(Mlo_registerReadFromCamera(handle, &ccp, kCcp), 0);
    ASSERT_EQ(ccp, 2u);
    ASSERT_EQ(VSIM(VSimUnplug)(2, 0), 0);
  }
  EXPECT_EQ(vesk::test::ThreadCount(), threads) << "the freed board left no thread";
  // The camera keeps the first application in control for its heartbeat time-out.
  ASSERT_EQ(setenv("VESK_GIGE_SERVICE_UDP_SOURCE_PORT", "10001", 1), 0);
  ApiEvents events;
  ApiBoard second("", 2);
  unsetenv("VESK_GIGE_SERVICE_UDP_SOURCE_PORT");
  ASSERT_TRUE(second.Ok());
  ASSERT_EQ(Mlo_registerBoardEventCallback(second.Handle(), ApiEvents::Callback, &events), 0);
  Plug(second, events, camera, 0, false);
  ASSERT_EQ(Mlo_scanPortsEx(second.Handle(), 0x1, 1000, 0, 0), 0);
  MloCameraHandle* handle = nullptr;
  ASSERT_EQ(Mlo_getCamera(second.Handle(), 0, &handle), 0);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(Mlo_registerWriteToCamera(handle, 5000, kHeartbeatTimeout), -1013);
  ASSERT_EQ(Mlo_registerReadFromCamera(handle, &ccp, kCcp), 0) << "reads are allowed";
  ASSERT_EQ(VSIM(VSimUnplug)(2, 0), 0);
}

}  // namespace
