#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "templates/platform/PropertiesFile.h"
#include "templates/platform/RtTweakProperties.h"
#include "templates/platform/TweakProperties.h"
#include "templates/platform/TweakPropertyTable.h"
#include "tests/support/TempDir.h"

namespace vesk::templates::platform {
namespace {

using testing::StrEq;
using testing::ThrowsMessage;

TEST(PropertiesFile, SectionsCommentsCaseAndMalformedLines) {
  test::TempDir dir;
  test::WriteText(dir.File("rt.conf"),
                  "Early = 1\n"  // ahead of any section: no effect
                  "[ ]\nBlank = 2\n"
                  "[CXP]\r\n  CommandAckTimeout = 800   # ms\r\nNote = a#b\n"
                  "[]\nPath = a=b = c\nNoEquals\n"  // "[]" and "NoEquals" skipped
                  "[ Global ]\nEnablePCAP = Yes\nENABLEPCAP = No\n"
                  "[Open = 1\n");  // no closing bracket: a setting
  PropertiesFile file;
  ASSERT_TRUE(file.load(dir.File("rt.conf"), true, true));
  bool found = false;
  EXPECT_EQ(file.property("cxp::COMMANDACKTIMEOUT", &found), "800");
  EXPECT_TRUE(found);
  EXPECT_EQ(file.property("CXP::Note", nullptr), "a");
  EXPECT_EQ(file.property("CXP::Path", nullptr), "a=b = c");
  EXPECT_EQ(file.property("::blank", nullptr), "2");
  EXPECT_EQ(file.property("global::enablepcap", nullptr), "No");
  EXPECT_EQ(file.property("Global::[Open", nullptr), "1");
  for (const char* key : {"Early", "::Early", "CXP::NoEquals", "CXP::EnablePCAP"}) {
    EXPECT_EQ(file.property(key, &found), "");
    EXPECT_FALSE(found) << key;
  }
}

TEST(PropertiesFile, LoadFlagsAndOptions) {
  test::TempDir dir;
  test::WriteText(dir.File("a"), "[S]\nA = 1\nB = 1\n");
  test::WriteText(dir.File("b"), "[S]\nA = 2\nA = 3\n");
  PropertiesFile file;
  const auto values = [&] {
    return file.property("S::A", nullptr) + file.property("S::B", nullptr);
  };
  ASSERT_TRUE(file.load(dir.File("a"), false, true));
  EXPECT_FALSE(file.load(dir.File("missing"), false, true));
  EXPECT_EQ(values(), "11") << "a failed load changed the map";
  file.load(dir.File("b"), true, false);
  EXPECT_EQ(values(), "11");
  file.load(dir.File("b"), true, true);
  EXPECT_EQ(values(), "31");
  file.load(dir.File("b"), false, false);
  EXPECT_EQ(values(), "2");

  PropertiesFile flat(false, true);
  test::WriteText(dir.File("c"), "Top = 1\n[S]\n[Half = 3\n");
  ASSERT_TRUE(flat.load(dir.File("c"), true, true));
  EXPECT_EQ(flat.property("Top", nullptr) + flat.property("top", nullptr), "1");
  EXPECT_EQ(flat.property("[Half", nullptr), "3");
}

TEST(TweakProperties, ConversionsFollowTheStream) {
  bool flag = false;
  for (const char* text : {"yes", "TRUE", "On", "1"}) {
    EXPECT_TRUE(TweakProperties::resolveValue(text, flag) && flag) << text;
  }
  for (const char* text : {"", "Off", "01", " yes"}) {
    EXPECT_TRUE(TweakProperties::resolveValue(text, flag) && !flag) << text;
  }
  int number = 0;
  for (auto [text, expected] : {std::pair{"12abc", 12}, {"0x10", 0}, {"  -7", -7}}) {
    EXPECT_TRUE(TweakProperties::resolveValue(text, number));
    EXPECT_EQ(number, expected) << text;
  }
  for (const char* text : {"", " ", "abc", "99999999999"}) {
    EXPECT_FALSE(TweakProperties::resolveValue(text, number)) << text;
  }
  unsigned short port = 0;
  EXPECT_TRUE(TweakProperties::resolveValue("65535", port));
  EXPECT_FALSE(TweakProperties::resolveValue("65536", port));
}

// The rows this library reads: key, environment variable, command-line name, default.
const char* const kRowsReadHere[] = {
    "Global::EnablePCAP VESK_ENABLE_PCAP pcap Off",
    "Global::PCAPDir VESK_PCAP_DIR  .",
    "GIGE::StreamChannelUdpDestinationPort VESK_GIGE_STREAMCHANNEL_UDP_DESTINATION_PORT  0",
    "GIGE::ServiceUdpSourcePort VESK_GIGE_SERVICE_UDP_SOURCE_PORT  0",
    "GIGE::DriverClassPortMask VESK_GIGE_DRIVER_CLASS_PORT_MASK  0",
    "CXP::CommandAckTimeout VESK_CXP_COMMAND_ACK_TIMEOUT  500",
    "CXP::WaitAfterLinkResetOnEachPort VESK_CXP_WAIT_AFTER_LINK_RESET_ON_EACH_PORT  0",
    "CXP::WaitAfterLinkResetDone VESK_CXP_WAIT_AFTER_LINK_RESET_DONE  200",
    "CXP::WaitAfterLinkLockFound VESK_CXP_WAIT_AFTER_LINK_LOCK_FOUND  0",
    "CXP::WaitAfterCameraConfigDone VESK_CXP_WAIT_AFTER_CAMERA_CONFIG_CHANGED  200",
    "CXP::WaitAfterUplinkSpeedReset VESK_CXP_WAIT_AFTER_UPLINK_SPEED_RESET  200",
    "CXP::WaitAfterPowerup VESK_CXP_WAIT_AFTER_POWERUP  2000",
    "CXP::WaitAfterPowerdown VESK_CXP_WAIT_AFTER_POWERDOWN  0",
    "CXP::ReceiveAckPacketOnLinkConfig VESK_CXP_RECEIVE_ACK_PACKET_AFTER_CAMERA_CONFIG_CHANGED  "
    "Off",
    "CXP::SkipRegisterCheckOnLinkConfig VESK_CXP_SKIP_REGISTER_CHECK_AFTER_LINK_LOCK_FOUND  Off",
    "CXP::DisablePowerOverCxp VESK_CXP_DISABLE_POWER_OVER_CXP disablePoCXP Off",
    "CXP::UseConnectionConfigDefault VESK_CXP_USE_CONNECTION_CONFIG_DEFAULT  On",
    "CXP::MaxControlPacketSize VESK_CXP_MAX_CONTROL_PACKET_SIZE  0",
    "CXP::EnableCxp2Extensions VESK_CXP_ENABLE_CXP2_EXTENSIONS  On",
    "CXP::NumResetAttemptsOnPortTrip VESK_CXP_NUM_RESET_ATTEMPTS_ON_PORT_TRIP  3",
    "CXP::WaitAfterTripReset VESK_CXP_WAIT_AFTER_TRIP_RESET  1500",
    "CXP::ToleratedNITErrorsPerPollingInterval VESK_CXP_TOLERATED_NIT_ERRS_PER_INTERVAL  10",
    "CXP::ToleratedPollingIntervalsOverNITErrorThreshold "
    "VESK_CXP_TOLERATED_INTERVALS_OVER_NIT_ERR_THRESH  5",
    "CXP::DisconnectsThreadSleepTimeMs VESK_CXP_DISCONNECTS_THREAD_SLEEP_TIME_MS  5",
    "CXP::DiscoveryThreadSleepTimeMs VESK_CXP_DISCOVERY_THREAD_SLEEP_TIME_MS  200",
};

TEST(TweakPropertyTable, RowsOrderAndOddNames) {
  size_t count = 0;
  while (kTweakPropertyTable[count].key) ++count;
  ASSERT_EQ(count, 68u);
  EXPECT_STREQ(kTweakPropertyTable[0].key, "Global::EnablePCAP");
  EXPECT_STREQ(kTweakPropertyTable[44].key, "CXP::DiscoveryThreadSleepTimeMs");
  EXPECT_STREQ(kTweakPropertyTable[47].key, "AuxPort::EnableJtagMsbBugfix");
  EXPECT_STREQ(kTweakPropertyTable[67].key, "Internal::ForceReloadApplet");
  for (size_t row : {45, 46}) {
    EXPECT_STREQ(kTweakPropertyTable[row].key, "AuxPort::LockPorts");
    EXPECT_STREQ(kTweakPropertyTable[row].environmentVariable, "VESK_AUXPORT_LOCK_PORTS");
    EXPECT_STREQ(kTweakPropertyTable[row].defaultValue, "On");
  }
  TweakProperties properties;
  for (const char* key :
       {"Internal::CXPNummberofFrameGrabble", "Internal::CXPNoOftimesResetPort"}) {
    EXPECT_NO_THROW(properties.findEntry(kTweakPropertyTable, key)) << key;
  }
  for (const std::string row : kRowsReadHere) {
    const TweakPropertyEntry& entry =
        properties.findEntry(kTweakPropertyTable, row.substr(0, row.find(' ')));
    EXPECT_EQ(std::string(entry.key) + " " + entry.environmentVariable + " " +
                  entry.commandLineName + " " + entry.defaultValue,
              row);
  }
}

template <class T>
T Property(const char* key, int argc = 0, const char** argv = nullptr) {
  return RtTweakProperties::property<T>(key, argc, const_cast<char**>(argv));
}

// Reads through the real files: a temporary HOME and the installation's rt.conf beside this
// program's bin folder, which the tests of this program share and so take one at a time.
class RtTweakPropertiesTest : public ::testing::Test {
 protected:
  static constexpr const char* kInstallationFile = VESK_TEST_TWEAK "/rt.conf";

