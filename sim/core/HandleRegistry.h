#ifndef VESK_SIM_CORE_HANDLE_REGISTRY_H
#define VESK_SIM_CORE_HANDLE_REGISTRY_H

#include <map>
#include <memory>
#include <mutex>

#include "loader/vesk_hal.h"
#include "sim/core/Board.h"
#include "sim/core/Notifier.h"

// An open board handle with its notification thread, made by the first callback. Closing the
// handle stops the thread; the notifier goes before the board.
struct PLdevice {
  std::shared_ptr<vesk::sim::Board> board;
  std::shared_ptr<vesk::sim::Notifier> notifier;
};

struct fpga_design {
  std::shared_ptr<vesk::sim::Board> board;
};

namespace vesk::sim {

// The open board and design handles. A pointer that is not one of them is answered with an
// error, never followed. Safe to use from several threads.
class HandleRegistry {
 public:
  ~HandleRegistry() { CloseAll(); }

  PLdevice* OpenDevice(std::shared_ptr<Board> board);
  // Also gives back the queue locks that the handle holds. Refused from the handle's own
  // notification callback, whose thread it would have to join.
  int CloseDevice(PLdevice* device);
  // Null for a pointer that is not an open handle.
  std::shared_ptr<Board> BoardOf(const PLdevice* device) const;
  // Adds the callback with its user data to those of the handle; each pair is kept once.
  int AddCallback(PLdevice* device, VHalAsyncNotifyCallback callback, void* userData);
  // Forgets one pair; once it returns, that callback is not called again and, unless this is
  // its own notification thread, is not running.
  int RemoveCallback(PLdevice* device, VHalAsyncNotifyCallback callback, void* userData);

  fpga_design* OpenDesign(const PLdevice* device);
  int CloseDesign(fpga_design* design);
  std::shared_ptr<Board> BoardOfDesign(const fpga_design* design) const;
  // The board of an open board or design handle: the library asks the camera controller with
  // either.
  std::shared_ptr<Board> BoardOfEither(const void* handle) const;

  bool Empty() const;
  void CloseAll();

 private:
  static void Release(PLdevice& closed);

  mutable std::mutex mutex_;
  std::map<const void*, std::unique_ptr<PLdevice>> devices_;
  std::map<const void*, std::unique_ptr<fpga_design>> designs_;
};

}  // namespace vesk::sim

#endif
