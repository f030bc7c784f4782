#include "sim/device/gige/GigeBootstrap.h"

#include <algorithm>
#include <cstdio>

#include "sim/device/gige/GvcpStatus.h"

namespace vesk::sim {

namespace {

constexpr uint32_t kVersion = 0x0000;
constexpr uint32_t kDeviceMode = 0x0004;
constexpr uint32_t kMacHigh = 0x0008;
constexpr uint32_t kMacLow = 0x000C;
constexpr uint32_t kFirstUrl = 0x0200;
constexpr uint32_t kUrlSize = 512;
constexpr uint32_t kHeartbeatTimeout = 0x0938;
constexpr uint32_t kGvcpConfiguration = 0x0954;
constexpr uint32_t kCcp = 0x0A00;
constexpr uint32_t kMcp = 0x0B00;
constexpr uint32_t kScp = 0x0D00;

constexpr uint32_t kGigeVision20 = 0x00020000;
constexpr uint32_t kBigEndianMode = 0x80000000;
constexpr uint32_t kUtf8 = 1;
// Persistent IP, DHCP and link-local addressing; the camera runs with the last two on.
constexpr uint32_t kIpConfigurations = 0x7;
constexpr uint32_t kIpConfigurationCurrent = 0x6;
// User name and serial number registers, heartbeat disable, PENDING_ACK, WRITEMEM.
constexpr uint32_t kCapabilities = 0xE0000022;
constexpr uint32_t kHeartbeatDefaultMs = 3000;
constexpr uint32_t kHeartbeatLeastMs = 500;
constexpr uint32_t kHeartbeatDisabled = 1;  // in the GVCP configuration
constexpr uint32_t kExclusive = 1;
constexpr uint32_t kControl = 2;
constexpr uint32_t kPrivileges = kExclusive | kControl;

std::vector<uint8_t> BigEndian(uint32_t value) {
  return {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
          static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

// A stable number per camera id, so that its addresses stay the same from run to run.
uint32_t Fnv1a(const std::string& text) {
  uint32_t hash = 2166136261u;
  for (unsigned char c : text) hash = (hash ^ c) * 16777619u;
  return hash;
}

}  // namespace

GigeBootstrap::GigeBootstrap(const RigCamera& described, Camera& camera)
    : described_(described), camera_(camera) {
  const uint32_t hash = Fnv1a(described.id);
  // A locally administered unicast address, and a link-local IP address of 169.254.1.0/16 ..
  // 169.254.254.255, where no host of the rig has its own.
  mac_ = {0x02,
          0x56,
          0x53,
          static_cast<uint8_t>(hash >> 16),
          static_cast<uint8_t>(hash >> 8),
          static_cast<uint8_t>(hash)};
  ip_ = 0xA9FE0000 | (1 + (hash >> 8) % 254) << 8 | (1 + hash % 254);
  AddWord(kVersion, false, kGigeVision20);
  AddWord(kDeviceMode, false,
          (described.endianness == Endianness::Big ? kBigEndianMode : 0) | kUtf8);
  AddWord(kMacHigh, false, uint32_t{mac_[0]} << 8 | mac_[1]);
  AddWord(kMacLow, false,
          uint32_t{mac_[2]} << 24 | uint32_t{mac_[3]} << 16 | uint32_t{mac_[4]} << 8 | mac_[5]);
  AddWord(0x0010, false, kIpConfigurations);
  AddWord(0x0014, false, kIpConfigurationCurrent);
  AddWord(0x0024, false, ip_);
  AddWord(0x0034, false, kSubnetMask);
  AddWord(0x0044, false, 0);  // no gateway
  AddIdentity();
  AddWord(0x0600, false, 1);  // network interfaces
  AddWord(0x064C, true, 0);   // persistent IP, subnet mask, gateway
  AddWord(0x065C, true, 0);
  AddWord(0x066C, true, 0);
  AddChannels();
}

void GigeBootstrap::AddRegister(uint32_t address, uint32_t size, bool writable,
                                std::vector<uint8_t> value) {
  value.resize(size);
  registers_[address] = {size, writable};
  values_[address] = std::move(value);
}

void GigeBootstrap::AddWord(uint32_t address, bool writable, uint32_t value) {
  AddRegister(address, 4, writable, BigEndian(value));
}

void GigeBootstrap::AddText(uint32_t address, uint32_t size, bool writable,
                            const std::string& text) {
  // Strings end with a zero byte within their register.
  AddRegister(
      address, size, writable,
      std::vector<uint8_t>(text.begin(), text.begin() + std::min<size_t>(text.size(), size - 1)));
}

void GigeBootstrap::AddIdentity() {
  const CameraIdentity& identity = camera_.Identity();
  AddText(0x0048, 32, false, identity.vendor);
  AddText(0x0068, 32, false, identity.model);
  AddText(0x0088, 32, false, identity.version);
  AddText(0x00A8, 48, false, "simulated GigE Vision camera");
  AddText(0x00D8, 16, false, identity.serial);
  AddText(0x00E8, 16, true, identity.userName);
  char url[96];
  std::snprintf(url, sizeof url, "Local:%s;%llX;%zX", camera_.XmlFileName().c_str(),
                static_cast<unsigned long long>(camera_.XmlAddress()), camera_.XmlFile().size());
  AddText(kFirstUrl, kUrlSize, false, url);
  AddText(kFirstUrl + kUrlSize, kUrlSize, false, "");
}

// One message channel and one stream channel, with the timing registers of GVCP.
void GigeBootstrap::AddChannels() {
  AddWord(0x0900, false, 1);  // message channels
  AddWord(0x0904, false, 1);  // stream channels
  AddWord(0x0934, false, kCapabilities);
  AddWord(kHeartbeatTimeout, true, kHeartbeatDefaultMs);
  AddWord(0x093C, false, 0);  // timestamp ticks per second: 10^9
  AddWord(0x0940, false, 1000000000);
  AddWord(0x0944, true, 0);  // timestamp control
  AddWord(0x0948, false, 0);
  AddWord(0x094C, false, 0);
  AddWord(kGvcpConfiguration, true, 0);
  AddWord(kCcp, true, 0);
  AddWord(kMcp, true, 0);
  AddWord(0x0B10, true, 0);    // MCDA
  AddWord(0x0B14, true, 300);  // MCTT, ms
  AddWord(0x0B18, true, 0);    // MCRC
  AddWord(kScp, true, 0);
  AddWord(0x0D04, true, 576);  // SCPS: packet size
  AddWord(0x0D08, true, 0);    // SCPD
  AddWord(0x0D18, true, 0);    // SCDA
}

bool GigeBootstrap::Runs(unsigned, uint32_t speed) const {
  const std::vector<uint32_t>& speeds = described_.speeds;
  return speeds.empty() || std::find(speeds.begin(), speeds.end(), speed) != speeds.end();
}

uint32_t GigeBootstrap::WordAt(uint32_t address) const {
  const std::vector<uint8_t>& bytes = values_.at(address);
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

void GigeBootstrap::SetWord(uint32_t address, uint32_t value) {
  values_[address] = BigEndian(value);
}

bool GigeBootstrap::Controls(const GvcpPeer& peer) const {
  return controller_ && *controller_ == peer;
}

// Control lapses: the channels that the holder opened close with it.
void GigeBootstrap::Release() {
  controller_.reset();
  SetWord(kCcp, 0);
  SetWord(kMcp, 0);
  SetWord(kScp, 0);
}

void GigeBootstrap::Heard(const GvcpPeer& peer) {
  std::lock_guard<std::mutex> lock(mutex_);
  const Clock::time_point now = Clock::now();
  const auto timeout = std::chrono::milliseconds(WordAt(kHeartbeatTimeout));
  const bool heartbeat = !(WordAt(kGvcpConfiguration) & kHeartbeatDisabled);
  if (controller_ && heartbeat && now - lastHeard_ > timeout) Release();
  if (Controls(peer)) lastHeard_ = now;
}

std::vector<uint8_t> GigeBootstrap::DiscoveryData() {
  std::vector<uint8_t> bytes(kDiscoverySize);
  std::lock_guard<std::mutex> lock(mutex_);
  for (uint32_t at = 0; at < kDiscoverySize; at += 4) {
    if (ReadRegisters(at, bytes.data() + at, 4) != gvcp::kSuccess) {
      std::fill_n(bytes.begin() + at, 4, 0);  // the reserved words
    }
  }
  return bytes;
}

uint16_t GigeBootstrap::Read(const GvcpPeer& peer, uint32_t address, uint8_t* bytes,
                             size_t length) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (controller_ && !Controls(peer) && (WordAt(kCcp) & kExclusive)) return gvcp::kAccessDenied;
    if (address < kEnd) {
      return uint64_t{address} + length > kEnd ? gvcp::kInvalidAddress
                                               : ReadRegisters(address, bytes, length);
    }
  }
  if (ReadXml(address, bytes, length)) return gvcp::kSuccess;
  return camera_.Read(address, bytes, length) ? gvcp::kSuccess : gvcp::kInvalidAddress;
}

// GVCP reads memory in whole words: the XML file reads as if zeros filled its last word.
bool GigeBootstrap::ReadXml(uint32_t address, uint8_t* bytes, size_t length) const {
  const std::vector<uint8_t>& xml = camera_.XmlFile();
  const uint64_t start = camera_.XmlAddress();
  const uint64_t end = start + (xml.size() + 3) / 4 * 4;
  if (address < start || address + length > end || address + length <= start + xml.size()) {
    return false;
  }
  const size_t from = address - start;
  const size_t copied = std::min(length, xml.size() - std::min(from, xml.size()));
  std::copy_n(xml.begin() + static_cast<ptrdiff_t>(from), copied, bytes);
  std::fill(bytes + copied, bytes + length, 0);
  return true;
}

uint16_t GigeBootstrap::ReadRegisters(uint32_t address, uint8_t* bytes, size_t length) const {
  uint64_t at = address;
  const uint64_t end = at + length;
  auto reg = registers_.upper_bound(address);
  if (reg == registers_.begin()) return gvcp::kInvalidAddress;
  for (--reg; reg != registers_.end() && at < end; ++reg) {
    if (reg->first > at || reg->first + reg->second.size <= at) return gvcp::kInvalidAddress;
    const std::vector<uint8_t>& value = values_.at(reg->first);
    const uint64_t stop = std::min<uint64_t>(end, reg->first + reg->second.size);
    std::copy(value.begin() + static_cast<ptrdiff_t>(at - reg->first),
              value.begin() + static_cast<ptrdiff_t>(stop - reg->first), bytes + (at - address));
    at = stop;
  }
  return at == end ? gvcp::kSuccess : gvcp::kInvalidAddress;
}

uint16_t GigeBootstrap::Write(const GvcpPeer& peer, uint32_t address, const uint8_t* bytes,
                              size_t length) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (controller_ && !Controls(peer)) return gvcp::kAccessDenied;
    if (address < kEnd) {
      return uint64_t{address} + length > kEnd ? gvcp::kInvalidAddress
                                               : WriteRegisters(peer, address, bytes, length);
    }
  }
  if (camera_.Write(address, bytes, length)) return gvcp::kSuccess;
  const uint64_t xml = camera_.XmlAddress();
  const bool inXml = uint64_t{address} + length > xml && address < xml + camera_.XmlFile().size();
  return inXml ? gvcp::kWriteProtect : gvcp::kInvalidAddress;
}

