#ifndef VESK_GENICAM_IMPL_CLHSBUFFERRW_H
#define VESK_GENICAM_IMPL_CLHSBUFFERRW_H

// GenCP command and acknowledge ids that travel the Camera Link HS command channel.
constexpr unsigned int kClhsReadMemory = 0x0800;
constexpr unsigned int kClhsReadMemoryAck = 0x0801;
constexpr unsigned int kClhsWriteMemory = 0x0802;
constexpr unsigned int kClhsWriteMemoryAck = 0x0803;
constexpr unsigned int kClhsPendingAck = 0x0805;

// A GenCP acknowledge taken apart; fields the acknowledge does not carry stay 0.
struct _CPACK {
  unsigned short status;
  unsigned short ackId;
  unsigned short scdLength;
  unsigned short requestId;
  unsigned short reserved;    // write acknowledges only
  unsigned short dataLength;  // bytes behind the header of a read, bytes written of a write
  unsigned short pendingTimeout;
};

// One GenCP memory command as the 32-bit words that the port pushes into the X-Core's transmit
// FIFO, and the decoding of the acknowledge words it pulls out of the receive FIFO. No checksums:
// the X-Core guards the link. Holds no transport and no state between commands.
class CClhsBufferRW {
 public:
  // `data` stays the caller's and is not copied: for a write it must hold `length` rounded up
  // to 4 bytes, which go into the FIFO as they stand; null for a read. Only the low 16 bits of
  // `requestId` are sent.
  CClhsBufferRW(unsigned long address, unsigned int command, unsigned int requestId,
                unsigned int* data, unsigned int length, bool requestAck, bool resend);
  virtual ~CClhsBufferRW() = default;

  // Allocates the request with new[] and hands it to the caller, who deletes it; 1, or 0 with
  // nothing done for a null `words`.
  int GetPacket(unsigned int** words, unsigned int& count);

  // Fills `pack` from `count` words of an acknowledge as they came out of the FIFO; 0,
  // MLO_ERR_INVALID_POINTER for null words, MLO_ERR_GENCP_INVALID_PACKET below 4 words. The
  // payload of a read stands from word 4 on; the caller copies it.
  static int DecodeGenCPMemAckPacket(unsigned int* words, unsigned int count, _CPACK& pack,
                                     bool write);

 private:
  bool requestAck_;
  bool resend_;
  unsigned int* data_;
  unsigned int length_;
  unsigned long address_;
  unsigned int command_;
  unsigned int requestId_;
};

#endif
