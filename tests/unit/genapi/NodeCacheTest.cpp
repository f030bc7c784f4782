// When the probe's nodes go to the camera, what a write invalidates, who is told, and how a
// failing port shows.
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
    // Asked to, every node goes to the camera.
    EXPECT_EQ(node->GetValue(false, true), 9) << c.node;
    EXPECT_EQ(camera.port.readsAt[c.address], c.readsAfterWrite + 1) << c.node;
  }
}

TEST(NodeCache, ACachedValueHidesAChangeInTheCameraUntilIgnored) {
  ProbeCamera camera;
  CIntegerPtr node = camera.Get<IInteger>("WriteThroughReg");
  EXPECT_EQ(node->GetValue(), 0);
  camera.port.Put32(0x024, 11);
  EXPECT_EQ(node->GetValue(), 0);
  EXPECT_EQ(node->GetValue(false, true), 11);
  // The fresh read refilled the cache.
  camera.port.Put32(0x024, 12);
  EXPECT_EQ(node->GetValue(), 11);
}

TEST(NodeCache, WritingAnInvalidatorMakesTheCameraBeAskedAgain) {
  ProbeCamera camera;
  CIntegerPtr status = camera.Get<IInteger>("Status");
  EXPECT_EQ(status->GetValue(), 0);
  camera.port.Put32(0x030, 3);
  EXPECT_EQ(status->GetValue(), 0);
  camera.Get<IInteger>("Trigger")->SetValue(1);
  EXPECT_EQ(status->GetValue(), 3);
}

TEST(NodeCache, ASelectorChangeRereadsTheRegisterItSelects) {
  ProbeCamera camera;
  camera.port.Put32(0x050, 10);
  camera.port.Put32(0x054, 20);
  CIntegerPtr selected = camera.Get<IInteger>("Selected");
  EXPECT_EQ(selected->GetValue(), 10);
  camera.Get<IInteger>("Selector")->SetValue(1);
  EXPECT_EQ(selected->GetValue(), 20);
  camera.Get<IInteger>("Selector")->SetValue(0);
  EXPECT_EQ(selected->GetValue(), 10);
}

TEST(NodeCache, InvalidatingANodeRereadsItAndWhatDependsOnIt) {
  ProbeCamera camera;
  CIntegerPtr gain = camera.Get<IInteger>("Gain");
  CIntegerPtr doubled = camera.Get<IInteger>("Doubled");
  EXPECT_EQ(doubled->GetValue(), 0);
  camera.port.Put32(0x000, 4);
  EXPECT_EQ(doubled->GetValue(), 0);
  camera.map._GetNode("GainReg")->InvalidateNode();
  EXPECT_EQ(doubled->GetValue(), 8);
  EXPECT_EQ(gain->GetValue(), 4);

  camera.port.Put32(0x000, 6);
  camera.port.Put32(0x024, 6);
  camera.map._InvalidateNodes();
  EXPECT_EQ(gain->GetValue(), 6);
  EXPECT_EQ(camera.Get<IInteger>("WriteThroughReg")->GetValue(), 6);
}

TEST(NodeCache, CallbacksRunForTheWrittenNodeAndItsDependents) {
  ProbeCamera camera;
  std::vector<std::string> calls;
  auto record = [&](INode* node) { calls.push_back(node->GetName().str()); };
  Register(camera.map._GetNode("Gain"), record);
  Register(camera.map._GetNode("Doubled"), record);
  Register(camera.map._GetNode("Selected"), record);
  const CallbackHandleType status = Register(camera.map._GetNode("Status"), record);

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

  camera.map._GetNode("GainReg")->InvalidateNode();
  EXPECT_EQ(calls, (std::vector<std::string>{"Gain", "Doubled"}));
}

// The form the camera object uses: a member function of a client.
struct Client {
  void Changed(INode* node) { changed.push_back(node->GetName().str()); }
  std::vector<std::string> changed;
};

TEST(NodeCache, MemberCallbacksAndBothCallbackTypes) {
  ProbeCamera camera;
  Client client;
  INode* start = camera.map._GetNode("Start");
  start->RegisterCallback(new Member_NodeCallback<Client, void (Client::*)(INode*)>(
      start, client, &Client::Changed, cbPostInsideLock));
  int outside = 0;
  Register(
      start, [&](INode*) { ++outside; }, cbPostOutsideLock);
  camera.Get<ICommand>("Start")->Execute();
  EXPECT_EQ(client.changed, std::vector<std::string>{"Start"});
  EXPECT_EQ(outside, 1);
  EXPECT_FALSE(start->DeregisterCallback(0));
}

TEST(NodeCache, ACallbackMayDeregisterItself) {
  ProbeCamera camera;
  INode* gain = camera.map._GetNode("Gain");
  int calls = 0;
  CallbackHandleType handle = 0;
  handle = Register(gain, [&](INode*) {
    ++calls;
    Deregister(handle);
  });
  camera.Get<IInteger>("Gain")->SetValue(2);
  camera.Get<IInteger>("Gain")->SetValue(4);
  EXPECT_EQ(calls, 1);
}

TEST(NodeCache, WhatThePortThrowsArrivesUnchanged) {
  ProbeCamera camera;
  camera.port.failure = [](int64_t) { throw TIMEOUT_EXCEPTION("no answer within %d ms", 200); };
  try {
    camera.Get<IInteger>("NoCacheReg")->GetValue();
    ADD_FAILURE() << "no exception";
  } catch (const GenICam::TimeoutException& error) {
    EXPECT_STREQ(error.GetDescription(), "no answer within 200 ms");
  }
  // A string read that fails must not take the unterminated buffer for text.
  EXPECT_THROW(camera.Get<IString>("Label")->GetValue(false, true), GenICam::TimeoutException);
  camera.port.failure = [](int64_t) { throw std::runtime_error("link down"); };
  EXPECT_THROW(camera.Get<IInteger>("Gain")->SetValue(2), std::runtime_error);

  // Once the port works again, so does the node map.
  camera.port.failure = nullptr;
  camera.Get<IInteger>("Gain")->SetValue(2);
  EXPECT_EQ(camera.Get<IInteger>("Gain")->GetValue(false, true), 2);
}

TEST(NodeCache, AMapWithoutPortRefusesAccessNamingTheNode) {
  CNodeMapRef map;
  map._LoadXMLFromString(ProbeDescription());
  try {
    CIntegerPtr(map._GetNode("Gain"))->GetValue();
    ADD_FAILURE() << "no exception";
  } catch (const GenICam::AccessException& error) {
    EXPECT_NE(std::string(error.GetDescription()).find("Node 'Gain'"), std::string::npos)
        << error.GetDescription();
  }
}

TEST(NodeCache, AnotherPortStartsWithNothingCached) {
  ProbeCamera camera;
  camera.port.Put32(0x024, 1);
  EXPECT_EQ(camera.Get<IInteger>("WriteThroughReg")->GetValue(), 1);
  MemoryPort other;
  other.Put32(0x024, 2);
  ASSERT_TRUE(camera.map._Connect(&other));
  EXPECT_EQ(camera.Get<IInteger>("WriteThroughReg")->GetValue(), 2);
}

}  // namespace
}  // namespace vesk::test
