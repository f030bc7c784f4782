#ifndef VESK_GENICAM_IMPL_CXPBUFFERRW_H
#define VESK_GENICAM_IMPL_CXPBUFFERRW_H

#include <memory>

// Acknowledgement kinds that CheckPacketType returns; anything negative is an error code.
enum ECxpAckType : int {
  FinalAckPayload = 0,
  FinalAck = 1,
  TentativeAck = 2,
  ChannelResetAck = 3,
  WaitAck = 4,
};

// One CoaXPress control command built as 32-bit words in wire order, and the acknowledgement of
// it classified and unpacked. Holds no transport: the port decides how the words reach the
// board. Lives on the stack of the one exchange it serves.
class CCxpBufferRW {
 public:
  // `data` stays the caller's: the words of a write in camera byte order; null for a read.
  CCxpBufferRW(unsigned int address, unsigned int* data, unsigned int sizeWords,
               unsigned int maxPacketWords, bool tagged, unsigned char tag, bool write);
  virtual ~CCxpBufferRW() = default;

  // Replaces `packet` with the next command, at most maxPayloadWords of the request. Word 0 is
  // `headerWord` as given; completing it is the port's business. False for a request of 0 words.
  bool GetPacket(std::unique_ptr<unsigned int[]>& packet, unsigned int& packetWords,
                 unsigned int& payloadWords, unsigned int headerWord);

  // An ECxpAckType, the negated status code of an error acknowledgement, MLO_ERR_CXP_MALFORMED
  // for an unknown status, MLO_ERR_INVALID_DATA for too few words, or
  // MLO_ERR_GENCP_INVALID_PACKET for a final acknowledgement too short to carry its size.
  int CheckPacketType(unsigned int* words, unsigned int wordCount);

  // Copies the payload of an acknowledgement into `out`, at most `outWords`; `gotWords` says how
  // many. `tag` receives the acknowledgement's tag, which is not compared with ours. A length
  // that fits neither with nor without CRC yields 0 words and 0, so that the port asks again.
  int GetDataFromRawPacket(unsigned int* words, unsigned int wordCount, unsigned int* out,
                           unsigned int outWords, unsigned int& gotWords, unsigned char& tag);

 private:
  unsigned int address_;
  unsigned int* data_;
  unsigned int sizeWords_;
  unsigned int maxPacketWords_;
  unsigned int maxPayloadWords_;
  bool writeFlag_;
  bool tagged_;
  unsigned char tag_;
};

#endif
