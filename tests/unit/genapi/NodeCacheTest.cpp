// When the probe's nodes go to the camera, what a write invalidates, who is told, and how a
// failing port shows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/unit/genapi/ProbeCamera.h"

namespace vesk::test {
namespace {

using namespace GenApi;

struct CacheCase {
  const char* node;
  int64_t address;
  int readsForTwoReads;  // GetValue(false, false) twice
  int readsAfterWrite;   // one read after SetValue
};

TEST(NodeCache, ReadsFollowTheCachingModeOfTheRegister) {
  const CacheCase cases[] = {
      {"NoCacheReg", 0x020, 2, 1},
      {"WriteThroughReg", 0x024, 1, 0},
      {"WriteAroundReg", 0x028, 1, 1},
      {"DefaultCacheReg", 0x02C, 1, 0},  // WriteThrough when the description says nothing
  };
  for (const CacheCase& c : cases) {
    ProbeCamera camera;
    CIntegerPtr node = camera.Get<IInteger>(c.node);
    node->GetValue();
    node->GetValue();
    EXPECT_EQ(camera.port.readsAt[c.address], c.readsForTwoReads) << c.node;
    node->SetValue(9);
    camera.port.readsAt.clear();
    EXPECT_EQ(node->GetValue(), 9) << c.node;
    EXPECT_EQ(camera.port.readsAt[c.address], c.readsAfterWrite) << c.node;
    // Asked to, every node goes to the camera, and the fresh value refills the cache: only the
    // register that is never cached shows a later change.
    camera.port.Put32(c.address, 11);
    EXPECT_EQ(node->GetValue(false, true), 11) << c.node;
    EXPECT_EQ(camera.port.readsAt[c.address], c.readsAfterWrite + 1) << c.node;
    camera.port.Put32(c.address, 12);
    EXPECT_EQ(node->GetValue(), c.readsForTwoReads == 2 ? 12 : 11) << c.node;
  }
}

TEST(NodeCache, WritesAndInvalidationsMakeTheCameraBeAskedAgain) {
  ProbeCamera camera;
  // Writing an invalidator.
  CIntegerPtr status = camera.Get<IInteger>("Status");
  EXPECT_EQ(status->GetValue(), 0);
  camera.port.Put32(0x030, 3);
  EXPECT_EQ(status->GetValue(), 0);
  camera.Get<IInteger>("Trigger")->SetValue(1);
  EXPECT_EQ(status->GetValue(), 3);

  // Changing a selector.
  camera.port.Put32(0x050, 10);
  camera.port.Put32(0x054, 20);
  CIntegerPtr selected = camera.Get<IInteger>("Selected");
  EXPECT_EQ(selected->GetValue(), 10);
  camera.Get<IInteger>("Selector")->SetValue(1);
  EXPECT_EQ(selected->GetValue(), 20);
  camera.Get<IInteger>("Selector")->SetValue(0);
  EXPECT_EQ(selected->GetValue(), 10);

  // Invalidating a node reaches what depends on it.
  CIntegerPtr doubled = camera.Get<IInteger>("Doubled");
  EXPECT_EQ(doubled->GetValue(), 0);
  camera.port.Put32(0x000, 4);
  EXPECT_EQ(doubled->GetValue(), 0);
  camera.Node("GainReg")->InvalidateNode();
  EXPECT_EQ(doubled->GetValue(), 8);
  EXPECT_EQ(camera.Get<IInteger>("Gain")->GetValue(), 4);
}

// The form the camera object uses: a member function of a client.
struct Client {
  void Changed(INode* node) { changed.push_back(node->GetName().str()); }
  std::vector<std::string> changed;
};

TEST(NodeCache, CallbacksRunForTheWrittenNodeAndItsDependents) {
  ProbeCamera camera;
  std::vector<std::string> calls;
  auto record = [&](INode* node) { calls.push_back(node->GetName().str()); };
  Register(camera.Node("Gain"), record);
  Register(camera.Node("Doubled"), record);
  Register(camera.Node("Selected"), record);
  const CallbackHandleType status = Register(camera.Node("Status"), record);

  camera.Get<IInteger>("Gain")->SetValue(2);
  EXPECT_EQ(calls, (std::vector<std::string>{"Gain", "Doubled"}));
  calls.clear();
  camera.Get<IInteger>("Selector")->SetValue(1);
  EXPECT_EQ(calls, std::vector<std::string>{"Selected"});
  calls.clear();
  camera.Get<IInteger>("Trigger")->SetValue(1);
  EXPECT_EQ(calls, std::vector<std::string>{"Status"});

  calls.clear();
  Deregister(status);
  camera.Get<IInteger>("Trigger")->SetValue(2);
  camera.Get<IInteger>("WriteThroughReg")->SetValue(2);
  EXPECT_TRUE(calls.empty());
  camera.Node("GainReg")->InvalidateNode();
  EXPECT_EQ(calls, (std::vector<std::string>{"Gain", "Doubled"}));

  // Callbacks of each form, and one that deregisters itself.
  Client client;
  INode* start = camera.Node("Start");
  start->RegisterCallback(new Member_NodeCallback<Client, void (Client::*)(INode*)>(
      start, client, &Client::Changed, cbPostInsideLock));
  int outside = 0;
  Register(
      start, [&](INode*) { ++outside; }, cbPostOutsideLock);
  int once = 0;
  CallbackHandleType handle = 0;
  handle = Register(start, [&](INode*) {
    ++once;
    Deregister(handle);
  });
  camera.Get<ICommand>("Start")->Execute();
  camera.Get<ICommand>("Start")->Execute();
  EXPECT_EQ(client.changed, (std::vector<std::string>{"Start", "Start"}));
  EXPECT_EQ(outside, 2);
  EXPECT_EQ(once, 1);
  EXPECT_FALSE(start->DeregisterCallback(0));
}

TEST(NodeCache, WhatThePortThrowsArrivesUnchanged) {
  ProbeCamera camera;
  camera.port.failure = [] { throw TIMEOUT_EXCEPTION("no answer within %d ms", 200); };
  EXPECT_EQ(DescriptionOf<GenICam::TimeoutException>(
                [&] { camera.Get<IInteger>("NoCacheReg")->GetValue(); }),
            "no answer within 200 ms");
  // A string read that fails must not take the unterminated buffer for text.
  EXPECT_THROW(camera.Get<IString>("Label")->GetValue(false, true), GenICam::TimeoutException);
  camera.port.failure = [] { throw std::runtime_error("link down"); };
  EXPECT_THROW(camera.Get<IInteger>("Gain")->SetValue(2), std::runtime_error);

  // Once the port works again, so does the node map.
  camera.port.failure = nullptr;
  camera.Get<IInteger>("Gain")->SetValue(2);
  EXPECT_EQ(camera.Get<IInteger>("Gain")->GetValue(false, true), 2);

  // Another port starts with nothing cached.
  camera.port.Put32(0x024, 1);
  EXPECT_EQ(camera.Get<IInteger>("WriteThroughReg")->GetValue(), 1);
  MemoryPort other;
  other.Put32(0x024, 2);
  ASSERT_TRUE(camera.map._Connect(&other));
  EXPECT_EQ(camera.Get<IInteger>("WriteThroughReg")->GetValue(), 2);

  // Without a port, access is refused naming the node.
  CNodeMapRef portless;
  portless._LoadXMLFromString(ProbeDescription());
  EXPECT_THAT(DescriptionOf<GenICam::AccessException>(
                  [&] { CIntegerPtr(portless._GetNode("Gain"))->GetValue(); }),
              ::testing::HasSubstr("Node 'Gain'"));
}

}  // namespace
}  // namespace vesk::test
