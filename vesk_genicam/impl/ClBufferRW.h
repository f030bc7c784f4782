#ifndef VESK_GENICAM_IMPL_CLBUFFERRW_H
#define VESK_GENICAM_IMPL_CLBUFFERRW_H

// GenCP command ids that a Camera Link port sends.
constexpr unsigned int kClReadMemory = 0x0800;
constexpr unsigned int kClWriteMemory = 0x0802;

// One GenCP memory command framed for the Camera Link serial channel: preamble, two checksums,
// the common header and the command's own part, multi-byte fields big-endian. Holds no
// transport; made per command by the port.
class CClBufferRW {
 public:
  // `data` stays the caller's and is not copied: for a write it must hold `length` rounded up
  // to 4 bytes, which go on the wire as they stand; null for a read. Only the low 16 bits of
  // `requestId` are sent.
  CClBufferRW(unsigned long address, unsigned int command, unsigned int requestId,
              unsigned int* data, unsigned int length);
  virtual ~CClBufferRW() = default;

  // Allocates the frame with new[] and hands it to the caller, who deletes it; 1, or 0 with
  // nothing done for a null `packet`.
  int GetPacket(unsigned char** packet, unsigned int& size);

  // The frame checksum over byteCount bytes, in the two bytes as they go on the wire.
  static unsigned short Checksum(const unsigned char* bytes, unsigned int byteCount);

 private:
  unsigned int* data_;
  unsigned int length_;
  unsigned long address_;
  unsigned int command_;
  unsigned int requestId_;
};

#endif
