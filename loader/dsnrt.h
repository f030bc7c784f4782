/* Design library ("dsnrt"): the firmware design loaded on a board, and its registers by name.
 *
 * Like vesk_hal.h, this is implemented by a board runtime (or the simulator) and forwarded by
 * stubs in libvesk_genicam.so. When the design library cannot be loaded, the stubs answer -1
 * where an id or a count is returned, NULL where a pointer is returned and
 * DSN_ERROR_LIBRARY_NOT_LOADED where a status is returned. A library that lacks one of these
 * functions makes its stub answer DSN_ERROR_NO_ENTRY, or NULL where a pointer is returned. */
#ifndef VESK_LOADER_DSNRT_H
#define VESK_LOADER_DSNRT_H

#include "loader/vesk_hal.h"

#ifdef __cplusplus
extern "C" {
#endif

#define DSN_ERROR_LIBRARY_NOT_LOADED (-2130)
#define DSN_ERROR_NO_ENTRY (-114)

/* ---- Library start and stop, called by the loader once per load ---- */
int VeskDsnRtInit(void);
void VeskDsnRtDeinit(void);

/* The design currently loaded on an opened board; NULL on failure. Free it before the board. */
fpga_design* DsnLoadBoardDesign(PLdevice* device);
int DsnFreeDesign(fpga_design* design);
/* The name of the design ("Acquisition_CXP4", say); NULL on failure. */
const char* DsnGetDesignName(fpga_design* design);

/* The id of a register by name: above 0 when the design has it, 0 when it does not. */
int DsnGetRegisterByName(fpga_design* design, const char* name);
/* Number of registers in the design; their ids are 1 .. count. */
int DsnGetNrOfRegister(fpga_design* design);
/* Name of a register by id; NULL for an id the design does not have. */
const char* DsnGetRegisterName(fpga_design* design, int registerId);

#ifdef __cplusplus
}
#endif

#endif
