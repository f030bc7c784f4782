#ifndef VESK_GENICAM_IMPL_GBEKA4PORT_H
#define VESK_GENICAM_IMPL_GBEKA4PORT_H

#include <atomic>
#include <cstdint>
#include <vector>

#include "vesk_genicam/impl/GbePortBase.h"
#include "vesk_genicam/impl/PhyMarvel88E.h"

// A GigE port of the boards 3650 and 3652: frames go out 16 bits a register write and come back
// two bytes a word through the port's data queue; the clause 22 PHY sits behind the design's
// shared MDIO registers.
class CGbeKa4Port : public CGbePortBase {
 public:
  CGbeKa4Port(unsigned int port, PLdevice* device, fpga_design* design);
  ~CGbeKa4Port() override;

  void Connect() override;
  // The stream goes to UDP port value + 20000, which the firmware learns too.
  int SetStreamChannel(unsigned int channel, unsigned int value) override;
  void SetUDPDest(unsigned short port) override;
  void SetPayloadWidth(unsigned int width) override;
  void SetTimeOut(unsigned int timeoutMs) override;
  unsigned int GetActionCmdValid() override { return registers_.actionCmdEnable != 0; }
  // A frame of at most 1518 bytes, padded to 60.
  int SendPacket(unsigned char* data, unsigned int size) override;

 protected:
  bool HasLink() override { return phy_.IsConnected(port_); }
  bool RecvPacket() override;

 private:
  struct Registers {
    int bufferReset = 0;
    int writeData = 0;
    int writeComplete = 0;
    int imagePort = 0;
    int syncLen = 0;
    int closeImageTimeout = 0;
    int disableCrc = 0;
    int transferActive = 0;
    int recvPktCnt = 0;
    int recvErrCnt = 0;
    int ctrlPktReceived = 0;
    int ctrlPktSendUiq = 0;
    int gvspOverflow = 0;
    int gvcpNotEmpty = 0;
    int actionCmdConfig = 0;
    int actionCmdEnable = 0;
  };

  void InitReg();
  int Lookup(const char* name) const;
  uint64_t ReadRegister(int id);
  void WriteRegister(int id, uint64_t value);
  void AwaitTransmitter();
  void TakeFrame();

  static vesk::tools::logging::ClassLogger logger_;

  CPhyMarvel88E phy_;
  Registers registers_;
  std::vector<unsigned char> assembly_;
  std::vector<uint64_t> statistics_;
  std::atomic<uint64_t> framesSent_{0};
  std::atomic<uint64_t> bytesSent_{0};
  uint64_t lastErrors_ = 0;
};

#endif
