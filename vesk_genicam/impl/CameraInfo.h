#ifndef VESK_GENICAM_IMPL_CAMERAINFO_H
#define VESK_GENICAM_IMPL_CAMERAINFO_H

#include <string>

#include "vesk_genicam/impl/ICameraInfo.h"

class CCameraInfo : public ICameraInfo {
 public:
  uint32_t GetMaxPacketSize() override { return maxPacketSize_; }
  uint32_t GetRevision() override { return revision_; }
  const char* GetVendorName() override { return vendorName_.c_str(); }
  const char* GetModelName() override { return modelName_.c_str(); }
  const char* GetManufactureInfo() override { return manufactureInfo_.c_str(); }
  const char* GetVersion() override { return version_.c_str(); }
  const char* GetSerialNr() override { return serialNr_.c_str(); }
  const char* GetUserId() override { return userId_.c_str(); }
  const char* GetFirmwareVer() override { return firmwareVer_.c_str(); }
  const char* GetFamilyName() override { return familyName_.c_str(); }
  uint32_t GetVersionsSupported() override { return versionsSupported_; }
  bool IsVersionSupported(unsigned int version) override {
    return (versionsSupported_ & version) == version;
  }
  uint32_t GetVersionUsed() override { return versionUsed_; }

  void Reset();
  void SetMaxPacketSize(uint32_t value) { maxPacketSize_ = value; }
  void SetRevision(uint32_t value) { revision_ = value; }
  void SetVersionsSupported(uint32_t value) { versionsSupported_ = value; }
  void SetVersionUsed(uint32_t value) { versionUsed_ = value; }
  void SetVendorName(std::string value) { vendorName_ = std::move(value); }
  void SetModelName(std::string value) { modelName_ = std::move(value); }
  void SetManufactureInfo(std::string value) { manufactureInfo_ = std::move(value); }
  void SetVersion(std::string value) { version_ = std::move(value); }
  void SetSerialNr(std::string value) { serialNr_ = std::move(value); }
  void SetUserId(std::string value) { userId_ = std::move(value); }
  void SetFirmwareVer(std::string value) { firmwareVer_ = std::move(value); }
  void SetFamilyName(std::string value) { familyName_ = std::move(value); }

 private:
  uint32_t maxPacketSize_ = 0;
  uint32_t revision_ = 0;
  uint32_t versionsSupported_ = 0;
  uint32_t versionUsed_ = 0;
  std::string vendorName_;
  std::string modelName_;
  std::string manufactureInfo_;
  std::string version_;
  std::string serialNr_;
  std::string userId_;
  std::string firmwareVer_;
  std::string familyName_;
};

#endif
