#ifndef VESK_GENICAM_IMPL_PHYMARVEL88E_H
#define VESK_GENICAM_IMPL_PHYMARVEL88E_H

#include "loader/dsnrt.h"
#include "loader/vesk_hal.h"
#include "vesk_genicam/impl/IPhyInterface.h"

// The clause 22 Marvell PHYs of the Ka4 boards, through MDIO registers of the design that all
// ports share: the PHY is chosen by its address. Every access waits 100 ms for the MDIO master.
class CPhyMarvel88E : public IPhyInterface {
 public:
  CPhyMarvel88E(fpga_design* design, PLdevice* device);

  void Reset(unsigned int port) override;
  bool IsConnected(unsigned int port) override;
  // 10 shifted left by the speed field of the specific status: 10, 20, 40, 80.
  unsigned int GetSpeed(unsigned int port) override;

  void WriteMdioData(unsigned char reg, unsigned short value);
  void ReadMdioData(unsigned char reg, unsigned short* value);

 private:
  void SelectPhy(unsigned int port);
  void WriteId(int id, uint64_t value);
  void WriteNamed(const char* name, uint64_t value);
  unsigned short ReadSpecificStatus(unsigned int port);

  fpga_design* const design_;
  PLdevice* const device_;
  const int writeDataId_;
  const int strobeId_;
  const int registerAddressId_;
  const int phyAddressId_;
  const int readRegisterId_;
};

#endif
