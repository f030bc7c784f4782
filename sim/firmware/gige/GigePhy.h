#ifndef VESK_SIM_FIRMWARE_GIGE_GIGE_PHY_H
#define VESK_SIM_FIRMWARE_GIGE_GIGE_PHY_H

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>

namespace vesk::sim {

// The Marvell PHY of one Ethernet port behind MDIO. In clause 22 (the 88E1xxx copper PHYs):
// pages chosen by register 22, an extended register pair 29 (address) and 30 (data), the link
// and speed in register 17. In clause 45 (the 88X3310): devices of their own, the link in
// 3.0x8008. Resets clear themselves; the link follows the cable. Registers the model does not
// give a meaning keep what is written. Safe from several threads.
class GigePhy {
 public:
  // link tells whether the cable's link is up now.
  explicit GigePhy(std::function<bool()> link) : link_(std::move(link)) {}

  uint16_t Read22(unsigned reg);
  void Write22(unsigned reg, uint16_t value);
  uint16_t Read45(unsigned device, unsigned reg);
  void Write45(unsigned device, unsigned reg, uint16_t value);

 private:
  uint16_t Stored(uint32_t key, uint16_t initial) const;

  const std::function<bool()> link_;
  std::mutex mutex_;
  std::map<uint32_t, uint16_t> stored_;  // page << 8 | register, or 1 << 24 | device << 16 | reg
  unsigned page_ = 0;
  unsigned extended_ = 0;  // the address in register 29
  std::map<unsigned, uint16_t> extendedValues_;
};

}  // namespace vesk::sim

#endif
