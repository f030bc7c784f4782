#ifndef VESK_GENICAM_IMPL_BOARD_TYPES_H
#define VESK_GENICAM_IMPL_BOARD_TYPES_H

#include <algorithm>
#include <iterator>

// Board types ("board/type" of the board library) by the transport their connectors speak. The
// sets have no member in common.
constexpr int kClhsBoardTypes[] = {1874, 1880, 2642, 2645, 2649, 2657, 2658};
constexpr int kCxpBoardTypes[] = {1875, 1877, 1878, 1879, 2641, 2643, 2644, 2646, 2647,
                                  2656, 2660, 2661, 2915, 2916, 2917, 2918, 2920};
constexpr int kClBoardTypes[] = {1872, 1873, 1876, 1881,  2624,  2625,  2626,  2627,  2628,
                                 2629, 2648, 2650, 29968, 29969, 30016, 30017, 30097, 30101};
constexpr int kGbeBoardTypes[] = {2662, 2663, 2897, 2898, 2899, 2913, 3650, 3652};

// CoaXPress board generations, which differ in their transceivers' error counters. On the boards
// of the last set a port enters none of its board-wide locks.
constexpr int kCxpGen1BoardTypes[] = {2641, 2642, 2643, 2644, 2645, 2646, 2647, 2648, 2649, 2650};
constexpr int kCxpGen2BoardTypes[] = {1872, 1873, 1874,  1875,  1876,  1877,  1878,  1879,
                                      1880, 1881, 29968, 29969, 30016, 30017, 30097, 30101};
constexpr int kCxpPlBoardTypes[] = {2656, 2657, 2658, 2660, 2661, 2662, 2663,
                                    2913, 2915, 2916, 2917, 2918, 2920};

template <size_t N>
bool IsBoardTypeIn(const int (&types)[N], int boardType) {
  return std::find(std::begin(types), std::end(types), boardType) != std::end(types);
}

enum EBoardTransport {
  BoardTransportNone,
  BoardTransportClhs,
  BoardTransportCxp,
  BoardTransportCl,
  BoardTransportGbe
};

inline EBoardTransport BoardTransportOf(int boardType) {
  if (IsBoardTypeIn(kClhsBoardTypes, boardType)) return BoardTransportClhs;
  if (IsBoardTypeIn(kCxpBoardTypes, boardType)) return BoardTransportCxp;
  if (IsBoardTypeIn(kClBoardTypes, boardType)) return BoardTransportCl;
  if (IsBoardTypeIn(kGbeBoardTypes, boardType)) return BoardTransportGbe;
  return BoardTransportNone;
}

#endif
