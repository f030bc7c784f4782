#ifndef VESK_SIM_CORE_LINK_CHANNEL_H
#define VESK_SIM_CORE_LINK_CHANNEL_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "sim/core/CameraUnit.h"
#include "sim/core/DeviceModel.h"
#include "sim/core/FaultPlan.h"

namespace vesk::sim {

// What is plugged into a port: one link of one camera, or nothing when camera is null.
struct Cable {
  std::shared_ptr<CameraUnit> camera;
  unsigned link = 0;
};

struct PortCounters {
  uint64_t packetsToCamera = 0;
  uint64_t packetsFromCamera = 0;
};

// The wire between a board port's firmware half and the device half of the camera link plugged
// into it, the only place where the two meet. Cables, link speeds and faults act here, once for
// every transport, and the packets that cross are counted here. Safe to use from several threads.
class LinkChannel {
 public:
  using Receiver = std::function<void(const Packet&)>;

  LinkChannel() = default;
  LinkChannel(const LinkChannel&) = delete;
  LinkChannel& operator=(const LinkChannel&) = delete;
  // Answers still delayed are dropped.
  ~LinkChannel();

  Cable GetCable() const;
  // device answers for the camera's link; null while its transport has no device model. Answers
  // still delayed are dropped with the old cable.
  void SetCable(Cable cable, std::shared_ptr<DeviceModel> device = nullptr);

  // The rate the board drives the link at (Mbit/s, or baud on a serial link); 0 until set.
  void SetSpeed(uint32_t speed);
  uint32_t Speed() const;
  // A cable is in and its camera's link runs at the speed: before its transport changed the
  // link (its LinkState), at any speed the camera offers; a camera that lists no speeds takes any.
  // Without a cable, a tap to another network holds the link up.
  bool Locked() const;

  // The port's faults; the camera's are its CameraUnit's.
  FaultPlan& Faults() { return faults_; }

  // ---- The firmware's half ----
  // Where the camera's packets arrive; empty for nowhere. Once it returns, the old receiver runs
  // no more. A receiver may send, but not set a receiver.
  void SetReceiver(Receiver receiver);
  // False when nothing took the packet: no cable, no lock, or no device model.
  bool ToCamera(const Packet& packet);

  // ---- The device's half ----
  // An answer of the camera. One draw of the port's faults and one of the camera's decide, the
  // port's first: it arrives, or is dropped, corrupted in one bit, made odd by the device model,
  // delayed, silenced, or lost in a burst of line errors.
  void ToBoard(const Packet& packet);

  // Line errors that faults raised on this link; the firmware counts them with its own.
  void AddLineErrors(uint32_t count);
  uint64_t LineErrors() const;

  // ---- Another network on the wire, as a bridge to the host's ----
  // Every packet that crosses, either way, goes to tap as well; empty for none. Once it returns,
  // the old tap runs no more.
  void SetTap(Receiver tap);
  // A packet from the other network: to the firmware's receiver and, while the link runs, to the
  // camera, whose answers cross as ever.
  void FromTap(const Packet& packet);

  PortCounters Counters() const;
  void ResetCounters();

 private:
  using Clock = std::chrono::steady_clock;

  bool LockedHeld() const;
  void Deliver(const Packet& packet);
  void Delay(Packet packet, uint32_t delayMs);
  void Send(const std::vector<LatePacket>& packets);
  void DeliverLate();
  void ToTap(const Packet& packet);

  // Lock order: receiverMutex_ before mutex_ and lateMutex_ (a receiver that sends takes them);
  // mutex_ and lateMutex_ are never held together, nor while a device or receiver runs. mutex_
  // comes before the camera's link state (CameraUnit::Links, LinkState::Runs). tapMutex_ comes
  // last: a tap takes no lock of the channel.
  mutable std::mutex mutex_;
  Cable cable_;
  std::shared_ptr<DeviceModel> device_;
  uint32_t speed_ = 0;
  FaultPlan faults_;
  std::atomic<uint64_t> toCamera_{0};
  std::atomic<uint64_t> fromCamera_{0};
  std::atomic<uint64_t> lineErrors_{0};

  // Held while a receiver runs, so that replacing it waits; recursive, as a receiver may send
  // and so be answered on its own thread.
  std::recursive_mutex receiverMutex_;
  Receiver receiver_;

  // Held while the tap runs, so that replacing it waits; tapped_ tells LockedHeld about it.
  std::recursive_mutex tapMutex_;
  Receiver tap_;
  std::atomic<bool> tapped_{false};

  std::mutex lateMutex_;
  std::condition_variable lateChanged_;
  std::multimap<Clock::time_point, Packet> late_;
  bool stopping_ = false;
  std::thread courier_;  // started by the first delayed answer
};

}  // namespace vesk::sim

#endif
