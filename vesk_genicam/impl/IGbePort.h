#ifndef VESK_GENICAM_IMPL_IGBEPORT_H
#define VESK_GENICAM_IMPL_IGBEPORT_H

#include <cstdint>

#include "tools/logging/Logger.h"
#include "vesk_genicam/impl/IControllerInterface.h"
#include "vesk_genicam/impl/IPortInterface.h"
#include "vesk_genicam/impl/net/GbeNetifOwner.h"

// A GigE Vision port of a board: the GVCP client of one camera behind one Ethernet port, as the
// GigE controller and the network stack glue see it. Addresses are in host order.
class IGbePort : public IPortInterface, public IGbeNetifOwner {
 public:
  virtual unsigned int GetNrLinks() = 0;
  virtual unsigned int GetMaskLinks() = 0;
  virtual unsigned int GetAggregationLink() = 0;
  virtual unsigned int GetAlgorithm() = 0;
  // Leaves the three as they are: the port keeps no address of its own here.
  virtual void GetIpSource(unsigned int& ip, unsigned int& mask, unsigned int& gateway) = 0;
  virtual void GetIpStaticSource(unsigned int& ip, unsigned int& mask, unsigned int& gateway) = 0;
  virtual void GetIpDest(unsigned int& ip, unsigned int& mask, unsigned int& gateway) = 0;
  virtual bool GetDHCP() = 0;
  virtual unsigned int GetDevMode() = 0;
  virtual unsigned int GetIpConfOpt() = 0;
  virtual unsigned int GetIpConfCur() = 0;
  virtual unsigned int GetGvcpVersion() = 0;
  virtual unsigned int GetActionCmdValid() = 0;
  virtual unsigned int GetXmlSize() = 0;
  virtual unsigned int GetNrNetIntf() = 0;
  virtual unsigned int GetNrStreamCh() = 0;
  virtual unsigned int GetNrMsgCh() = 0;
  virtual unsigned int GetActionSgn() = 0;
  virtual unsigned int GetGvcpConf() = 0;
  // Brings the port's netif up once the PHY reports a link, then finds and takes over the camera.
  virtual void Connect() = 0;
  virtual void Disconnect() = 0;
  virtual int ConnectChannel() = 0;
  virtual int DisconnectChannel() = 0;
  virtual void SetDHCP(bool on) = 0;
  virtual void SetAutoIp(bool on) = 0;
  virtual int SetStreamChannel(unsigned int channel, unsigned int port) = 0;
  virtual int SetExtendId(unsigned int extended) = 0;
  virtual void SetPortPL(unsigned int port) = 0;
  virtual void SetUDPDest(unsigned short port) = 0;
  virtual void SetUDPSource(unsigned short port) = 0;
  virtual void SetPayloadWidth(unsigned int width) = 0;
  virtual void SetTimeOut(unsigned int timeoutMs) = 0;
  virtual void SetCallBackFnct(IControllerInterface::Callback callback, void* user) = 0;
  // Brings the camera from a link to connected: addressing, discovery, takeover. Blocks while a
  // link is up and no camera answers.
  virtual int Reset() = 0;
  // One pass of the PHY watch: link changes connect or disconnect the port and are reported.
  virtual void CheckStatusPhy() = 0;
  // Ends a discovery that waits for a camera; the port is about to go.
  virtual void Shutdown() = 0;
};

#endif
