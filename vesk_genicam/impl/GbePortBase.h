#ifndef VESK_GENICAM_IMPL_GBEPORTBASE_H
#define VESK_GENICAM_IMPL_GBEPORTBASE_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "loader/dsnrt.h"
#include "loader/vesk_hal.h"
#include "templates/platform/InterProcessLock.h"
#include "templates/platform/RecursiveMutex.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/CameraInfo.h"
#include "vesk_genicam/impl/IGbePort.h"
#include "vesk_genicam/impl/PcapTrace.h"
#include "vesk_genicam/impl/net/GbeNetif.h"

// One Ethernet port of a frame grabber as a GigE Vision control channel. Commands leave through
// the process's lwIP stack and the variant's SendPacket; answers come back through the variant's
// receive thread into UpdateRecvData. One command at a time per process under portMutex_; no
// command is sent twice. Its sides live in units by topic: the exchange of one command
// (GbePortBase.cpp), the camera's connection (GbePortBaseConnection.cpp), and its identity and
// XML (GbePortBaseIdentity.cpp).
//
// Threads: API threads, the port's ready thread (lwIP timers and the heartbeat), the variant's
// receive thread and the controller's PHY thread, which connects and resets. lwIP is entered
// only under g_clsMutexRcv. Lock order: the -CGbePort_IsReady lock, portMutex_, g_clsMutexRcv,
// responseMutex_; g_clsLock and the variant's transmit lock are leaves below g_clsMutexRcv.
class CGbePortBase : public IGbePort {
 public:
  CGbePortBase(unsigned int port, PLdevice* device, fpga_design* design);
  ~CGbePortBase() override;
  CGbePortBase(const CGbePortBase&) = delete;
  CGbePortBase& operator=(const CGbePortBase&) = delete;

  // IPortInterface.
  EPORT_TYPE GetPortType() override { return portType_; }
  uint32_t GetPortId() override { return port_; }
  uint32_t GetPortPL() override { return portPL_; }
  uint32_t GetLogicPort() override { return logicPort_; }
  uint32_t GetLogicPLPort() override { return logicPort_; }
  uint32_t GetSpeed() override { return 0; }
  uint32_t GetPLOperatorIndex() override { return portPL_; }
  uint32_t GetPLOperatorSize() override { return 1; }
  bool IsConnected() override { return cameraConnected_; }
  bool IsTransceiverSynchronized() override { return cameraIp_ != 0xFFFFFFFF; }
  bool IsBootstrapAddress(uint64_t) override { return false; }
  uint32_t GetMaxControlPacketSize() override { return 512; }
  uint32_t GetMaxCoreControlPacketSize() override { return 1518; }
  uint32_t GetMaxStreamPacketSize() override { return 1518; }
  ICameraInfo* GetCameraInfo() override { return &cameraInfo_; }
  int SaveCameraInfo() override { return 0; }
  int UpdateCameraInfo() override { return 0; }
  int LoadXML(std::string& xml, unsigned int flags) override;
  void UpdatePreAcquisition() override {}
  int ReadPacket(unsigned int address, unsigned char* data, unsigned int length,
                 unsigned int timeoutMs) override;
  int WritePacket(unsigned int address, unsigned char* data, unsigned int length,
                  unsigned int timeoutMs) override;
  // GenApi's access, with 2000 ms. Failures are not passed on: a node reads what the buffer held.
  void Read(void* buffer, int64_t address, int64_t length) override;
  void Write(const void* buffer, int64_t address, int64_t length) override;

  // IGbeNetifOwner.
  unsigned char* GetMacDest() override { return cameraMac_; }
  unsigned char* GetMacSource() override { return macSource_; }
  int SendPacket(unsigned char*, unsigned int) override;
  void UpdateRecvData(pbuf* p) override;

