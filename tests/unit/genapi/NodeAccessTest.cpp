// Nodes of the probe description: what they are, what they allow and how their values travel.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/unit/genapi/ProbeCamera.h"

namespace vesk::test {
namespace {

using namespace GenApi;
using ::testing::HasSubstr;

std::vector<std::string> Names(const NodeList_t& nodes) {
  std::vector<std::string> names;
  for (INode* node : nodes) names.push_back(node->GetName().str());
  return names;
}

TEST(NodeAccess, NodesHaveTheAccessModeAndInterfaceOfTheirElement) {
  ProbeCamera camera;
  // From the register, the availability, the lock, an imposed mode and the node read through.
  const std::pair<EAccessMode, std::vector<const char*>> modes[] = {
      {RO, {"ReadOnly", "Locked", "Imposed", "Through", "Doubled", "Root", "EnumEntry_Mode_Slow"}},
      {WO, {"WriteOnly", "Fire"}},
      {RW, {"ReadWrite", "Device"}},
      {NA, {"Unavailable", "LockedWriteOnly", "EnumEntry_Mode_Hidden"}},
      {NI, {"Missing"}}};
  for (const auto& [mode, names] : modes) {
    for (const char* name : names) EXPECT_EQ(camera.Node(name)->GetAccessMode(), mode) << name;
  }
  // The elements that Aravis's fake camera lacks; the others are checked over its description.
  EXPECT_EQ(camera.Node("LowNibble")->GetPrincipalInterfaceType(), intfIInteger);
  EXPECT_EQ(camera.Node("RatioReg")->GetPrincipalInterfaceType(), intfIFloat);
  EXPECT_EQ(camera.Node("Half")->GetPrincipalInterfaceType(), intfIFloat);
  EXPECT_EQ(camera.Node("Block")->GetPrincipalInterfaceType(), intfIRegister);
  // The smart pointers make the type test: a node is only what its interface says.
  EXPECT_FALSE(camera.Get<IInteger>("Mode").IsValid());
  EXPECT_FALSE(camera.Get<IFloat>("Gain").IsValid());
  EXPECT_TRUE(camera.Get<IValue>("Root").IsValid());
  EXPECT_FALSE(camera.Get<IValue>("Device").IsValid());
  // Unknown names are null; entries are nodes only under their GenApi name.
  EXPECT_EQ(camera.map._GetNode("NoSuchFeature"), nullptr);
  EXPECT_EQ(camera.map._GetNode("Slow"), nullptr);
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
  camera.Node("Flag")->InvalidateNode();
  EXPECT_EQ(flagged->GetAccessMode(), NA);
  camera.port.Put32(0x0C0, 1);
  camera.Get<IInteger>("Flag")->GetValue(false, true);
  EXPECT_EQ(flagged->GetAccessMode(), RW);

  // A mode that could not be found out is not kept.
  camera.map._InvalidateNodes();
  camera.port.failure = [] { throw std::runtime_error("link down"); };
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

TEST(NodeAccess, NodesTellTheirDescriptionCategoriesAndLinks) {
  ProbeCamera camera;
  INode* gain = camera.Node("Gain");
  EXPECT_EQ(gain->GetName(true), "Std::Gain");
  EXPECT_EQ(camera.Node("GainReg")->GetName(true), "Cust::GainReg");
  EXPECT_EQ(gain->GetNameSpace(), Standard);
  EXPECT_EQ(gain->GetToolTip(), "Amplification");
  EXPECT_EQ(gain->GetDescription(), "Analog gain of the sensor.");
  EXPECT_EQ(gain->GetDisplayName(), "Sensor Gain");
  EXPECT_EQ(camera.Node("GainReg")->GetDisplayName(), "GainReg");
  EXPECT_EQ(gain->GetVisibility(), Expert);
  EXPECT_EQ(gain->GetNodeMap(), camera.map._Ptr);
  EXPECT_EQ(camera.Get<IInteger>("Gain")->GetUnit(), "dB");

  // Categories list their features in order.
  NodeList_t nodes;
  camera.Node("Root")->GetChildren(nodes, ctReadingChildren);
  EXPECT_EQ(Names(nodes), (std::vector<std::string>{"Values", "Access"}));
  FeatureList_t features;
  camera.Get<ICategory>("Access")->GetFeatures(features);
  ASSERT_EQ(features.size(), 3u);
  EXPECT_EQ(features[0]->GetNode()->GetName(), "ReadOnly");
  EXPECT_EQ(features[2]->GetNode()->GetName(), "Missing");
  EXPECT_TRUE(gain->IsFeature());
  EXPECT_FALSE(camera.Node("GainReg")->IsFeature());

  // Links by kind.
  gain->GetChildren(nodes);
  EXPECT_EQ(Names(nodes), std::vector<std::string>{"GainReg"});
  camera.Node("Status")->GetChildren(nodes, ctInvalidatingChildren);
  EXPECT_EQ(Names(nodes), std::vector<std::string>{"Trigger"});
  camera.Node("GainReg")->GetChildren(nodes, ctDependingNodes);
  EXPECT_EQ(Names(nodes), (std::vector<std::string>{"Gain", "Doubled", "Half"}));
  camera.Node("Doubled")->GetChildren(nodes, ctTerminalNodes);
  EXPECT_EQ(Names(nodes), std::vector<std::string>{"GainReg"});
  camera.Node("GainReg")->GetChildren(nodes, ctParentNodes);
  EXPECT_EQ(Names(nodes), std::vector<std::string>{"Gain"});
}

TEST(NodeAccess, IntegersKeepTheirLimitsAndDirectionIsCheckedBeforeTheCameraIsAsked) {
  ProbeCamera camera;
  EXPECT_EQ(DescriptionOf<GenICam::AccessException>(
                [&] { camera.Get<IInteger>("ReadOnly")->SetValue(1); }),
            "Node 'ReadOnly': Node is not writable");
  EXPECT_EQ(DescriptionOf<GenICam::AccessException>(
                [&] { camera.Get<IInteger>("WriteOnly")->GetValue(); }),
            "Node 'WriteOnly': Node is not readable");
  EXPECT_THROW(camera.Get<IInteger>("Missing")->GetValue(), GenICam::AccessException);
  EXPECT_TRUE(camera.port.memory.empty());
  EXPECT_EQ(camera.port.readsAt.count(0x014), 0u);

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
  EXPECT_THAT(DescriptionOf<GenICam::OutOfRangeException>([&] { gain->SetValue(102); }),
              HasSubstr("Node 'Gain'"));
  EXPECT_THROW(gain->SetValue(-2), GenICam::OutOfRangeException);
  EXPECT_THROW(gain->SetValue(43), GenICam::OutOfRangeException);
  gain->SetValue(43, false);
  EXPECT_EQ(camera.port.Get32(0x000), 43u);
  EXPECT_THROW(gain->GetValue(true), GenICam::OutOfRangeException);
  EXPECT_THROW(gain->FromString("12 apples"), GenICam::InvalidArgumentException);

  // A masked register changes only its bits.
  camera.port.Put32(0x0E4, 0xABCD0000);
  camera.Get<IInteger>("LowNibble")->SetValue(0x7);
  EXPECT_EQ(camera.port.Get32(0x0E4), 0xABCD0007u);
}

TEST(NodeAccess, FloatsBooleansStringsRegistersAndThePortReachTheirBytes) {
  ProbeCamera camera;
  CFloatPtr ratio = camera.Get<IFloat>("Ratio");
  ratio->SetValue(-2.5);
  EXPECT_DOUBLE_EQ(ratio->GetValue(), -2.5);
  // Eight bytes, little-endian like this machine.
  double stored = 0;
  for (int i = 0; i < 8; ++i) reinterpret_cast<uint8_t*>(&stored)[i] = camera.port.Byte(0x80 + i);
  EXPECT_DOUBLE_EQ(stored, -2.5);
  EXPECT_THROW(ratio->SetValue(11.0), GenICam::OutOfRangeException);
  ratio->FromString("1.25");
  EXPECT_EQ(ratio->ToString(), "1.25");
  EXPECT_THROW(ratio->FromString("one"), GenICam::InvalidArgumentException);

  // Swiss knives compute; a formula's runtime error names its node.
  camera.Get<IInteger>("Gain")->SetValue(6);
  EXPECT_DOUBLE_EQ(camera.Get<IFloat>("Half")->GetValue(), 3.0);
  EXPECT_THAT(
      DescriptionOf<GenICam::RuntimeException>([&] { camera.Get<IFloat>("Rate")->GetValue(); }),
      HasSubstr("Node 'Rate'"));

  CBooleanPtr enabled = camera.Get<IBoolean>("Enabled");
  *enabled = true;
  EXPECT_EQ(camera.port.Get32(0x090), 1u);
  enabled->FromString("false");
  EXPECT_EQ(enabled->ToString(), "0");
  EXPECT_THROW(enabled->FromString("maybe"), GenICam::InvalidArgumentException);

  CStringPtr label = camera.Get<IString>("Label");
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

  CPortPtr device = camera.Get<IPort>("Device");
  device->Write("\7\10\11", 0x500, 3);
  uint8_t back[3] = {};
  device->Read(back, 0x500, 3);
  EXPECT_EQ(std::string(back, back + 3), "\7\10\11");
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
  EXPECT_THAT(DescriptionOf<GenICam::AccessException>([&] { mode->ToString(); }),
              HasSubstr("'Mode'"));

  *mode = "Fast";
  EXPECT_EQ(camera.port.Get32(0x0A0), 2u);
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

}  // namespace
}  // namespace vesk::test
