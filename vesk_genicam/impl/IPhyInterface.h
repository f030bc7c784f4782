#ifndef VESK_GENICAM_IMPL_IPHYINTERFACE_H
#define VESK_GENICAM_IMPL_IPHYINTERFACE_H

// The Ethernet PHY behind one GigE port of a board, reached over MDIO. The drivers hold no locks:
// callers hold the port's lock where it is needed.
class IPhyInterface {
 public:
  // Resets and configures the PHY of the port; takes the fixed waits of the chip.
  virtual void Reset(unsigned int port) = 0;
  virtual bool IsConnected(unsigned int port) = 0;
  // The driver's speed code, 0 without a link.
  virtual unsigned int GetSpeed(unsigned int port) = 0;
  virtual ~IPhyInterface() = default;
};

#endif
