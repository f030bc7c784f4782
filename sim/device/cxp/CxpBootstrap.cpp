#include "sim/device/cxp/CxpBootstrap.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "sim/core/ByteOrder.h"
#include "sim/device/cxp/CxpStatus.h"

namespace vesk::sim {

namespace {

constexpr uint32_t kMagic = 0xC0A79AE5;
constexpr uint32_t kRevision11 = 0x10001;
constexpr uint32_t kRevision20 = 0x20000;

constexpr uint32_t kManifestSelector = 0x000C;
constexpr uint32_t kConnectionReset = 0x4000;
constexpr uint32_t kDeviceConnectionId = 0x4004;
constexpr uint32_t kMasterHostConnectionId = 0x4008;
constexpr uint32_t kConnectionConfig = 0x4014;
constexpr uint32_t kVersionUsed = 0x4048;
constexpr uint32_t kXmlLocation = 0x6000;  // the first address a manufacturer may use

// Connection configuration: link count in the high half, the code of the speed in the low one.
struct SpeedCode {
  uint32_t code;
  uint32_t speed;
};
constexpr SpeedCode kSpeedCodes[] = {{0x28, 1250}, {0x30, 2500},  {0x38, 3125}, {0x40, 5000},
                                     {0x48, 6250}, {0x50, 10000}, {0x58, 12500}};

uint32_t SpeedOf(uint32_t config) {
  for (const SpeedCode& entry : kSpeedCodes) {
    if (entry.code == (config & 0xFFFF)) return entry.speed;
  }
  return 0;
}

uint32_t ConfigOf(uint32_t speed, uint32_t links) {
  for (const SpeedCode& entry : kSpeedCodes) {
    if (entry.speed == speed) return links << 16 | entry.code;
  }
  return links << 16 | 0x38;  // a camera that takes any speed defaults to CXP-3
}

uint32_t DefaultConfig(const RigCamera& described) {
  const auto links = static_cast<uint32_t>(described.defaultLinks ? described.defaultLinks
                                                                  : described.links.size());
  return ConfigOf(described.defaultSpeed, links);
}

// The bit of a version in VersionsSupported.
uint32_t VersionBit(uint32_t version) {
  switch (version) {
    case 0x10000:
      return 1;
    case kRevision11:
      return 2;
    case kRevision20:
      return 4;
    default:
      return 0;
  }
}

}  // namespace

CxpBootstrap::CxpBootstrap(const RigCamera& described, Camera& camera)
    : described_(described),
      camera_(camera),
      revision_(described.cxpRevision),
      packetSize_(described.controlPacketSize),
      defaultConfig_(DefaultConfig(described)) {
  AddWord(0x0000, false, kMagic);
  AddWord(0x0004, false, revision_);
  AddXmlManifest();
  AddIdentity();
  AddLinkRegisters();
}

void CxpBootstrap::AddWord(uint32_t address, bool writable, uint32_t value) {
  registers_.AddNumber(address, 4, writable, value);
}

void CxpBootstrap::AddXmlManifest() {
  char location[96];
  std::snprintf(location, sizeof location, "Local:%s;%llX;%zX", camera_.XmlFileName().c_str(),
                static_cast<unsigned long long>(camera_.XmlAddress()), camera_.XmlFile().size());
  AddWord(0x0008, false, 1);  // one manifest entry
  AddWord(kManifestSelector, true, 0);
  AddWord(0x0010, false, 0x00010000);  // XML version 1.0.0
  AddWord(0x0014, false, 0x00010100);  // schema version 1.1.0
  AddWord(0x0018, false, kXmlLocation);
  AddWord(0x001C, false, 0);  // no IIDC2 registers
  registers_.AddText(kXmlLocation, kEnd - kXmlLocation, false, location);
}

void CxpBootstrap::AddIdentity() {
  const CameraIdentity& identity = camera_.Identity();
  registers_.AddText(0x2000, 32, false, identity.vendor);
  registers_.AddText(0x2020, 32, false, identity.model);
  registers_.AddText(0x2040, 48, false, "simulated CoaXPress camera");
  registers_.AddText(0x2070, 32, false, identity.version);
  // CoaXPress 2.0 gave up the firmware version.
  if (revision_ < kRevision20) registers_.AddText(0x2090, 32, false, identity.version);
  registers_.AddText(0x20B0, 16, false, identity.serial);
  registers_.AddText(0x20C0, 16, true, identity.userName);
  const char* addressed[] = {
      "Width",           "Height",      "AcquisitionMode",   "AcquisitionStart",
      "AcquisitionStop", "PixelFormat", "DeviceTapGeometry", "Image1StreamID"};
  uint32_t address = 0x3000;
  for (const char* name : addressed) {
    AddWord(address, false, FeatureAddress(name));
    address += 4;
  }
}

void CxpBootstrap::AddLinkRegisters() {
  AddWord(kConnectionReset, true, 0);
  AddWord(kDeviceConnectionId, false, 0);  // read per link
  AddWord(kMasterHostConnectionId, true, 0);
  AddWord(0x400C, false, packetSize_);
  AddWord(0x4010, true, 0x2000);  // stream packet size
  AddWord(kConnectionConfig, true, defaultConfig_);
  AddWord(0x4018, false, defaultConfig_);
  AddWord(0x401C, true, 0);                  // test mode
  AddWord(0x4020, true, 0);                  // test error count selector
  AddWord(0x4024, true, 0);                  // test error count
  registers_.AddNumber(0x4028, 8, true, 0);  // test packet count sent
  registers_.AddNumber(0x4030, 8, true, 0);  // test packet count received
  if (revision_ < kRevision11) return;
  AddWord(0x403C, false, 0);                                 // high speed uplink
  AddWord(0x4044, false, (VersionBit(revision_) << 1) - 1);  // this version and all before
  AddWord(kVersionUsed, true, kRevision11);
}

uint32_t CxpBootstrap::FeatureAddress(const char* name) const {
  for (const Feature& feature : camera_.Features()) {
    if (feature.name == name) return static_cast<uint32_t>(feature.address);
  }
  return 0;
}

void CxpBootstrap::Attach(unsigned link) {
  std::lock_guard<std::mutex> lock(mutex_);
  cabled_.insert(link);
}

void CxpBootstrap::Detach(unsigned link) {
  std::lock_guard<std::mutex> lock(mutex_);
  cabled_.erase(link);
}

uint32_t CxpBootstrap::ConnectionId(unsigned link) const {
  return static_cast<uint32_t>(std::distance(cabled_.begin(), cabled_.lower_bound(link)));
}

bool CxpBootstrap::Runs(unsigned link, uint32_t speed) const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!configured_) {
    return described_.speeds.empty() ||
           std::find(described_.speeds.begin(), described_.speeds.end(), speed) !=
               described_.speeds.end();
  }
  const auto config = static_cast<uint32_t>(registers_.Number(kConnectionConfig));
  return ConnectionId(link) < (config >> 16) && speed == SpeedOf(config);
}

