#ifndef VESK_GENICAM_IMPL_BOARD_LOCKS_H
#define VESK_GENICAM_IMPL_BOARD_LOCKS_H

#include <string>

// The name of a lock that processes sharing a board take around what must stay whole on it:
// "vesk_genicam-board_" + board index + suffix ("-CxpController_lock", "-reg_lock",
// "-CGbePort_lock" + port, ...). Every process derives the same name from the same board.
inline std::string BoardLockName(int boardIndex, const std::string& suffix) {
  return "vesk_genicam-board_" + std::to_string(boardIndex) + suffix;
}

#endif
