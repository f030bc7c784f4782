#ifndef VESK_GENICAM_IMPL_ICAMERAINFO_H
#define VESK_GENICAM_IMPL_ICAMERAINFO_H

#include <cstdint>

// A camera's identity as its port read it. The strings belong to the record and live as long as
// the port that owns it.
class ICameraInfo {
 public:
  virtual ~ICameraInfo() = default;
  virtual uint32_t GetMaxPacketSize() = 0;
  virtual uint32_t GetRevision() = 0;
  virtual const char* GetVendorName() = 0;
  virtual const char* GetModelName() = 0;
  virtual const char* GetManufactureInfo() = 0;
  virtual const char* GetVersion() = 0;
  virtual const char* GetSerialNr() = 0;
  virtual const char* GetUserId() = 0;
  virtual const char* GetFirmwareVer() = 0;
  virtual const char* GetFamilyName() = 0;
  virtual uint32_t GetVersionsSupported() = 0;
  // True when every bit of version is among the supported ones, so 0 always is.
  virtual bool IsVersionSupported(unsigned int version) = 0;
  virtual uint32_t GetVersionUsed() = 0;
};

#endif
