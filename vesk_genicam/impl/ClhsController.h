#ifndef VESK_GENICAM_IMPL_CLHSCONTROLLER_H
#define VESK_GENICAM_IMPL_CLHSCONTROLLER_H

#include <array>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "loader/dsnrt.h"
#include "loader/vesk_hal.h"
#include "templates/platform/InterProcessLock.h"
#include "templates/platform/RecursiveMutex.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/ClhsPort.h"
#include "vesk_genicam/impl/IControllerInterface.h"

// The Camera Link HS transport of one board: its ports, the table of firmware channels with
// their master and extension ids, the control-core and link resets, device ids for cameras, and
// the selector that routes physical ports to firmware channels. One thread watches the link
// signal of every port and reports changes through the callback.
//
// Lock order: controllerScope_, then selectorLock_, then a port's own locks. The ready thread
// takes only the ports' locks; callbackMutex_ and the thread's mutex are leaves.
class ClhsController : public IControllerInterface {
 public:
  ClhsController(PLdevice* device, fpga_design* design, bool forceCoreReset);
  ~ClhsController() override;
  ClhsController(const ClhsController&) = delete;
  ClhsController& operator=(const ClhsController&) = delete;

  // IControllerInterface.
  int Init() override;
  void SetCallBackFnct(Callback callback, void* user) override;
  int EnablePowerOverFramegrabber(unsigned int) override { return 0; }
  int DisablePowerOverFramegrabber(unsigned int) override { return 0; }
  int SwitchDiscoverySelector(uint64_t selector) override;
  uint64_t GetDiscoverySelector() override;
  int Discovery(unsigned int portMask, unsigned int speed, unsigned int timeoutMs,
                unsigned int flags, CDriver* driver) override;
  int ResetMultiplexer() override;
  int GetProperty(char* name, void* value, unsigned int type, void* index) override;
  int SetProperty(char* name, void* value, unsigned int type, void* index) override;
  uint32_t GetNrOfPorts() override;
  IPortInterface* GetPort(unsigned int index) override;
  int ForceTransceiverBitrate(unsigned int port, unsigned int bitrate) override;
  int ForceResetControlCore(unsigned int port, unsigned int value) override;

  CClhsPort* GetPortByPortID(unsigned int id);
  void SetLEDState(unsigned int port, unsigned int state);

 private:
  void DetectNrPorts();
  void BuildTables();

  // Discovery.
  int PerformCoreReset(unsigned int portMask);
  int PerformLinkReset(unsigned int portMask);
  int ScanTopology();
  void MultiplexConn();
  int SaveCameraInfo();
  int CheckLinkLayout();
  void UpdateLedsAndXml();

  // Ready thread.
  void ReadyThreadLoop();
  bool SleepUntilSignal();
  void CheckStatusPhy();

  uint64_t ReadRegister(int id);

  static vesk::tools::logging::ClassLogger logger_;

  PLdevice* const device_;
  fpga_design* const design_;
  const int boardIndex_;
  uint32_t nrPorts_ = 0;
  ECLHS_INTERFACE_TYPE interfaceType_ = ClhsIfNone;
  std::vector<std::unique_ptr<CClhsPort>> ports_;
  bool forceCoreReset_;

  struct Registers {
    int masterIds = 0;
    int extensionIds = 0;
    int grabberStatusRead = 0;
    int grabberStatusWrite = 0;
    int selectRead = 0;
    int selectWrite = 0;
  } registers_;

  // Firmware master ids in the order they are given to cameras, and the cursor into them.
  std::array<uint32_t, 16> masterTable_{};
  uint32_t nextMaster_ = 0;
  // ((master id << 16) + extension id, firmware channel) per firmware channel.
  std::vector<std::pair<uint32_t, uint32_t>> channels_;

  vesk::templates::platform::RecursiveMutex controllerScope_;
  // Keeps a read or switch of the selector whole between processes; not recursive, as the
  // other board locks.
  vesk::templates::platform::InterProcessLock selectorLock_;

  std::mutex callbackMutex_;
  Callback callback_ = nullptr;
  void* user_ = nullptr;

  // Read and written by the ready thread alone, once it runs.
  std::map<unsigned int, bool> linkState_;
  std::mutex readyMutex_;
  std::condition_variable readyWake_;
  bool readyAlive_ = false;
  std::thread readyThread_;
};

#endif