uint8_t CxpBootstrap::Read(unsigned link, uint32_t address, uint8_t* bytes, size_t length) {
  const uint64_t end = uint64_t{address} + length;
  if (address >= kEnd) {
    return camera_.Read(address, bytes, length) ? cxp::kFinalWithPayload : cxp::kInvalidAddress;
  }
  if (end > kEnd) return cxp::kInvalidAddress;
  std::lock_guard<std::mutex> lock(mutex_);
  return registers_.Read(address, bytes, length,
                         RegisterMap::Seen{kDeviceConnectionId, ConnectionId(link)})
             ? cxp::kFinalWithPayload
             : cxp::kInvalidAddress;
}

CxpWriteResult CxpBootstrap::Write(unsigned link, uint32_t address, const uint8_t* bytes,
                                   size_t length) {
  const uint64_t end = uint64_t{address} + length;
  if (address >= kEnd) {
    if (camera_.Write(address, bytes, length)) return {cxp::kFinal};
    const bool inXml =
        end > camera_.XmlAddress() && address < camera_.XmlAddress() + camera_.XmlFile().size();
    return {inXml ? cxp::kReadOnly : cxp::kInvalidAddress};
  }
  if (end > kEnd) return {cxp::kInvalidAddress};
  std::lock_guard<std::mutex> lock(mutex_);
  return WriteRegisters(link, address, bytes, length);
}

