#include "vesk_genicam/impl/ApiArguments.h"

#include "loader/vesk_hal.h"

#include <sstream>

namespace vesk::genicam {

namespace {

// The type names are those that typeid gives the handle pointers.
void PutBoard(std::ostream& out, const MloBoardHandle* board) {
  out << ",handle=(P14MloBoardHandle)" << static_cast<const void*>(board);
}

}  // namespace

std::string FormatCamera(const MloCameraHandle* camera) {
  std::ostringstream out;
  out << ",handle=(P15MloCameraHandle)" << static_cast<const void*>(camera);
  return out.str();
}

std::string FormatBoard(const MloBoardHandle* board) {
  std::ostringstream out;
  PutBoard(out, board);
  return out.str();
}

std::string FormatBoardIndex(const MloBoardHandle* board, unsigned int index) {
  std::ostringstream out;
  PutBoard(out, board);
  out << ",index=" << index;
  return out.str();
}

std::string FormatBoardPort(const MloBoardHandle* board, unsigned int port) {
  std::ostringstream out;
  PutBoard(out, board);
  out << ",port-index=" << port;
  return out.str();
}

std::string FormatPortMaskBoard(unsigned int portMask, const MloBoardHandle* board) {
  std::ostringstream out;
  out << ",port-mask=" << portMask;
  PutBoard(out, board);
  return out.str();
}

std::string FormatBoardLibraryHandle(const Fg_Struct_s* board, unsigned int portMask) {
  std::ostringstream out;
  if (board) {
    out << ",handle=(PK11Fg_Struct_s)" << static_cast<const void*>(board)
        << ",board-index=" << VHalGetBoardIndex(board->device, 0) << std::hex
        << ",board-serial=" << VHalGetBoardInfoInt(board->device, "board/serial")
        << ",board-type=" << VHalGetBoardInfoInt(board->device, "board/type") << std::dec;
  }
  out << ",port-mask=" << portMask << ",handle=(P11Fg_Struct_s)" << static_cast<const void*>(board);
  return out.str();
}

}  // namespace vesk::genicam
