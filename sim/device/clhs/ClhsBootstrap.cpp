#include "sim/device/clhs/ClhsBootstrap.h"

#include <algorithm>

#include "sim/device/Gencp.h"

namespace vesk::sim {

namespace {

constexpr uint32_t kDeviceIdMask = 0xFF;

}  // namespace

ClhsBootstrap::ClhsBootstrap(const RigCamera& described, Camera& camera)
    : described_(described),
      camera_(camera),
      registers_(camera,
                 {"Camera Link HS", "simulated GenCP camera on Camera Link HS", kDeviceId, true}) {
  // The register holds an 8-bit id: what the host writes beyond it is lost.
  registers_.AddNumber(kDeviceId, 4, true, 0);
  registers_.AddNumber(kConnectionIndex, 4, false, 0);  // answered per link
  registers_.AddNumber(0x10008, 4, false, described.links.size());
  // The rest of what the host counts as bootstrap: read-only and 0 on this camera.
  for (uint64_t address : {0x10010, 0x10014, 0x10018, 0x1001C, 0x10128, 0x10174}) {
    registers_.AddNumber(address, 4, false, 0);
  }
}

bool ClhsBootstrap::Runs(unsigned, uint32_t speed) const {
  const std::vector<uint32_t>& speeds = described_.speeds;
  return speeds.empty() || std::find(speeds.begin(), speeds.end(), speed) != speeds.end();
}

uint16_t ClhsBootstrap::Read(unsigned link, uint64_t address, uint8_t* bytes, size_t length) {
  if (length == 0) return gencp::kSuccess;
  if (address >= kEnd) {
    return camera_.Read(address, bytes, length) ? gencp::kSuccess : gencp::kInvalidAddress;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  return registers_.Read(address, bytes, length, RegisterMap::Seen{kConnectionIndex, link})
             ? gencp::kSuccess
             : gencp::kInvalidAddress;
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
  const std::vector<const RegisterMap::Register*> covering = registers_.Covering(address, length);
  if (covering.empty()) return gencp::kInvalidAddress;
  for (const RegisterMap::Register* reg : covering) {
    if (!reg->writable) return gencp::kWriteProtect;
  }
  for (const RegisterMap::Register* reg : covering) {
    if (reg->address == kDeviceId && link != 0) continue;
    registers_.Store(*reg, address, bytes, length);
    if (reg->address == kDeviceId) {
      registers_.SetNumber(kDeviceId, registers_.Number(kDeviceId) & kDeviceIdMask);
    }
  }
  return gencp::kSuccess;
}

}  // namespace vesk::sim
