/* The public header must serve a C program on its own. */
#include <stdio.h>
#include <string.h>

#include "vesk_genicam/impl/vesk_genicam.h"

int main(void) {
  MloBoardHandle* board = NULL;
  MloCameraHandle* camera = NULL;
  Fg_Struct_s fg = {NULL, NULL};
  VeskGenICamInit();
  const char* text = Mlo_getErrorDescription(-1006);
  VeskGenICamDeinit();
  if (strcmp(text, "Error when accessing the file") != 0) {
    fprintf(stderr, "unexpected text: %s\n", text);
    return 1;
  }
  return board == NULL && camera == NULL && fg.device == NULL ? 0 : 1;
}