CxpWriteResult CxpBootstrap::WriteRegisters(unsigned link, uint32_t address, const uint8_t* bytes,
                                            size_t length) {
  const uint64_t end = uint64_t{address} + length;
  const std::vector<const RegisterMap::Register*> touched = registers_.Covering(address, length);
  if (touched.empty()) return {cxp::kInvalidAddress};
  CxpWriteResult result{cxp::kFinal};
  for (const RegisterMap::Register* reg : touched) {
    if (!reg->writable) return {cxp::kReadOnly};
    const bool whole = reg->address >= address && reg->address + reg->size <= end;
    if (!whole && reg->size == 4) return {cxp::kInvalidData};  // a part of a word means nothing
    const uint32_t value = reg->size == 4 ? Be32(bytes + (reg->address - address)) : 0;
    const uint8_t status = CheckSpecial(link, reg->address, value, result);
    if (status != cxp::kFinal) return {status};
  }
  for (const RegisterMap::Register* reg : touched) {
    // The connection configuration changes once acknowledged, in Configure.
    if (reg->address != kConnectionConfig) registers_.Store(*reg, address, bytes, length);
  }
  if (!result.acknowledged) ResetConnection();
  return result;
}

uint8_t CxpBootstrap::CheckSpecial(unsigned link, uint64_t address, uint32_t value,
                                   CxpWriteResult& result) {
  switch (address) {
    case kConnectionReset:
      if (value != 1) return cxp::kInvalidData;
      result.acknowledged = false;
      return cxp::kFinal;
    case kMasterHostConnectionId:
      // Extensions carry what the master was told.
      return ConnectionId(link) == 0 ? cxp::kFinal : cxp::kReadOnly;
    case kConnectionConfig:
      if (!CanRun(value)) return cxp::kInvalidData;
      result.config = value;
      return cxp::kFinal;
    case kVersionUsed:
      return VersionBit(value) && VersionBit(value) <= VersionBit(revision_) ? cxp::kFinal
                                                                             : cxp::kInvalidData;
    case kManifestSelector:
      return value == 0 ? cxp::kFinal : cxp::kInvalidData;
    default:
      return cxp::kFinal;
  }
}

bool CxpBootstrap::CanRun(uint32_t config) const {
  const uint32_t speed = SpeedOf(config);
  const uint32_t links = config >> 16;
  const bool offered = described_.speeds.empty() ||
                       std::find(described_.speeds.begin(), described_.speeds.end(), speed) !=
                           described_.speeds.end();
  return speed != 0 && offered && links >= 1 && links <= described_.links.size();
}

void CxpBootstrap::Configure(uint32_t config) {
  std::lock_guard<std::mutex> lock(mutex_);
  registers_.SetNumber(kConnectionConfig, config);
  configured_ = true;
}

void CxpBootstrap::ResetConnection() {
  registers_.SetNumber(kConnectionReset, 0);
  // The host's ID stays, so that a link which joins after the reset still names its master.
  registers_.SetNumber(kConnectionConfig, defaultConfig_);
  if (registers_.Has(kVersionUsed)) registers_.SetNumber(kVersionUsed, kRevision11);
  configured_ = false;
}

}  // namespace vesk::sim
