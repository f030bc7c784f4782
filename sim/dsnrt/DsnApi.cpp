// The design library: dsnrt.h over the board library's design functions. libvesk_genicam.so
// exports VHal and Dsn stubs of its own, so this library reaches the board library only through
// VSim names, which no one else exports.
#include "loader/dsnrt.h"
#include "sim/core/Export.h"
#include "sim/include/vesk_sim.h"

VSIM_EXPORT fpga_design* DsnLoadBoardDesign(PLdevice* device) { return VSimDesignLoad(device); }

VSIM_EXPORT int DsnFreeDesign(fpga_design* design) { return VSimDesignFree(design); }

VSIM_EXPORT const char* DsnGetDesignName(fpga_design* design) { return VSimDesignGetName(design); }

VSIM_EXPORT int DsnGetRegisterByName(fpga_design* design, const char* name) {
  return VSimDesignGetRegisterByName(design, name);
}

VSIM_EXPORT int DsnGetNrOfRegister(fpga_design* design) {
  return VSimDesignGetNrOfRegister(design);
}

VSIM_EXPORT const char* DsnGetRegisterName(fpga_design* design, int registerId) {
  return VSimDesignGetRegisterName(design, registerId);
}
