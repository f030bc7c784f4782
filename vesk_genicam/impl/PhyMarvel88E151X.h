#ifndef VESK_GENICAM_IMPL_PHYMARVEL88E151X_H
#define VESK_GENICAM_IMPL_PHYMARVEL88E151X_H

#include "loader/dsnrt.h"
#include "loader/vesk_hal.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/IPhyInterface.h"

// The clause 22 Marvell 88E151x, through the board library's configuration space "MDIO": the
// complement of the port in bits 0 and 1 of the address, the register in bits 2 to 9, pages
// chosen by register 22. No board class here makes one; it is the driver of those chips.
class CPhyMarvel88E151X : public IPhyInterface {
 public:
  CPhyMarvel88E151X(fpga_design* design, PLdevice* device);

  // A reset bit that does not clear within a second is logged and passed over.
  void Reset(unsigned int port) override;
  bool IsConnected(unsigned int port) override;
  // 10 shifted left by the speed field of the specific status, without a link test.
  unsigned int GetSpeed(unsigned int port) override;

  void WriteMdioData(unsigned int port, unsigned int reg, unsigned int value);
  unsigned int ReadMdioData(unsigned int port, unsigned int reg);
  void WriteMdioPage(unsigned int port, unsigned int page, unsigned int reg, unsigned int value);
  unsigned int ReadMdioPage(unsigned int port, unsigned int page, unsigned int reg);
  int GetGigeConfigCtrl(unsigned int port);

 private:
  static vesk::tools::logging::ClassLogger logger_;

  fpga_design* const design_;
  PLdevice* const device_;
};

#endif
