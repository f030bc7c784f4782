#include "sim/firmware/FirmwareModel.h"

#include "sim/core/Board.h"

namespace vesk::sim {

std::unique_ptr<FirmwareModel> MakeFirmwareModel(Board& board) {
  switch (board.Variant().family) {
    // Each transport's model is made here once it exists.
    case Family::Cxp:
    case Family::Clhs:
    case Family::Cl:
    case Family::Gige:
      break;
  }
  return nullptr;
}

}  // namespace vesk::sim
