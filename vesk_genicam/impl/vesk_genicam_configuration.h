#ifndef VESK_GENICAM_IMPL_VESK_GENICAM_CONFIGURATION_H
#define VESK_GENICAM_IMPL_VESK_GENICAM_CONFIGURATION_H

#include "vesk_genicam/impl/vesk_genicam.h"

namespace vesk::genicam {

// Mlo_LoadConnectionProfile once its board is open: checks the file and connects the cameras.
// Takes the board over: on a failure it frees the board and sets *profile to null.
int LoadConnectionProfileOfBoard(MloBoardHandle* board, const char* file,
                                 MloConnectionProfile** profile);

}  // namespace vesk::genicam

#endif
