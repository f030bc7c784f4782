#include "sim/device/cl/ClBootstrap.h"

#include <algorithm>

#include "sim/core/ByteOrder.h"
#include "sim/device/Gencp.h"

namespace vesk::sim {

namespace {

// The rate of each bit of the serial bootstrap's baud rate registers.
constexpr uint32_t kBauds[] = {9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600};
constexpr uint32_t kStartBaud = 9600;
constexpr uint64_t kCurrentBaud = ClBootstrap::kSbrm + 4;
constexpr uint32_t kGencpVersion = 0x00010003;  // 1.3
// User-defined name, family name and serial bootstrap registers are there.
constexpr uint64_t kCapabilities = 1u << 0 | 1u << 8 | 1u << 9;
constexpr uint32_t kTextSize = 64;
constexpr uint32_t kEntrySize = 64;
constexpr uint32_t kZipFileType = 1;

uint32_t BitOf(uint32_t baud) {
  for (uint32_t bit = 0; bit < 8; ++bit) {
    if (kBauds[bit] == baud) return 1u << bit;
  }
  return 0;
}

uint32_t BaudOf(uint32_t bits) {
  for (uint32_t bit = 0; bit < 8; ++bit) {
    if (bits == 1u << bit) return kBauds[bit];
  }
  return 0;
}

}  // namespace

ClBootstrap::ClBootstrap(const RigCamera& described, Camera& camera)
    : camera_(camera), baud_(described.speeds.empty() ? kStartBaud : described.defaultSpeed) {
  for (uint32_t baud : kBauds) {
    if (described.speeds.empty() || std::find(described.speeds.begin(), described.speeds.end(),
                                              baud) != described.speeds.end()) {
      supported_ |= BitOf(baud);
    }
  }
  const CameraIdentity& identity = camera_.Identity();
  AddNumber(0x0000, 4, false, kGencpVersion);
  AddText(0x0004, identity.vendor);
  AddText(0x0044, identity.model);
  AddText(0x0084, "Camera Link");
  AddText(0x00C4, identity.version);
  AddText(0x0104, "simulated GenCP camera on the serial channel");
  AddText(0x0144, identity.serial);
  AddText(0x0184, identity.userName, true);
  AddNumber(0x01C4, 8, false, kCapabilities);
  AddNumber(0x01CC, 4, false, 100);  // the longest the camera takes to answer, ms
  AddNumber(0x01D0, 8, false, kManifest);
  AddNumber(0x01D8, 8, false, kSbrm);
  AddNumber(0x01E0, 8, true, 0);            // device configuration
  AddNumber(0x0208, 4, false, 0xFFFFFFFF);  // big-endian protocol
  AddNumber(0x020C, 4, false, 0xFFFFFFFF);  // and registers
  AddManifest();
  AddNumber(kSbrm, 4, false, supported_);
  AddNumber(kCurrentBaud, 4, true, BitOf(baud_));
  std::sort(registers_.begin(), registers_.end(),
            [](const Register& a, const Register& b) { return a.address < b.address; });
}

void ClBootstrap::Add(uint64_t address, uint32_t size, bool writable, std::vector<uint8_t> value) {
  value.resize(size);
  registers_.push_back({address, size, writable});
  values_[address] = std::move(value);
}

void ClBootstrap::AddNumber(uint64_t address, uint32_t size, bool writable, uint64_t value) {
  Add(address, size, writable, BigEndian(value, size));
}

void ClBootstrap::AddText(uint64_t address, const std::string& text, bool writable) {
  // A string ends with a zero byte within its register.
  Add(address, kTextSize, writable,
      std::vector<uint8_t>(text.begin(),
                           text.begin() + std::min<size_t>(text.size(), kTextSize - 1)));
}

// One entry: the file's version 1.0.0, schema 1.1 with its file type, where it lies, its size;
// no SHA-1.
void ClBootstrap::AddManifest() {
  const uint32_t type =
      camera_.XmlFileName().size() > 4 &&
              camera_.XmlFileName().substr(camera_.XmlFileName().size() - 4) == ".zip"
          ? kZipFileType
          : 0;
  std::vector<uint8_t> entry;
  for (const std::vector<uint8_t>& field :
       {BigEndian(0x01000000, 4), BigEndian(0x01010000 | type << 10, 4),
        BigEndian(camera_.XmlAddress(), 8), BigEndian(camera_.XmlFile().size(), 8)}) {
    entry.insert(entry.end(), field.begin(), field.end());
  }
  AddNumber(kManifest, 8, false, 1);
  Add(kManifest + 8, kEntrySize, false, entry);
}

bool ClBootstrap::Runs(unsigned, uint32_t speed) const { return speed == Baud(); }

uint32_t ClBootstrap::Baud() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return baud_;
}

void ClBootstrap::SetBaud(uint32_t baud) {
  std::lock_guard<std::mutex> lock(mutex_);
  baud_ = baud;
  values_[kCurrentBaud] = BigEndian(BitOf(baud), 4);
}

std::vector<const ClBootstrap::Register*> ClBootstrap::Covering(uint64_t address,
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

uint16_t ClBootstrap::Read(uint64_t address, uint8_t* bytes, size_t length) {
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
    const std::vector<uint8_t>& value = values_.at(reg->address);
    std::copy(value.begin() + static_cast<ptrdiff_t>(from - reg->address),
              value.begin() + static_cast<ptrdiff_t>(to - reg->address), bytes + (from - address));
  }
  return gencp::kSuccess;
}

uint16_t ClBootstrap::Write(uint64_t address, const uint8_t* bytes, size_t length, uint32_t& baud) {
  baud = 0;
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
    if (reg->address != kCurrentBaud) continue;
    // Only the whole register, one bit of a rate the camera has.
    if (address != kCurrentBaud || length < 4) return gencp::kInvalidParameter;
    const uint32_t bits = Be32(bytes);
    if (!(bits & supported_) || BaudOf(bits) == 0) return gencp::kInvalidParameter;
    baud = BaudOf(bits);
  }
  for (const Register* reg : covering) {
    if (reg->address == kCurrentBaud) continue;  // taken once answered, in SetBaud
    const uint64_t from = std::max(address, reg->address);
    const uint64_t to = std::min<uint64_t>(address + length, reg->address + reg->size);
    std::copy(bytes + (from - address), bytes + (to - address),
              values_[reg->address].begin() + static_cast<ptrdiff_t>(from - reg->address));
  }
  return gencp::kSuccess;
}

}  // namespace vesk::sim