  // IGbePort.
  unsigned int GetNrLinks() override { return 1; }
  unsigned int GetMaskLinks() override { return 1; }
  unsigned int GetAggregationLink() override { return 0; }
  unsigned int GetAlgorithm() override { return 0; }
  void GetIpSource(unsigned int&, unsigned int&, unsigned int&) override {}
  void GetIpStaticSource(unsigned int& ip, unsigned int& mask, unsigned int& gateway) override;
  void GetIpDest(unsigned int& ip, unsigned int& mask, unsigned int& gateway) override;
  bool GetDHCP() override { return useDhcp_; }
  unsigned int GetDevMode() override { return deviceMode_; }
  unsigned int GetIpConfOpt() override { return ipOptions_; }
  unsigned int GetIpConfCur() override { return ipCurrent_; }
  unsigned int GetGvcpVersion() override { return gvcpVersion_; }
  unsigned int GetActionCmdValid() override { return 0; }
  std::string GetXmlName();
  unsigned int GetXmlSize() override { return xmlSize_; }
  unsigned int GetNrNetIntf() override { return nrNetIntf_; }
  unsigned int GetNrStreamCh() override { return nrStreamCh_; }
  unsigned int GetNrMsgCh() override { return nrMsgCh_; }
  unsigned int GetActionSgn() override { return 0; }
  unsigned int GetGvcpConf() override { return 0; }
  void Disconnect() override;
  int ConnectChannel() override;
  int DisconnectChannel() override;
  void SetDHCP(bool on) override { useDhcp_ = on; }
  void SetAutoIp(bool on) override { useAutoIp_ = on; }
  int SetStreamChannel(unsigned int channel, unsigned int port) override;
  int SetExtendId(unsigned int extended) override { return ResendCmd(extended != 0); }
  void SetPortPL(unsigned int port) override { portPL_ = port; }
  void SetUDPDest(unsigned short port) override { udpDestination_ = port; }
  void SetUDPSource(unsigned short port) override { udpSource_ = port; }
  void SetPayloadWidth(unsigned int) override {}
  void SetTimeOut(unsigned int timeoutMs) override { timeoutMs_ = timeoutMs; }
  void SetCallBackFnct(IControllerInterface::Callback callback, void* user) override;
  int Reset() override;
  // The PHY is read under the same lock that serialises the passes, so that a pass never acts on
  // a reading that another pass has overtaken.
  void CheckStatusPhy() override;
  void Shutdown() override;

  // One GVCP exchange: one packet out, and with `wait` one wait for the newest answer that comes
  // within timeoutMs. An answer that comes later is taken by the next command that waits.
  int ExecCmd(unsigned short command, unsigned int address, unsigned char* data,
              unsigned int length, unsigned int& received, unsigned int flags,
              unsigned int timeoutMs, bool wait);
  int ResendCmd(bool extendedId);
  int ActionCmd();
  void DoHeartBeat();
  int GetXmlInfo();
  void PushNet();
  void PopNet();
  // Starts a capture of the port's frames, link type Ethernet, at `path`.
  void OpenPcap(char* path);

 protected:
  // Adds the netif; the variant calls it once the PHY reports a link.
  void ConnectNetif(void* state);
  // Whether the PHY reports a link now; a discovery goes on only while it does.
  virtual bool HasLink() { return false; }
  void NotifyLink(bool up);
  // Hands a received frame to lwIP; the variant's receive thread calls it.
  void InputFrame(const unsigned char* frame, unsigned int size);
  void WritePcap(unsigned char* frame, unsigned int size, bool outgoing);
  // Stops the ready thread, then the receive thread: the variant's destructor calls it, since the
  // receive thread calls the variant's RecvPacket.
  void StopThreads();
  void StartReceiving();
  // One pass of the receive thread: a frame from the board into lwIP. False ends the thread.
  virtual bool RecvPacket() { return false; }
  bool ReceiveAlive() const { return receiveAlive_; }
  bool PacketMode() const { return packetMode_; }
  bool NetifAdded() const { return netifAdded_; }
  vesk::templates::platform::RecursiveMutex& PortMutex() { return portMutex_; }

  const unsigned int port_;
  PLdevice* const board_;
  fpga_design* const design_;
  const int boardIndex_;
  std::atomic<bool> linkState_{false};
  vesk::templates::platform::InterProcessLock portLock_;

