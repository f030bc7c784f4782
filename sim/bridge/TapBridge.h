#ifndef VESK_SIM_BRIDGE_TAP_BRIDGE_H
#define VESK_SIM_BRIDGE_TAP_BRIDGE_H

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "sim/bridge/TapDevice.h"
#include "sim/core/Board.h"
#include "sim/core/CameraUnit.h"
#include "sim/core/LinkChannel.h"

namespace vesk::sim {

// A simulated GigE Vision network joined to a TAP interface of the host: what crosses the
// simulated wire goes out on the interface, and what the host sends on the interface comes onto
// the wire. Frames lose their check sequence on the way out (a spoiled one is dropped, as a NIC
// drops it) and gain one on the way in. A reader thread of the bridge carries the host's frames;
// the destructor stops and joins it within a tenth of a second, then takes the bridge off.
class TapBridge {
 public:
  // The wire of a board's port, shared by the port and the camera plugged into it; while
  // bridged, the port's link is up even without a cable.
  TapBridge(std::shared_ptr<Board> board, unsigned port, std::unique_ptr<TapDevice> tap);
  // The camera on a wire of its own, as if its link were plugged into the host; no board's port
  // may hold its link. Throws std::invalid_argument for a camera that cannot answer GigE Vision
  // (no model, or its links taken by another transport).
  TapBridge(std::shared_ptr<CameraUnit> camera, std::unique_ptr<TapDevice> tap);
  ~TapBridge();
  TapBridge(const TapBridge&) = delete;
  TapBridge& operator=(const TapBridge&) = delete;

  // Null for a port's wire.
  const std::shared_ptr<CameraUnit>& Camera() const { return camera_; }

 private:
  void Start(std::function<void(const Packet&)> fromHost);
  void ToHost(const Packet& wire);
  void Carry(const std::function<void(const Packet&)>& fromHost);

  std::shared_ptr<Board> board_;  // null for a camera's own wire
  unsigned port_ = 0;
  std::shared_ptr<CameraUnit> camera_;
  LinkChannel* channel_ = nullptr;
  std::unique_ptr<LinkChannel> ownChannel_;
  std::unique_ptr<TapDevice> tap_;
  std::atomic<bool> stopping_{false};
  std::thread reader_;  // last: started once everything it uses exists
};

}  // namespace vesk::sim

#endif
