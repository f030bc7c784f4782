#ifndef VESK_GENAPI_IMPL_PORT_DEVICE_H
#define VESK_GENAPI_IMPL_PORT_DEVICE_H

#include <exception>

#include "genapi/IPort.h"

typedef struct _ArvDevice ArvDevice;
typedef struct _ArvGc ArvGc;

namespace GenApi {

// The port that a node map is connected to, and what it threw during the current call.
struct PortBinding {
  IPort* port = nullptr;
  std::exception_ptr failure;
};

// A new Aravis device whose memory reads and writes go to binding.port. An exception of the
// port is kept in binding.failure and Aravis sees a failed transfer. The caller owns the
// returned reference; the binding must outlive the device.
ArvDevice* CreatePortDevice(PortBinding* binding);
// The document that arv_device_get_genicam answers with; not owned by the device.
void SetPortDeviceGenicam(ArvDevice* device, ArvGc* genicam);

}  // namespace GenApi

#endif