uint16_t GigeBootstrap::WriteRegisters(const GvcpPeer& peer, uint32_t address, const uint8_t* bytes,
                                       size_t length) {
  // Checked whole before anything changes: a refused write leaves every register as it was.
  const uint64_t end = uint64_t{address} + length;
  uint64_t at = address;
  auto first = registers_.upper_bound(address);
  if (first == registers_.begin()) return gvcp::kInvalidAddress;
  --first;
  for (auto reg = first; reg != registers_.end() && at < end; ++reg) {
    if (reg->first > at || reg->first + reg->second.size <= at) return gvcp::kInvalidAddress;
    if (!reg->second.writable) return gvcp::kWriteProtect;
    at = std::min<uint64_t>(end, reg->first + reg->second.size);
  }
  if (at != end) return gvcp::kInvalidAddress;
  if (address <= kHeartbeatTimeout && end >= kHeartbeatTimeout + 4) {
    const uint8_t* timeout = bytes + (kHeartbeatTimeout - address);
    const uint32_t value = uint32_t{timeout[0]} << 24 | uint32_t{timeout[1]} << 16 |
                           uint32_t{timeout[2]} << 8 | timeout[3];
    if (value < kHeartbeatLeastMs) return gvcp::kInvalidParameter;
  }
  for (at = address; at < end; ++at) {
    auto reg = std::prev(registers_.upper_bound(static_cast<uint32_t>(at)));
    values_[reg->first][at - reg->first] = bytes[at - address];
  }
  if (address <= kCcp && end >= kCcp + 4) {
    // Taking control starts its heartbeat; writing no privilege gives it up.
    if (WordAt(kCcp) & kPrivileges) {
      controller_ = peer;
      lastHeard_ = Clock::now();
    } else {
      Release();
    }
  }
  return gvcp::kSuccess;
}

}  // namespace vesk::sim
