#ifndef VESK_GENICAM_IMPL_CXPCONTROLLER_H
#define VESK_GENICAM_IMPL_CXPCONTROLLER_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "loader/dsnrt.h"
#include "loader/vesk_hal.h"
#include "templates/platform/InterProcessLock.h"
#include "templates/platform/RecursiveMutex.h"
#include "templates/platform/RevocableWait.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/CxpPort.h"
#include "vesk_genicam/impl/IControllerInterface.h"
#include "vesk_genicam/impl/vesk_genicam.h"

class CxpDiscoveryState;

// The CoaXPress transport of one board: its ports, the firmware's port multiplexer and operators,
// power over CoaXPress, and the discovery that finds cameras and keeps watching their links. The
// class is told in four units: the frame (construction, power, properties, selector), the
// topology (links grouped into cameras, cameras given to operators), and the pipeline with its
// two threads.
//
// Lock order, outermost first: discoveryLock_, portsLock_, controllerScope_, then a port's own
// locks and the board lock of the selector. Application calls that change links let
// controllerScope_ go before they take discoveryLock_. Nothing waits for the driver's
// cameraLock under discoveryLock_: driver updates of application calls run after their locks are
// released. callbackMutex_ and the alive flags' mutexes are leaves.
class CxpController : public IControllerInterface {
 public:
  CxpController(PLdevice* device, fpga_design* design);
  ~CxpController() override;
  CxpController(const CxpController&) = delete;
  CxpController& operator=(const CxpController&) = delete;

  // IControllerInterface.
  int Init() override;
  void SetCallBackFnct(Callback callback, void* user) override;
  int EnablePowerOverFramegrabber(unsigned int portMask) override;
  int DisablePowerOverFramegrabber(unsigned int portMask) override;
  int SwitchDiscoverySelector(uint64_t selector) override;
  uint64_t GetDiscoverySelector() override;
  int Discovery(unsigned int portMask, unsigned int speed, unsigned int timeoutMs,
                unsigned int flags, CDriver* driver) override;
  int ResetMultiplexer() override;
  int GetProperty(char* name, void* value, unsigned int type, void* index) override;
  int SetProperty(char* name, void* value, unsigned int type, void* index) override;
  uint32_t GetNrOfPorts() override { return nrPorts_; }
  IPortInterface* GetPort(unsigned int index) override;
  int ForceTransceiverBitrate(unsigned int port, unsigned int bitrate) override;
  int ForceResetControlCore(unsigned int portMask, unsigned int state) override;

  int ResetMultiplexer(unsigned int portMask);
  CCxpPort* GetCxpPort(unsigned int index) const;
  // Hands an event of the discovery state to the driver, if a callback is set.
  void PublishEvent(MloEventInfo* info);

  // Frame.
  uint64_t ReadFirmwareRegister(const std::string& name, bool* found);
  void RequestCancellation();
  void ResetRevocableWait();

  // Pipeline.
  void InternalDiscovery();
  int IsValidSpeed(unsigned int speed) const;
  unsigned int GetMatchingValidSpeed(unsigned int speed) const;
  int ChangeLinkConfig(unsigned int port, unsigned int config);

  // Topology.
  int ChangeCamPort(unsigned int operatorId, unsigned int masterId);
  unsigned int GetPLMaxUnasignableConn();
  void MapPhysicalToLogical();
  void MapPhysicalToLogical(uint64_t selector);

 private:
  friend class CxpDiscoveryState;

  // Frame.
  void ReadTweaks();
  void DetectNrPorts();
  void ReadOperators();
  int PowerPorts(unsigned int portMask, bool on);
  void PerformPortTripReset();
  void SaveXmlAndSetLedToConnected();
  int GetPropertyByType(void* value, unsigned int type, void* index, const std::string& prefix,
                        unsigned int expectedType, uint64_t& out);
  int GetPowerProperty(const std::string& name, void* value, unsigned int type, void* index);
  int GetLinkConfig(unsigned int port);
  unsigned int DecodePowerStatus(uint64_t raw);
  bool OnPlBoard() const;
  void Wait(unsigned int ms);
  std::string BoardText() const;

