#include "sim/core/LinkChannel.h"

#include <algorithm>
#include <utility>

namespace vesk::sim {

LinkChannel::~LinkChannel() {
  {
    std::lock_guard<std::mutex> lock(lateMutex_);
    stopping_ = true;
  }
  lateChanged_.notify_all();
  if (courier_.joinable()) courier_.join();
}

Cable LinkChannel::GetCable() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return cable_;
}

void LinkChannel::SetCable(Cable cable, std::shared_ptr<DeviceModel> device) {
  std::shared_ptr<DeviceModel> pulled;  // goes outside the lock: it may answer as it goes
  {
    std::lock_guard<std::mutex> lock(mutex_);
    cable_ = std::move(cable);
    pulled = std::exchange(device_, std::move(device));
  }
  std::lock_guard<std::mutex> lock(lateMutex_);
  late_.clear();
}

void LinkChannel::SetSpeed(uint32_t speed) {
  std::lock_guard<std::mutex> lock(mutex_);
  speed_ = speed;
}

uint32_t LinkChannel::Speed() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return speed_;
}

bool LinkChannel::Locked() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return LockedHeld();
}

bool LinkChannel::LockedHeld() const {
  if (!cable_.camera) return tapped_;
  if (const std::shared_ptr<LinkState> links = cable_.camera->Links()) {
    return links->Runs(cable_.link, speed_);
  }
  const std::vector<uint32_t>& speeds = cable_.camera->described.speeds;
  return speeds.empty() || std::find(speeds.begin(), speeds.end(), speed_) != speeds.end();
}

void LinkChannel::SetReceiver(Receiver receiver) {
  std::lock_guard<std::recursive_mutex> lock(receiverMutex_);
  receiver_ = std::move(receiver);
}

bool LinkChannel::ToCamera(const Packet& packet) {
  ToTap(packet);
  std::shared_ptr<DeviceModel> device;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!device_ || (!LockedHeld() && !device_->HearsWithoutLock())) return tapped_;
    device = device_;
  }
  ++toCamera_;
  device->FromBoard(packet);
  return true;
}

void LinkChannel::ToBoard(const Packet& packet) {
  std::shared_ptr<CameraUnit> camera;
  std::shared_ptr<DeviceModel> device;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!cable_.camera || !LockedHeld()) return;
    camera = cable_.camera;
    device = device_;
  }
  // Both sequences advance on every answer, so each stays repeatable whatever the other does.
  const Fault portFault = faults_.Next();
  const Fault cameraFault = camera->faults.Next();
  FaultPlan& plan = portFault != Fault::None ? faults_ : camera->faults;
  const Fault fault = portFault != Fault::None ? portFault : cameraFault;
  switch (fault) {
    case Fault::None:
      Deliver(packet);
      return;
    case Fault::Drop:
    case Fault::Silent:
      return;
    case Fault::Corrupt: {
      Packet corrupted = packet;
      if (!corrupted.empty()) {
        const uint32_t bit = plan.Draw(static_cast<uint32_t>(corrupted.size() * 8));
        corrupted[bit / 8] ^= static_cast<uint8_t>(1u << (bit % 8));
      }
      Deliver(corrupted);
      return;
    }
    case Fault::Delay:
      Delay(packet, plan.Settings().delayMs);
      return;
    case Fault::Burst:
      AddLineErrors(plan.Settings().burstErrors);
      return;
    case Fault::Odd:
    case Fault::Wait:
    case Fault::Tentative:
    case Fault::Unknown:
    case Fault::BadCrc:
    case Fault::Error:
      Send(device ? device->Oddly(packet, fault, plan) : std::vector<LatePacket>{{0, packet}});
      return;
  }
}

void LinkChannel::Send(const std::vector<LatePacket>& packets) {
  for (const LatePacket& late : packets) {
    if (late.delayMs == 0) {
      Deliver(late.packet);
    } else {
      Delay(late.packet, late.delayMs);
    }
  }
}

void LinkChannel::AddLineErrors(uint32_t count) { lineErrors_ += count; }

uint64_t LinkChannel::LineErrors() const { return lineErrors_.load(); }

void LinkChannel::Deliver(const Packet& packet) {
  ToTap(packet);
  std::lock_guard<std::recursive_mutex> lock(receiverMutex_);
  if (!receiver_) return;
  ++fromCamera_;
  receiver_(packet);
}

void LinkChannel::SetTap(Receiver tap) {
  std::lock_guard<std::recursive_mutex> lock(tapMutex_);
  tapped_ = static_cast<bool>(tap);
  tap_ = std::move(tap);
}

void LinkChannel::ToTap(const Packet& packet) {
  if (!tapped_) return;  // the wires of every transport pass here; most never have a tap
  std::lock_guard<std::recursive_mutex> lock(tapMutex_);
  if (tap_) tap_(packet);
}

void LinkChannel::FromTap(const Packet& packet) {
  {
    std::lock_guard<std::recursive_mutex> lock(receiverMutex_);
    if (receiver_) receiver_(packet);
  }
  std::shared_ptr<DeviceModel> device;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!device_ || !cable_.camera || !LockedHeld()) return;
    device = device_;
  }
  ++toCamera_;
  device->FromBoard(packet);
}

void LinkChannel::Delay(Packet packet, uint32_t delayMs) {
  std::lock_guard<std::mutex> lock(lateMutex_);
  // Equal times keep their order: a multimap inserts behind its equals.
  late_.emplace(Clock::now() + std::chrono::milliseconds(delayMs), std::move(packet));
  if (!courier_.joinable()) courier_ = std::thread(&LinkChannel::DeliverLate, this);
  lateChanged_.notify_all();
}

void LinkChannel::DeliverLate() {
  // Delay and the destructor wake the thread; the bound keeps every wait of the simulator finite.
  constexpr auto kIdle = std::chrono::milliseconds(200);
  std::unique_lock<std::mutex> lock(lateMutex_);
  while (!stopping_) {
    const Clock::time_point due = late_.empty() ? Clock::now() + kIdle : late_.begin()->first;
    if (late_.empty() || Clock::now() < due) {
      lateChanged_.wait_until(lock, due);
      continue;
    }
    Packet packet = std::move(late_.begin()->second);
    late_.erase(late_.begin());
    lock.unlock();
    Deliver(packet);
    lock.lock();
  }
}

PortCounters LinkChannel::Counters() const { return {toCamera_.load(), fromCamera_.load()}; }

void LinkChannel::ResetCounters() {
  toCamera_ = 0;
  fromCamera_ = 0;
}

}  // namespace vesk::sim
