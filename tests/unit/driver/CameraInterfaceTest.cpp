// The camera object over a test port: its XML, node map, property table, links and caches.
#include "vesk_genicam/impl/CameraInterface.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"
#include "tests/support/TestController.h"

namespace vesk::test {
namespace {

constexpr char kBroken[] = "<ToolTip>< / ToolTip>";

class CameraInterfaceTest : public ::testing::Test {
 protected:
  CameraInterfaceTest() : port(controller.Port(2)), camera(&port, &controller) {
    controller.Link(2, 5, 0);
  }

  int Get(std::string name, uint32_t* value, uint32_t* link = nullptr) {
    return camera.GetProperty(name.data(), value, 1, link);
  }
  int Set(std::string name, uint32_t value) {
    return camera.SetProperty(name.data(), &value, 1, nullptr);
  }
  // The text of a string property, or the code as text.
  std::string GetText(std::string name) {
    char buffer[64] = {};
    uint32_t length = sizeof buffer;
    const int code = camera.GetProperty(name.data(), buffer, 3, &length);
    return code ? std::to_string(code) : buffer;
  }
  std::string Xml() {
    size_t size = 0;
    EXPECT_EQ(camera.GetXml(nullptr, &size), 0);
    std::string xml(size, '?');
    EXPECT_EQ(camera.GetXml(xml.data(), &size), 0);
    return xml;
  }

