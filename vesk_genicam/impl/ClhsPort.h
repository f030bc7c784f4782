#ifndef VESK_GENICAM_IMPL_CLHSPORT_H
#define VESK_GENICAM_IMPL_CLHSPORT_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "loader/dsnrt.h"
#include "loader/vesk_hal.h"
#include "templates/platform/InterProcessLock.h"
#include "templates/platform/RecursiveMutex.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/CameraInfo.h"
#include "vesk_genicam/impl/IPortInterface.h"

// How a design reports the state of its transceivers: one status register per port, or one for
// the board. It picks the bit patterns of the reset sequences and of the link check.
enum ECLHS_INTERFACE_TYPE : uint32_t {
  ClhsIfNone = 0,
  ClhsIfPortStatus = 2,   // "GtxStatus_0"
  ClhsIfBoardStatus = 3,  // "GtxStatus"
};

// One Camera Link HS channel of a board. GenCP memory commands go word by word into the X-Core's
// transmit FIFO and their acknowledgements are polled out of the receive FIFO, all on the
// caller's thread. The controller may route the command path to another firmware channel
// (RemapReg); the transceiver and the LED stay with the physical port. Its two sides live in two
// units: the frame (registers, reset sequences, link signal, identity) and the command engine.
//
// The controller's ready thread checks the link signal while application threads send commands:
// both hold portScope_, so a check waits behind a command. Fields the controller sets during a
// discovery are atomic. Lock order: portScope_, then cameraInfoMutex_; the register lock is a
// leaf.
class CClhsPort : public IPortInterface {
 public:
  CClhsPort(unsigned int portId, ECLHS_INTERFACE_TYPE type, PLdevice* device, fpga_design* design);
  CClhsPort(const CClhsPort&) = delete;
  CClhsPort& operator=(const CClhsPort&) = delete;

  // Frame.
  void InitReg();
  void RemapReg(unsigned int channel);
  void Reset();
  bool SetStatusReg(unsigned int value, unsigned int mask, unsigned int expected);
  int ResetCLHSCommandPort();
  void DoCoreReset();
  bool PhyConnect();
  bool CheckForReceiveLinkSignal();
  void SetLEDState(unsigned int state);
  int ResetCtrlCore(unsigned int value);
  unsigned int GetResetReg();

  EPORT_TYPE GetPortType() override { return portType_; }
  uint32_t GetPortId() override { return portId_; }
  uint32_t GetPortPL() override { return portPL_; }
  uint32_t GetLogicPort() override { return logicPort_; }
  uint32_t GetLogicPLPort() override { return logicPLPort_; }
  uint32_t GetSpeed() override { return speed_; }
  uint32_t GetPLOperatorIndex() override { return logicPLPort_ >> 16; }
  uint32_t GetPLOperatorSize() override { return 0xFFFF; }
  bool IsConnected() override { return speed_ != kNoLinkSpeed; }
  bool IsTransceiverSynchronized() override { return IsConnected(); }
  bool IsBootstrapAddress(uint64_t address) override;
  uint32_t GetMaxControlPacketSize() override { return kMaxPacketSize; }
  uint32_t GetMaxCoreControlPacketSize() override { return kMaxPacketSize; }
  uint32_t GetMaxStreamPacketSize() override { return kMaxPacketSize; }
  void SetPortPL(uint32_t channel) { portPL_ = channel; }
  void SetLogicalPort(uint32_t port) { logicPort_ = port; }
  void SetLogicPLPort(uint32_t port) { logicPLPort_ = port; }
  void SetMaxAckTime(uint32_t ms) { maxAckTime_ = ms; }
  void SetPortType(EPORT_TYPE type, uint32_t logicalPort);
  // Camera register 0 as it came off the wire, not swapped.
  uint32_t GetMagic() const { return magic_; }

