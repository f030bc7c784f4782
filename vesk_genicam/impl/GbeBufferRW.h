#ifndef VESK_GENICAM_IMPL_GBEBUFFERRW_H
#define VESK_GENICAM_IMPL_GBEBUFFERRW_H

// GVCP command and acknowledge codes as the GigE Vision standard publishes them.
enum EGvcpCode : unsigned int {
  GVCP_DISCOVERY_CMD = 0x0002,
  GVCP_DISCOVERY_ACK = 0x0003,
  GVCP_PACKETRESEND_CMD = 0x0040,
  GVCP_READREG_CMD = 0x0080,
  GVCP_READREG_ACK = 0x0081,
  GVCP_WRITEREG_CMD = 0x0082,
  GVCP_WRITEREG_ACK = 0x0083,
  GVCP_READMEM_CMD = 0x0084,
  GVCP_READMEM_ACK = 0x0085,
  GVCP_ACTION_CMD = 0x0100,
};

// Flags of the command header.
constexpr unsigned char kGvcpFlagAcknowledge = 0x01;
// Discovery: the device may answer by broadcast. Packet resend: 64-bit block ids.
constexpr unsigned char kGvcpFlagBroadcastOrExtendedId = 0x10;

constexpr unsigned int kGvcpHeaderSize = 8;

// One GVCP command coded into bytes, and the acknowledge of it picked apart. Knows the packet
// layouts and nothing of sockets, retries or the camera's register map; lives on the stack of
// the one exchange it serves.
class CGbeBufferRW {
 public:
  // `data` stays the caller's: the payload of a write or resend, or the place for the reply.
  CGbeBufferRW(unsigned int command, unsigned int address, unsigned int requestId,
               unsigned char* data, unsigned int length, unsigned char flags);

  // A new[] buffer with the whole command, which the caller delete[]s. False for a null
  // `packet`, a command this coder does not know, or a payload to copy from a null `data`.
  bool GetPacket(unsigned char** packet, unsigned int& size);

  // Checks the acknowledge in `raw` against the command and copies its data into `out`, at most
  // `outSize` bytes and never more than `raw` holds; `outLength` says how many. Swaps the
  // acknowledge header of `raw` to host order in place. 0, or MLO_ERR_INVALID_DATA for a null
  // buffer, MLO_ERR_ACCESS_DENIED for any non-zero device status, MLO_ERR_GENCP_INVALID_PACKET
  // for a short packet or an acknowledge that does not answer the command.
  int GetDataFromRawPacket(unsigned char* raw, unsigned int rawSize, unsigned char* out,
                           unsigned int outSize, unsigned int& outLength);

 private:
  // Payload bytes behind the header; false for an unknown command.
  bool PayloadSize(unsigned int& size) const;
  void WritePayload(unsigned char* payload) const;
  void WriteRegisterPayload(unsigned char* payload) const;

  unsigned char* data_;
  unsigned int length_;
  unsigned int command_;
  unsigned int address_;
  unsigned int requestId_;
  unsigned char flags_;
};

#endif
