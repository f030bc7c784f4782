// The exported property and event functions over a board with a test controller: the order of
// their argument checks with codes and lines, the tables behind them, and events through both
// callback forms.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/unit/api/ApiTestBoard.h"

namespace vesk::test {
namespace {

class PropertyApi : public ::testing::Test {
 protected:
  PropertyApi()
      : controller(new TestController),
        driver([this](CDriver::EControllerKind, Fg_Struct_s*, bool) { return controller; }),
        camera(&controller->Port(0), controller) {}

  void SetUp() override {
    ASSERT_EQ(driver.Init(&fakeBoard, false), 0);
    controller->Link(0, 0, 0);
    controller->Port(0).info.SetVendorName("Vesk");
    CapturedLog::SetDefaultLevel(1);
    CapturedLog::SetAllLevels(1);
    CapturedLog::Take();
  }
  void TearDown() override { VHalFreeDevice(fakeBoard.device); }

  MloBoardHandle* Board() { return reinterpret_cast<MloBoardHandle*>(&driver); }
  MloCameraHandle* Camera() { return reinterpret_cast<MloCameraHandle*>(&camera); }
  std::string BoardText() { return ",handle=(P14MloBoardHandle)" + Pointer(&driver); }
  std::string CameraText() { return ",handle=(P15MloCameraHandle)" + Pointer(&camera); }

