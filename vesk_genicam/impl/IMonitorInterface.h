#ifndef VESK_GENICAM_IMPL_IMONITORINTERFACE_H
#define VESK_GENICAM_IMPL_IMONITORINTERFACE_H

#include <cstdint>

namespace vesk::tools::logging {
class Logger;
}

// The driver as its controllers see it: they reach the cameras of their board through these
// operations and nothing else.
class IMonitorInterface {
 public:
  // Called once a second by the driver's monitoring thread.
  virtual void DoAsyncMonitoring() = 0;
  // Created on first use.
  virtual vesk::tools::logging::Logger* GetLogger() = 0;
  virtual ~IMonitorInterface() = default;
  virtual int ReadPacket(unsigned int port, unsigned int address, unsigned char* data,
                         unsigned int length, unsigned int timeoutMs) = 0;
  virtual int WritePacket(unsigned int port, unsigned int address, unsigned char* data,
                          unsigned int length, unsigned int timeoutMs) = 0;
  virtual uint32_t GetNrOfCameras() = 0;
  virtual uint32_t GetNrOfConnectedCameras() = 0;
};

#endif
