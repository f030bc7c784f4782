#include "tests/support/CameraArvDevice.h"

#include <glib-object.h>

namespace {

struct CameraDevice {
  ArvDevice parent;
  vesk::sim::Camera* camera;
  ArvGc* genicam;
  GBytes* xml;
  unsigned refused;
};

struct CameraDeviceClass {
  ArvDeviceClass parent;
};

G_DEFINE_TYPE(CameraDevice, camera_device, ARV_TYPE_DEVICE)

CameraDevice* Self(ArvDevice* device) { return reinterpret_cast<CameraDevice*>(device); }

gboolean Answered(ArvDevice* device, bool done, guint64 address, guint32 size, GError** error) {
  if (done) return TRUE;
  ++Self(device)->refused;
  g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS,
              "camera refused %u bytes at 0x%" G_GINT64_MODIFIER "x", size, address);
  return FALSE;
}

gboolean ReadMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer,
                    GError** error) {
  return Answered(device, Self(device)->camera->Read(address, buffer, size), address, size, error);
}

gboolean WriteMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer,
                     GError** error) {
  return Answered(device, Self(device)->camera->Write(address, buffer, size), address, size, error);
}

// Aravis reads some old descriptions register-wise; those registers are big-endian.
gboolean ReadRegister(ArvDevice* device, guint64 address, guint32* value, GError** error) {
  guint32 raw = 0;
  if (!ReadMemory(device, address, sizeof(raw), &raw, error)) return FALSE;
  *value = GUINT32_FROM_BE(raw);
  return TRUE;
}

gboolean WriteRegister(ArvDevice* device, guint64 address, guint32 value, GError** error) {
  guint32 raw = GUINT32_TO_BE(value);
  return WriteMemory(device, address, sizeof(raw), &raw, error);
}

ArvGc* Genicam(ArvDevice* device) { return Self(device)->genicam; }

const char* GenicamXml(ArvDevice* device, size_t* size) {
  gsize length = 0;
  const auto* xml = static_cast<const char*>(g_bytes_get_data(Self(device)->xml, &length));
  *size = length;
  return xml;
}

void Finalize(GObject* object) {
  CameraDevice* self = reinterpret_cast<CameraDevice*>(object);
  if (self->genicam) g_object_unref(self->genicam);
  g_bytes_unref(self->xml);
  G_OBJECT_CLASS(camera_device_parent_class)->finalize(object);
}

void camera_device_init(CameraDevice*) {}

void camera_device_class_init(CameraDeviceClass* type) {
  G_OBJECT_CLASS(type)->finalize = Finalize;
  ArvDeviceClass* device = ARV_DEVICE_CLASS(type);
  device->get_genicam = Genicam;
  device->get_genicam_xml = GenicamXml;
  device->read_memory = ReadMemory;
  device->write_memory = WriteMemory;
  device->read_register = ReadRegister;
  device->write_register = WriteRegister;
}

}  // namespace

namespace vesk::test {

CameraArvDevice::CameraArvDevice(sim::Camera& camera, const std::string& xml)
    : device_(ARV_DEVICE(g_object_new(camera_device_get_type(), nullptr))) {
  CameraDevice* self = Self(device_);
  self->camera = &camera;
  self->xml = g_bytes_new(xml.data(), xml.size());
  self->genicam = arv_gc_new(device_, xml.data(), xml.size());
}

CameraArvDevice::~CameraArvDevice() { g_object_unref(device_); }

ArvGc* CameraArvDevice::Genicam() const { return Self(device_)->genicam; }

unsigned CameraArvDevice::RefusedAccesses() const { return Self(device_)->refused; }

}  // namespace vesk::test
