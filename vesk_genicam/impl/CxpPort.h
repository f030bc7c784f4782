#ifndef VESK_GENICAM_IMPL_CXPPORT_H
#define VESK_GENICAM_IMPL_CXPPORT_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "loader/dsnrt.h"
#include "loader/vesk_hal.h"
#include "templates/platform/InterProcessLock.h"
#include "templates/platform/PcapDumper.h"
#include "templates/platform/RecursiveMutex.h"
#include "templates/platform/RevocableWait.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/CameraInfo.h"
#include "vesk_genicam/impl/IPortInterface.h"
#include "vesk_genicam/impl/PollTimer.h"

// How a board's firmware drives its CoaXPress transceivers; decides how bit rates are set, how
// transceivers are reset, where error counters are read and how control packets travel.
enum ECXPINTERFACETYPE : uint32_t {
  CxpIfDrpA = 1,
  CxpIfDrpB = 2,
  CxpIfRateIndex = 3,
  CxpIfRateIndexRxStatus = 6,
  CxpIfTransceiverRegs = 10,
  CxpIfCameraCtrl = 16,  // the board library frames packets and owns the transceivers
};

enum ELEDSTATE : uint32_t {
  LedPortCreated = 1,
  LedNoCamera = 2,
  LedLinkReset = 3,
  LedConnected = 8,
};

// What ExecCmd waits for after sending.
enum AckPolicy : uint32_t {
  AckRequired = 0,
  AckOptional = 1,  // a time-out counts as success
  AckNone = 2,
};

// One CoaXPress connector of a board and the camera link on it. Its four sides live in four
// units: the frame (construction, firmware registers, core state), the command engine (control
// packets and acknowledgements), the link layer (bit rates, lock, error supervision) and the
// identity (bootstrap registers, XML). The controller owns the ports of its board.
//
// The controller's threads set the link's fields while application threads read them: those are
// atomic, and what a command uses (register and queue numbers, tags, the XML name) changes only
// under portScope_, which every command holds.
//
// Lock order: portScope_ before the command lock or the transceiver lock; the two board-wide locks
// are never held together. cameraInfoMutex_ is taken with or without portScope_, and nothing is
// taken under it but portScope_ through ReadPacket.
class CCxpPort : public IPortInterface {
 public:
  CCxpPort(unsigned int portId, ECXPINTERFACETYPE type, PLdevice* device, fpga_design* design);
  ~CCxpPort() override;
  CCxpPort(const CCxpPort&) = delete;
  CCxpPort& operator=(const CCxpPort&) = delete;

  // Frame.
  void InitReg();
  void RemapReg(unsigned int pl);
  void SetPortPL(unsigned int pl);
  int ResetCxpControlCore(unsigned int state);
  unsigned int GetCxpControlCoreResetState() const { return controlCoreResetState_; }
  void SetLEDState(ELEDSTATE state);
  void SetFirmwareCxpStandardVersion(unsigned int value);
  void SetNumCameraConnections(unsigned int count);
  void LockPortQueues();
  void UnlockPortQueues();

  EPORT_TYPE GetPortType() override { return portType_; }
  uint32_t GetPortId() override { return portId_; }
  uint32_t GetPortPL() override { return portPL_; }
  uint32_t GetLogicPort() override { return logicPort_; }
  uint32_t GetLogicPLPort() override { return logicPLPort_; }
  uint32_t GetSpeed() override { return speed_; }
  uint32_t GetPLOperatorIndex() override { return plOperatorIndex_; }
  uint32_t GetPLOperatorSize() override { return plOperatorSize_; }
  uint32_t GetMasterID() const { return masterId_; }
  uint32_t GetExtensionID() const { return extensionId_; }
  uint32_t GetDefaultConfigValue() const { return defaultConfigValue_; }
  void SetPortType(EPORT_TYPE type) { portType_ = type; }
  void SetMasterID(uint32_t id) { masterId_ = id; }
  void SetExtensionID(uint32_t id) { extensionId_ = id; }
  void SetLogicalPort(uint32_t port) { logicPort_ = port; }
  void SetLogicPLPort(uint32_t port) { logicPLPort_ = port; }
  void SetPLOperatorSize(uint32_t size) { plOperatorSize_ = size; }
  void SetPLOperatorIndex(uint32_t index) { plOperatorIndex_ = index; }
  void SetDefaultConfigValue(uint32_t value) { defaultConfigValue_ = value; }
  void SetSkipMagic(bool skip) { skipMagic_ = skip; }