 private:
  struct SavedNet {
    bool packetMode = false;
    unsigned short udpDestination = 0;
    unsigned short udpSource = 0;
    unsigned int cameraIp = 0;
    unsigned int requestId = 0;
    unsigned char cameraMac[6] = {};
  };

  int ReadMem(unsigned int address, unsigned char* buffer, unsigned int length,
              unsigned int timeoutMs);
  int ReadWord(unsigned int address, unsigned int& value, unsigned int timeoutMs);
  int WriteWord(unsigned int address, unsigned int value, unsigned int timeoutMs);
  int SendCommand(unsigned char* packet, unsigned int size, udp_pcb*& pcb);
  int AwaitAnswer(unsigned short command, unsigned int address, unsigned int requestId,
                  unsigned char* data, unsigned int length, unsigned int& received,
                  uint64_t arrivalsBefore, unsigned int timeoutMs);
  void GenerateMAC();
  void ClearCamera();
  void BindAddress();
  bool AwaitBound(bool dhcp);
  int Discover();
  void TakeIdentity(const unsigned char* reply);
  void FindUnreportedMac();
  int TakeControl();
  int ParseXmlUrl(std::string& file, unsigned int& address, unsigned int& size);
  void ReadyThreadLoop();
  bool SleepUntilSignal();

  static vesk::tools::logging::ClassLogger logger_;

  unsigned short udpDestination_ = 3956;
  unsigned short udpSource_ = 10000;
  std::atomic<unsigned int> timeoutMs_{1000};
  std::atomic<int> heartbeat_{-1};
  unsigned int cameraMask_ = 0xFFFFFFFF;
  unsigned int cameraGateway_ = 0xFFFFFFFF;
  unsigned char cameraMac_[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  unsigned char macSource_[6] = {};
  const unsigned int staticIp_ = 0xA9FE0009;
  const unsigned int staticMask_ = 0xFFFF0000;
  const unsigned int staticGateway_ = 0;
  std::atomic<unsigned int> deviceMode_{0xFFFFFFFF};
  std::atomic<unsigned int> ipOptions_{0xFFFFFFFF};
  std::atomic<unsigned int> ipCurrent_{0xFFFFFFFF};
  std::atomic<unsigned int> gvcpVersion_{0xFFFFFFFF};
  std::atomic<EPORT_TYPE> portType_{PortTypeUnconnected};
  std::atomic<unsigned int> logicPort_{0xFFFFFFFF};
  std::atomic<unsigned int> portPL_{0};
  std::atomic<unsigned int> nrNetIntf_{0};
  std::atomic<unsigned int> nrStreamCh_{0};
  std::atomic<unsigned int> nrMsgCh_{0};
  unsigned int requestId_ = 0;
  std::atomic<bool> useDhcp_{false};
  std::atomic<bool> useAutoIp_{true};
  std::atomic<bool> cameraConnected_{false};
  bool packetMode_ = false;
  SavedNet saved_;
  std::atomic<unsigned int> cameraIp_{0xFFFFFFFF};
  netif netif_{};
  dhcp dhcp_{};
  autoip autoip_{};
  std::atomic<bool> netifAdded_{false};
  std::atomic<bool> stopping_{false};
  CPcapTrace pcap_;
  std::mutex pcapMutex_;
  bool pcapOpen_ = false;
  std::string xmlName_;
  std::string xml_;
  std::atomic<unsigned int> xmlSize_{0};

  std::mutex callbackMutex_;
  IControllerInterface::Callback callback_ = nullptr;
  void* user_ = nullptr;

  vesk::templates::platform::InterProcessLock readyLock_;
  vesk::templates::platform::RecursiveMutex portMutex_;
  CCameraInfo cameraInfo_;

  // The newest UDP payload and the count of those that came.
  std::mutex responseMutex_;
  std::condition_variable responseArrived_;
  std::vector<unsigned char> response_;
  uint64_t arrivals_ = 0;

  std::mutex statusMutex_;
  std::atomic<bool> receiveAlive_{false};
  std::thread receiveThread_;

  std::mutex readyMutex_;
  std::condition_variable readyWake_;
  bool readyAlive_ = false;
  std::thread readyThread_;
};

#endif
