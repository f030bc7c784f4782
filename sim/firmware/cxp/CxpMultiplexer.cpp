#include "sim/firmware/cxp/CxpMultiplexer.h"

#include <iterator>

namespace vesk::sim {

namespace {

constexpr uint64_t kTwoPorts[] = {kCxpIdentitySelector, 0x7654320176543201};
// Every order of four ports, as the design numbers them.
constexpr uint64_t kFourPorts[] = {
    0x7654321076543210, 0x7654231076542310, 0x7654312076543120, 0x7654213076541320,
    0x7654132076542130, 0x7654123076541230, 0x7654320176543201, 0x7654230176542301,
    0x7654310276543021, 0x7654210376540321, 0x7654130276542031, 0x7654120376540231,
    0x7654302176543102, 0x7654203176541302, 0x7654301276543012, 0x7654201376540312,
    0x7654103276541032, 0x7654102376540132, 0x7654032176542103, 0x7654023176541203,
    0x7654031276542013, 0x7654021376540213, 0x7654013276541023, 0x7654012376540123};

}  // namespace

uint64_t CxpMultiplexer::FromIndex(uint64_t index, unsigned ports) {
  if (ports == 2) return index < std::size(kTwoPorts) ? kTwoPorts[index] : kNowhere;
  if (ports == 4) return index < std::size(kFourPorts) ? kFourPorts[index] : kNowhere;
  return kCxpIdentitySelector;
}

}  // namespace vesk::sim
