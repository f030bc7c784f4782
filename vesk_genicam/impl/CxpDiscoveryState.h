#ifndef VESK_GENICAM_IMPL_CXPDISCOVERYSTATE_H
#define VESK_GENICAM_IMPL_CXPDISCOVERYSTATE_H

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "templates/container/SynchronizedQueue.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/CxpPort.h"
#include "vesk_genicam/impl/vesk_genicam.h"

class CDriver;
class CxpController;

// What is connected on a CoaXPress board: which physical ports have a link, which cameras exist
// and which links each has. Link changes become events (camera added, camera lost, extension
// link delta) that a thread of its own delivers, so that an application callback never runs on
// the discovery or disconnect thread.
//
// stateLock_ is taken under the controller's discovery and ports locks and under the driver's
// cameraLock; under it only the event queue's own lock is taken, and the queue never blocks a
// push.
class CxpDiscoveryState {
 public:
  struct PhysicalPort {
    uint32_t portId = 0;
    bool connected = false;
    std::optional<uint32_t> extensionId;
    std::optional<uint32_t> masterId;
    void reset() {
      connected = false;
      extensionId.reset();
      masterId.reset();
    }
  };

  // A camera's properties, flattened for the C interface; the strings are owned here.
  struct EventProperties {
    uint32_t intCount = 0;
    std::vector<char*> intKeys;
    std::vector<uint32_t> intValues;
    uint32_t stringCount = 0;
    std::vector<char*> stringKeys;
    std::vector<char*> stringValues;
    std::vector<std::unique_ptr<char[]>> strings;
  };

  struct Properties {
    std::map<std::string, unsigned int> ints;
    std::map<std::string, std::string> strings;
    std::unique_ptr<EventProperties> createEventProperties() const;
  };

  struct Camera {
    Camera() { properties.ints["linkcount"] = 0; }
    uint32_t connectionMask = 0;
    Properties properties;
  };

  // One event on its way: the record the callback gets and the arrays it points to.
  struct EventData {
    std::unique_ptr<MloEventInfo> info;
    std::unique_ptr<EventProperties> properties;
    static boost::shared_ptr<EventData> create(std::unique_ptr<MloEventInfo> info,
                                               std::unique_ptr<EventProperties> properties);
  };

  explicit CxpDiscoveryState(CxpController* controller);
  virtual ~CxpDiscoveryState();
  CxpDiscoveryState(const CxpDiscoveryState&) = delete;
  CxpDiscoveryState& operator=(const CxpDiscoveryState&) = delete;

  unsigned int getConnectedPhyMask();
  unsigned int getConnectedPhyMaskUnsafe() const;
  unsigned int getUnconnectedPhyMask();
  unsigned int getConnectionPhyMaskOfMasterId(unsigned int masterId);
  void setGlobalDiscoveryPhyMask(unsigned int mask);
  void registerDriver(CDriver* driver);
  void forceDriverUpdate();
  void enableMloEvents(bool enable);
  void notifyLinkDiscoveries(unsigned int mask, const std::vector<CCxpPort*>& ports);
  void notifyLinkLosses(unsigned int mask, const std::vector<CCxpPort*>& ports);
  void publishEvent(MloEventInfo* info);

 private:
  void fillCameraProperties(Camera& camera, CCxpPort& master, const std::vector<CCxpPort*>& ports);
  void updateExtensionLinkProperties(unsigned int masterId, Camera& camera,
                                     const std::vector<CCxpPort*>& ports);
  unsigned int speedOfMaster(const Camera& camera, const std::vector<CCxpPort*>& ports) const;
  void enqueue(uint16_t id, unsigned int masterId, const Properties& properties);
  void enqueueCameraAddedEvent(unsigned int masterId, const Camera& camera);
  void enqueueCameraLostEvent(unsigned int masterId, const Camera& camera);
  void enqueueExtensionLinkDeltaEvent(unsigned int masterId, const Camera& camera);
  static void eventSenderThreadFunc(CxpDiscoveryState* state);

  static vesk::tools::logging::ClassLogger logger_;

  CxpController* const controller_;
  std::vector<PhysicalPort> physicalPorts_;
  std::map<unsigned int, Camera> cameras_;
  std::mutex stateLock_;
  unsigned int globalDiscoveryPhyMask_ = 0;
  bool eventsEnabled_ = false;
  CDriver* driver_ = nullptr;
  // Unbounded: a push that waited for the callback could wait for a callback that waits for
  // the driver's cameraLock, which the pushing thread may hold.
  vesk::templates::container::SynchronizedQueue<boost::shared_ptr<EventData>> eventQueue_;
  std::thread eventThread_;
};

#endif
