#ifndef VESK_SIM_CORE_SIMULATOR_H
#define VESK_SIM_CORE_SIMULATOR_H

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sim/bridge/TapDevice.h"
#include "sim/core/Board.h"
#include "sim/core/CameraUnit.h"
#include "sim/core/HandleRegistry.h"
#include "sim/core/Rig.h"

namespace vesk::sim {

class TapBridge;

// The boards and cameras of the loaded rig, the cables between them and the open handles. Safe
// to use from several threads.
class Simulator {
 public:
  // The instance behind the exported functions: on first use it loads the rig file that
  // $VESK_SIM_RIG names, or the default rig.
  static Simulator& Get();

  // No rig: no boards and no cameras.
  Simulator();
  ~Simulator();
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;

  // Each replaces the rig, or leaves none and the reason in LastError (empty after a load that
  // worked). VSIM_ERROR_BUSY while a handle is open or a bridge attached.
  int LoadFile(const std::string& path);
  int LoadText(const std::string& text, const std::string& name);
  int LoadDefault();
  std::string LastError() const;

  // VSIM_ERROR_RIG when the last load failed.
  int BoardCount() const;
  std::shared_ptr<Board> BoardAt(int index) const;
  int CameraCount() const;
  std::shared_ptr<CameraUnit> CameraAt(int index) const;
  int FindCamera(const std::string& id) const;

  // Null for a board the rig lacks.
  PLdevice* OpenDevice(int index);
  HandleRegistry& Handles() { return handles_; }

  int Plug(int board, unsigned port, int camera, unsigned link);
  int Unplug(int board, unsigned port);
  // The camera's position in the rig and its link, or VSIM_ERROR_NO_CABLE.
  int CableAt(int board, unsigned port, int& camera, unsigned& link) const;

  // Bridges to TAP interfaces of the host (TapBridge): a bridge id from 1 on, or a status;
  // VSIM_ERROR_HOST with errno set when the host refused the interface.
  int AttachPortToTap(int board, unsigned port, const std::string& tap);
  int AttachCameraToTap(int camera, const std::string& tap);
  int DetachTap(int bridge);

 private:
  int Load(const std::function<Rig()>& read);
  void Install(const Rig& rig);
  // With mutex_ held: null for a board or port the rig lacks, status saying which.
  Board* BoardLocked(int index) const;
  Port* PortLocked(int board, unsigned port, int& status) const;
  bool PluggedLocked(const std::shared_ptr<CameraUnit>& camera, unsigned link) const;
  // With mutex_ held: attaches the bridge that make builds from the TAP interface.
  struct Bridged {
    int board = -1;  // -1 for a camera's own wire
    unsigned port = 0;
    std::shared_ptr<CameraUnit> camera;
    std::unique_ptr<TapBridge> bridge;
  };
  using MakeBridge = std::function<std::unique_ptr<TapBridge>(std::unique_ptr<TapDevice>)>;
  int Attach(Bridged bridged, const std::string& tap, const MakeBridge& make);

  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<Board>> boards_;
  std::vector<std::shared_ptr<CameraUnit>> cameras_;
  std::string lastError_;
  std::map<int, Bridged> bridges_;  // by id; they go before the boards and cameras they use
  int lastBridge_ = 0;
  HandleRegistry handles_;  // last: its handles close before the boards go
};

}  // namespace vesk::sim

#endif
