#ifndef VESK_GENICAM_IMPL_CLCONTROLLER_H
#define VESK_GENICAM_IMPL_CLCONTROLLER_H

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "loader/dsnrt.h"
#include "loader/vesk_hal.h"
#include "templates/platform/RecursiveMutex.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/ClPort.h"
#include "vesk_genicam/impl/IControllerInterface.h"

// The Camera Link transport of one board: a serial channel per camera port, as many as board
// type and design give, and a ready thread that watches the camera clocks. A link has no
// training, topology or power here: discovery selects each camera's rate and makes each live
// port a camera of its own.
//
// controllerScope_ is held by Discovery and the port getters. The ready thread takes none of
// the controller's locks: it works on the ports directly, so a camera coming or going is handled
// also while a discovery runs. Its callback runs on the ready thread.
class CClController : public IControllerInterface {
 public:
  // Makes the ports, each of which searches its camera's rate first, and starts the ready
  // thread.
  CClController(PLdevice* device, fpga_design* design);
  // Stops and joins the ready thread, then frees the ports.
  ~CClController() override;
  CClController(const CClController&) = delete;
  CClController& operator=(const CClController&) = delete;

  int Init() override { return 0; }
  void SetCallBackFnct(Callback callback, void* user) override;
  int EnablePowerOverFramegrabber(unsigned int) override { return 0; }
  int DisablePowerOverFramegrabber(unsigned int) override { return 0; }
  int SwitchDiscoverySelector(uint64_t selector) override;
  uint64_t GetDiscoverySelector() override { return kDiscoverySelector; }
  // Covers both channels at once: a mask without bits 0 and 1 is refused. Speed 0 selects each
  // camera's fastest rate.
  int Discovery(unsigned int portMask, unsigned int speed, unsigned int timeoutMs,
                unsigned int flags, CDriver* driver) override;
  int ResetMultiplexer() override;
  // "MagicValue": the GenCP version register of the camera on the port the index names.
  int GetProperty(char* name, void* value, unsigned int type, void* index) override;
  int SetProperty(char*, void*, unsigned int, void*) override;
  uint32_t GetNrOfPorts() override;
  IPortInterface* GetPort(unsigned int index) override;
  int ForceTransceiverBitrate(unsigned int, unsigned int) override;
  int ForceResetControlCore(unsigned int, unsigned int) override;

  // -1 unknown, 0 base, 1 medium, 2 full.
  int GetCameraLinkMode() const { return cameraLinkMode_; }

 private:
  static constexpr uint64_t kDiscoverySelector = 0x0076543217654321;

  void DetectNrPorts();
  void ReadyThread();
  void CheckStatusPhy();
  // One wait of 100 ms, ended early when the thread is told to stop.
  void SleepUntilSignal();
  void SetReadyThreadAlive(bool alive);
  bool IsReadyThreadAlive();
  int PerformSpeedDetect(unsigned int speed, unsigned int portMask);
  int ScanTopology();
  int SaveCameraInfo();

  static vesk::tools::logging::ClassLogger logger_;

  PLdevice* const device_;
  fpga_design* const design_;
  const uint32_t boardType_;
  const int portConfigRegister_;
  uint32_t nrPorts_ = 1;
  int cameraLinkMode_ = -1;
  std::vector<std::unique_ptr<CClPort>> ports_;
  vesk::templates::platform::RecursiveMutex controllerScope_;

  Callback callback_ = nullptr;
  void* user_ = nullptr;

  std::mutex waitMutex_;
  std::condition_variable waitCondition_;
  bool readyThreadAlive_ = false;
  std::map<unsigned int, bool> clockState_;  // the ready thread's alone once it runs
  std::thread readyThread_;
};

#endif
