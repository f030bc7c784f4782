// vesk-sim-gige-serve: one simulated GigE Vision camera of a rig on a TAP interface of the host,
// so that any GigE Vision client of the host finds it and talks to it.
#include <getopt.h>
#include <signal.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "sim/include/vesk_sim.h"

namespace {

constexpr int kUsageError = 2;
constexpr int kFailure = 1;

void PrintUsage(FILE* out) {
  std::fprintf(out,
               "usage: vesk-sim-gige-serve [options] TAP\n"
               "Serves a simulated GigE Vision camera on the TAP interface TAP, made if it does\n"
               "not exist (which takes CAP_NET_ADMIN). Bring the interface up and give it an\n"
               "address in 169.254.0.0/16, where the camera has its own.\n"
               "  -r, --rig FILE     the rig (default: $VESK_SIM_RIG, else the built-in rig)\n"
               "  -c, --camera ID    the camera (default: the rig's first on a GigE board)\n"
               "  -s, --seconds N    stop after N seconds (default: at SIGINT or SIGTERM)\n"
               "  -h, --help         this text\n"
               "Exit status: 0 served, 1 could not serve, 2 wrong usage.\n");
}

struct Options {
  const char* rig = nullptr;
  const char* camera = nullptr;
  long seconds = -1;
  const char* tap = nullptr;
};

// 0 to serve, or the exit status.
int Parse(int argc, char** argv, Options& options, bool& help) {
  static const option kLong[] = {{"rig", required_argument, nullptr, 'r'},
                                 {"camera", required_argument, nullptr, 'c'},
                                 {"seconds", required_argument, nullptr, 's'},
                                 {"help", no_argument, nullptr, 'h'},
                                 {nullptr, 0, nullptr, 0}};
  for (int c; (c = getopt_long(argc, argv, "r:c:s:h", kLong, nullptr)) != -1;) {
    char* end = nullptr;
    switch (c) {
      case 'r':
        options.rig = optarg;
        break;
      case 'c':
        options.camera = optarg;
        break;
      case 's':
        errno = 0;
        options.seconds = std::strtol(optarg, &end, 10);
        if (errno || *end || end == optarg || options.seconds < 0) {
          std::fprintf(stderr, "vesk-sim-gige-serve: --seconds wants a count, not '%s'\n", optarg);
          return kUsageError;
        }
        break;
      case 'h':
        help = true;
        return 0;
      default:
        return kUsageError;
    }
  }
  if (optind + 1 != argc) {
    std::fprintf(stderr, "vesk-sim-gige-serve: name one TAP interface\n");
    return kUsageError;
  }
  options.tap = argv[optind];
  return 0;
}

bool OnGigeBoard(int board) {
  VSimBoardInfo info{};
  return VSimGetBoardInfo(board, &info) == 0 && std::strncmp(info.design, "gige", 4) == 0;
}

// The board whose port holds the camera's first link, port telling which; -1 for none.
int BoardHolding(int camera, unsigned int& port) {
  for (int board = 0; board < VSimGetNrOfBoards(); ++board) {
    VSimBoardInfo info{};
    VSimGetBoardInfo(board, &info);
    for (port = 0; port < info.ports; ++port) {
      int plugged = -1;
      unsigned int link = 0;
      if (VSimGetCable(board, port, &plugged, &link) == 0 && plugged == camera && link == 0) {
        return board;
      }
    }
  }
  return -1;
}

// The camera that --camera names, or the first one on a GigE board; a status below 0.
int ChooseCamera(const char* id) {
  if (id) {
    const int camera = VSimFindCamera(id);
    if (camera < 0) std::fprintf(stderr, "vesk-sim-gige-serve: the rig has no camera '%s'\n", id);
    return camera;
  }
  for (int camera = 0; camera < VSimGetNrOfCameras(); ++camera) {
    unsigned int port = 0;
    const int board = BoardHolding(camera, port);
    if (board >= 0 && OnGigeBoard(board)) return camera;
  }
  std::fprintf(stderr, "vesk-sim-gige-serve: the rig has no camera on a GigE board\n");
  return VSIM_ERROR_NO_SUCH_CAMERA;
}

bool LoadRig(const char* path) {
  const int status = path ? VSimLoadRigFile(path) : VSimGetNrOfBoards();
  if (status >= 0) return true;
  char message[512];
  VSimGetLastError(message, sizeof message);
  std::fprintf(stderr, "vesk-sim-gige-serve: %s\n", message);
  return false;
}

// Until SIGINT or SIGTERM, or the seconds have passed.
void Serve(const sigset_t& stops, long seconds) {
  const time_t end = seconds < 0 ? 0 : std::time(nullptr) + seconds;
  for (;;) {
    const long left = seconds < 0 ? 1 : static_cast<long>(end - std::time(nullptr));
    if (left <= 0) return;
    timespec slice{left, 0};
    if (sigtimedwait(&stops, nullptr, &slice) > 0) return;
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  bool help = false;
  if (const int status = Parse(argc, argv, options, help)) {
    PrintUsage(stderr);
    return status;
  }
  if (help) {
    PrintUsage(stdout);
    return 0;
  }
  // Blocked before the bridge's thread starts, so that it inherits the mask and only
  // sigtimedwait takes the signals.
  sigset_t stops;
  sigemptyset(&stops);
  sigaddset(&stops, SIGINT);
  sigaddset(&stops, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stops, nullptr);

  if (!LoadRig(options.rig)) return kFailure;
  const int camera = ChooseCamera(options.camera);
  if (camera < 0) return kFailure;
  // The camera leaves its port for the host's wire.
  unsigned int port = 0;
  const int board = BoardHolding(camera, port);
  if (board >= 0) VSimUnplug(board, port);
  const int bridge = VSimAttachCameraToTap(camera, options.tap);
  if (bridge < 0) {
    std::fprintf(stderr, "vesk-sim-gige-serve: cannot serve on %s: %s\n", options.tap,
                 bridge == VSIM_ERROR_HOST ? std::strerror(errno)
                                           : "the camera does not answer GigE Vision");
    return kFailure;
  }
  VSimCameraInfo info{};
  VSimGetCameraInfo(camera, &info);
  std::printf("serving camera '%s' on %s\n", info.id, options.tap);
  std::fflush(stdout);
  Serve(stops, options.seconds);
  VSimDetachTap(bridge);
  return 0;
}