  Fg_Struct_s fakeBoard{VHalInitDevice(0), nullptr};
  TestController* controller;  // the driver's
  CDriver driver;
  CCameraInterface camera;
};

struct Lines {
  std::vector<std::string> entries;
  std::vector<std::string> failures;
  std::vector<std::string> exits;
};

Lines TakeLines() {
  Lines lines;
  for (const CapturedLine& line : CapturedLog::Take()) {
    if (line.level == 5) lines.failures.push_back(line.text);
    if (line.text.find("|Entering ") != std::string::npos) lines.entries.push_back(line.text);
    if (line.text.find("|Leaving ") != std::string::npos) lines.exits.push_back(line.text);
  }
  return lines;
}

bool EndsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() &&
         text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

TEST_F(PropertyApi, ArgumentsAreCheckedInOrderWithTheirCodesAndLines) {
  char name[] = "NrOfPorts";
  uint32_t value = 0;
  unsigned int type = 1;
  struct Case {
    const char* what;
    std::function<int()> call;
    int code;
    std::string handleText;  // filled in below, with the handle of the call
    const char* message;
    const char* note;  // null for a function without one
  };
  MloBoardHandle* board = Board();
  MloCameraHandle* cam = Camera();
  const std::string nullBoard = ",handle=(P14MloBoardHandle)0";
  const std::string nullCamera = ",handle=(P15MloCameraHandle)0";
  const Case cases[] = {
      {"board getter, all null",
       [&] { return Mlo_getBoardPropertyWithType(nullptr, nullptr, nullptr, 1, nullptr); }, -1001,
       nullBoard, "Invalid boardHandle", "Property: "},
      {"board getter, no name",
       [&] { return Mlo_getBoardPropertyWithType(board, nullptr, nullptr, 1, nullptr); }, -1991,
       BoardText(), "Invalid propertyName", "Property: "},
      {"board getter, no value",
       [&] { return Mlo_getBoardPropertyWithType(board, name, nullptr, 1, nullptr); }, -1991,
       BoardText(), "Invalid value", "Property: NrOfPorts"},
      {"board setter, all null",
       [&] { return Mlo_setBoardPropertyWithType(nullptr, nullptr, nullptr, 1, nullptr); }, -1001,
       nullBoard, "Invalid boardHandle", "Property: "},
      {"board setter, no name",
       [&] { return Mlo_setBoardPropertyWithType(board, nullptr, nullptr, 1, nullptr); }, -1991,
       BoardText(), "Invalid propertyName", "Property: "},
      {"board setter, no value",
       [&] { return Mlo_setBoardPropertyWithType(board, name, nullptr, 1, nullptr); }, -1991,
       BoardText(), "Invalid propertyValuePtr", "Property: NrOfPorts"},
      {"camera setter, all null",
       [&] { return Mlo_setCameraPropertyWithType(nullptr, nullptr, nullptr, 1, nullptr); }, -1001,
       nullCamera, "Invalid boardHandle", "Property: "},
      {"camera setter, no name",
       [&] { return Mlo_setCameraPropertyWithType(cam, nullptr, nullptr, 1, nullptr); }, -1991,
       CameraText(), "Invalid propertyName", "Property: "},
      {"camera setter, no value",
       [&] { return Mlo_setCameraPropertyWithType(cam, name, nullptr, 1, nullptr); }, -1991,
       CameraText(), "Invalid propertyValuePtr", "Property: NrOfPorts"},
      {"camera getter, all null",
       [&] { return Mlo_getCameraPropertyWithType(nullptr, nullptr, nullptr, &type, nullptr); },
       -1001, nullCamera, "Invalid boardHandle", "Property: "},
      {"camera getter, no name",
       [&] { return Mlo_getCameraPropertyWithType(cam, nullptr, &value, &type, nullptr); }, -1991,
       CameraText(), "Invalid propertyName", "Property: "},
      {"event callback", [&] { return Mlo_RegisterEventCallback(nullptr, nullptr, nullptr); },
       -1001, nullBoard, "Invalid board handle", nullptr},
      {"board event callback",
       [&] { return Mlo_registerBoardEventCallback(nullptr, nullptr, nullptr); }, -1001, nullBoard,
       "Invalid board handle", nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(c.call(), c.code);
    const Lines lines = TakeLines();
    ASSERT_EQ(lines.failures.size(), 1u);
    EXPECT_EQ(lines.failures[0], "thread-id=" + Thread() + c.handleText + "|" + c.message);
    ASSERT_EQ(lines.entries.size(), 1u);
    ASSERT_EQ(lines.exits.size(), 1u);
    EXPECT_NE(lines.exits[0].find(",return=" + std::to_string(c.code) + c.handleText + "|"),
              std::string::npos)
        << lines.exits[0];
    if (c.note) {
      EXPECT_NE(lines.entries[0].find(std::string("; ") + c.note), std::string::npos)
          << lines.entries[0];
    } else {
      EXPECT_EQ(lines.entries[0].find("; "), std::string::npos) << lines.entries[0];
    }
  }
  EXPECT_TRUE(controller->writes.empty()) << "a rejected setter reached the controller";
}

TEST_F(PropertyApi, TraceNamesTheUnitTheHandleAndTheProperty) {
  char name[] = "NrOfPorts";
  uint32_t value = 0;
  ASSERT_EQ(Mlo_getBoardPropertyWithType(Board(), name, &value, 1, nullptr), 0);
  const Lines lines = TakeLines();
  ASSERT_EQ(lines.entries.size(), 1u);
  const std::string& entry = lines.entries[0];
  EXPECT_EQ(entry.rfind("source-file=vesk_genicam/impl/vesk_genicam,source-line=", 0), 0u) << entry;
  EXPECT_TRUE(EndsWith(entry, ",thread-id=" + Thread() + BoardText() +
                                  "|Entering Mlo_getBoardPropertyWithType; Property: NrOfPorts"))
      << entry;
  ASSERT_EQ(lines.exits.size(), 1u);
  EXPECT_TRUE(
      EndsWith(lines.exits[0], ",return=0" + BoardText() + "|Leaving Mlo_getBoardPropertyWithType"))
      << lines.exits[0];
}

TEST_F(PropertyApi, BoardTableAndControllerAnswer) {
  char ports[] = "NrOfPorts";
  char magic[] = "MagicValue";
  char unknown[] = "NoSuchProperty";
  uint32_t value = 0;
  EXPECT_EQ(Mlo_getBoardPropertyWithType(Board(), ports, &value, 1, nullptr), 0);
  EXPECT_EQ(value, 4u);
  EXPECT_EQ(Mlo_getBoardPropertyWithType(Board(), ports, &value, 3, nullptr), -1990);
  EXPECT_EQ(Mlo_getBoardPropertyWithType(Board(), magic, &value, 1, nullptr), 0);
  EXPECT_EQ(value, 0xC0FFEEu);
  EXPECT_EQ(Mlo_getBoardPropertyWithType(Board(), unknown, &value, 1, nullptr), -2000);

  uint32_t port = 2;
  value = 77;
  controller->setCode = -1013;
  EXPECT_EQ(Mlo_setBoardPropertyWithType(Board(), magic, &value, 1, &port), -1013);
  ASSERT_EQ(controller->writes.size(), 1u);
  EXPECT_EQ(controller->writes[0].name, "MagicValue");
  EXPECT_EQ(controller->writes[0].value, 77u);
  EXPECT_EQ(controller->writes[0].index, 2u);
}

TEST_F(PropertyApi, CameraTableByTypeAddress) {
  char vendor[] = "VendorName";
  char links[] = "NrOfLinks";
  char unknown[] = "NoSuchProperty";
  unsigned int type = 3;
  uint32_t length = 0;
  ASSERT_EQ(Mlo_getCameraPropertyWithType(Camera(), vendor, nullptr, &type, &length), 0);
  EXPECT_EQ(length, 5u) << "the length a null buffer asks for counts the terminator";
  std::vector<char> text(length, '?');
  ASSERT_EQ(Mlo_getCameraPropertyWithType(Camera(), vendor, text.data(), &type, &length), 0);
  EXPECT_STREQ(text.data(), "Vesk");

  uint32_t value = 0;
  type = 1;
  EXPECT_EQ(Mlo_getCameraPropertyWithType(Camera(), vendor, &value, &type, nullptr), -1990);
  EXPECT_EQ(Mlo_getCameraPropertyWithType(Camera(), unknown, &value, &type, nullptr), -2000);
  EXPECT_EQ(Mlo_setCameraPropertyWithType(Camera(), unknown, &value, 1, nullptr), -2000);
  EXPECT_EQ(Mlo_setCameraPropertyWithType(Camera(), vendor, text.data(), 3, &length), -1013)
      << "identity texts are read only";

  value = 2;
  ASSERT_EQ(Mlo_setCameraPropertyWithType(Camera(), links, &value, 1, nullptr), 0);
  ASSERT_EQ(controller->writes.size(), 1u);
  EXPECT_EQ(controller->writes[0].name, "LinkConfig");
  EXPECT_EQ(controller->writes[0].value, 2u << 24);
}

// What the callbacks saw.
struct Received {
  std::vector<std::string> events;
};

int BoardCallback(MloBoardHandle* board, const MloEventInfo* info, void* user) {
  static_cast<Received*>(user)->events.push_back("board " + Pointer(board) + " " +
                                                 std::to_string(info->type) + " " +
                                                 std::to_string(info->port));
  return 0;
}

int EventCallback(MloBoardHandle* board, MloCameraHandle* camera, const MloEventInfo* info,
                  const void* user) {
  const_cast<Received*>(static_cast<const Received*>(user))
      ->events.push_back("event " + Pointer(board) + " " + Pointer(camera) + " " +
                         std::to_string(info->type) + " " + std::to_string(info->port));
  return 0;
}

TEST_F(PropertyApi, EventsReachTheLatestCallbackOfEitherForm) {
  Received received;
  const std::string board = Pointer(&driver);
  auto fire = [&](unsigned int event, unsigned int ports) {
    controller->callback(event, ports, controller->callbackUser);
  };

  ASSERT_EQ(Mlo_registerBoardEventCallback(Board(), BoardCallback, &received), 0);
  fire(ControllerEventPortsConnected, 5);
  fire(ControllerEventPortsLost, 4);
  ASSERT_EQ(Mlo_RegisterEventCallback(Board(), EventCallback, &received), 0);
  fire(ControllerEventPortsConnected, 1);
  ASSERT_EQ(Mlo_registerBoardEventCallback(Board(), BoardCallback, &received), 0);
  fire(ControllerEventPortsLost, 2);
  EXPECT_EQ(received.events, (std::vector<std::string>{
                                 "board " + board + " 101 5",
                                 "board " + board + " 200 4",
                                 "event " + board + " 0 101 1",
                                 "board " + board + " 200 2",
                             }));
  const Lines lines = TakeLines();
  EXPECT_TRUE(lines.failures.empty());
  ASSERT_EQ(lines.exits.size(), 3u);
  EXPECT_TRUE(
      EndsWith(lines.exits[1], ",return=0" + BoardText() + "|Leaving Mlo_RegisterEventCallback"));
}

TEST_F(PropertyApi, NullCallbacksUnregister) {
  Received received;
  ASSERT_EQ(Mlo_registerBoardEventCallback(Board(), BoardCallback, &received), 0);
  ASSERT_EQ(Mlo_registerBoardEventCallback(Board(), nullptr, &received), 0);
  MloEventInfo info{};
  info.type = MLO_EVENT_PORTS_CONNECTED;
  EXPECT_EQ(driver.notifyEvent(&info), -1016);

  ASSERT_EQ(Mlo_RegisterEventCallback(Board(), EventCallback, &received), 0);
  ASSERT_EQ(Mlo_RegisterEventCallback(Board(), nullptr, &received), 0);
  EXPECT_EQ(driver.notifyEvent(&info), -1016);
  controller->callback(ControllerEventPortsConnected, 1, controller->callbackUser);
  EXPECT_TRUE(received.events.empty());
}

TEST_F(PropertyApi, CameraEventsAreNotImplementedAndNotTraced) {
  auto callback = [](MloCameraHandle*, const MloEventInfo*, void*) { return 0; };
  EXPECT_EQ(Mlo_registerCameraEventCallback(Camera(), callback, nullptr), -2000);
  EXPECT_EQ(Mlo_registerCameraEventCallback(nullptr, nullptr, nullptr), -2000);
  EXPECT_TRUE(CapturedLog::Take().empty());
}

}  // namespace
}  // namespace vesk::test
