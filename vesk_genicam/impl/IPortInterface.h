#ifndef VESK_GENICAM_IMPL_IPORTINTERFACE_H
#define VESK_GENICAM_IMPL_IPORTINTERFACE_H

#include <cstdint>
#include <string>

#include "genapi/IPort.h"
#include "vesk_genicam/impl/ICameraInfo.h"

// What a port is since the last discovery.
enum EPORT_TYPE : uint32_t {
  PortTypeMaster = 0,     // master link: a camera object exists over this port
  PortTypeExtension = 1,  // further link of a camera
  PortTypeUnconnected = 2,
};

// A speed that says no link exists.
constexpr uint32_t kNoLinkSpeed = 0xFFFFFFFF;

// One physical connector of a board and the camera link on it. Being a GenApi::IPort, it is what
// a camera's node map reads and writes through, so node access and the register functions end in
// the same packets. Ports belong to their controller; callers never free one.
class IPortInterface : public GenApi::IPort {
 public:
  // Every port reads and writes.
  GenApi::EAccessMode GetAccessMode() const override { return GenApi::RW; }

  virtual EPORT_TYPE GetPortType() = 0;
  // Physical port number, the index in IControllerInterface::GetPort.
  virtual uint32_t GetPortId() = 0;
  // Number of the firmware port.
  virtual uint32_t GetPortPL() = 0;
  // Camera number in the high half, index of this link within the camera in the low half.
  virtual uint32_t GetLogicPort() = 0;
  // Master id of the firmware operator in the high half, extension id in the low half.
  virtual uint32_t GetLogicPLPort() = 0;
  // In the transport's unit; kNoLinkSpeed without a link.
  virtual uint32_t GetSpeed() = 0;
  virtual uint32_t GetPLOperatorIndex() = 0;
  virtual uint32_t GetPLOperatorSize() = 0;
  virtual bool IsConnected() = 0;
  // Whether the link takes commands now.
  virtual bool IsTransceiverSynchronized() = 0;
  virtual bool IsBootstrapAddress(uint64_t address) = 0;
  virtual uint32_t GetMaxControlPacketSize() = 0;
  virtual uint32_t GetMaxCoreControlPacketSize() = 0;
  virtual uint32_t GetMaxStreamPacketSize() = 0;
  // The port's identity record: never null, valid as long as the port.
  virtual ICameraInfo* GetCameraInfo() = 0;
  virtual int SaveCameraInfo() = 0;
  virtual int UpdateCameraInfo() = 0;
  virtual int LoadXML(std::string& xml, unsigned int flags) = 0;
  virtual void UpdatePreAcquisition() = 0;
  // 0 or an error code of the C interface.
  virtual int ReadPacket(unsigned int address, unsigned char* data, unsigned int length,
                         unsigned int timeoutMs) = 0;
  virtual int WritePacket(unsigned int address, unsigned char* data, unsigned int length,
                          unsigned int timeoutMs) = 0;
};

#endif
