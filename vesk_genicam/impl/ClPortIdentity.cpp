// The identity side of CClPort: the GenCP bootstrap strings, the manifest and the zipped XML.
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "templates/container/ManagedDataArray.h"
#include "vesk_genicam/impl/ClPort.h"
#include "vesk_genicam/impl/GencpIdentity.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/ZipReader.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::container::ManagedDataArray;

namespace {

constexpr unsigned int kManifestAddress = 0x1D0;
constexpr unsigned int kEntrySize = 64;
constexpr unsigned int kManifestTimeoutMs = 200;
constexpr uint32_t kFileTypeMask = 0xFC00;
constexpr uint32_t kZipFileType = 0x0400;
// Beyond any camera's manifest and description; larger claims are not believed.
constexpr uint64_t kMaxEntries = 1024;
constexpr uint32_t kMaxXmlSize = 64u << 20;

}  // namespace

// The first entry of the manifest, and how many there are.
struct CClPort::Manifest {
  uint64_t count = 0;
  unsigned char version[4] = {};
  uint32_t schema = 0;
  uint32_t address = 0;
  uint32_t size = 0;
  bool Zipped() const { return (schema & kFileTypeMask) == kZipFileType; }
};

int CClPort::SaveCameraInfo() {
  std::lock_guard<std::mutex> lock(cameraInfoMutex_);
  cameraInfo_.Reset();
  GencpIdentity::Read(*this, cameraInfo_, true, logger_, Prefix());
  return 0;
}

int CClPort::UpdateCameraInfo() {
  std::lock_guard<std::mutex> lock(cameraInfoMutex_);
  return GencpIdentity::ReadUserId(*this, cameraInfo_, logger_, Prefix());
}

int CClPort::ReadManifest(Manifest& manifest, bool logged) {
  uint64_t table = 0;
  int status = ReadBootstrap64(kManifestAddress, table);
  if (status != 0) return status;
  status = ReadBootstrap64(static_cast<uint32_t>(table), manifest.count);
  if (status != 0) return status;
  if (logged) {
    logger_.Line(3, [&] { return Prefix() + "XML table size: " + std::to_string(manifest.count); });
  }
  if (manifest.count == 0 || manifest.count > kMaxEntries) return MLO_ERR_DEVICE_INVALID_ADDRESS;
  std::vector<unsigned char> entries(manifest.count * kEntrySize);
  status = ReadPacket(static_cast<uint32_t>(table + 8), entries.data(),
                      static_cast<unsigned int>(entries.size()), kManifestTimeoutMs);
  if (status != 0) return status;
  std::memcpy(manifest.version, entries.data(), 4);
  manifest.schema = static_cast<uint32_t>(CUtility::BigEndian(entries.data() + 4, 4));
  manifest.address = static_cast<uint32_t>(CUtility::BigEndian(entries.data() + 8, 8));
  manifest.size = static_cast<uint32_t>(CUtility::BigEndian(entries.data() + 16, 8));
  return 0;
}

int CClPort::GetXmlInfo() {
  Manifest manifest;
  const int status = ReadManifest(manifest, true);
  if (status != 0) return status;
  // The version's bytes as they came, the last first and the first two as a little-endian
  // number: so the location has always read.
  const unsigned char* v = manifest.version;
  char location[160];
  std::snprintf(
      location, sizeof location, "0;0;Local:ManifestXmlFile_%u.%u.%u.%s;%" PRIx32 ";%" PRIx32, v[3],
      v[2], v[0] | v[1] << 8, manifest.Zipped() ? "zip" : "xml", manifest.address, manifest.size);
  {
    std::lock_guard<std::mutex> lock(xmlMutex_);
    xmlName_ = location;
  }
  xmlSize_ = manifest.size;
  // Success too: callers tell it by the location.
  return MLO_ERR_INTERNAL;
}

std::string CClPort::GetXmlName() {
  std::lock_guard<std::mutex> lock(xmlMutex_);
  return xmlName_;
}

int CClPort::LoadXML(std::string& xml, unsigned int index) {
  logger_.Line(3, [&] { return Prefix() + "LoadXML from Index: " + std::to_string(index); });
  Manifest manifest;
  int status = ReadManifest(manifest, true);
  if (status == 0 && manifest.count <= index) status = MLO_ERR_DEVICE_INVALID_ADDRESS;
  if (status != 0) return status;
  logger_.Line(3, [&] {
    return Prefix() + "XML size: " + std::to_string(manifest.size) +
           " Scham Type: " + CUtility::HexText(manifest.schema & kFileTypeMask);
  });
  if (manifest.size > kMaxXmlSize) return MLO_ERR_INTERNAL;
  auto file = ManagedDataArray::Create(manifest.size);
  status = ReadPacket(manifest.address, reinterpret_cast<unsigned char*>(file->data), manifest.size,
                      kManifestTimeoutMs);
  // A plain file gives no description on this interface.
  if (status != 0 || !manifest.Zipped()) return status;
  CZipReader zip(file);
  if (!zip.HasFiles()) return 0;
  const auto inflated = zip.GetFile(0);
  if (!inflated) return 0;
  logger_.Line(3, [&] {
    return Prefix() + "XML type: Zip - Index 0 - Size: " + std::to_string(inflated->size);
  });
  xml.assign(inflated->data, strnlen(inflated->data, inflated->size));
  return 0;
}
