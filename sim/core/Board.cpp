#include "sim/core/Board.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "sim/core/Notifier.h"
#include "sim/core/Transports.h"
#include "sim/include/vesk_sim.h"

namespace vesk::sim {

namespace {

bool IsSerialBaud(unsigned baud) {
  for (unsigned known : {9600u, 19200u, 38400u, 57600u, 115200u, 230400u, 460800u, 921600u}) {
    if (baud == known) return true;
  }
  return false;
}

// What the PHY of an Ethernet port tells when its link comes or goes.
constexpr unsigned long kPhyEvent = 3;
constexpr unsigned long kPhyStateChanged = 2;

}  // namespace

Board::Board(const RigBoard& described, const DesignVariant& variant)
    : described_(described),
      variant_(variant),
      registers_(ExpandRegisters(variant, described.ports)) {
  for (const QueueBlock& block : variant.queues) {
    const int count = block.perPort * static_cast<int>(described.ports);
    for (int queue = block.first; queue < block.first + count; ++queue) {
      queues_.emplace(queue, std::make_unique<DataQueue>(block.unit));
    }
  }
  for (unsigned port = 0; port < described.ports; ++port) {
    ports_.push_back(std::make_unique<Port>());
    auto faults = described.portFaults.find(port);
    if (faults != described.portFaults.end()) ports_.back()->Faults().Set(faults->second);
  }
  if (variant.cameraController) controller_ = std::make_unique<CameraControl>(described.ports);
}

int Board::InfoInt(const char* key) const {
  if (!key) return VSIM_ERROR_INVALID_ARGUMENT;
  if (std::strcmp(key, "board/type") == 0) return described_.type;
  if (std::strcmp(key, "board/serial") == 0) return described_.serial;
  if (std::strcmp(key, "ports/gige") == 0) return static_cast<int>(described_.gigePorts);
  return VSIM_ERROR_INVALID_ARGUMENT;
}

int Board::ReadRegister(int id, uint64_t& value) {
  const int status = registers_.Read(id, value);
  if (status == 0) ++registerReads_;
  return status;
}

int Board::WriteRegister(int id, uint64_t value) {
  const int status = registers_.Write(id, value);
  if (status == 0) ++registerWrites_;
  return status;
}

DataQueue* Board::Queue(int queue) {
  auto found = queues_.find(queue);
  return found == queues_.end() ? nullptr : found->second.get();
}

int Board::ReadQueue(int queue, QueueUnit unit, uint8_t* bytes, size_t size, unsigned timeoutMs) {
  DataQueue* found = Queue(queue);
  if (!found) return VSIM_ERROR_NO_SUCH_QUEUE;
  if (found->Unit() != unit) return VSIM_ERROR_WRONG_QUEUE_UNIT;
  const int moved = found->Read(bytes, size, timeoutMs);
  if (moved > 0) queueUnitsRead_ += static_cast<uint64_t>(moved) / static_cast<uint64_t>(unit);
  return moved;
}

int Board::WriteQueue(int queue, QueueUnit unit, const uint8_t* bytes, size_t size,
                      unsigned timeoutMs) {
  DataQueue* found = Queue(queue);
  if (!found) return VSIM_ERROR_NO_SUCH_QUEUE;
  if (found->Unit() != unit) return VSIM_ERROR_WRONG_QUEUE_UNIT;
  const int moved = found->Write(bytes, size, timeoutMs);
  if (moved > 0) queueUnitsWritten_ += static_cast<uint64_t>(moved) / static_cast<uint64_t>(unit);
  return moved;
}

void Board::SetCable(unsigned port, Cable cable) {
  Port* target = PortAt(port);
  if (!target) return;
  std::shared_ptr<DeviceModel> device =
      cable.camera ? MakeDeviceModel(variant_.family, cable, *target) : nullptr;
  target->SetCable(std::move(cable), std::move(device));
  if (variant_.family == Family::Gige) Notify(kPhyEvent, kPhyStateChanged);
  if (firmware_) firmware_->CableChanged(port);
}

void Board::SetTap(unsigned port, LinkChannel::Receiver tap) {
  Port* target = PortAt(port);
  if (!target) return;
  target->SetTap(std::move(tap));
  if (variant_.family == Family::Gige) Notify(kPhyEvent, kPhyStateChanged);
}

int Board::TripPower(unsigned port) {
  if (port >= PortCount()) return VSIM_ERROR_NO_SUCH_PORT;
  return firmware_ ? firmware_->TripPower(port) : VSIM_ERROR_NOT_SUPPORTED;
}

int Board::CameraStatus(unsigned port) {
  Port* target = PortAt(port);
  if (!target) return VSIM_ERROR_NO_SUCH_PORT;
  const int plain = target->GetCable().camera ? 1 : 0;
  return firmware_ ? firmware_->CameraStatus(port, plain) : plain;
}

int Board::OpenSerial(unsigned port, unsigned baud, int& rxQueue, int& txQueue) {
  if (variant_.serialQueueBlock < 0) return VSIM_ERROR_NOT_SUPPORTED;
  if (const int status = SetSerialBaud(port, baud)) return status;
  const QueueBlock& block = variant_.queues[static_cast<size_t>(variant_.serialQueueBlock)];
  rxQueue = block.first + block.perPort * static_cast<int>(port);
  txQueue = rxQueue + 1;
  return 0;
}

int Board::SetSerialBaud(unsigned port, unsigned baud) {
  if (variant_.serialQueueBlock < 0) return VSIM_ERROR_NOT_SUPPORTED;
  Port* target = PortAt(port);
  if (!target) return VSIM_ERROR_NO_SUCH_PORT;
  if (!IsSerialBaud(baud)) return VSIM_ERROR_INVALID_ARGUMENT;
  target->SetBaud(baud);
  return 0;
}

void Board::Notify(unsigned long what, unsigned long detail) {
  std::lock_guard<std::mutex> lock(subscribersMutex_);
  for (Notifier* notifier : subscribers_) notifier->Post(what, detail);
}

void Board::Subscribe(Notifier* notifier) {
  std::lock_guard<std::mutex> lock(subscribersMutex_);
  subscribers_.push_back(notifier);
}

void Board::Unsubscribe(Notifier* notifier) {
  std::lock_guard<std::mutex> lock(subscribersMutex_);
  subscribers_.erase(std::remove(subscribers_.begin(), subscribers_.end(), notifier),
                     subscribers_.end());
}

BoardCounters Board::Counters() const {
  return {registerReads_.load(), registerWrites_.load(), queueUnitsWritten_.load(),
          queueUnitsRead_.load()};
}

void Board::ResetCounters() {
  registerReads_ = 0;
  registerWrites_ = 0;
  queueUnitsWritten_ = 0;
  queueUnitsRead_ = 0;
  for (auto& port : ports_) port->ResetCounters();
}

void Board::ReleaseQueueLocksOf(const void* owner) {
  for (auto& [number, queue] : queues_) queue->ReleaseLockOf(owner);
}

}  // namespace vesk::sim
