/* The first camera of the first board: open the board, scan, connect the camera, read its width
 * and the width's limits, write the smallest width and read it back.
 *
 *   cc first_camera.c $(pkg-config --cflags --libs vesk-genicam) -o first_camera */
#include <inttypes.h>
#include <stdio.h>
#include <vesk_genicam/vesk_genicam.h>

/* Tells what failed; the result is the program's exit status. */
static int Failed(const char* call, int code) {
  fprintf(stderr, "%s: %d %s\n", call, code, Mlo_getErrorDescription(code));
  return 1;
}

static int UseCamera(MloCameraHandle* camera) {
  int64_t width = 0, min = 0, max = 0, inc = 0;
  int code = Mlo_connectCamera(camera);
  if (code) return Failed("Mlo_connectCamera", code);
  if ((code = Mlo_getIntegerValue(camera, "Width", &width)))
    return Failed("Mlo_getIntegerValue", code);
  if ((code = Mlo_getIntegerValueLimits(camera, "Width", &min, &max, &inc)))
    return Failed("Mlo_getIntegerValueLimits", code);
  printf("Width is %" PRId64 " (%" PRId64 " to %" PRId64 " in steps of %" PRId64 ")\n", width, min,
         max, inc);
  if ((code = Mlo_setIntegerValue(camera, "Width", min)))
    return Failed("Mlo_setIntegerValue", code);
  if ((code = Mlo_getIntegerValue(camera, "Width", &width)))
    return Failed("Mlo_getIntegerValue", code);
  printf("Width is now %" PRId64 "\n", width);
  return Mlo_disconnectCamera(camera) ? 1 : 0;
}

static int UseBoard(Fg_Struct_s* board) {
  MloBoardHandle* handle = NULL;
  MloCameraHandle* camera = NULL;
  const MloCameraInfo* info = NULL;
  int status = 1;
  int code = Mlo_initBoardEx(board, 0, &handle, 0);
  if (code) return Failed("Mlo_initBoardEx", code);
  /* Every port of a four-port board; wait up to 5 s for the cameras. */
  if ((code = Mlo_scanPortsEx(handle, 0xF, 5000, 0, 0))) {
    status = Failed("Mlo_scanPortsEx", code);
  } else if ((code = Mlo_getCameraByIndex(handle, 0, &camera))) {
    status = Failed("Mlo_getCameraByIndex", code);
  } else {
    info = Mlo_getCameraInfo(camera);
    printf("camera 0: %s %s\n", info->vendorName, info->modelName);
    status = UseCamera(camera);
  }
  Mlo_freeBoard(handle);
  return status;
}

int main(void) {
  Fg_Struct_s board = {NULL, NULL};
  int status = 1;
  VeskGenICamInit();
  board.device = VHalInitDevice(0);
  if (!board.device) {
    fprintf(stderr, "no board 0 (boards: %d)\n", VHalGetNrOfBoards());
  } else {
    board.design = DsnLoadBoardDesign(board.device);
    status = board.design ? UseBoard(&board) : Failed("DsnLoadBoardDesign", 0);
    if (board.design) DsnFreeDesign(board.design);
    VHalFreeDevice(board.device);
  }
  VeskGenICamDeinit();
  return status;
}
