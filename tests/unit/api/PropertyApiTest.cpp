// The exported property and event functions over a board with a test controller: the order of
// their argument checks with codes and lines, what they hand on to the tables behind them, and
// events through both callback forms.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/api/ApiTestBoard.h"

namespace vesk::test {
namespace {

class PropertyApi : public ::testing::Test {
 protected:
  PropertyApi() {
    controller.Port(0).info.SetVendorName("Vesk");
    camera = board.Camera(0);
  }
  void SetUp() override {
    CapturedLog::SetDefaultLevel(1);
    CapturedLog::SetAllLevels(1);
    CapturedLog::Take();
  }

  ApiTestBoard board;
  TestController& controller = board.controller;
  MloBoardHandle* b = board.Handle();
  MloCameraHandle* camera;
  char name[10] = "NrOfPorts";
  uint32_t value = 0;
  unsigned int type = 1;
};

TEST_F(PropertyApi, ArgumentsAreCheckedInOrderWithTheirCodesAndLines) {
  const char* const kNoBoard = "Invalid boardHandle";
  const char* const kNoName = "Invalid propertyName";
  const char* const kNoValue = "Invalid propertyValuePtr";
  ExpectChecks({
      CALL(Mlo_getBoardPropertyWithType(nullptr, nullptr, nullptr, 1, nullptr), -1001, kNoBoard),
      CALL(Mlo_getBoardPropertyWithType(b, nullptr, nullptr, 1, nullptr), -1991, kNoName),
      CALL(Mlo_getBoardPropertyWithType(b, name, nullptr, 1, nullptr), -1991, "Invalid value"),
      CALL(Mlo_setBoardPropertyWithType(nullptr, nullptr, nullptr, 1, nullptr), -1001, kNoBoard),
      CALL(Mlo_setBoardPropertyWithType(b, nullptr, nullptr, 1, nullptr), -1991, kNoName),
      CALL(Mlo_setBoardPropertyWithType(b, name, nullptr, 1, nullptr), -1991, kNoValue),
      // The camera functions name their handle as the board's do.
      CALL(Mlo_setCameraPropertyWithType(nullptr, nullptr, nullptr, 1, nullptr), -1001, kNoBoard),
      CALL(Mlo_setCameraPropertyWithType(camera, nullptr, nullptr, 1, nullptr), -1991, kNoName),
      CALL(Mlo_setCameraPropertyWithType(camera, name, nullptr, 1, nullptr), -1991, kNoValue),
      CALL(Mlo_getCameraPropertyWithType(nullptr, nullptr, nullptr, &type, nullptr), -1001,
           kNoBoard),
      CALL(Mlo_getCameraPropertyWithType(camera, nullptr, &value, &type, nullptr), -1991, kNoName),
      CALL(Mlo_RegisterEventCallback(nullptr, nullptr, nullptr), -1001, "Invalid board handle"),
      CALL(Mlo_registerBoardEventCallback(nullptr, nullptr, nullptr), -1001,
           "Invalid board handle"),
  });
  EXPECT_TRUE(controller.writes.empty()) << "a rejected setter reached the controller";
}

// The entries name the property, also when its name is null.
TEST_F(PropertyApi, TraceNamesTheUnitTheHandleAndTheProperty) {
  const std::string boardText = ",handle=(P14MloBoardHandle)" + Pointer(b) + "|Entering Mlo_";
  const std::string cameraText =
      ",handle=(P15MloCameraHandle)" + Pointer(camera) + "|Entering Mlo_";
  std::vector<std::string> expected;
  for (char* property : {static_cast<char*>(nullptr), name}) {
    Mlo_getBoardPropertyWithType(b, property, nullptr, 1, nullptr);
    Mlo_setBoardPropertyWithType(b, property, nullptr, 1, nullptr);
    Mlo_getCameraPropertyWithType(camera, property, nullptr, &type, nullptr);
    Mlo_setCameraPropertyWithType(camera, property, nullptr, 1, nullptr);
    const std::string note = property ? "; Property: NrOfPorts" : "; Property: ";
    expected.insert(expected.end(), {boardText + "getBoardPropertyWithType" + note,
                                     boardText + "setBoardPropertyWithType" + note,
                                     cameraText + "getCameraPropertyWithType" + note,
                                     cameraText + "setCameraPropertyWithType" + note});
  }
  Mlo_RegisterEventCallback(b, nullptr, nullptr);
  Mlo_registerBoardEventCallback(b, nullptr, nullptr);
  expected.push_back(boardText + "RegisterEventCallback");
  expected.push_back(boardText + "registerBoardEventCallback");
  EXPECT_EQ(TakeEntries(), expected);
}

// Name, value, type and index go to the driver or the camera, and their code comes back.
TEST_F(PropertyApi, BoardAndCameraTablesAnswerThroughTheirObjects) {
  EXPECT_EQ(Mlo_getBoardPropertyWithType(b, name, &value, 1, nullptr), 0);
  EXPECT_EQ(value, 4u);
  EXPECT_EQ(Mlo_getBoardPropertyWithType(b, name, &value, 3, nullptr), -1990);
  char magic[] = "MagicValue";
  uint32_t port = 2;
  value = 77;
  controller.setCode = -1013;
  EXPECT_EQ(Mlo_setBoardPropertyWithType(b, magic, &value, 1, &port), -1013);
  ASSERT_EQ(controller.writes.size(), 1u);
  EXPECT_EQ(controller.writes[0].name, "MagicValue");
  EXPECT_EQ(controller.writes[0].value, 77u);
  EXPECT_EQ(controller.writes[0].index, 2u);

  // The length of a string is asked with a null buffer; it counts the terminator.
  char vendor[] = "VendorName";
  type = 3;
  uint32_t length = 0;
  ASSERT_EQ(Mlo_getCameraPropertyWithType(camera, vendor, nullptr, &type, &length), 0);
  EXPECT_EQ(length, 5u);
  std::vector<char> text(length, '?');
  ASSERT_EQ(Mlo_getCameraPropertyWithType(camera, vendor, text.data(), &type, &length), 0);
  EXPECT_STREQ(text.data(), "Vesk");
  type = 1;
  EXPECT_EQ(Mlo_getCameraPropertyWithType(camera, vendor, &value, &type, nullptr), -1990);
  char unknown[] = "NoSuchProperty";
  EXPECT_EQ(Mlo_setCameraPropertyWithType(camera, unknown, &value, 1, nullptr), -2000);

  char links[] = "NrOfLinks";
  value = 2;
  controller.setCode = 0;
  ASSERT_EQ(Mlo_setCameraPropertyWithType(camera, links, &value, 1, nullptr), 0);
  ASSERT_EQ(controller.writes.size(), 2u);
  EXPECT_EQ(controller.writes[1].name, "LinkConfig");
  EXPECT_EQ(controller.writes[1].value, 2u << 24);
}

int BoardCallback(MloBoardHandle* board, const MloEventInfo* info, void* user) {
  static_cast<std::vector<std::string>*>(user)->push_back("board " + Pointer(board) + " " +
                                                          std::to_string(info->type) + " " +
                                                          std::to_string(info->port));
  return 0;
}

int EventCallback(MloBoardHandle* board, MloCameraHandle* camera, const MloEventInfo* info,
                  const void* user) {
  static_cast<std::vector<std::string>*>(const_cast<void*>(user))
      ->push_back("event " + Pointer(board) + " " + Pointer(camera) + " " +
                  std::to_string(info->type) + " " + std::to_string(info->port));
  return 0;
}

// Either form replaces the other; a null callback unregisters.
TEST_F(PropertyApi, EventsReachTheLatestCallbackOfEitherForm) {
  std::vector<std::string> events;
  auto fire = [&](unsigned int event, unsigned int ports) {
    controller.callback(event, ports, controller.callbackUser);
  };
  ASSERT_EQ(Mlo_registerBoardEventCallback(b, BoardCallback, &events), 0);
  fire(ControllerEventPortsConnected, 5);
  fire(ControllerEventPortsLost, 4);
  ASSERT_EQ(Mlo_RegisterEventCallback(b, EventCallback, &events), 0);
  fire(ControllerEventPortsConnected, 1);
  ASSERT_EQ(Mlo_registerBoardEventCallback(b, BoardCallback, &events), 0);
  fire(ControllerEventPortsLost, 2);
  const std::string handle = Pointer(b);
  EXPECT_EQ(events, (std::vector<std::string>{
                        "board " + handle + " 101 5",
                        "board " + handle + " 200 4",
                        "event " + handle + " 0 101 1",
                        "board " + handle + " 200 2",
                    }));

  MloEventInfo info{};
  ASSERT_EQ(Mlo_registerBoardEventCallback(b, nullptr, &events), 0);
  EXPECT_EQ(board.driver->notifyEvent(&info), -1016);
  ASSERT_EQ(Mlo_RegisterEventCallback(b, EventCallback, &events), 0);
  ASSERT_EQ(Mlo_RegisterEventCallback(b, nullptr, &events), 0);
  EXPECT_EQ(board.driver->notifyEvent(&info), -1016);
  EXPECT_EQ(events.size(), 4u);
}

}  // namespace
}  // namespace vesk::test
