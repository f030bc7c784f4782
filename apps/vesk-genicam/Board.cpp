#include "Board.h"


#include <chrono>
#include <cstdio>
#include <future>

#include "Failure.h"

namespace vesk::tool {

namespace {

constexpr int kNoRuntime = -2130;

// Shows the time a scan has taken, on the terminal only, and leaves no trace when it ends.
int WaitWithProgress(std::future<int>& scan, unsigned int board) {
  using namespace std::chrono;
  const auto start = steady_clock::now();
  while (scan.wait_for(milliseconds(100)) != std::future_status::ready) {
    const double seconds = duration<double>(steady_clock::now() - start).count();
    std::printf("\rscanning board %u ... %.1f s", board, seconds);
    std::fflush(stdout);
  }
  std::printf("\r\033[K");
  std::fflush(stdout);
  return scan.get();
}

std::string BoardCall(const char* call, unsigned int board) {
  return std::string(call) + "(board " + std::to_string(board) + ")";
}

}  // namespace

int Board::Count() {
  const int count = VHalGetNrOfBoards();
  if (count == kNoRuntime)
    CallFailed("VHalGetNrOfBoards",
               "no board runtime found (lib64/libvesk_hal.so above the library's folder, "
               "$VESKDIR5_64, $VESKDIR5)");
  if (count < 0)
    CallFailed("VHalGetNrOfBoards", "the board runtime answers " + std::to_string(count));
  return count;
}

Board::Board(unsigned int index) : index_(index) {
  const int count = Count();
  if (index >= static_cast<unsigned int>(count))
    UsageError("board " + std::to_string(index) + " does not exist: the runtime has " +
               std::to_string(count) + " board" + (count == 1 ? "" : "s"));
  fg_.device = VHalInitDevice(static_cast<int>(index));
  if (!fg_.device) CallFailed(BoardCall("VHalInitDevice", index), "the board did not open");
  fg_.design = DsnLoadBoardDesign(fg_.device);
  if (!fg_.design) {
    VHalFreeDevice(fg_.device);
    CallFailed(BoardCall("DsnLoadBoardDesign", index), "no design on the board");
  }
}

Board::~Board() {
  if (handle_) Mlo_freeBoard(handle_);
  DsnFreeDesign(fg_.design);
  VHalFreeDevice(fg_.device);
}

std::string Board::DesignName() const {
  const char* name = DsnGetDesignName(fg_.design);
  return name ? name : "";
}

MloBoardHandle* Board::Handle() {
  if (!handle_) Check(Mlo_initBoardEx(&fg_, 0, &handle_, 0), BoardCall("Mlo_initBoardEx", index_));
  return handle_;
}

unsigned int Board::PortCount() {
  unsigned int ports = 0;
  Check(Mlo_getBoardPropertyWithType(Handle(), const_cast<char*>("NrOfPorts"), &ports, 1, nullptr),
        BoardCall("Mlo_getBoardPropertyWithType NrOfPorts", index_));
  return ports;
}

int Board::Scan(const ScanRequest& request, bool progress) {
  MloBoardHandle* handle = Handle();
  const unsigned int ports = PortCount();
  const unsigned int every = ports >= 32 ? 0xFFFFFFFFu : (1u << ports) - 1;
  const unsigned int mask = request.mask ? request.mask : every;
  auto scan = std::async(std::launch::async, [=] {
    return Mlo_scanPortsEx(handle, mask, request.timeoutMs, request.speed, request.flags);
  });
  const int result = progress ? WaitWithProgress(scan, index_) : scan.get();
  if (result != MLO_ERR_NO_CAMERA_FOUND) Check(result, BoardCall("Mlo_scanPortsEx", index_));
  return result;
}

MloCameraHandle* Board::Camera(const CameraName& name, bool progress) {
  Scan(ScanRequest{}, progress);
  MloCameraHandle* camera = nullptr;
  if (name.byPort) {
    Check(Mlo_getCamera(Handle(), name.number, &camera), BoardCall("Mlo_getCamera", index_));
    if (!camera) UsageError("no camera " + name.Text() + ": no camera has a link on that port");
    return camera;
  }
  const int count = Check(Mlo_getCameraCount(Handle()), BoardCall("Mlo_getCameraCount", index_));
  if (name.number >= static_cast<unsigned int>(count))
    UsageError("no camera " + name.Text() + ": the scan found " + std::to_string(count) +
               " camera" + (count == 1 ? "" : "s") + " on board " + std::to_string(index_));
  Check(Mlo_getCameraByIndex(Handle(), name.number, &camera),
        BoardCall("Mlo_getCameraByIndex", index_));
  return camera;
}

long CameraProperty(MloCameraHandle* camera, const char* name, unsigned int link) {
  unsigned int value = 0;
  unsigned int type = 1;
  const int result =
      Mlo_getCameraPropertyWithType(camera, const_cast<char*>(name), &value, &type, &link);
  return result == 0 ? static_cast<long>(value) : -1;
}

}  // namespace vesk::tool
