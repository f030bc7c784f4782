#ifndef VESK_GENICAM_IMPL_PHYMARVEL88E331_H
#define VESK_GENICAM_IMPL_PHYMARVEL88E331_H

#include "loader/dsnrt.h"
#include "loader/vesk_hal.h"
#include "vesk_genicam/impl/IPhyInterface.h"

// The clause 45 Marvell 88X3310 of the Korvid boards, through the board library's configuration
// space "MDIO": port in bits 0 and 1 of the address, register in bits 2 to 17, device above.
class CPhyMarvel88E331 : public IPhyInterface {
 public:
  CPhyMarvel88E331(fpga_design* design, PLdevice* device);

  void Reset(unsigned int port) override;
  bool IsConnected(unsigned int port) override;
  // The chip's speed is not read: always 0.
  unsigned int GetSpeed(unsigned int port) override;

  void WriteMdioData(unsigned int port, unsigned int device, unsigned int reg, unsigned int value);
  void ReadMdioData(unsigned int port, unsigned int device, unsigned int reg, unsigned int* value);
  void EnablePOE(unsigned int port, bool on);
  void RestartAutoNeg(unsigned int port);

 private:
  fpga_design* const design_;
  PLdevice* const device_;
};

#endif