  // Command engine.
  int ReadPacket(unsigned int address, unsigned char* buffer, unsigned int size,
                 unsigned int timeoutMs) override;
  int WritePacket(unsigned int address, unsigned char* buffer, unsigned int size,
                  unsigned int timeoutMs) override;
  // GenApi's access. Failures are not passed on: a node reads what the buffer held.
  void Read(void* buffer, int64_t address, int64_t length) override;
  void Write(const void* buffer, int64_t address, int64_t length) override;
  // A big-endian camera register of 4 bytes, with the register time-out of 200 ms.
  int ReadWord(unsigned int address, uint32_t& value);
  int WriteWord(unsigned int address, uint32_t value);
  int ExecCmd(bool write, unsigned int address, unsigned int* buffer, unsigned int size,
              AckPolicy policy, unsigned int timeoutMs);
  void ResetTag(bool enable);
  bool IsTagEnabled() const { return tagEnabled_; }
  bool IsBootstrapAddress(uint64_t address) override;
  uint32_t GetMaxControlPacketSize() override { return maxControlPacketSize_; }
  uint32_t GetMaxCoreControlPacketSize() override { return maxCoreControlPacketSize_; }
  uint32_t GetMaxStreamPacketSize() override { return static_cast<uint32_t>(maxStreamPacketSize_); }

  // Link layer.
  int SetDownlinkBitrate(unsigned int speed);
  int SetUplinkBitrate(unsigned int speed, bool* changed);
  void ResetCxpTransceiver();
  int WaitForLinkUp();
  int CheckBootstrapComunication();
  int LockLinksAtSpeed(unsigned int speed);
  uint64_t GetCurrentTransceiverErrorCount();
  bool IsConnected() override;
  bool IsTransceiverSynchronized() override;
  bool CheckTransceiverSynchronizedCounter();
  void Reset();
  void RequestCancellation();
  void ResetRevocableWait();

  // Identity.
  int SaveCameraInfo() override;
  int UpdateCameraInfo() override;
  ICameraInfo* GetCameraInfo() override { return &cameraInfo_; }
  int LoadXML(std::string& xml, unsigned int index) override;
  int GetXmlInfo();
  uint32_t GetXmlSize() const { return xmlSize_; }
  std::string GetXmlName();
  void UpdatePreAcquisition() override;
  uint32_t GetRevision();
  uint32_t GetMagicValue() const { return magicValue_; }

 private:
  // Register ids as the design names them; below 1 where it has none.
  struct Registers {
    int gtxRxReset = 0;
    int rxPllDet = 0;
    int rxResetDone = 0;
    int gtxDrpReady = 0;
    int gtxSetBitRateDone = 0;
    int rxStatus = 0;
    int txPacketSent = 0;
    int streamPacketSize = 0;
    int coreReset[2] = {0, 0};
    int notInTable = 0;
    int drpAddress = 0;
    int drpWriteData = 0;
    int setBitRate = 0;
    int status = 0;
    int downLinkBitRate = 0;
    int upLinkBitRate = 0;
    int txWriteData = 0;
    int rxAckData = 0;
    int ledWrite = 0;
    int ledRead = 0;
  };

  // Frame.
  int Lookup(const char* name) const;
  int LookupAt(const char* name, unsigned int port) const;
  void ReadTweaks();
  void LogTweak(const char* variable, const char* unit, uint64_t value);
  void SetErrorCounter();
  int ReadRegister(int id, uint64_t& value);
  int WriteRegister(int id, uint64_t value);
  // The board-wide locks, or no lock on boards that take none.
  vesk::templates::patterns::GenericLock* BoardLock(
      vesk::templates::platform::InterProcessLock& lock);
  std::string Prefix() const;

