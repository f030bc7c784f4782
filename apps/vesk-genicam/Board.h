// A board of the board runtime, opened for one command: its device and design, and on demand
// the library's handle with the cameras of a scan.
#ifndef VESK_APPS_VESK_GENICAM_BOARD_H
#define VESK_APPS_VESK_GENICAM_BOARD_H

#include <string>

#include <vesk_genicam/vesk_genicam.h>

#include "Arguments.h"

namespace vesk::tool {

// What a scan asks for; mask 0 means every port of the board.
struct ScanRequest {
  unsigned int mask = 0;
  unsigned int timeoutMs = 5000;
  unsigned int speed = 0;
  unsigned int flags = 0;
};

class Board {
 public:
  // The number of boards; ends the command when there is no board runtime.
  static int Count();

  // Refuses an index out of range.
  explicit Board(unsigned int index);
  ~Board();
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;

  Fg_Struct_s* Fg() { return &fg_; }
  int Info(const char* key) const { return VHalGetBoardInfoInt(fg_.device, key); }
  std::string DesignName() const;

  // The library's handle, made on first use.
  MloBoardHandle* Handle();
  unsigned int PortCount();
  // Runs the scan, with a progress line while it waits when progress is set. Returns the
  // library's result: MLO_ERR_NO_CAMERA_FOUND is left to the caller.
  int Scan(const ScanRequest& request, bool progress);
  // The camera of a name, after a scan of every port (with a progress line when progress is set).
  MloCameraHandle* Camera(const CameraName& name, bool progress);

 private:
  unsigned int index_;
  Fg_Struct_s fg_{};
  MloBoardHandle* handle_ = nullptr;
};

// An integer property of a camera (of one link when link is given), or -1 where it has none.
long CameraProperty(MloCameraHandle* camera, const char* name, unsigned int link = 0);

}  // namespace vesk::tool

#endif
