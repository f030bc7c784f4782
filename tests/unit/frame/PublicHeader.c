/* The public header must serve a C program on its own. */
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "vesk_genicam/impl/vesk_genicam.h"

/* The event record's layout is what applications are compiled against. */
_Static_assert(offsetof(MloEventInfo, port) == 2, "port");
_Static_assert(offsetof(MloEventInfo, intCount) == 6, "intCount");
_Static_assert(offsetof(MloEventInfo, intKeys) == 10, "intKeys");
_Static_assert(offsetof(MloEventInfo, intValues) == 18, "intValues");
_Static_assert(offsetof(MloEventInfo, stringCount) == 26, "stringCount");
_Static_assert(offsetof(MloEventInfo, stringKeys) == 30, "stringKeys");
_Static_assert(offsetof(MloEventInfo, stringValues) == 38, "stringValues");
_Static_assert(sizeof(MloCameraInfo) == 8 * sizeof(const char*), "eight strings");

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
