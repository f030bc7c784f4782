// The identity side of CCxpPort: the camera's bootstrap registers, the protocol version and
// packet sizes it settles on, and its GenICam XML.
#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

#include "templates/container/ManagedDataArray.h"
#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/CxpPort.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/ZipReader.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::container::ManagedDataArray;
using vesk::templates::platform::RecursiveMutexGuard;

namespace {

constexpr unsigned int kTimeoutMs = 200;

// Bootstrap registers of the CoaXPress standard.
constexpr unsigned int kRevision = 0x0004;
constexpr unsigned int kXmlManifestSize = 0x0008;
constexpr unsigned int kXmlManifestSelector = 0x000C;
constexpr unsigned int kXmlVersion = 0x0010;
constexpr unsigned int kXmlSchemaVersion = 0x0014;
constexpr unsigned int kXmlUrlAddress = 0x0018;
constexpr unsigned int kVendorName = 0x2000;
constexpr unsigned int kModelName = 0x2020;
constexpr unsigned int kManufacturerInfo = 0x2040;
constexpr unsigned int kDeviceVersion = 0x2070;
constexpr unsigned int kFirmwareVersion = 0x2090;
constexpr unsigned int kSerialNumber = 0x20B0;
constexpr unsigned int kUserId = 0x20C0;
constexpr unsigned int kAcquisitionStart = 0x300C;
constexpr unsigned int kAcquisitionStop = 0x3010;
constexpr unsigned int kControlPacketSizeMax = 0x400C;
constexpr unsigned int kStreamPacketSizeMax = 0x4010;
constexpr unsigned int kConnectionConfig = 0x4014;
constexpr unsigned int kVersionsSupported = 0x4044;
constexpr unsigned int kVersionUsed = 0x4048;

constexpr uint32_t kCxp11 = 0x10001;
constexpr uint32_t kCxp20 = 0x20000;
constexpr uint32_t kSupports11 = 2;
constexpr uint32_t kSupports20 = 4;
constexpr uint32_t kFirmwareVersionBefore = 0x10002;

constexpr unsigned int kStringBuffer = 4096;
constexpr unsigned int kUrlSize = 256;
constexpr uint32_t kZipLocalHeader = 0x04034B50;
// Larger than any camera description; a location that claims more is not believed.
constexpr uint32_t kMaxXmlSize = 64u << 20;

// "Local:" name ";" address ";" size, both numbers in hex; false for anything else.
bool ParseLocation(std::string location, uint32_t& address, uint32_t& size) {
  location.erase(0, std::min<size_t>(6, location.size()));
  size_t cut = location.find(';');
  if (cut == std::string::npos) return false;
  location.erase(0, cut + 1);
  cut = location.find(';');
  if (cut == std::string::npos) return false;
  std::string addressText = location.substr(0, cut);
  const std::string sizeText = location.substr(cut + 1);
  if (addressText.rfind("0x", 0) == 0 || addressText.rfind("0X", 0) == 0) addressText.erase(0, 2);
  if (sizeText.empty()) return false;
  char* end = nullptr;
  const unsigned long long parsedAddress = std::strtoull(addressText.c_str(), &end, 16);
  if (addressText.empty() || end == addressText.c_str() || parsedAddress > 0xFFFFFFFE) return false;
  const unsigned long long parsedSize = std::strtoull(sizeText.c_str(), &end, 16);
  if (end == sizeText.c_str() || parsedSize > 0xFFFFFFFE) return false;
  address = static_cast<uint32_t>(parsedAddress);
  size = static_cast<uint32_t>(parsedSize);
  return true;
}

}  // namespace

int CCxpPort::ReadWord(unsigned int address, uint32_t& value) {
  uint32_t wire = 0;
  const int status = ReadPacket(address, reinterpret_cast<unsigned char*>(&wire), 4, kTimeoutMs);
  if (status == 0) value = ntohl(wire);
  return status;
}

int CCxpPort::WriteWord(unsigned int address, uint32_t value) {
  uint32_t wire = htonl(value);
  return WritePacket(address, reinterpret_cast<unsigned char*>(&wire), 4, kTimeoutMs);
}

int CCxpPort::ReadString(unsigned int address, unsigned int size, std::string& text) {
  std::vector<char> buffer(kStringBuffer);
  const int status =
      ReadPacket(address, reinterpret_cast<unsigned char*>(buffer.data()), size, kTimeoutMs);
  if (status == 0) text.assign(buffer.data(), strnlen(buffer.data(), size));
  return status;
}