  // Topology.
  void ScanTopology();
  int ScanTopologyMasters(unsigned int mask);
  int ScanTopologyExtensions(unsigned int mask);
  int ScanDefaultConfigs(unsigned int mask);
  int ConnectUnconnectedPorts(unsigned int mask);
  void PerformOperatorAssignment();
  void PerformOperatorAssignmentMasked(unsigned int mask);
  void MultiplexConn(unsigned int mask);
  void RemapPorts(uint64_t selector);
  void AssignOperatorSizes();
  void AssignOperatorIndexes();
  int SwitchAndRemapPorts(unsigned int mask, uint64_t selector);
  unsigned int GetPortNumConn(unsigned int logic) const;
  unsigned int GetPLNumConn(unsigned int value) const;
  void ReadLinkIds(unsigned int mask, const char* step);

  // Pipeline.
  void CheckIsDiscoveryThreadAlive();
  void StartThreads();
  void StopThreads();
  void DiscoveryThreadLoop();
  void DisconnectThreadLoop();
  void CheckStatusPhy();
  void PerformCoreReset();
  void PerformLinkReset();
  unsigned int PerformSpeedDetect(unsigned int requestedSpeed);
  void SetFinalLinkConfig();
  void SaveCameraInfo();
  void SetUplinkSpeed(unsigned int mask, unsigned int speed, unsigned int* changedMask);
  int LockLinksAtSpeed(unsigned int mask, unsigned int speed, unsigned int* lockedMask);
  unsigned int GetInternalDiscoveryConnectedMask() const;
  unsigned int ConnectedPorts(unsigned int mask) const;
  std::vector<CCxpPort*> RawPorts() const;

  static vesk::tools::logging::ClassLogger logger_;

  PLdevice* const device_;
  fpga_design* const design_;
  const int boardIndex_;
  const uint32_t boardType_;
  ECXPINTERFACETYPE gtxInterface_ = CxpIfDrpA;
  uint32_t nrPorts_ = 0;
  std::vector<std::unique_ptr<CCxpPort>> ports_;
  // (operator ID << 16 | extension index, firmware port) per firmware port of an operator.
  std::vector<std::pair<uint32_t, uint32_t>> plOperators_;
  // Master ID to operator ID, as "CamPort" chose.
  std::map<unsigned int, unsigned int> cameraPinning_;
  unsigned int discoveryMask_ = 0;
  std::atomic<bool> ignoreCameraProperties_{false};  // set by an application thread

  struct Registers {
    int writeSelect = 0;
    int readSelect = 0;
    int discoveryConfig = 0;
    int readPower = 0;
    int writePower = 0;
  } registers_;

  // Tweaks, in ms where they wait.
  unsigned int waitAfterLinkResetOnEachPort_ = 0;
  unsigned int waitAfterLinkResetDone_ = 200;
  unsigned int waitAfterCameraConfigDone_ = 200;
  unsigned int waitAfterUplinkSpeedReset_ = 200;
  bool useConnectionConfigDefault_ = true;
  unsigned int numResetAttemptsOnPortTrip_ = 3;
  unsigned int waitAfterTripReset_ = 1500;
  unsigned int waitAfterPowerup_ = 2000;
  unsigned int waitAfterPowerdown_ = 0;
  bool receiveAckPacketOnLinkConfig_ = false;
  bool disablePowerOverCxp_ = false;
  unsigned int disconnectsThreadSleepMs_ = 5;
  unsigned int discoveryThreadSleepMs_ = 200;

  std::unique_ptr<CxpDiscoveryState> discoveryState_;
  vesk::templates::platform::RevocableWait waitObject_;

  std::mutex discoveryLock_;
  std::condition_variable discoveryDone_;  // a pass ended
  std::mutex portsLock_;
  vesk::templates::platform::RecursiveMutex controllerScope_;
  // Keeps one read or switch of the selector whole between processes; not recursive, as the
  // port's board locks.
  vesk::templates::platform::InterProcessLock boardLock_;

  std::mutex callbackMutex_;
  Callback eventCallback_ = nullptr;
  void* eventUser_ = nullptr;

  // A thread runs while its flag is set; clearing it under its mutex wakes the thread's sleep.
  struct Worker {
    std::mutex mutex;
    std::condition_variable wake;
    bool alive = false;
    std::thread thread;
  };
  bool SleepUntilSignal(Worker& worker, unsigned int ms);
  Worker discoveryThread_;
  Worker disconnectThread_;
};

#endif
