#ifndef VESK_GENICAM_IMPL_API_ARGUMENTS_H
#define VESK_GENICAM_IMPL_API_ARGUMENTS_H

#include <string>

#include "vesk_genicam/impl/vesk_genicam.h"

// The argument texts of the exported functions' trace and failure lines. Pointers are printed
// as the standard stream prints them.
namespace vesk::genicam {

// ",handle=(P15MloCameraHandle)0x..."
std::string FormatCamera(const MloCameraHandle* camera);
// ",handle=(P14MloBoardHandle)0x..."
std::string FormatBoard(const MloBoardHandle* board);
// The board, then ",index=" and the index.
std::string FormatBoardIndex(const MloBoardHandle* board, unsigned int index);
// The board, then ",port-index=" and the port.
std::string FormatBoardPort(const MloBoardHandle* board, unsigned int port);
// ",port-mask=" and the mask, then the board.
std::string FormatPortMaskBoard(unsigned int portMask, const MloBoardHandle* board);
// The board library's handle with its index, serial and type (hexadecimal) read from the board,
// then ",port-mask=" and the mask and the handle again.
std::string FormatBoardLibraryHandle(const Fg_Struct_s* board, unsigned int portMask);

}  // namespace vesk::genicam

#endif
