#include "genapi/impl/PortDevice.h"

#include <arv.h>
#include <dlfcn.h>

namespace {

G_DECLARE_FINAL_TYPE(VeskPortDevice, vesk_port_device, VESK, PORT_DEVICE, ArvDevice)

struct _VeskPortDevice {
  ArvDevice parent;
  GenApi::PortBinding* binding;
  ArvGc* genicam;
};

G_DEFINE_TYPE(VeskPortDevice, vesk_port_device, ARV_TYPE_DEVICE)

gboolean Transfer(ArvDevice* device, GError** error, void (*transfer)(GenApi::IPort*, void*),
                  void* context) {
  GenApi::PortBinding* binding = VESK_PORT_DEVICE(device)->binding;
  if (!binding->port) {
    g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_NOT_CONNECTED, "Port is not connected");
    return FALSE;
  }
  // No exception may unwind through Aravis's C frames: it waits in the binding until Aravis
  // has returned, and the first one of a call is the one that counts.
  try {
    transfer(binding->port, context);
    return TRUE;
  } catch (...) {
    if (!binding->failure) binding->failure = std::current_exception();
    g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_TRANSFER_ERROR, "Port access failed");
    return FALSE;
  }
}

struct Access {
  guint64 address;
  guint32 size;
  void* buffer;
};

gboolean ReadMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer,
                    GError** error) {
  Access access{address, size, buffer};
  return Transfer(
      device, error,
      [](GenApi::IPort* port, void* context) {
        auto* a = static_cast<Access*>(context);
        port->Read(a->buffer, static_cast<int64_t>(a->address), a->size);
      },
      &access);
}

gboolean WriteMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer,
                     GError** error) {
  Access access{address, size, buffer};
  return Transfer(
      device, error,
      [](GenApi::IPort* port, void* context) {
        auto* a = static_cast<Access*>(context);
        port->Write(a->buffer, static_cast<int64_t>(a->address), a->size);
      },
      &access);
}

gboolean ReadRegister(ArvDevice* device, guint64 address, guint32* value, GError** error) {
  return ReadMemory(device, address, sizeof(*value), value, error);
}

gboolean WriteRegister(ArvDevice* device, guint64 address, guint32 value, GError** error) {
  return WriteMemory(device, address, sizeof(value), &value, error);
}

ArvGc* GetGenicam(ArvDevice* device) { return VESK_PORT_DEVICE(device)->genicam; }

// GLib keeps a registered type, with pointers into this code, for the life of the process; so
// the code stays loaded as long, even when the application unloads the library.
void KeepLoaded() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&KeepLoaded), &info) && info.dli_fname) {
    dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
  }
}

void vesk_port_device_init(VeskPortDevice*) {}

void vesk_port_device_class_init(VeskPortDeviceClass* deviceClass) {
  KeepLoaded();
  ArvDeviceClass* parent = ARV_DEVICE_CLASS(deviceClass);
  parent->read_memory = ReadMemory;
  parent->write_memory = WriteMemory;
  parent->read_register = ReadRegister;
  parent->write_register = WriteRegister;
  parent->get_genicam = GetGenicam;
}

}  // namespace

namespace GenApi {

ArvDevice* CreatePortDevice(PortBinding* binding) {
  auto* device = VESK_PORT_DEVICE(g_object_new(vesk_port_device_get_type(), nullptr));
  device->binding = binding;
  return ARV_DEVICE(device);
}

void SetPortDeviceGenicam(ArvDevice* device, ArvGc* genicam) {
  VESK_PORT_DEVICE(device)->genicam = genicam;
}

}  // namespace GenApi