int CCxpPort::SaveCameraInfo() {
  std::lock_guard<std::mutex> lock(cameraInfoMutex_);
  cameraInfo_.Reset();
  uint32_t revision = 0;
  if (ReadWord(kRevision, revision) == 0) cameraInfo_.SetRevision(revision);
  logger_.Line(
      3, [&] { return Prefix() + "] Revision: " + CUtility::HexText(cameraInfo_.GetRevision()); });
  if (cameraInfo_.GetRevision() > 0x1FFFF) SettleVersion();
  SettleTags();
  SettlePacketSizes();
  uint32_t address = 0;
  if (ReadWord(kAcquisitionStart, address) == 0) acquisitionStartAddress_ = address;
  if (ReadWord(kAcquisitionStop, address) == 0) acquisitionStopAddress_ = address;
  logger_.Line(3, [&] {
    return Prefix() + "] Acquisition Start Address: " + CUtility::HexText(acquisitionStartAddress_);
  });
  logger_.Line(3, [&] {
    return Prefix() + "] Acquisition Stop Address: " + CUtility::HexText(acquisitionStopAddress_);
  });

  struct Field {
    unsigned int address;
    unsigned int size;
    void (CCameraInfo::*set)(std::string);
    const char* log;
  };
  static const Field kFields[] = {
      {kVendorName, 32, &CCameraInfo::SetVendorName, "] Device name: "},
      {kModelName, 32, &CCameraInfo::SetModelName, "] Model name: "},
      {kManufacturerInfo, 32, &CCameraInfo::SetManufactureInfo, "] ManufacturerInfo name: "},
      {kDeviceVersion, 32, &CCameraInfo::SetVersion, "] Version: "},
      {kSerialNumber, 16, &CCameraInfo::SetSerialNr, "] SerialNumber : "},
      {kUserId, 16, &CCameraInfo::SetUserId, "] UserId: "},
      {kFirmwareVersion, 32, &CCameraInfo::SetFirmwareVer, "] FirmwareVer: "},
  };
  for (const Field& field : kFields) {
    // Cameras of 1.1 and later have no firmware version register.
    if (field.address == kFirmwareVersion && cameraInfo_.GetRevision() >= kFirmwareVersionBefore)
      continue;
    std::string text;
    if (ReadString(field.address, field.size, text) != 0) continue;
    logger_.Line(3, [&] { return Prefix() + field.log + text; });
    (cameraInfo_.*field.set)(std::move(text));
  }
  logger_.Line(3, [&] {
    return Prefix() + "] Found " + cameraInfo_.GetVendorName() + " " + cameraInfo_.GetModelName() +
           " on link " + std::to_string(portId_);
  });
  return 0;
}

void CCxpPort::SettleVersion() {
  uint32_t supported = 0;
  if (ReadWord(kVersionsSupported, supported) == 0) cameraInfo_.SetVersionsSupported(supported);
  logger_.Line(3,
               [&] { return Prefix() + "] Versions Supported: " + CUtility::HexText(supported); });
  uint32_t used = 0;
  unsigned int firmwareVersion = 0;
  if (enableCxp2Extensions_ && cameraInfo_.IsVersionSupported(kSupports20) &&
      type_ == CxpIfCameraCtrl) {
    used = kCxp20;
    firmwareVersion = 3;
  } else if (cameraInfo_.IsVersionSupported(kSupports11)) {
    used = kCxp11;
    firmwareVersion = 2;
  } else {
    logger_.Line(4, [&] {
      return Prefix() + "] Version Supported does not include either CXP 1.1 or CXP 2.0";
    });
    return;
  }
  const int status = WriteWord(kVersionUsed, used);
  if (status != 0) {
    logger_.Line(4, [&] {
      return Prefix() + "] Failed to set Version Used: " + CUtility::HexText(used) + " " +
             std::to_string(status);
    });
  } else {
    cameraInfo_.SetVersionUsed(used);
    logger_.Line(3, [&] { return Prefix() + "] Version Used: " + CUtility::HexText(used); });
  }
  SetFirmwareCxpStandardVersion(firmwareVersion);
}

void CCxpPort::SettleTags() {
  if (!enableCxp2Extensions_ || cameraInfo_.GetVersionUsed() < kCxp20 || type_ != CxpIfCameraCtrl) {
    ResetTag(false);
    return;
  }
  ResetTag(true);
  uint32_t used = 0;
  if (ReadWord(kVersionUsed, used) != 0) {
    ResetTag(false);
    logger_.Line(3, [&] {
      return Prefix() +
             "] Camera failed to respond to packet with tags, reverting to communication without "
             "tags";
    });
  }
}

