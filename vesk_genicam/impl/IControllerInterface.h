#ifndef VESK_GENICAM_IMPL_ICONTROLLERINTERFACE_H
#define VESK_GENICAM_IMPL_ICONTROLLERINTERFACE_H

#include <cstdint>

#include "vesk_genicam/impl/IPortInterface.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

class CDriver;

// Events of SetCallBackFnct's callback. The controller calls it on a thread of its own that holds
// no lock of the driver; the driver runs the application's callback inside it, under the
// board's event lock (see MloBoardEventCallback). The controller's destructor ends the threads
// that call it.
enum EControllerEvent : unsigned int {
  ControllerEventPortsConnected = 0,
  ControllerEventPortsLost = 1,
};

// A board's transport: owns its ports and threads, finds cameras. Created and owned by CDriver.
class IControllerInterface {
 public:
  using Callback = void (*)(unsigned int event, unsigned int ports, void* user);

  // Destroys the ports and ends the controller's threads.
  virtual ~IControllerInterface() = default;
  // First use of the hardware, after ResetMultiplexer.
  virtual int Init() = 0;
  virtual void SetCallBackFnct(Callback callback, void* user) = 0;
  virtual int EnablePowerOverFramegrabber(unsigned int portMask) = 0;
  virtual int DisablePowerOverFramegrabber(unsigned int portMask) = 0;
  virtual int SwitchDiscoverySelector(uint64_t selector) = 0;
  virtual uint64_t GetDiscoverySelector() = 0;
  virtual int Discovery(unsigned int portMask, unsigned int speed, unsigned int timeoutMs,
                        unsigned int flags, CDriver* driver) = 0;
  virtual int ResetMultiplexer() = 0;
  // Both answer MLO_ERR_NOT_IMPLEMENTED for a name that is not the controller's.
  virtual int GetProperty(char* name, void* value, unsigned int type, void* index) = 0;
  virtual int SetProperty(char* name, void* value, unsigned int type, void* index) = 0;
  virtual uint32_t GetNrOfPorts() = 0;
  // Null for an index not below GetNrOfPorts().
  virtual IPortInterface* GetPort(unsigned int index) = 0;
  virtual int ForceTransceiverBitrate(unsigned int port, unsigned int bitrate) = 0;
  virtual int ForceResetControlCore(unsigned int port, unsigned int value) = 0;

 protected:
  // The arguments of a property that names a port by its index: 0, or the code of the first
  // that is wrong.
  int PropertyChekParam(void* value, unsigned int type, void* index, unsigned int expectedType) {
    if (!value) return MLO_ERR_INVALID_POINTER;
    if (type != expectedType) return MLO_ERR_INVALID_TYPE;
    if (!index) return MLO_ERR_INVALID_ARGUMENT;
    if (*static_cast<unsigned int*>(index) >= GetNrOfPorts()) return MLO_ERR_OUT_OF_RANGE;
    return 0;
  }
};

#endif
