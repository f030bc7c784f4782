// Nodes of the probe description: what they are, what they allow and how their values travel.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/unit/genapi/ProbeCamera.h"

namespace vesk::test {
namespace {

using namespace GenApi;

std::vector<std::string> Names(const NodeList_t& nodes) {
  std::vector<std::string> names;
  for (INode* node : nodes) names.push_back(node->GetName().str());
  return names;
}

struct AccessCase {
  const char* node;
  EAccessMode mode;
};

TEST(NodeAccess, AccessModesFollowTheDescription) {
  ProbeCamera camera;
  const AccessCase cases[] = {
      {"ReadOnly", RO},
      {"WriteOnly", WO},
      {"ReadWrite", RW},
      {"Missing", NI},
      {"Unavailable", NA},
      {"Locked", RO},
      {"LockedWriteOnly", NA},
      {"Imposed", RO},
      {"Through", RO},
      {"Doubled", RO},
      {"Root", RO},
      {"EnumEntry_Mode_Slow", RO},
      {"EnumEntry_Mode_Hidden", NA},
      {"Device", RW},
      {"Fire", WO},
  };
  for (const AccessCase& c : cases) {
    INode* node = camera.map._GetNode(c.node);
    ASSERT_NE(node, nullptr) << c.node;
    EXPECT_EQ(node->GetAccessMode(), c.mode) << c.node;
  }
}

TEST(NodeAccess, AvailabilityFollowsTheRegisterThatControlsIt) {
  ProbeCamera camera;
  CIntegerPtr flagged = camera.Get<IInteger>("Flagged");
  EXPECT_EQ(flagged->GetAccessMode(), NA);
  camera.Get<IInteger>("Flag")->SetValue(1);
  EXPECT_EQ(flagged->GetAccessMode(), RW);

  // A change in the camera shows once the map is told of it or reads the register afresh.
  camera.port.Put32(0x0C0, 0);
  EXPECT_EQ(flagged->GetAccessMode(), RW);
  camera.map._GetNode("Flag")->InvalidateNode();
  EXPECT_EQ(flagged->GetAccessMode(), NA);
  camera.port.Put32(0x0C0, 1);
  camera.Get<IInteger>("Flag")->GetValue(false, true);
  EXPECT_EQ(flagged->GetAccessMode(), RW);

  // A mode that could not be found out is not kept.
  camera.map._InvalidateNodes();
  camera.port.failure = [](int64_t) { throw std::runtime_error("link down"); };
  EXPECT_THROW(flagged->GetAccessMode(), std::runtime_error);
  camera.port.failure = nullptr;
  camera.port.Put32(0x0C0, 0);
  EXPECT_EQ(flagged->GetAccessMode(), NA);

  // Over a register that is never cached, the mode follows the camera at once.
  CIntegerPtr polled = camera.Get<IInteger>("Polled");
  EXPECT_EQ(polled->GetAccessMode(), NA);
  camera.port.Put32(0x0C4, 1);
  EXPECT_EQ(polled->GetAccessMode(), RW);
}

struct TypeCase {
  const char* node;
  EInterfaceType type;
};

TEST(NodeAccess, EachElementHasItsInterface) {
  ProbeCamera camera;
  const TypeCase cases[] = {
      {"Gain", intfIInteger},
      {"GainReg", intfIInteger},
      {"LowNibble", intfIInteger},
      {"Doubled", intfIInteger},
      {"Ratio", intfIFloat},
      {"RatioReg", intfIFloat},
      {"Scaled", intfIFloat},
      {"Half", intfIFloat},
      {"Enabled", intfIBoolean},
      {"Start", intfICommand},
      {"Label", intfIString},
      {"Block", intfIRegister},
      {"Root", intfICategory},
      {"Mode", intfIEnumeration},
      {"EnumEntry_Mode_Fast", intfIEnumEntry},
      {"Device", intfIPort},
  };
  for (const TypeCase& c : cases) {
    INode* node = camera.map._GetNode(c.node);
    ASSERT_NE(node, nullptr) << c.node;
    EXPECT_EQ(node->GetPrincipalInterfaceType(), c.type) << c.node;
  }
  // The smart pointers make the type test: a node is only what its interface says.
  EXPECT_TRUE(camera.Get<IInteger>("Doubled").IsValid());
  EXPECT_FALSE(camera.Get<IInteger>("Mode").IsValid());
  EXPECT_FALSE(camera.Get<IFloat>("Gain").IsValid());
  EXPECT_TRUE(camera.Get<IValue>("Root").IsValid());
  EXPECT_FALSE(camera.Get<IValue>("Device").IsValid());
  EXPECT_TRUE(camera.Get<IPort>("Device").IsValid());
}

TEST(NodeAccess, UnknownNamesAreNull) {
  ProbeCamera camera;
  EXPECT_EQ(camera.map._GetNode("NoSuchFeature"), nullptr);
  // Entries are nodes only under their GenApi name.
  EXPECT_EQ(camera.map._GetNode("Slow"), nullptr);
}

TEST(NodeAccess, NodePropertiesComeFromTheDescription) {
  ProbeCamera camera;
  INode* gain = camera.map._GetNode("Gain");
  EXPECT_EQ(gain->GetName(), "Gain");
  EXPECT_EQ(gain->GetName(true), "Std::Gain");
  EXPECT_EQ(camera.map._GetNode("GainReg")->GetName(true), "Cust::GainReg");
  EXPECT_EQ(gain->GetNameSpace(), Standard);
  EXPECT_EQ(gain->GetToolTip(), "Amplification");
  EXPECT_EQ(gain->GetDescription(), "Analog gain of the sensor.");
  EXPECT_EQ(gain->GetDisplayName(), "Sensor Gain");
  EXPECT_EQ(camera.map._GetNode("GainReg")->GetDisplayName(), "GainReg");
  EXPECT_EQ(gain->GetVisibility(), Expert);
  EXPECT_EQ(gain->GetNodeMap(), camera.map._Ptr);
  EXPECT_EQ(camera.Get<IInteger>("Gain")->GetUnit(), "dB");
}

TEST(NodeAccess, CategoriesListTheirFeaturesInOrder) {
  ProbeCamera camera;
  NodeList_t children;
  camera.map._GetNode("Root")->GetChildren(children, ctReadingChildren);
  EXPECT_EQ(Names(children), (std::vector<std::string>{"Values", "Access"}));

  FeatureList_t features;
  camera.Get<ICategory>("Access")->GetFeatures(features);
  ASSERT_EQ(features.size(), 3u);
  EXPECT_EQ(features[0]->GetNode()->GetName(), "ReadOnly");
  EXPECT_EQ(features[2]->GetNode()->GetName(), "Missing");
  EXPECT_TRUE(camera.map._GetNode("Gain")->IsFeature());
  EXPECT_FALSE(camera.map._GetNode("GainReg")->IsFeature());
}

TEST(NodeAccess, LinksAreListedByKind) {
  ProbeCamera camera;
  NodeList_t nodes;
  camera.map._GetNode("Gain")->GetChildren(nodes);
  EXPECT_EQ(Names(nodes), std::vector<std::string>{"GainReg"});
  camera.map._GetNode("Status")->GetChildren(nodes, ctInvalidatingChildren);
  EXPECT_EQ(Names(nodes), std::vector<std::string>{"Trigger"});
  camera.map._GetNode("GainReg")->GetChildren(nodes, ctDependingNodes);
  EXPECT_EQ(Names(nodes), (std::vector<std::string>{"Gain", "Doubled", "Half"}));
  camera.map._GetNode("Doubled")->GetChildren(nodes, ctTerminalNodes);
  EXPECT_EQ(Names(nodes), std::vector<std::string>{"GainReg"});
  camera.map._GetNode("GainReg")->GetChildren(nodes, ctParentNodes);
  EXPECT_EQ(Names(nodes), std::vector<std::string>{"Gain"});
}

TEST(NodeAccess, IntegersReadWriteAndKeepTheirLimits) {
  ProbeCamera camera;
  CIntegerPtr gain = camera.Get<IInteger>("Gain");
  *gain = 42;
  EXPECT_EQ(camera.port.Get32(0x000), 42u);
  EXPECT_EQ(gain->GetValue(), 42);
  EXPECT_EQ(camera.Get<IInteger>("Doubled")->GetValue(), 84);
  EXPECT_EQ(gain->GetMin(), 0);
  EXPECT_EQ(gain->GetMax(), 100);
  EXPECT_EQ(gain->GetInc(), 2);
  gain->FromString("0x10");
  EXPECT_EQ(gain->ToString(), "16");

  // Verification checks every limit; without it the value goes to the camera as it is.
  EXPECT_NE(
      DescriptionOf<GenICam::OutOfRangeException>([&] { gain->SetValue(102); }).find("Node 'Gain'"),
      std::string::npos);
  EXPECT_THROW(gain->SetValue(-2), GenICam::OutOfRangeException);
  EXPECT_THROW(gain->SetValue(43), GenICam::OutOfRangeException);
  gain->SetValue(43, false);
  EXPECT_EQ(camera.port.Get32(0x000), 43u);
  EXPECT_THROW(gain->GetValue(true), GenICam::OutOfRangeException);
  EXPECT_THROW(gain->FromString("12 apples"), GenICam::InvalidArgumentException);
}

TEST(NodeAccess, MaskedRegistersChangeOnlyTheirBits) {
  ProbeCamera camera;
  camera.port.Put32(0x0E4, 0xABCD0000);
  camera.Get<IInteger>("LowNibble")->SetValue(0x7);
  EXPECT_EQ(camera.port.Get32(0x0E4), 0xABCD0007u);
}

TEST(NodeAccess, DirectionIsCheckedBeforeTheCameraIsAsked) {
  ProbeCamera camera;
  EXPECT_EQ(DescriptionOf<GenICam::AccessException>(
                [&] { camera.Get<IInteger>("ReadOnly")->SetValue(1); }),
            "Node 'ReadOnly': Node is not writable");
  EXPECT_EQ(DescriptionOf<GenICam::AccessException>(
                [&] { camera.Get<IInteger>("WriteOnly")->GetValue(); }),
            "Node 'WriteOnly': Node is not readable");
  EXPECT_THROW(camera.Get<IInteger>("Missing")->GetValue(), GenICam::AccessException);
  EXPECT_EQ(camera.port.writes, 0);
  EXPECT_EQ(camera.port.readsAt.count(0x014), 0u);
}

TEST(NodeAccess, FloatsConvertersAndSwissKnivesCompute) {
  ProbeCamera camera;
  CFloatPtr ratio = camera.Get<IFloat>("Ratio");
  ratio->SetValue(-2.5);
  EXPECT_DOUBLE_EQ(ratio->GetValue(), -2.5);
  // Eight bytes, little-endian like this machine.
  uint8_t bytes[8] = {};
  for (int i = 0; i < 8; ++i) bytes[i] = camera.port.memory[0x080 + i];
  double stored = 0;
  std::memcpy(&stored, bytes, sizeof(stored));
  EXPECT_DOUBLE_EQ(stored, -2.5);
  EXPECT_THROW(ratio->SetValue(11.0), GenICam::OutOfRangeException);
  ratio->FromString("1.25");
  EXPECT_EQ(ratio->ToString(), "1.25");
  EXPECT_THROW(ratio->FromString("one"), GenICam::InvalidArgumentException);

  camera.Get<IFloat>("Scaled")->SetValue(3.0);
  EXPECT_EQ(camera.port.Get32(0x0E0), 30u);
  camera.Get<IInteger>("Gain")->SetValue(6);
  EXPECT_DOUBLE_EQ(camera.Get<IFloat>("Half")->GetValue(), 3.0);
}

TEST(NodeAccess, BooleansStringsAndRegisters) {
  ProbeCamera camera;
  CBooleanPtr enabled = camera.Get<IBoolean>("Enabled");
  EXPECT_FALSE(enabled->GetValue());
  *enabled = true;
  EXPECT_EQ(camera.port.Get32(0x090), 1u);
  enabled->FromString("false");
  EXPECT_EQ(enabled->ToString(), "0");
  EXPECT_THROW(enabled->FromString("maybe"), GenICam::InvalidArgumentException);

  CStringPtr label = camera.Get<IString>("Label");
  label->SetValue("camera 7");
  EXPECT_EQ(label->GetValue(), "camera 7");
  EXPECT_EQ(label->GetMaxLength(), 16);
  EXPECT_THROW(label->SetValue("a text of more than sixteen"), GenICam::OutOfRangeException);

  CRegisterPtr block = camera.Get<IRegister>("Block");
  EXPECT_EQ(block->GetAddress(), 0x0B0);
  EXPECT_EQ(block->GetLength(), 6);
  block->FromString("0x0102030405ff");
  EXPECT_EQ(camera.port.memory.at(0x0B5), 0xff);
  uint8_t bytes[6] = {};
  block->Get(bytes, 6);
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(block->ToString(), "0102030405ff");
  EXPECT_THROW(block->Get(bytes, 4), GenICam::OutOfRangeException);
  EXPECT_THROW(block->FromString("01020"), GenICam::InvalidArgumentException);
}

TEST(NodeAccess, EnumerationsWorkThroughTheirEntries) {
  ProbeCamera camera;
  CEnumerationPtr mode = camera.Get<IEnumeration>("Mode");
  NodeList_t entries;
  mode->GetEntries(entries);
  EXPECT_EQ(Names(entries), (std::vector<std::string>{"EnumEntry_Mode_Slow", "EnumEntry_Mode_Fast",
                                                      "EnumEntry_Mode_Hidden"}));
  StringList_t symbolics;
  mode->GetSymbolics(symbolics);
  EXPECT_EQ(symbolics, (StringList_t{"Slow", "Fast"}));

  // Zeroed memory holds a value that no entry has.
  EXPECT_EQ(mode->GetCurrentEntry(), nullptr);
  EXPECT_NE(DescriptionOf<GenICam::AccessException>([&] { mode->ToString(); }).find("'Mode'"),
            std::string::npos);

  *mode = "Fast";
  EXPECT_EQ(camera.port.Get32(0x0A0), 2u);
  EXPECT_EQ(mode->GetIntValue(), 2);
  EXPECT_EQ(mode->GetCurrentEntry()->GetSymbolic(), "Fast");
  EXPECT_EQ(mode->GetEntryByName("Slow")->GetValue(), 1);
  EXPECT_EQ(mode->GetEntry(2)->GetSymbolic(), "Fast");
  mode->SetIntValue(1);
  EXPECT_EQ(mode->ToString(), "Slow");

  EXPECT_THROW(mode->SetIntValue(7), GenICam::InvalidArgumentException);
  EXPECT_THROW(mode->FromString("Medium"), GenICam::InvalidArgumentException);
  EXPECT_THROW(mode->SetIntValue(3), GenICam::AccessException);
  mode->SetIntValue(3, false);
  EXPECT_EQ(camera.port.Get32(0x0A0), 3u);
  EXPECT_THROW(camera.Get<IEnumEntry>("EnumEntry_Mode_Slow")->FromString("x"),
               GenICam::AccessException);
}

TEST(NodeAccess, CommandsAreDoneWhenTheCameraClearsTheirRegister) {
  ProbeCamera camera;
  CCommandPtr start = camera.Get<ICommand>("Start");
  EXPECT_TRUE(start->IsDone());
  start->Execute();
  EXPECT_EQ(camera.port.Get32(0x060), 5u);
  EXPECT_FALSE(start->IsDone());
  EXPECT_EQ(start->ToString(), "0");
  camera.port.Put32(0x060, 0);
  EXPECT_TRUE(start->IsDone());

  // A write-only command register cannot be asked.
  CCommandPtr fire = camera.Get<ICommand>("Fire");
  fire->FromString("1");
  EXPECT_EQ(camera.port.Get32(0x064), 1u);
  EXPECT_TRUE(fire->IsDone());
  EXPECT_EQ(camera.port.readsAt.count(0x064), 0u);
}

TEST(NodeAccess, ThePortNodeReachesCameraMemory) {
  ProbeCamera camera;
  CPortPtr device = camera.Get<IPort>("Device");
  const uint8_t bytes[3] = {7, 8, 9};
  device->Write(bytes, 0x500, 3);
  uint8_t back[3] = {};
  device->Read(back, 0x500, 3);
  EXPECT_EQ(std::vector<uint8_t>(back, back + 3), std::vector<uint8_t>(bytes, bytes + 3));
}

TEST(NodeAccess, ARuntimeErrorOfAFormulaNamesTheNode) {
  ProbeCamera camera;
  EXPECT_NE(DescriptionOf<GenICam::RuntimeException>([&] {
              camera.Get<IFloat>("Rate")->GetValue();
            }).find("Node 'Rate'"),
            std::string::npos);
}

}  // namespace
}  // namespace vesk::test
