#ifndef VESK_SIM_CORE_DEFAULT_RIG_H
#define VESK_SIM_CORE_DEFAULT_RIG_H

namespace vesk::sim {

// The rig used when $VESK_SIM_RIG is not set: a board of every transport and firmware form, each
// with a camera, multi-link cameras on CoaXPress and Camera Link HS, and free ports for plugging.
const char* DefaultRigText();

}  // namespace vesk::sim

#endif
