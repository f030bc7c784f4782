#ifndef VESK_TESTS_SUPPORT_TEST_CONTROLLER_H
#define VESK_TESTS_SUPPORT_TEST_CONTROLLER_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "loader/vesk_hal.h"
#include "tests/support/TestPort.h"
#include "vesk_genicam/impl/BoardTypes.h"
#include "vesk_genicam/impl/IControllerInterface.h"

namespace vesk::test {

// A transport controller over TestPorts. It journals the calls a driver makes, answers its own
// property "MagicValue" and lets a test play a discovery or fire controller events.
class TestController : public IControllerInterface {
 public:
  struct PropertyWrite {
    std::string name;
    uint32_t value;
    uint32_t index;
  };

  explicit TestController(unsigned int portCount = 4, bool* destroyed = nullptr)
      : destroyed_(destroyed) {
    for (unsigned int i = 0; i < portCount; ++i) ports.push_back(std::make_unique<TestPort>(i));
  }
  ~TestController() override {
    if (destroyed_) *destroyed_ = true;
    if (onDestroy) onDestroy();
  }

  int Init() override {
    journal.push_back("Init");
    return 0;
  }
  void SetCallBackFnct(Callback function, void* user) override {
    journal.push_back("SetCallBackFnct");
    callback = function;
    callbackUser = user;
  }
  int EnablePowerOverFramegrabber(unsigned int portMask) override {
    journal.push_back("Enable " + std::to_string(portMask));
    return -1;
  }
  int DisablePowerOverFramegrabber(unsigned int portMask) override {
    journal.push_back("Disable " + std::to_string(portMask));
    return -1;
  }
  int SwitchDiscoverySelector(uint64_t value) override {
    selector = value;
    return 0;
  }
  uint64_t GetDiscoverySelector() override { return selector; }
  int Discovery(unsigned int portMask, unsigned int speed, unsigned int timeoutMs,
                unsigned int flags, CDriver* driver) override {
    journal.push_back("Discovery " + std::to_string(portMask) + " " + std::to_string(speed) + " " +
                      std::to_string(timeoutMs) + " " + std::to_string(flags));
    discoveryDriver = driver;
    if (onDiscovery) onDiscovery();
    return discoveryCode;
  }
  int ResetMultiplexer() override {
    journal.push_back("ResetMultiplexer");
    return 0;
  }
  int GetProperty(char* name, void* value, unsigned int, void*) override {
    if (std::string(name) != "MagicValue") return -2000;
    *static_cast<uint32_t*>(value) = 0xC0FFEE;
    return 0;
  }
  int SetProperty(char* name, void* value, unsigned int, void* index) override {
    writes.push_back({name, *static_cast<uint32_t*>(value),
                      index ? *static_cast<uint32_t*>(index) : 0xFFFFFFFF});
    return setCode;
  }
  uint32_t GetNrOfPorts() override { return static_cast<uint32_t>(ports.size()) + absentPorts; }
  IPortInterface* GetPort(unsigned int index) override {
    return index < ports.size() ? ports[index].get() : nullptr;
  }
  int ForceTransceiverBitrate(unsigned int, unsigned int) override { return 0; }
  int ForceResetControlCore(unsigned int, unsigned int) override { return 0; }

  TestPort& Port(unsigned int index) { return *ports.at(index); }
  // Makes port index link `link` of camera `camera`, master when link is 0.
  void Link(unsigned int index, unsigned int camera, unsigned int link) {
    TestPort& port = Port(index);
    port.portType = link == 0 ? PortTypeMaster : PortTypeExtension;
    port.logicPort = camera << 16 | link;
    port.logicPLPort = (camera + 10) << 16 | link;
    port.portPL = 3 - index % 4;
    port.speed = 6250;
  }
  void Free(unsigned int index) {
    TestPort& port = Port(index);
    port.portType = PortTypeUnconnected;
    port.logicPort = 0xFFFFFFFF;
    port.logicPLPort = 0xFFFFFFFF;
    port.speed = kNoLinkSpeed;
  }

  std::vector<std::unique_ptr<TestPort>> ports;
  // Further port numbers that GetPort answers with null.
  unsigned int absentPorts = 0;
  std::vector<std::string> journal;
  std::vector<PropertyWrite> writes;
  int setCode = 0;
  int discoveryCode = 0;
  std::function<void()> onDiscovery;
  // Runs first thing in the destructor, where a controller ends its threads.
  std::function<void()> onDestroy;
  CDriver* discoveryDriver = nullptr;
  Callback callback = nullptr;
  void* callbackUser = nullptr;
  uint64_t selector = 0;

 private:
  bool* destroyed_;
};

// Runs discover, which starts a discovery of the controller, and while that discovery is open
// runs other on a thread of its own. The discovery stays open until other ends or bound passes.
// True when other ended while the discovery was open.
inline bool EndsDuringDiscovery(TestController& controller, const std::function<void()>& discover,
                                const std::function<void()>& other,
                                std::chrono::milliseconds bound) {
  std::promise<void> ended;
  std::future<void> done = ended.get_future();
  std::thread thread;
  bool endedInTime = false;
  controller.onDiscovery = [&] {
    thread = std::thread([&] {
      other();
      ended.set_value();
    });
    endedInTime = done.wait_for(bound) == std::future_status::ready;
  };
  discover();
  controller.onDiscovery = nullptr;
  if (thread.joinable()) thread.join();
  return endedInTime;
}

// A controller factory for a driver: the first call hands controller over, later ones have none.
inline auto HandOver(std::unique_ptr<TestController> controller) {
  auto owned = std::make_shared<std::unique_ptr<TestController>>(std::move(controller));
  return [owned](EBoardTransport, Fg_Struct_s*, bool) -> std::unique_ptr<IControllerInterface> {
    return std::move(*owned);
  };
}

}  // namespace vesk::test

#endif