  void SetUp() override {
    lock_ = open(VESK_TEST_TWEAK "/rt.conf.lock", O_CREAT | O_RDWR | O_CLOEXEC, 0644);
    ASSERT_GE(lock_, 0);
    ASSERT_EQ(flock(lock_, LOCK_EX), 0);
    std::remove(kInstallationFile);
    setenv("HOME", home_.Path().c_str(), 1);
    for (const TweakPropertyEntry* row = kTweakPropertyTable; row->key; ++row) {
      if (*row->environmentVariable) unsetenv(row->environmentVariable);
    }
  }
  void TearDown() override {
    std::remove(kInstallationFile);
    if (lock_ >= 0) close(lock_);
  }
  void WriteUser(const std::string& text) {
    test::WriteText(RtTweakProperties::localPropertyFilePath(), text);
  }

  test::TempDir home_;
  int lock_ = -1;
};

TEST_F(RtTweakPropertiesTest, SourcesInTurnAndBadValuesFallThrough) {
  const auto read = [] { return Property<unsigned int>("CXP::CommandAckTimeout"); };
  EXPECT_EQ(read(), 500u);
  setenv("VESK_CXP_COMMAND_ACK_TIMEOUT", "42", 1);
  EXPECT_EQ(read(), 42u);
  test::WriteText(kInstallationFile, "[CXP]\nCommandAckTimeout = 700\n");
  EXPECT_EQ(read(), 700u);
  WriteUser("[cxp]\ncommandacktimeout=9\nFoo = 1\n");
  EXPECT_EQ(read(), 9u);
  WriteUser("[CXP]\nCommandAckTimeout = abc\n");
  EXPECT_EQ(read(), 700u);
  test::WriteText(kInstallationFile, "[CXP]\nCommandAckTimeout = # none\n");
  EXPECT_EQ(read(), 42u);
  setenv("VESK_CXP_COMMAND_ACK_TIMEOUT", "", 1);
  EXPECT_EQ(read(), 500u);
}

TEST_F(RtTweakPropertiesTest, AnyTextSettlesABoolOrAString) {
  setenv("VESK_ENABLE_PCAP", "off", 1);
  WriteUser("[Global]\nEnablePCAP = 1\nPCAPDir = /var/Captures # here\n");
  EXPECT_TRUE(Property<bool>("Global::EnablePCAP"));
  EXPECT_EQ(Property<std::string>("Global::PCAPDir"), "/var/Captures");
  WriteUser("[Global]\nEnablePCAP =\nPCAPDir =\n");
  setenv("VESK_ENABLE_PCAP", "on", 1);
  EXPECT_TRUE(Property<bool>("Global::EnablePCAP"));
  setenv("VESK_PCAP_DIR", "", 1);
  EXPECT_EQ(Property<std::string>("Global::PCAPDir"), "");
  setenv("VESK_CXP_USE_CONNECTION_CONFIG_DEFAULT", "", 1);
  EXPECT_FALSE(Property<bool>("CXP::UseConnectionConfigDefault"));
}

TEST_F(RtTweakPropertiesTest, CommandLineFromTheBack) {
  WriteUser("[Global]\nPCAPFileSizeLimit = 5\n");
  const char* arguments[] = {"prog",        "--pcaplimit=12", "pcaplimits=99",  "pca=98",     "---",
                             "--pcaplimit", nullptr,          "-PCAPLIMIT=bad", "unrelated=1"};
  EXPECT_EQ(Property<unsigned int>("Global::PCAPFileSizeLimit", 9, arguments), 12u);
  EXPECT_EQ(Property<unsigned int>("Global::PCAPFileSizeLimit", 0, arguments), 5u);
  const char* flags[] = {"prog", "--pcap=yes", "-PCAP=off", "pcap="};
  EXPECT_FALSE(Property<bool>("Global::EnablePCAP", 3, flags));
  EXPECT_TRUE(Property<bool>("Global::EnablePCAP", 2, flags));
  EXPECT_EQ(Property<std::string>("Global::EnablePCAP", 4, flags), "");
}

TEST_F(RtTweakPropertiesTest, UnknownKeyAndNoValidValueThrow) {
  EXPECT_THAT([] { Property<bool>("cxp::enablecxp2extensions"); },
              ThrowsMessage<std::runtime_error>(StrEq(
                  "TweakProperties: Unknown property requested: 'cxp::enablecxp2extensions'")));
  EXPECT_THAT([] { Property<int>("Global::GuiConsoleFont"); },
              ThrowsMessage<std::runtime_error>(StrEq(
                  "TweakProperties: No valid value found for property 'Global::GuiConsoleFont'")));
  WriteUser("[Global]\nGuiConsoleFont = 3\n");
  EXPECT_EQ(Property<int>("Global::GuiConsoleFont"), 3);
}

TEST_F(RtTweakPropertiesTest, UserFileUnderTheRealHomeIsMadeOnRead) {
  std::filesystem::create_directory(home_.File("real"));
  std::filesystem::create_directory_symlink(home_.File("real"), home_.File("link"));
  setenv("HOME", home_.File("link").c_str(), 1);
  Property<bool>("Global::EnablePCAP");
  const std::string real = std::filesystem::canonical(home_.File("real")).string();
  EXPECT_TRUE(std::filesystem::is_directory(real + "/.config/vesk"));
  EXPECT_EQ(RtTweakProperties::localPropertyFilePath(), real + "/.config/vesk/rt.conf");

  // Without a usable home the installation's file still counts.
  test::WriteText(kInstallationFile, "[CXP]\nWaitAfterPowerup = 7\n");
  test::WriteText(home_.File("file"), "");
  for (const std::string& home : {std::string(""), home_.File("missing"), home_.File("file")}) {
    setenv("HOME", home.c_str(), 1);
    EXPECT_EQ(RtTweakProperties::localPropertyFilePath(), "") << home;
    EXPECT_EQ(Property<int>("CXP::WaitAfterPowerup"), 7);
  }
  EXPECT_EQ(RtTweakProperties::getRealPath(home_.File("missing")), home_.File("missing"));
}

}  // namespace
}  // namespace vesk::templates::platform