  // Command engine.
  struct Exchange;
  int SendPacket(const unsigned int* packet, unsigned int packetWords, unsigned int timeoutMs);
  int AwaitAcknowledgements(Exchange& exchange);
  int ConsumeAcknowledgement(Exchange& exchange, std::vector<unsigned int>& words, size_t& offset);
  int CleanRcvBuf();
  int WaitForPacketData(unsigned int timeoutMs, std::vector<unsigned int>& words);
  int ReadPacketData(unsigned int timeoutMs, std::vector<unsigned int>& words);
  int ReadQueuePacket(unsigned int timeoutMs, std::vector<unsigned int>& words);
  void Capture(const unsigned int* words, unsigned int count,
               vesk::templates::platform::PcapDumper::Direction direction);
  void AfterWrite(unsigned int address, const unsigned char* buffer);

  // Link layer.
  int SetDownlinkDrp(const unsigned int* values);
  int SetDownlinkIndexed(int doneRegister, uint64_t doneBit, int rateRegister, unsigned int speed);
  int PollBit(int id, uint64_t bit, bool set);

  // Identity.
  int ReadString(unsigned int address, unsigned int size, std::string& text);
  void SettleVersion();
  void SettleTags();
  void SettlePacketSizes();

  static vesk::tools::logging::ClassLogger logger_;

  PLdevice* const device_;
  fpga_design* const design_;
  const ECXPINTERFACETYPE type_;
  const int boardIndex_;
  const uint32_t boardType_;
  const uint32_t portId_;
  std::atomic<uint32_t> logicPort_{0xFFFFFFFF};
  std::atomic<uint32_t> portPL_;
  std::atomic<uint32_t> logicPLPort_{0xFFFFFFFF};
  std::atomic<uint32_t> masterId_{0};
  std::atomic<uint32_t> extensionId_{0xFFFFFFFF};
  std::atomic<EPORT_TYPE> portType_{PortTypeUnconnected};
  std::atomic<uint32_t> defaultConfigValue_{0};
  std::atomic<uint32_t> plOperatorSize_{1};
  std::atomic<uint32_t> plOperatorIndex_{0xFFFFFFFF};
  std::atomic<uint32_t> speed_{kNoLinkSpeed};
  uint32_t uplinkHigh_ = 2;  // 2: not known yet
  uint32_t commandAckTimeout_ = 500;
  uint32_t waitAfterLinkLockFound_ = 0;
  uint32_t dualErrorCounter_ = 0;
  uint64_t errorCountMask_ = 0;
  uint64_t toleratedNitErrors_ = 0;
  uint64_t toleratedIntervals_ = 0;
  std::atomic<uint64_t> lastErrorCount_{0};
  uint64_t criticalIntervals_ = 0;
  std::atomic<bool> skipMagic_{false};
  std::atomic<uint32_t> magicValue_{0xFFFFFFFF};
  std::atomic<unsigned int> controlCoreResetState_{0};

  std::atomic<bool> tagEnabled_{false};
  uint8_t tagCounter_ = 0;
  std::atomic<uint32_t> maxControlPacketSize_{128};
  const uint32_t maxCoreControlPacketSize_ = 2048;
  uint32_t maxControlPacketTweak_ = 0;
  std::atomic<uint64_t> maxStreamPacketSize_{0};
  bool enableCxp2Extensions_ = true;
  std::atomic<uint32_t> acquisitionStartAddress_{0xFFFFFFFF};
  std::atomic<uint32_t> acquisitionStopAddress_{0xFFFFFFFF};
  std::atomic<uint32_t> xmlSize_{0};
  std::string xmlName_;
  int rxQueue_ = 0;
  int txQueue_ = 3;

  Registers registers_;
  CCameraInfo cameraInfo_;
  std::mutex cameraInfoMutex_;
  vesk::templates::platform::RecursiveMutex portScope_;
  // Board-wide: transceiver and LED registers, and one control packet from send to last
  // acknowledgement. Never entered twice on one path, so not recursive: a recursive lock counts
  // its levels per thread that built it, and a level that another thread took would keep its
  // file locked for good, stalling every other process on the board.
  vesk::templates::platform::InterProcessLock transceiverLock_;
  vesk::templates::platform::InterProcessLock commandLock_;
  vesk::templates::platform::RevocableWait revocableWait_;
  std::unique_ptr<vesk::templates::platform::PcapDumper> pcapDumper_;
};

#endif
