/* Events of a board on the simulated runtime: a callback reports what happens while a cable is
 * pulled through the simulator's control functions.
 *
 * The library loads the board runtime itself, so the simulator's functions are looked up in the
 * runtime already loaded, by its name. */
#define _POSIX_C_SOURCE 200809L
#include <dlfcn.h>
#include <stdatomic.h>
#include <stdio.h>
#include <time.h>
#include <vesk_genicam/vesk_genicam.h>
#include <vesk_genicam/vesk_sim.h>

static atomic_int cameraLost;

/* Runs on a thread of the library, one event at a time: it reports and returns. */
static int OnEvent(MloBoardHandle* board, const MloEventInfo* info, void* user) {
  const unsigned type = info->type;
  const unsigned port = info->port;
  (void)board;
  (void)user;
  printf("event %u: %s 0x%x\n", type,
         type == MLO_EVENT_CAMERA_ADDED  ? "camera added, master id"
         : type == MLO_EVENT_CAMERA_LOST ? "camera lost, master id"
                                         : "ports",
         port);
  fflush(stdout);
  if (type == MLO_EVENT_CAMERA_LOST) atomic_store(&cameraLost, 1);
  return 0;
}

/* Pulls the cable of port 0 of board 0 and waits up to 5 s for the camera to be lost. */
static int PullCable(void) {
  const struct timespec tick = {0, 10 * 1000 * 1000};
  void* runtime = dlopen("libvesk_hal.so", RTLD_NOW | RTLD_NOLOAD);
  int (*unplug)(int, unsigned int) = NULL;
  int waited;
  if (runtime) *(void**)&unplug = dlsym(runtime, "VSimUnplug");
  if (!unplug) {
    fprintf(stderr, "the board runtime is not the simulated one\n");
    return 1;
  }
  printf("pulling the cable of port 0: %d\n", unplug(0, 0));
  fflush(stdout);
  dlclose(runtime);
  for (waited = 0; waited < 500 && !atomic_load(&cameraLost); ++waited) nanosleep(&tick, NULL);
  return atomic_load(&cameraLost) ? 0 : 1;
}

int main(void) {
  Fg_Struct_s board = {NULL, NULL};
  MloBoardHandle* handle = NULL;
  int status = 1;
  VeskGenICamInit();
  board.device = VHalInitDevice(0);
  board.design = board.device ? DsnLoadBoardDesign(board.device) : NULL;
  if (board.design && Mlo_initBoardEx(&board, 0, &handle, 0) == 0) {
    Mlo_registerBoardEventCallback(handle, OnEvent, NULL);
    if (Mlo_scanPortsEx(handle, 0xF, 5000, 0, 0) == 0) status = PullCable();
    Mlo_registerBoardEventCallback(handle, NULL, NULL);
    Mlo_freeBoard(handle);
  }
  if (board.design) DsnFreeDesign(board.design);
  if (board.device) VHalFreeDevice(board.device);
  VeskGenICamDeinit();
  if (status) fprintf(stderr, "no camera was lost\n");
  return status;
}
