#ifndef VESK_GENICAM_IMPL_GBEKORVID4GPORT_H
#define VESK_GENICAM_IMPL_GBEKORVID4GPORT_H

#include <atomic>
#include <cstdint>
#include <mutex>

#include "vesk_genicam/impl/GbePortBase.h"
#include "vesk_genicam/impl/PhyMarvel88E331.h"

// A GigE port of the boards 2898 and 2913: frames go out as a stream of 16-bit lanes with control
// marks, preamble and end mark, and come back in whole words through data queue port + 8; the
// 88X3310 sits behind the board library's MDIO space, and the board library tells of its link
// changes.
class CGbeKorvid4GPort : public CGbePortBase {
 public:
  CGbeKorvid4GPort(unsigned int port, PLdevice* device, fpga_design* design);
  ~CGbeKorvid4GPort() override;

  void Connect() override;
  // The stream goes to UDP port value + 8191.
  int SetStreamChannel(unsigned int channel, unsigned int value) override;
  int SendPacket(unsigned char* data, unsigned int size) override;
  // At most 101 bytes, padded to 60: control frames only.
  int SendPacketRaw(unsigned char* data, unsigned int size);
  int SendPacketCfg(unsigned char* data, unsigned int size);

 protected:
  bool HasLink() override { return phy_.IsConnected(port_); }
  bool RecvPacket() override;

 private:
  static int NotifyCallback(int board, unsigned long what, unsigned long detail, unsigned long,
                            void* port);
  void InitReg();
  uint64_t ReadRegister(int id);
  void WriteRegister(int id, uint64_t value);
  int CheckFrame(unsigned char* data, unsigned int size);
  int AwaitTransmitter();
  void CountFrame(unsigned int size);
  void ReadPreSendTime();

  static vesk::tools::logging::ClassLogger logger_;
  // Keeps one frame whole on the transmitters of all ports of the process.
  static std::mutex clsMutex;

  CPhyMarvel88E331 phy_;
  int controlWriteData_ = 0;
  int configWriteData_ = 0;
  int controlReady_ = 0;
  int monitorStatus_ = 0;
  int receivedPacketCount_ = 0;
  unsigned int preSendMs_ = 0;
  uint64_t lastErrors_ = 0;
  std::atomic<uint64_t> framesSent_{0};
  std::atomic<uint64_t> bytesSent_{0};
  bool callbackRegistered_ = false;
};

#endif
