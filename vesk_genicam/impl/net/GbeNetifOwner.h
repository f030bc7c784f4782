#ifndef VESK_GENICAM_IMPL_NET_GBENETIFOWNER_H
#define VESK_GENICAM_IMPL_NET_GBENETIFOWNER_H

struct pbuf;

// What the network stack glue needs of the GigE port that owns a netif. The port's interface
// takes these operations from here, so that each has one declaration; the glue reaches the port
// through the netif's `state` and the UDP receive argument, both set to an IGbeNetifOwner*.
class IGbeNetifOwner {
 public:
  virtual ~IGbeNetifOwner() = default;

  // The camera's MAC, or all ones before discovery: 6 bytes that the port owns.
  virtual unsigned char* GetMacDest() = 0;
  // The port's own MAC: 6 bytes that the port owns.
  virtual unsigned char* GetMacSource() = 0;
  // Writes one whole Ethernet frame to the board; 0 or an error code.
  virtual int SendPacket(unsigned char* data, unsigned int size) = 0;
  // A UDP payload for this port arrived in `p`: keep a copy of what is needed. `p` is freed
  // when this returns.
  virtual void UpdateRecvData(pbuf* p) = 0;
};

#endif
