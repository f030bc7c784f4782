// Aravis's fake GigE Vision camera, with the XML of its own, on a network interface until a
// signal or a number of seconds: a device that nobody here wrote, for the library's GigE port.
// Usage: gbe_interop_fake_camera INTERFACE SECONDS
#include <arv.h>
#include <glib-unix.h>

#include <cstdio>
#include <cstdlib>

namespace {

gboolean Quit(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_REMOVE;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s INTERFACE SECONDS\n", argv[0]);
    return 2;
  }
  ArvGvFakeCamera* camera = arv_gv_fake_camera_new(argv[1], "IOP-42");
  if (!camera || !arv_gv_fake_camera_is_running(camera)) {
    std::fprintf(stderr, "no fake camera on %s\n", argv[1]);
    return 1;
  }
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  g_unix_signal_add(SIGTERM, Quit, loop);
  g_unix_signal_add(SIGINT, Quit, loop);
  g_timeout_add_seconds(static_cast<guint>(std::atoi(argv[2])), Quit, loop);
  std::printf("fake camera on %s\n", argv[1]);
  std::fflush(stdout);
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
  g_object_unref(camera);
  return 0;
}
