#include "sim/device/GencpRegisters.h"

#include <vector>

#include "sim/core/ByteOrder.h"

namespace vesk::sim {

namespace {

constexpr uint32_t kGencpVersion = 0x00010003;  // 1.3
// User-defined name, family name and the technology's bootstrap registers are there.
constexpr uint64_t kCapabilities = 1u << 0 | 1u << 8 | 1u << 9;
constexpr uint32_t kMaxResponseMs = 100;
constexpr uint32_t kTextSize = 64;
constexpr uint32_t kEntrySize = 64;
constexpr uint32_t kZipFileType = 1;
constexpr uint32_t kFileTypeShift = 10;

}  // namespace

GencpRegisters::GencpRegisters(const Camera& camera, const GencpTechnology& technology) {
  const CameraIdentity& identity = camera.Identity();
  AddNumber(0x0000, 4, false, kGencpVersion);
  AddText(0x0004, kTextSize, false, identity.vendor);
  AddText(0x0044, kTextSize, false, identity.model);
  AddText(0x0084, kTextSize, false, technology.name);
  AddText(0x00C4, kTextSize, false, identity.version);
  AddText(0x0104, kTextSize, false, technology.description);
  AddText(0x0144, kTextSize, false, identity.serial);
  AddText(0x0184, kTextSize, true, identity.userName);
  AddNumber(0x01C4, 8, false, kCapabilities);
  AddNumber(0x01CC, 4, false, kMaxResponseMs);
  AddNumber(0x01D0, 8, false, kManifest);
  AddNumber(0x01D8, 8, false, technology.registers);
  AddNumber(0x01E0, 8, true, 0);            // device configuration
  AddNumber(0x0208, 4, false, 0xFFFFFFFF);  // big-endian protocol
  AddNumber(0x020C, 4, false, 0xFFFFFFFF);  // and registers
  AddManifest(camera, technology.fileTypeInLowBits);
}

// One entry: the file's version 1.0.0, schema 1.1 with its file type, where it lies, its size;
// no SHA-1.
void GencpRegisters::AddManifest(const Camera& camera, bool fileTypeInLowBits) {
  const std::string& name = camera.XmlFileName();
  const uint32_t type =
      name.size() > 4 && name.substr(name.size() - 4) == ".zip" ? kZipFileType : 0;
  const uint32_t schema = 0x01010000 | type << kFileTypeShift | (fileTypeInLowBits ? type : 0);
  std::vector<uint8_t> entry;
  for (const std::vector<uint8_t>& field :
       {BigEndian(0x01000000, 4), BigEndian(schema, 4), BigEndian(camera.XmlAddress(), 8),
        BigEndian(camera.XmlFile().size(), 8)}) {
    entry.insert(entry.end(), field.begin(), field.end());
  }
  AddNumber(kManifest, 8, false, 1);
  Add(kManifest + 8, kEntrySize, false, entry);
}

}  // namespace vesk::sim
