#include "sim/device/clhs/ClhsBootstrap.h"

#include <algorithm>

#include "sim/core/ByteOrder.h"
#include "sim/device/Gencp.h"

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
constexpr uint32_t kDeviceIdMask = 0xFF;

}  // namespace

ClhsBootstrap::ClhsBootstrap(const RigCamera& described, Camera& camera)
    : described_(described), camera_(camera) {
  const CameraIdentity& identity = camera_.Identity();
  AddNumber(0x0000, 4, false, kGencpVersion);
  AddText(0x0004, identity.vendor);
  AddText(0x0044, identity.model);
  AddText(0x0084, "Camera Link HS");
  AddText(0x00C4, identity.version);
  AddText(0x0104, "simulated GenCP camera on Camera Link HS");
  AddText(0x0144, identity.serial);
  AddText(0x0184, identity.userName, true);
  AddNumber(0x01C4, 8, false, kCapabilities);
  AddNumber(0x01CC, 4, false, kMaxResponseMs);
  AddNumber(0x01D0, 8, false, kManifest);
  AddNumber(0x01D8, 8, false, kDeviceId);   // where the technology's registers start
  AddNumber(0x01E0, 8, true, 0);            // device configuration
  AddNumber(0x0208, 4, false, 0xFFFFFFFF);  // big-endian protocol
  AddNumber(0x020C, 4, false, 0xFFFFFFFF);  // and registers
  AddManifest();
  // The register holds an 8-bit id: what the host writes beyond it is lost.
  AddNumber(kDeviceId, 4, true, 0);
  AddNumber(kConnectionIndex, 4, false, 0);  // answered per link
  AddNumber(0x10008, 4, false, described.links.size());
  // The rest of what the host counts as bootstrap: read-only and 0 on this camera.
  for (uint64_t address : {0x10010, 0x10014, 0x10018, 0x1001C, 0x10128, 0x10174}) {
    AddNumber(address, 4, false, 0);
  }
  std::sort(registers_.begin(), registers_.end(),
            [](const Register& a, const Register& b) { return a.address < b.address; });
}

void ClhsBootstrap::Add(uint64_t address, uint32_t size, bool writable,
                        std::vector<uint8_t> value) {
  value.resize(size);
  registers_.push_back({address, size, writable});
  values_[address] = std::move(value);
}

void ClhsBootstrap::AddNumber(uint64_t address, uint32_t size, bool writable, uint64_t value) {
  Add(address, size, writable, BigEndian(value, size));
}

void ClhsBootstrap::AddText(uint64_t address, const std::string& text, bool writable) {
  // A string ends with a zero byte within its register.
  Add(address, kTextSize, writable,
      std::vector<uint8_t>(text.begin(),
                           text.begin() + std::min<size_t>(text.size(), kTextSize - 1)));
}

// One entry: the file's version 1.0.0, schema 1.1 with its file type, where it lies, its size;
// no SHA-1. The file type stands both in bits 10 to 15, where GenCP puts it, and in the low bits,
// where Camera Link HS hosts read it.
void ClhsBootstrap::AddManifest() {
  const std::string& name = camera_.XmlFileName();
  const uint32_t type =
      name.size() > 4 && name.substr(name.size() - 4) == ".zip" ? kZipFileType : 0;
  std::vector<uint8_t> entry;
  for (const std::vector<uint8_t>& field :
       {BigEndian(0x01000000, 4), BigEndian(0x01010000 | type << kFileTypeShift | type, 4),
        BigEndian(camera_.XmlAddress(), 8), BigEndian(camera_.XmlFile().size(), 8)}) {
    entry.insert(entry.end(), field.begin(), field.end());
  }
  AddNumber(kManifest, 8, false, 1);
  Add(kManifest + 8, kEntrySize, false, entry);
}

bool ClhsBootstrap::Runs(unsigned, uint32_t speed) const {
  const std::vector<uint32_t>& speeds = described_.speeds;
  return speeds.empty() || std::find(speeds.begin(), speeds.end(), speed) != speeds.end();
}

std::vector<const ClhsBootstrap::Register*> ClhsBootstrap::Covering(uint64_t address,
                                                                    size_t length) const {
  std::vector<const Register*> covering;
  const uint64_t end = address + length;
  uint64_t at = address;
  for (const Register& reg : registers_) {
    if (at == end) break;
    if (reg.address + reg.size <= at) continue;
    if (reg.address > at) return {};  // a gap
    covering.push_back(&reg);
    at = std::min<uint64_t>(end, reg.address + reg.size);
  }
  return at == end ? covering : std::vector<const Register*>{};
}

uint16_t ClhsBootstrap::Read(unsigned link, uint64_t address, uint8_t* bytes, size_t length) {
  if (length == 0) return gencp::kSuccess;
  if (address >= kEnd) {
    return camera_.Read(address, bytes, length) ? gencp::kSuccess : gencp::kInvalidAddress;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  const std::vector<const Register*> covering = Covering(address, length);
  if (covering.empty()) return gencp::kInvalidAddress;
  for (const Register* reg : covering) {
    const uint64_t from = std::max(address, reg->address);
    const uint64_t to = std::min<uint64_t>(address + length, reg->address + reg->size);
    const std::vector<uint8_t> value =
        reg->address == kConnectionIndex ? BigEndian(link, 4) : values_.at(reg->address);
    std::copy(value.begin() + static_cast<ptrdiff_t>(from - reg->address),
              value.begin() + static_cast<ptrdiff_t>(to - reg->address), bytes + (from - address));
  }
  return gencp::kSuccess;
}

uint16_t ClhsBootstrap::Write(unsigned link, uint64_t address, const uint8_t* bytes,
                              size_t length) {
  if (length == 0) return gencp::kSuccess;
  if (address >= kEnd) {
    if (camera_.Write(address, bytes, length)) return gencp::kSuccess;
    const bool inXml = address + length > camera_.XmlAddress() &&
                       address < camera_.XmlAddress() + camera_.XmlFile().size();
    return inXml ? gencp::kWriteProtect : gencp::kInvalidAddress;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  const std::vector<const Register*> covering = Covering(address, length);
  if (covering.empty()) return gencp::kInvalidAddress;
  for (const Register* reg : covering) {
    if (!reg->writable) return gencp::kWriteProtect;
  }
  for (const Register* reg : covering) {
    if (reg->address == kDeviceId && link != 0) continue;
    const uint64_t from = std::max(address, reg->address);
    const uint64_t to = std::min<uint64_t>(address + length, reg->address + reg->size);
    std::vector<uint8_t>& value = values_[reg->address];
    std::copy(bytes + (from - address), bytes + (to - address),
              value.begin() + static_cast<ptrdiff_t>(from - reg->address));
    if (reg->address == kDeviceId) value = BigEndian(value[3] & kDeviceIdMask, 4);
  }
  return gencp::kSuccess;
}

}  // namespace vesk::sim
