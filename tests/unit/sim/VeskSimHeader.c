/* The control API's header alone, compiled as C. */
#include "sim/include/vesk_sim.h"

int main(void) {
  VSimFaults faults = {0};
  faults.silentAfter = -1;
  if (VSimGetNrOfBoards() < 1) return 1;
  return VSimSetPortFaults(0, 0, &faults) == 0 ? 0 : 1;
}