  // Command engine.
  int ReadPacket(unsigned int address, unsigned char* buffer, unsigned int length,
                 unsigned int timeoutMs) override;
  int WritePacket(unsigned int address, unsigned char* buffer, unsigned int length,
                  unsigned int timeoutMs) override;
  // GenApi's access. Failures are not passed on: a node reads what the buffer held.
  void Read(void* buffer, int64_t address, int64_t length) override;
  void Write(const void* buffer, int64_t address, int64_t length) override;
  // A big-endian camera register of 4 bytes.
  int ReadWord(unsigned int address, uint32_t& value, unsigned int timeoutMs);
  int WriteWord(unsigned int address, uint32_t value, unsigned int timeoutMs);
  int ExecCmd(uint64_t address, unsigned int* data, unsigned int length, unsigned int timeoutMs,
              bool write);
  static int GenErrorCode(int status);
  static bool SkipResendCommand(int error);

  // Identity.
  int SaveCameraInfo() override;
  int UpdateCameraInfo() override { return 0; }
  ICameraInfo* GetCameraInfo() override { return &cameraInfo_; }
  int GetXmlInfo();
  int LoadXML(std::string& xml, unsigned int index) override;
  std::string GetXmlName();
  uint32_t GetXmlSize() const { return xmlSize_; }
  void UpdatePreAcquisition() override {}

  static constexpr uint32_t kMaxPacketSize = 992;
  static constexpr uint32_t kLinkSpeed = 10000;

 private:
  // Register ids as the design names them; below 1 where it has none.
  struct Registers {
    int gtxSetup = 0;
    int pcsSetup = 0;
    int pcsPacketCounter = 0;
    int coreReset = 0;
    int txData = 0;
    int txCommand = 0;
    int txStatus = 0;
    int txRevision = 0;
    int rxData = 0;
    int rxStatus = 0;
    int linkRxStatus = 0;
    int ledWrite = 0;
    int gtxStatus = 0;
  };
  struct ManifestEntry;

  // Frame.
  int LookupAt(const char* name, unsigned int channel) const;
  void LookupCommandPath(unsigned int channel);
  void ReadMasterMask();
  uint64_t ReadRegister(int id);
  void WriteRegister(int id, uint64_t value);
  uint32_t ReadPacketCounter();

  // Command engine.
  int SendFrame(const unsigned int* words, unsigned int count, unsigned int timeoutMs);
  int AwaitTransmitter(unsigned int timeoutMs);
  int GetAckPacket(std::vector<unsigned int>& words, unsigned int timeoutMs);
  int Attempt(uint64_t address, unsigned int* data, unsigned int length, unsigned int timeoutMs,
              bool write, bool resend, bool& retry);
  int CheckAcknowledgement(const std::vector<unsigned int>& words, unsigned int* data,
                           unsigned int length, bool write, bool& pending, bool& retry);
  uint64_t CommandWord(unsigned int operation) const;

  // Identity.
  int ReadManifest(uint64_t& table, uint64_t& count);
  int ReadEntry(uint64_t address, ManifestEntry& entry);

  static vesk::tools::logging::ClassLogger logger_;

  PLdevice* const device_;
  fpga_design* const design_;
  const ECLHS_INTERFACE_TYPE type_;
  const int boardIndex_;
  const uint32_t portId_;
  std::atomic<uint32_t> logicPort_{0xFFFFFFFF};
  std::atomic<uint32_t> portPL_;
  std::atomic<uint32_t> logicPLPort_{0xFFFFFFFF};
  std::atomic<EPORT_TYPE> portType_{PortTypeUnconnected};
  std::atomic<uint32_t> speed_{kNoLinkSpeed};
  std::atomic<uint32_t> maxAckTime_{1000};
  std::atomic<uint32_t> magic_{0xFFFFFFFF};
  std::atomic<uint32_t> xmlSize_{0};
  uint32_t lastPacketCounter_ = 0;  // bits 16 to 23 of the PCS counter at the last look
  uint16_t requestId_ = 0;
  uint32_t masterMask_ = 1;  // bit per port id: the port may carry a camera's master link
  const uint16_t commandChannel_ = 2;
  const uint16_t commandSubchannel_ = 0;
  std::string xmlName_;

  Registers registers_;
  CCameraInfo cameraInfo_;
  std::mutex cameraInfoMutex_;
  vesk::templates::platform::RecursiveMutex portScope_;
  // Keeps the register lookup whole between processes. Not recursive, as the other board locks:
  // a recursive one counts levels per thread that built it.
  vesk::templates::platform::InterProcessLock registerLock_;
};

#endif