void CCxpPort::SettlePacketSizes() {
  uint32_t controlSize = 0;
  if (ReadWord(kControlPacketSizeMax, controlSize) == 0) {
    cameraInfo_.SetMaxPacketSize(controlSize);
    uint32_t size = std::min(maxCoreControlPacketSize_, controlSize);
    if (maxControlPacketTweak_ != 0) size = std::min(size, maxControlPacketTweak_);
    maxControlPacketSize_ = size;
    logger_.Line(3, [&] {
      return Prefix() + "] Control Packet Size: " + std::to_string(maxControlPacketSize_);
    });
  }
  uint64_t streamSize = 0;
  if (ReadRegister(registers_.streamPacketSize, streamSize) != 0) return;
  maxStreamPacketSize_ = streamSize;
  const int status = WriteWord(kStreamPacketSizeMax, static_cast<uint32_t>(streamSize));
  logger_.Line(status ? 4 : 3, [&] {
    return Prefix() + (status
                           ? "] Failed to set Stream Packet Size: " + std::to_string(streamSize) +
                                 "; Error code: " + std::to_string(status)
                           : "] Stream Packet Size: " + std::to_string(streamSize));
  });
}

int CCxpPort::UpdateCameraInfo() {
  std::lock_guard<std::mutex> lock(cameraInfoMutex_);
  std::string userId;
  const int status = ReadString(kUserId, 16, userId);
  if (status == 0) cameraInfo_.SetUserId(std::move(userId));
  return status;
}

uint32_t CCxpPort::GetRevision() {
  std::lock_guard<std::mutex> lock(cameraInfoMutex_);
  return cameraInfo_.GetRevision();
}

void CCxpPort::UpdatePreAcquisition() {
  uint32_t config = 0;
  if (ReadWord(kConnectionConfig, config) == 0)
    SetNumCameraConnections(CUtility::GetLinkCountFromConfigValue(config));
}

int CCxpPort::GetXmlInfo() {
  RecursiveMutexGuard scope(&portScope_);
  uint32_t size = 0;
  int status = ReadWord(kXmlManifestSize, size);
  if (status == 0) xmlSize_ = size;
  if (status == 0) status = WriteWord(kXmlManifestSelector, 0);
  uint32_t urlAddress = 0;
  std::string url;
  if (status == 0) status = ReadWord(kXmlUrlAddress, urlAddress);
  if (status == 0) status = ReadString(urlAddress, kUrlSize, url);
  uint32_t version = 0;
  uint32_t schema = 0;
  if (status == 0) status = ReadWord(kXmlVersion, version);
  if (status == 0) status = ReadWord(kXmlSchemaVersion, schema);
  if (status == 0)
    xmlName_ = CUtility::HexText(version).substr(2) + ";" + CUtility::HexText(schema).substr(2) +
               ";" + url;
  return status;
}

std::string CCxpPort::GetXmlName() {
  RecursiveMutexGuard scope(&portScope_);
  return xmlName_;
}

int CCxpPort::LoadXML(std::string& xml, unsigned int index) {
  RecursiveMutexGuard scope(&portScope_);
  logger_.Line(3, [&] { return Prefix() + "] LoadXML from Index: " + std::to_string(index); });
  uint32_t entries = 0;
  int status = ReadWord(kXmlManifestSize, entries);
  if (status != 0) return status;
  if (index >= entries) return MLO_ERR_DEVICE_INVALID_ADDRESS;
  // The selector goes out as the host holds it, unconverted, as cameras have always been sent it.
  uint32_t selector = index;
  status =
      WritePacket(kXmlManifestSelector, reinterpret_cast<unsigned char*>(&selector), 4, kTimeoutMs);
  uint32_t urlAddress = 0;
  if (status == 0) status = ReadWord(kXmlUrlAddress, urlAddress);
  std::string url;
  if (status == 0) status = ReadString(urlAddress, kUrlSize, url);
  if (status != 0) return status;
  uint32_t address = 0;
  uint32_t size = 0;
  if (!ParseLocation(url, address, size) || size > kMaxXmlSize) return MLO_ERR_INTERNAL;
  auto file = ManagedDataArray::Create(size);
  status = ReadPacket(address, reinterpret_cast<unsigned char*>(file->data), size, kTimeoutMs);
  if (status != 0) return status;
  uint32_t first = 0;
  std::memcpy(&first, file->data, std::min<size_t>(4, size));
  if (first == kZipLocalHeader) {
    CZipReader zip(file);
    if (!zip.HasFiles()) return MLO_ERR_INTERNAL;
    file = zip.GetFile(0);
    if (!file) return MLO_ERR_INTERNAL;
    logger_.Line(3,
                 [&] { return "XML type: Zip - Index 0 - Size: " + std::to_string(file->size); });
  }
  xml.assign(file->data, strnlen(file->data, file->size));
  return 0;
}
