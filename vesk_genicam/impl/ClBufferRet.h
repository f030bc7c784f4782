#ifndef VESK_GENICAM_IMPL_CLBUFFERRET_H
#define VESK_GENICAM_IMPL_CLBUFFERRET_H

// A GenCP reply found in the bytes received on a Camera Link serial channel, and its fields.
// Owns a copy of the bytes it was given.
class CClBufferRet {
 public:
  CClBufferRet(unsigned char* data, unsigned int size);
  virtual ~CClBufferRet();
  CClBufferRet(const CClBufferRet&) = delete;
  CClBufferRet& operator=(const CClBufferRet&) = delete;

  // Whether the bytes hold a whole reply whose checksums hold: where it starts and its size.
  // Only the first preamble is tried, so false says neither "wait for more" nor "bad bytes".
  bool IsValidPacket(unsigned int& offset, unsigned int& length);

  // Fields of a reply that starts at the first byte, as the port cuts it out: the request id,
  // the payload length and the payload.
  unsigned short GetPacketId();
  unsigned short GetDataLength();
  unsigned char* GetData();

 private:
  unsigned short FieldAt(unsigned int offset) const;

  unsigned char* data_;
  unsigned int size_;
};

#endif
