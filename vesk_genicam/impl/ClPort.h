#ifndef VESK_GENICAM_IMPL_CLPORT_H
#define VESK_GENICAM_IMPL_CLPORT_H

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "loader/vesk_hal.h"
#include "templates/platform/RecursiveMutex.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/CameraInfo.h"
#include "vesk_genicam/impl/IPortInterface.h"

class CClBufferRet;

// One Camera Link serial channel and the GenCP camera behind it. A polling thread of the port
// collects the bytes that come in and cuts them into replies; a command sends one request and
// waits once, for the port's max ack time, for the reply with its request id. There is no
// retry: a lost or late reply fails the command. The port is told in four units: the frame
// (construction, polling, state), the commands, the camera's baud rate and its identity.
//
// Threads: application threads through IPortInterface, the polling thread, and the controller's
// ready thread, which calls DetectSpeed and Reset when a camera comes or goes. portScope_
// serialises memory commands; a sequence of commands (DetectSpeed, SetSpeed, SaveCameraInfo,
// GetXmlInfo) takes it command by command and may interleave with other callers'. replyMutex_
// and ackMutex_ are leaves, never held across a wait for a reply.
class CClPort : public IPortInterface {
 public:
  // Opens the channel at 9600 baud, starts the polling thread and searches the camera's baud
  // rate, which takes one max ack time per rate that stays silent.
  CClPort(unsigned int portId, PLdevice* device);
  // Leaves the camera at its start rate and joins the polling thread, which may take one max
  // ack time.
  ~CClPort() override;
  CClPort(const CClPort&) = delete;
  CClPort& operator=(const CClPort&) = delete;

  EPORT_TYPE GetPortType() override;
  uint32_t GetPortId() override;
  uint32_t GetPortPL() override;
  uint32_t GetLogicPort() override;
  uint32_t GetLogicPLPort() override;
  // The baud rate, kNoLinkSpeed without a camera.
  uint32_t GetSpeed() override;
  uint32_t GetPLOperatorIndex() override { return GetLogicPLPort() >> 16; }
  uint32_t GetPLOperatorSize() override { return 1; }
  bool IsConnected() override;
  bool IsTransceiverSynchronized() override { return IsConnected(); }
  bool IsBootstrapAddress(uint64_t address) override;
  uint32_t GetMaxControlPacketSize() override { return kMaxControlPacketSize; }
  uint32_t GetMaxCoreControlPacketSize() override { return kMaxControlPacketSize; }
  uint32_t GetMaxStreamPacketSize() override { return 0; }
  ICameraInfo* GetCameraInfo() override { return &cameraInfo_; }
  int SaveCameraInfo() override;
  int UpdateCameraInfo() override;
  // Always the manifest's first file, whatever index: index only bounds-checks. Only a zipped
  // file gives a description; a plain one leaves xml as it was.
  int LoadXML(std::string& xml, unsigned int index) override;
  void UpdatePreAcquisition() override {}
  // The time-out arguments are not used: every command waits the port's max ack time.
  int ReadPacket(unsigned int address, unsigned char* buffer, unsigned int length,
                 unsigned int timeoutMs) override;
  int WritePacket(unsigned int address, unsigned char* buffer, unsigned int length,
                  unsigned int timeoutMs) override;
  // GenApi's access; failures are not passed on.
  void Read(void* buffer, int64_t address, int64_t length) override;
  void Write(const void* buffer, int64_t address, int64_t length) override;

  void SetPortType(EPORT_TYPE type, uint32_t logicalPort);
  void SetPortPL(uint32_t port) { portPL_ = port; }
  void SetLogicPLPort(uint32_t port) { logicPLPort_ = port; }
  void SetMaxAckTime(uint32_t ms) { maxAckTimeMs_ = ms; }
  // There is no LED on this interface; the state is only logged.
  void SetLEDState(unsigned int state);
  bool IsClockPresent();

  // One request, and the reply with its request id within the max ack time.
  int ExecCmd(unsigned int address, unsigned int* data, unsigned int length, bool write);
  // Hands one frame to the serial transmitter, dropping what waits in both queues.
  int WritePacket(const unsigned char* frame, unsigned int size, unsigned int timeoutMs);
  // One cycle of the polling thread: blocks for the first byte or the max ack time, drains what
  // has come and takes at most one reply out of pending. Returns whether to go on.
  bool ReadData(std::vector<unsigned char>& pending);

  // Searches the rates from the lowest up for one at which the camera reads its serial
  // bootstrap address, then reads which rates the camera supports.
  int DetectSpeed();
  // Moves camera and channel to a supported rate: a non-zero supported speed selects the lowest
  // supported rate, anything else the highest.
  int SetSpeed(unsigned int speed);
  int SetConnSpeed(unsigned int speed);
  // Back to no camera; clearSpeeds forgets the rates the camera supports. The serial rate stays.
  void Reset(bool clearSpeeds);
  // Reads the manifest into the XML location; returns MLO_ERR_INTERNAL when it went well too, so
  // success shows only in GetXmlName.
  int GetXmlInfo();
  std::string GetXmlName();
  uint32_t GetXmlSize() const { return xmlSize_; }

  static constexpr unsigned int kRateCount = 8;
  static constexpr std::array<uint32_t, kRateCount> kRates = {9600,   19200,  38400,  57600,
                                                              115200, 230400, 460800, 921600};
  bool IsRateSupported(unsigned int index) const { return supported_[index]; }

 private:
  static constexpr uint32_t kMaxControlPacketSize = 992;

  void PollingThread();
  void SignalAck();
  // Waits once for a signal, at most until the deadline, and clears it.
  void WaitForAck();
  // The reply with id, taken out of the list; null if none came.
  std::unique_ptr<CClBufferRet> TakeReply(uint16_t id);
  int Finish(CClBufferRet& reply, unsigned int* data, unsigned int length, bool write) const;
  int Transfer(unsigned int address, unsigned char* buffer, unsigned int length, bool write);
  int ReadBootstrap64(unsigned int address, uint64_t& value);
  struct Manifest;
  int ReadManifest(Manifest& manifest, bool logged);
  std::string Prefix() const;

  static vesk::tools::logging::ClassLogger logger_;

  PLdevice* const device_;
  const uint32_t portId_;
  std::atomic<uint32_t> logicPort_{0xFFFFFFFF};
  std::atomic<uint32_t> portPL_{0xFFFFFFFF};
  std::atomic<uint32_t> logicPLPort_{0xFFFFFFFF};
  std::atomic<EPORT_TYPE> portType_{PortTypeUnconnected};
  std::atomic<uint32_t> speed_{kNoLinkSpeed};
  uint16_t requestId_ = 1;  // under portScope_
  std::atomic<uint32_t> maxAckTimeMs_{1000};
  std::atomic<int> rxQueue_{-1};
  std::atomic<int> txQueue_{-1};
  std::atomic<uint64_t> sbrmAddress_{~0ull};
  std::array<std::atomic<bool>, kRateCount> supported_{};

  std::mutex cameraInfoMutex_;
  CCameraInfo cameraInfo_;
  std::mutex xmlMutex_;
  std::string xmlName_;
  std::atomic<uint32_t> xmlSize_{0};

  vesk::templates::platform::RecursiveMutex portScope_;
  std::mutex replyMutex_;
  std::vector<std::unique_ptr<CClBufferRet>> replies_;
  std::mutex ackMutex_;
  std::condition_variable ackSignal_;
  bool ackSignalled_ = false;
  std::atomic<bool> pollingAlive_{false};
  std::thread pollingThread_;
};

#endif
