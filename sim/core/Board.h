#ifndef VESK_SIM_CORE_BOARD_H
#define VESK_SIM_CORE_BOARD_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "sim/core/ConfigSpace.h"
#include "sim/core/DataQueue.h"
#include "sim/core/DesignVariant.h"
#include "sim/core/FirmwareModel.h"
#include "sim/core/Port.h"
#include "sim/core/RegisterTable.h"
#include "sim/core/Rig.h"
#include "sim/firmware/cxp/CameraControl.h"

namespace vesk::sim {

class Notifier;

struct BoardCounters {
  uint64_t registerReads = 0;
  uint64_t registerWrites = 0;
  uint64_t queueUnitsWritten = 0;
  uint64_t queueUnitsRead = 0;
};

// One frame grabber of the rig with the design its variant names: registers, data queues,
// ports, camera controller, configuration space and notifications. Every operation checks its
// arguments and answers with a status. Safe to use from several threads.
class Board {
 public:
  Board(const RigBoard& described, const DesignVariant& variant);
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;

  // Once, right after construction.
  void AttachFirmware(std::unique_ptr<FirmwareModel> firmware) { firmware_ = std::move(firmware); }

  int Index() const { return described_.index; }
  const RigBoard& Described() const { return described_; }
  const DesignVariant& Variant() const { return variant_; }
  // "board/type", "board/serial" or "ports/gige".
  int InfoInt(const char* key) const;

  RegisterTable& Registers() { return registers_; }
  int ReadRegister(int id, uint64_t& value);
  int WriteRegister(int id, uint64_t value);

  // Null for a queue the design lacks.
  DataQueue* Queue(int queue);
  // As DataQueue's, after checking that the queue exists and is of that unit.
  int ReadQueue(int queue, QueueUnit unit, uint8_t* bytes, size_t size, unsigned timeoutMs);
  int WriteQueue(int queue, QueueUnit unit, const uint8_t* bytes, size_t size, unsigned timeoutMs);

  unsigned PortCount() const { return static_cast<unsigned>(ports_.size()); }
  // Null for a port the board lacks.
  Port* PortAt(unsigned port) { return port < ports_.size() ? ports_[port].get() : nullptr; }
  // Gives the port the device model of the board's transport for the camera's link, and tells
  // the firmware model, and the notification callbacks on Ethernet boards.
  void SetCable(unsigned port, Cable cable);
  // Puts a tap to another network on a port's wire (LinkChannel::SetTap), or takes it off with
  // an empty one; on Ethernet boards the PHY tells of the link as for a cable.
  void SetTap(unsigned port, LinkChannel::Receiver tap);
  // The firmware trips the port's power as an overload would.
  int TripPower(unsigned port);
  // Bit 0 while a camera is plugged in and, as the firmware tells, its clock runs.
  int CameraStatus(unsigned port);
  // The Camera Link serial channel of a port and its two byte queues.
  int OpenSerial(unsigned port, unsigned baud, int& rxQueue, int& txQueue);
  int SetSerialBaud(unsigned port, unsigned baud);

  // Null when the design has no camera controller.
  CameraControl* Controller() { return controller_.get(); }
  ConfigSpace& Config() { return config_; }

  // Hands (what, detail) to every subscribed notifier.
  void Notify(unsigned long what, unsigned long detail);
  void Subscribe(Notifier* notifier);
  void Unsubscribe(Notifier* notifier);

  BoardCounters Counters() const;
  void ResetCounters();
  void ReleaseQueueLocksOf(const void* owner);

 private:
  const RigBoard described_;
  const DesignVariant& variant_;
  RegisterTable registers_;
  std::map<int, std::unique_ptr<DataQueue>> queues_;
  std::vector<std::unique_ptr<Port>> ports_;
  std::unique_ptr<CameraControl> controller_;
  ConfigSpace config_;
  std::mutex subscribersMutex_;
  std::vector<Notifier*> subscribers_;
  std::atomic<uint64_t> registerReads_{0};
  std::atomic<uint64_t> registerWrites_{0};
  std::atomic<uint64_t> queueUnitsWritten_{0};
  std::atomic<uint64_t> queueUnitsRead_{0};
  std::unique_ptr<FirmwareModel> firmware_;  // last: destroyed while what it uses exists
};

}  // namespace vesk::sim

#endif