  TestController controller;
  TestPort& port;
  CCameraInterface camera;
};

TEST_F(CameraInterfaceTest, LoadXmlBlanksTheFirstBrokenToolTipOnlyAndConnectLeavesIt) {
  // Port failures pass through; no port is no interface.
  port.xmlCode = -256;
  EXPECT_EQ(camera.LoadXml(), -256);
  EXPECT_EQ(camera.ConnectCamera(), -256);
  CCameraInterface portless(nullptr, &controller);
  EXPECT_EQ(portless.LoadXml(), -1010);
  EXPECT_EQ(portless.ConnectCamera(), -1010);
  EXPECT_FALSE(portless.IsConnected());

  // A second one, in a comment, stays as it is.
  port.xmlCode = 0;
  port.xml = TestCameraDescription(kBroken) + "<!--" + kBroken + "-->";
  EXPECT_EQ(camera.ConnectCamera(), -1010);
  EXPECT_FALSE(camera.IsGenicamConnected());
  ASSERT_EQ(camera.LoadXml(), 0);
  EXPECT_EQ(port.lastXmlFlags, 0u);
  EXPECT_EQ(Xml(), TestCameraDescription(std::string(21, ' ')) + "<!--" + kBroken + "-->");
  EXPECT_EQ(camera.ConnectCamera(), 0);
  EXPECT_EQ(port.xmlLoads, 4);
}

TEST_F(CameraInterfaceTest, ConnectingTwiceMakesANewMapFromTheSameXml) {
  ASSERT_EQ(camera.ConnectCamera(), 0);
  GenApi::CNodeMapRef* first = camera.GetCameraNodeMap();
  ASSERT_NE(first, nullptr);
  EXPECT_TRUE(camera.IsGenicamConnected());
  GenApi::CIntegerPtr(first->_GetNode("Width"))->SetValue(640);
  EXPECT_EQ(port.Get32(0x100), 640u) << "the map reads and writes through the port";

  ASSERT_EQ(camera.ConnectCamera(), 0);
  GenApi::CNodeMapRef* second = camera.GetCameraNodeMap();
  EXPECT_NE(second, first);
  EXPECT_EQ(GenApi::CIntegerPtr(second->_GetNode("Width"))->GetValue(), 640);
  EXPECT_EQ(port.xmlLoads, 1);
  EXPECT_EQ(camera.DoPostConnect(), 0);

  // The link goes, the map stays.
  EXPECT_EQ(camera.LinkDisconnect(), 0);
  EXPECT_FALSE(camera.IsGenicamConnected());
  EXPECT_EQ(camera.GetCameraNodeMap(), second);
}

TEST_F(CameraInterfaceTest, XmlOfTheApplicationOrOfAFileIsUsedAsItStands) {
  EXPECT_EQ(camera.SetXml(nullptr, 0), -1008);
  ASSERT_EQ(camera.SetXml(TestCameraDescription().c_str(), 1), 0) << "the size is not used";
  ASSERT_EQ(camera.ConnectCamera(), 0);
  camera.SetXml(TestCameraDescription(kBroken).c_str(), 0);
  EXPECT_EQ(camera.ConnectCamera(), -1010);
  EXPECT_EQ(camera.GetCameraNodeMap(), nullptr) << "a failed connect drops the old map";
  EXPECT_EQ(Xml(), "") << "and the XML";

  TempDir dir;
  WriteText(dir.File("empty.xml"), "");
  EXPECT_EQ(camera.ConnectCamera(static_cast<const char*>(nullptr)), -1003);
  EXPECT_EQ(camera.ConnectCamera(dir.File("missing.xml").c_str()), -1003);
  EXPECT_EQ(camera.ConnectCamera(dir.File("empty.xml").c_str()), -1008);
  WriteText(dir.File("camera.xml"), TestCameraDescription() + '\0' + "trailing bytes");
  ASSERT_EQ(camera.ConnectCamera(dir.File("camera.xml").c_str()), 0);
  EXPECT_EQ(Xml(), TestCameraDescription()) << "the text ends at the first zero byte";
  EXPECT_EQ(port.xmlLoads, 0);

  // A copy needs room for the text and gets no terminator.
  camera.SetXml("<xml/>", 0);
  EXPECT_EQ(camera.GetXml(nullptr, nullptr), -1008);
  char buffer[8] = "#######";
  size_t size = 5;
  EXPECT_EQ(camera.GetXml(buffer, &size), -1991);
  EXPECT_EQ(size, 5u);
  EXPECT_EQ(buffer[0], '#');
  size = sizeof buffer;
  ASSERT_EQ(camera.GetXml(buffer, &size), 0);
  EXPECT_EQ(size, 6u);
  EXPECT_EQ(std::string(buffer, 7), "<xml/>#");
}

TEST_F(CameraInterfaceTest, IntegerPropertiesReadThePortAndTheLinksInAnyCase) {
  port.streamPacketSize = 1111;
  port.controlPacketSize = 222;
  port.operatorIndex = 3;
  port.operatorSize = 2;
  port.synchronized = true;
  camera.SetDiscoverySpeed(3125);
  camera.SetNrOfLinks(2);
  camera.SetLinkPlMasterId(1, 77);
  camera.SetLinkFrameGrabberPort(1, 3);
  camera.SetLinkPlPort(1, 1);
  auto expect = [&](const char* name, uint32_t link, uint32_t expected) {
    uint32_t value = 0xDEAD;
    EXPECT_EQ(Get(name, &value, &link), 0) << name;
    EXPECT_EQ(value, expected) << name << " of link " << link;
  };
  const std::pair<const char*, uint32_t> ofThePort[] = {
      {"StreamPacketSize", 1111}, {"controlpacketsize", 222},
      {"LINKSPEED", 6250},        {"NrOfLinks", 2},
      {"DiscoverySpeed", 3125},   {"Connected", 1},
      {"MasterPort", 2},          {"MasterID", 5},
      {"AppletOperatorIndex", 3}, {"AppletOperatorSize", 2},
      {"IsGenICamConnected", 1},  {"IsTransceiverLocked", 1},
      {"MasterLink", 1}};
  for (const auto& [name, expected] : ofThePort) expect(name, 0, expected);
  expect("AppletMasterID", 1, 77);
  expect("MasterLink", 1, 0);
  expect("FgPort", 1, 3);
  expect("AppletPort", 1, 1);
  expect("fgport", 2, 0xFFFFFFFF);
  uint32_t value = 0;
  EXPECT_EQ(Get("FgPort", &value), 0) << "no index is link 0";
  EXPECT_EQ(value, 0xFFFFFFFFu);
  uint32_t link = 4;
  EXPECT_EQ(Get("AppletPort", &value, &link), -1991) << "a link that does not exist";

  port.speed = kNoLinkSpeed;
  Get("IsGenICamConnected", &value);
  EXPECT_EQ(value, 0u) << "the link state, whatever the GenICam connection";
}

TEST_F(CameraInterfaceTest, PropertyChecksComeInOrderAndEveryRowRefusesTheDirectionItLacks) {
  uint32_t value = 0;
  EXPECT_EQ(Get("MasterPort", nullptr), -1017);
  char name[] = "VendorName";
  char buffer[4];
  EXPECT_EQ(camera.GetProperty(name, buffer, 3, nullptr), -1017) << "a string needs its length";
  CCameraInterface portless(nullptr, &controller);
  char other[] = "MasterPort";
  EXPECT_EQ(portless.GetProperty(other, &value, 3, nullptr), -1990);
  EXPECT_EQ(portless.GetProperty(other, &value, 1, nullptr), -1213);
  EXPECT_EQ(portless.SetProperty(other, &value, 1, nullptr), -1213);

  EXPECT_EQ(Get("LinkConfig", &value), -1013);
  for (const char* getterOnly :
       {"StreamPacketSize", "ControlPacketSize", "DiscoverySpeed", "Connected", "MasterPort",
        "MasterID", "AppletMasterID", "AppletOperatorIndex", "AppletOperatorSize",
        "IsGenICamConnected", "MasterLink", "FgPort", "AppletPort", "IsTransceiverLocked"}) {
    EXPECT_EQ(Set(getterOnly, 1), -1013) << getterOnly;
  }
  for (const char* identity : {"VendorName", "ModelName", "FamilyName", "Version",
                               "FirmwareVersion", "ManufacturerInfo", "SerialNumber", "UserID"}) {
    char text[] = "x";
    uint32_t length = 2;
    std::string key = identity;
    EXPECT_EQ(camera.SetProperty(key.data(), text, 3, &length), -1013) << identity;
  }
  EXPECT_TRUE(controller.writes.empty());
}

TEST_F(CameraInterfaceTest, LinkSettersShareTheControllersLinkConfig) {
  EXPECT_EQ(Set("LinkConfig", 0x12345678), 0);
  EXPECT_EQ(Set("linkspeed", 0x12345678), 0);
  EXPECT_EQ(Set("NrOfLinks", 0x12345678), 0);
  const uint32_t expected[] = {0x12345678, 0x345678, 0x8000000};
  ASSERT_EQ(controller.writes.size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(controller.writes[i].name, "LinkConfig");
    EXPECT_EQ(controller.writes[i].value, expected[i]) << i;
    EXPECT_EQ(controller.writes[i].index, 2u) << "the master port";
  }
  controller.setCode = -1203;
  EXPECT_EQ(Set("NrOfLinks", 3), -1203);
}

TEST_F(CameraInterfaceTest, StringPropertiesTellTheirLengthAndCopyAtMostThat) {
  port.info.SetVendorName("Vesk");
  port.info.SetSerialNr("SN-42");
  port.info.SetUserId("left");
  EXPECT_EQ(GetText("SerialNumber"), "SN-42");
  EXPECT_EQ(GetText("USERID"), "left");
  EXPECT_EQ(GetText("ModelName"), "");

  char name[] = "vendorname";
  char buffer[8] = "#######";
  uint32_t length = 0;
  ASSERT_EQ(camera.GetProperty(name, buffer, 3, &length), 0);
  EXPECT_EQ(length, 5u);
  EXPECT_EQ(buffer[0], '#') << "a zero length writes nothing";
  length = 2;
  ASSERT_EQ(camera.GetProperty(name, buffer, 3, &length), 0);
  EXPECT_EQ(std::string(buffer, 3), "Ve#") << "cut short, without terminator";

  char xml[] = "<a/>";
  uint32_t xmlLength = sizeof xml;
  char xmlName[] = "XmlData";
  ASSERT_EQ(camera.SetProperty(xmlName, xml, 3, &xmlLength), 0);
  EXPECT_EQ(GetText("xmldata"), "<a/>");
}

TEST_F(CameraInterfaceTest, IdentityIsCachedUntilAnUpdate) {
  port.info.SetVendorName("Vesk");
  MloCameraInfo* info = camera.GetCameraInfo();
  EXPECT_STREQ(info->vendorName, "Vesk");
  EXPECT_EQ(info->vendorName, port.info.GetVendorName()) << "the port's own text";
  camera.GetCameraInfo();
  EXPECT_EQ(port.infoReads, 1);

  camera.UpdateCameraInfo();
  EXPECT_EQ(port.infoUpdates, 1);
  EXPECT_EQ(port.infoReads, 1) << "read again on the next request only";
  EXPECT_EQ(camera.GetCameraInfo(), info);
  EXPECT_EQ(port.infoReads, 2);
  CCameraInterface portless(nullptr, &controller);
  EXPECT_EQ(portless.GetCameraInfo()->vendorName, nullptr);
}

TEST_F(CameraInterfaceTest, TheStringCacheKeepsOneCopyPerValue) {
  char text[] = "Mono8";
  const char* first = camera.InsertInStringCache(text);
  text[0] = 'X';
  EXPECT_STREQ(first, "Mono8") << "a copy";
  EXPECT_EQ(camera.InsertInStringCache("Mono8"), first);
  EXPECT_NE(camera.InsertInStringCache("Mono16"), first);
  EXPECT_STREQ(first, "Mono8") << "growing the cache leaves earlier texts in place";
  camera.ClearStringCache();
  EXPECT_STREQ(camera.InsertInStringCache("Mono8"), "Mono8");
}

TEST_F(CameraInterfaceTest, LinkSettersKeepOnlyValuesThatFit) {
  EXPECT_EQ(camera.GetLinkInfo(4), nullptr);

  EXPECT_EQ(camera.SetLinkFrameGrabberPort(1, 3), -1991) << "stored, and still -1991";
  EXPECT_EQ(camera.SetLinkFrameGrabberPort(1, 4), -1991);
  EXPECT_EQ(camera.SetLinkPlPort(1, 2), 0);
  EXPECT_EQ(camera.SetLinkPlPort(1, 9), 0);
  EXPECT_EQ(camera.SetLinkPlExtensionId(1, 1), -1991);
  EXPECT_EQ(camera.SetLinkPlExtensionId(1, 4), -1991);
  EXPECT_EQ(camera.SetLinkPlMasterId(1, 0x10000), 0) << "any master id";
  const CCameraInterface::LinkInfo& link = *camera.GetLinkInfo(1);
  EXPECT_EQ(link.frameGrabberPort, 3u);
  EXPECT_EQ(link.plPort, 2u);
  EXPECT_EQ(link.plExtensionId, 1u);
  EXPECT_EQ(link.plMasterId, 0x10000u);

  unsigned int out = 7;
  EXPECT_EQ(camera.SetLinkPlPort(4, 0), -1991);
  EXPECT_EQ(camera.SetLinkPlMasterId(4, 0), -1991);
  EXPECT_EQ(camera.GetLinkPLExtensionId(4, out), -1991);
  EXPECT_EQ(camera.GetLinkIsMaster(4, out), -1991);
  EXPECT_EQ(out, 7u);
  ASSERT_EQ(camera.SetNrOfLinks(4), 0);
  EXPECT_EQ(camera.SetNrOfLinks(5), -1991);
  EXPECT_EQ(camera.GetNrOfLinks(), 4u);
}

}  // namespace
}  // namespace vesk::test
