#ifndef VESK_SIM_CORE_LINK_STATE_H
#define VESK_SIM_CORE_LINK_STATE_H

#include <cstdint>

namespace vesk::sim {

// What a camera's transport has made of its links (a connection configuration, say): shared by
// all links of one camera, so that a setting made on one link moves the others too.
class LinkState {
 public:
  virtual ~LinkState() = default;
  // Whether the camera's link runs at speed now. Called with a link channel's lock held: it must
  // not call back into a channel.
  virtual bool Runs(unsigned link, uint32_t speed) const = 0;
};

}  // namespace vesk::sim

#endif
