#ifndef VESK_GENICAM_IMPL_GBECONTROLLER_H
#define VESK_GENICAM_IMPL_GBECONTROLLER_H

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "loader/dsnrt.h"
#include "loader/vesk_hal.h"
#include "templates/platform/RecursiveMutex.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/IControllerInterface.h"
#include "vesk_genicam/impl/IGbePort.h"

// The GigE Vision transport of one board: its ports by board type, a thread that watches their
// PHYs, and the ports' settings as named properties. Cameras are found inside the ports, when
// their links come up, not by Discovery.
//
// Lock order: controllerScope_, then a port's locks. The PHY thread reaches the ports without
// controllerScope_.
class CGbeController : public IControllerInterface {
 public:
  CGbeController(PLdevice* device, fpga_design* design);
  ~CGbeController() override;
  CGbeController(const CGbeController&) = delete;
  CGbeController& operator=(const CGbeController&) = delete;

  int Init() override { return 0; }
  void SetCallBackFnct(Callback callback, void* user) override;
  int EnablePowerOverFramegrabber(unsigned int) override { return 0; }
  int DisablePowerOverFramegrabber(unsigned int) override { return 0; }
  int SwitchDiscoverySelector(uint64_t) override { return 0; }
  uint64_t GetDiscoverySelector() override { return kIdentitySelector; }
  int Discovery(unsigned int portMask, unsigned int speed, unsigned int timeoutMs,
                unsigned int flags, CDriver* driver) override;
  int ResetMultiplexer() override { return 0; }
  int GetProperty(char* name, void* value, unsigned int type, void* index) override;
  int SetProperty(char* name, void* value, unsigned int type, void* index) override;
  uint32_t GetNrOfPorts() override;
  IPortInterface* GetPort(unsigned int index) override;
  int ForceTransceiverBitrate(unsigned int port, unsigned int bitrate) override;
  int ForceResetControlCore(unsigned int, unsigned int) override;

  static bool IsZeltor(int boardType);

  static constexpr uint64_t kIdentitySelector = 0x7654321076543210;

 private:
  void DoReset(unsigned int mask);
  std::unique_ptr<IGbePort> MakePort(unsigned int port);
  int GetPortProperty(const std::string& name, IGbePort& port, void* value);
  int SetPortProperty(const std::string& name, IGbePort& port, unsigned int value);
  void ReadyThreadLoop();
  bool SleepUntilSignal();
  void CheckStatusPhy();

  static vesk::tools::logging::ClassLogger logger_;

  PLdevice* const device_;
  fpga_design* const design_;
  const int boardIndex_;
  const int boardType_;
  unsigned int nrPorts_ = 0;
  std::vector<std::unique_ptr<IGbePort>> ports_;
  vesk::templates::platform::RecursiveMutex controllerScope_;
  int resetRegister_ = 0;

  std::mutex readyMutex_;
  std::condition_variable readyWake_;
  bool readyAlive_ = false;
  std::thread readyThread_;
};

#endif
