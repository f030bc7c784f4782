#include "sim/firmware/gige/GigePhy.h"

namespace vesk::sim {

namespace {

constexpr unsigned kControl = 0;
constexpr unsigned kStatus = 1;
constexpr unsigned kId1 = 2;
constexpr unsigned kId2 = 3;
constexpr unsigned kSpecificStatus = 17;
constexpr unsigned kPage = 22;
constexpr unsigned kExtendedAddress = 29;
constexpr unsigned kExtendedData = 30;

constexpr uint16_t kReset = 0x8000;
constexpr uint16_t kRestartAutoNegotiation = 0x0200;
constexpr uint16_t kControlDefault = 0x1140;  // auto-negotiation, full duplex, 1000 Mbit/s
// Abilities of a gigabit copper PHY; link (bit 2) and auto-negotiation done (bit 5) join them.
constexpr uint16_t kStatusAbilities = 0x7949;
constexpr uint16_t kStatusLinkUp = 0x0024;
constexpr uint16_t kMarvellId1 = 0x0141;
constexpr uint16_t kMarvell88E1512Id2 = 0x0DD1;
constexpr uint16_t kMarvell88X3310Id1 = 0x002B;
constexpr uint16_t kMarvell88X3310Id2 = 0x09AB;
// 1000 Mbit/s, full duplex, resolved, link up in real time; bit 3 is what the 88E151x driver
// takes for the link.
constexpr uint16_t kLinkUp1000 = 0xAC00;
constexpr uint16_t kLink151x = 0x0008;

constexpr unsigned kPmaDevice = 1;
constexpr unsigned kPcsDevice = 3;
constexpr unsigned kPhyXsDevice = 4;
constexpr unsigned kCopperStatus = 0x8008;
constexpr unsigned kAutoNegotiationStatus = 0xF0A6;
constexpr uint16_t kAutoNegotiationDone = 0x8000;

uint32_t Key45(unsigned device, unsigned reg) { return 1u << 24 | (device & 0xFF) << 16 | reg; }

}  // namespace

uint16_t GigePhy::Stored(uint32_t key, uint16_t initial) const {
  auto found = stored_.find(key);
  return found == stored_.end() ? initial : found->second;
}

uint16_t GigePhy::Read22(unsigned reg) {
  const bool up = link_();
  std::lock_guard<std::mutex> lock(mutex_);
  const uint32_t key = page_ << 8 | reg;
  switch (reg) {
    case kPage:
      return static_cast<uint16_t>(page_);
    case kExtendedAddress:
      return static_cast<uint16_t>(extended_);
    case kExtendedData:
      return extendedValues_[extended_];
    default:
      break;
  }
  if (page_ != 0) return Stored(key, 0);
  switch (reg) {
    case kControl:
      return Stored(key, kControlDefault);
    case kStatus:
      return kStatusAbilities | (up ? kStatusLinkUp : 0);
    case kId1:
      return kMarvellId1;
    case kId2:
      return kMarvell88E1512Id2;
    case kSpecificStatus:
      return up ? kLinkUp1000 | kLink151x : 0;
    default:
      return Stored(key, 0);
  }
}

void GigePhy::Write22(unsigned reg, uint16_t value) {
  std::lock_guard<std::mutex> lock(mutex_);
  switch (reg) {
    case kPage:
      page_ = value & 0xFF;
      return;
    case kExtendedAddress:
      extended_ = value;
      return;
    case kExtendedData:
      extendedValues_[extended_] = value;
      return;
    case kControl:
      // A reset or a restart of the negotiation is done as soon as it is asked for.
      if (page_ == 0) value &= static_cast<uint16_t>(~(kReset | kRestartAutoNegotiation));
      break;
    default:
      break;
  }
  stored_[page_ << 8 | reg] = value;
}

uint16_t GigePhy::Read45(unsigned device, unsigned reg) {
  const bool up = link_();
  std::lock_guard<std::mutex> lock(mutex_);
  if (device == kPmaDevice && reg == kId1) return kMarvell88X3310Id1;
  if (device == kPmaDevice && reg == kId2) return kMarvell88X3310Id2;
  if (device == kPcsDevice && reg == kCopperStatus) return up ? kLinkUp1000 : 0;
  if (device == kPhyXsDevice && reg == kAutoNegotiationStatus) return kAutoNegotiationDone;
  return Stored(Key45(device, reg), 0);
}

void GigePhy::Write45(unsigned device, unsigned reg, uint16_t value) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (device == kPmaDevice && reg == kControl) value &= static_cast<uint16_t>(~kReset);
  stored_[Key45(device, reg)] = value;
}

}  // namespace vesk::sim
