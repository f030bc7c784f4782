// The command engine of CCxpPort: control packets out, acknowledgements in, and what to do with
// each kind of acknowledgement.
#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

#include "templates/patterns/GenericLockGuard.h"
#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/CxpBufferRW.h"
#include "vesk_genicam/impl/CxpPort.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::patterns::GenericLockGuard;
using vesk::templates::platform::PcapDumper;
using vesk::templates::platform::RecursiveMutexGuard;

namespace {

// Codes of the firmware's transmit FIFO: bit 32 marks a control code, bit 33 the end of a packet.
constexpr uint64_t kStartOfPacket = 0x1FBFBFBFBull;
constexpr uint64_t kEndOfPacket = 0x3FDFDFDFDull;
// Of the acknowledgement FIFO: bit 32 the end of a packet, bit 33 an empty FIFO.
constexpr uint64_t kAckEnd = 1ull << 32;
constexpr uint64_t kAckEmpty = 1ull << 33;

constexpr unsigned int kPlainHeader = 0x02020202;
constexpr unsigned int kTaggedHeader = 0x05050505;
constexpr unsigned int kQueueTaggedHeader = 0x00200000;
constexpr unsigned int kRetries = 4;
constexpr unsigned int kWaits = 4;
constexpr unsigned int kSentPolls = 500;
constexpr unsigned int kGenApiTimeoutMs = 200;

constexpr unsigned int kConnectionReset = 0x4000;
constexpr unsigned int kConnectionConfig = 0x4014;

}  // namespace

// One command in flight: what is done of it, and the state of the packet being acknowledged.
struct CCxpPort::Exchange {
  bool write;
  unsigned int* buffer;
  unsigned int totalWords;
  AckPolicy policy;
  unsigned int timeoutMs;
  unsigned int doneWords = 0;
  unsigned int retriesLeft = kRetries;
  // Of the current packet.
  CCxpBufferRW* packet = nullptr;
  unsigned int payloadWords = 0;
  uint8_t tag = 0;
  unsigned int waitsLeft = kWaits;
  bool waitAgain = false;
};

int CCxpPort::ReadPacket(unsigned int address, unsigned char* buffer, unsigned int size,
                         unsigned int timeoutMs) {
  if (!buffer) return MLO_ERR_INVALID_POINTER;
  RecursiveMutexGuard scope(&portScope_);
  std::vector<unsigned int> work((size + 3) / 4);
  auto* bytes = reinterpret_cast<unsigned char*>(work.data());
  const unsigned int chunk = GetMaxControlPacketSize() - 32;
  int status = 0;
  for (unsigned int done = 0; status == 0 && done < size;) {
    const unsigned int part = std::min(size - done, chunk);
    status = ExecCmd(false, address + done, reinterpret_cast<unsigned int*>(bytes + done), part,
                     AckRequired, timeoutMs);
    logger_.Line(2, [&] {
      return Prefix() + "] Start ReadPacket param: " + CUtility::HexText(address + done) + ", " +
             std::to_string(part);
    });
    done += part;
  }
  if (status == 0) std::memcpy(buffer, bytes, size);
  return status;
}

int CCxpPort::WritePacket(unsigned int address, unsigned char* buffer, unsigned int size,
                          unsigned int timeoutMs) {
  if (!buffer) return MLO_ERR_INVALID_POINTER;
  RecursiveMutexGuard scope(&portScope_);
  std::vector<unsigned int> work((size + 3) / 4);
  auto* bytes = reinterpret_cast<unsigned char*>(work.data());
  std::memcpy(bytes, buffer, size);
  const unsigned int chunk = GetMaxControlPacketSize() - 32;
  // A connection reset takes the link down before the camera could answer, and a new connection
  // configuration may do so.
  const AckPolicy policy = address == kConnectionReset    ? AckNone
                           : address == kConnectionConfig ? AckOptional
                                                          : AckRequired;
  int status = 0;
  for (unsigned int done = 0; status == 0 && done < size;) {
    const unsigned int part = std::min(size - done, chunk);
    status = ExecCmd(true, address + done, reinterpret_cast<unsigned int*>(bytes + done), part,
                     policy, timeoutMs);
    done += part;
  }
  if (status == 0 && size >= 4) AfterWrite(address, buffer);
  return status;
}

// Writes that the firmware must hear of.
void CCxpPort::AfterWrite(unsigned int address, const unsigned char* buffer) {
  uint32_t value = 0;
  std::memcpy(&value, buffer, 4);
  value = ntohl(value);
  if (address == kConnectionConfig) {
    SetNumCameraConnections(CUtility::GetLinkCountFromConfigValue(value));
  } else if (address == acquisitionStartAddress_ && value == 1) {
    VHalCameraCtrlSetPortAcquisitionState(device_, portId_, 2);
    logger_.Line(3, [&] { return Prefix() + "] Acquisition started"; });
  } else if (address == acquisitionStopAddress_ && value == 1) {
    VHalCameraCtrlSetPortAcquisitionState(device_, portId_, 1);
    logger_.Line(3, [&] { return Prefix() + "] Acquisition stopped"; });
  }
}

void CCxpPort::Read(void* buffer, int64_t address, int64_t length) {
  ReadPacket(static_cast<unsigned int>(address), static_cast<unsigned char*>(buffer),
             static_cast<unsigned int>(length), kGenApiTimeoutMs);
}

void CCxpPort::Write(const void* buffer, int64_t address, int64_t length) {
  // WritePacket copies before it sends; the bytes are never written through.
  WritePacket(static_cast<unsigned int>(address),
              static_cast<unsigned char*>(const_cast<void*>(buffer)),
              static_cast<unsigned int>(length), kGenApiTimeoutMs);
}

bool CCxpPort::IsBootstrapAddress(uint64_t address) {
  RecursiveMutexGuard scope(&portScope_);
  return address >= 0x4000 && address <= 0x4014 && address % 4 == 0;
}

void CCxpPort::ResetTag(bool enable) {
  RecursiveMutexGuard scope(&portScope_);
  tagEnabled_ = enable;
  tagCounter_ = 0;
}

int CCxpPort::ExecCmd(bool write, unsigned int address, unsigned int* buffer, unsigned int size,
                      AckPolicy policy, unsigned int timeoutMs) {
  if (!buffer) return MLO_ERR_INVALID_POINTER;
  const int cleaned = CleanRcvBuf();
  const unsigned int totalWords = (size + 3) / 4;
  if (cleaned != 0 || totalWords == 0) return cleaned;
  Exchange exchange{write, buffer, totalWords, policy, timeoutMs};
  const bool queueForm = type_ == CxpIfCameraCtrl;
  while (exchange.doneWords < totalWords) {
    // Only a read that never gets its words comes round here without end; a cancelled port
    // stops it.
    if (revocableWait_.IsRevoked()) return MLO_ERR_GENCP_TOO_FEW_DATA;
    const bool tagged = tagEnabled_;
    exchange.tag = tagged ? tagCounter_++ : 0;
    const unsigned int done = exchange.doneWords;
    CCxpBufferRW builder(address + done * 4, write ? buffer + done : nullptr, totalWords - done,
                         (maxControlPacketSize_ - 8) / 4, tagged, exchange.tag, write);
    std::unique_ptr<unsigned int[]> packet;
    unsigned int packetWords = 0;
    const unsigned int header =
        queueForm ? (tagged ? kQueueTaggedHeader : 0) : (tagged ? kTaggedHeader : kPlainHeader);
    if (!builder.GetPacket(packet, packetWords, exchange.payloadWords, header)) {
      logger_.Line(5, [] { return "Failed to create command packet."; });
      return MLO_ERR_GENCP_INVALID_PACKET;
    }
    if (queueForm) packet[0] |= (packetWords - 1) & 0xFFFF;
    Capture(packet.get() + 1, packetWords - 1, PcapDumper::Direction::Request);
    exchange.packet = &builder;

    GenericLockGuard guard(BoardLock(commandLock_));
    int status = SendPacket(packet.get(), packetWords, exchange.timeoutMs);
    if (policy == AckNone) {
      exchange.doneWords += exchange.payloadWords;
    } else if (policy != AckRequired && policy != AckOptional) {
      status = MLO_ERR_INVALID_DATA;
    } else {
      exchange.timeoutMs = std::max(exchange.timeoutMs, commandAckTimeout_);
      if (status == 0) status = AwaitAcknowledgements(exchange);
    }
    if (status != 0) return status;
  }
  return 0;
}

int CCxpPort::SendPacket(const unsigned int* packet, unsigned int packetWords,
                         unsigned int timeoutMs) {
  if (type_ == CxpIfCameraCtrl) {
    const unsigned int bytes = packetWords * 4;
    const int sent = VHalDataQueueWriteBufferLong(device_, txQueue_, packet, bytes, timeoutMs);
    if (sent < 0) return sent;
    return static_cast<unsigned int>(sent) == bytes ? 0 : MLO_ERR_INTERNAL;
  }
  const int fifo = registers_.txWriteData;
  int status = WriteRegister(fifo, kStartOfPacket);
  for (unsigned int i = 0; status == 0 && i < packetWords; ++i)
    status = WriteRegister(fifo, packet[i]);
  if (status == 0)
    status = WriteRegister(fifo, CUtility::CalcualteCRC(packet + 1, packetWords - 1));
  if (status == 0) status = WriteRegister(fifo, kEndOfPacket);
  if (status != 0) return status;
  // Whether the firmware reports the packet as sent does not matter: the acknowledgement does.
  uint64_t sent = 0;
  for (unsigned int poll = 0; poll < kSentPolls; ++poll) {
    if (ReadRegister(registers_.txPacketSent, sent) != 0 || (sent >> portPL_ & 1)) break;
  }
  return 0;
}

int CCxpPort::AwaitAcknowledgements(Exchange& exchange) {
  exchange.waitsLeft = kWaits;
  std::vector<unsigned int> words;
  for (;;) {
    words.clear();
    int status = WaitForPacketData(exchange.timeoutMs, words);
    if (status == 0) status = ReadPacketData(exchange.timeoutMs, words);
    if (status == 0 && words.empty()) status = MLO_ERR_INVALID_DATA;
    exchange.waitAgain = false;
    for (size_t offset = 0; status == 0 && offset < words.size();)
      status = ConsumeAcknowledgement(exchange, words, offset);
    if (status == MLO_ERR_TIMEOUT && exchange.policy == AckOptional) {
      logger_.Line(3, [&] { return Prefix() + "] Did not receive optional ACK."; });
      exchange.doneWords += exchange.payloadWords;
      return 0;
    }
    if (status != 0) return status;
    if (exchange.waitAgain && exchange.waitsLeft > 0) continue;
    // Out of waits, or finished: a write counts as done, a read has what it got and asks again
    // for the rest.
    if (exchange.write) exchange.doneWords += exchange.payloadWords;
    return 0;
  }
}

int CCxpPort::ConsumeAcknowledgement(Exchange& exchange, std::vector<unsigned int>& words,
                                     size_t& offset) {
  unsigned int* ack = words.data() + offset;
  const auto left = static_cast<unsigned int>(words.size() - offset);
  Capture(ack, left, PcapDumper::Direction::Reply);
  const int type = exchange.packet->CheckPacketType(ack, left);
  const unsigned int header = tagEnabled_ ? 2 : 1;
  // The queue form hands acknowledgements over without their CRC word.
  const unsigned int crcWords = type_ == CxpIfCameraCtrl ? 0 : 1;
  unsigned int length = header;
  if (type == FinalAckPayload) length = header + 1 + (ntohl(ack[header]) >> 2) + crcWords;
  if (type == WaitAck) length = header + 2 + crcWords;
  if (left < length) {
    logger_.Line(5, [&] {
      return "Cxp Return Data Size smaller than expected. ackCode: " + std::to_string(type) +
             ", expected size: " + std::to_string(length) +
             ", returned size: " + std::to_string(left);
    });
    return MLO_ERR_CXP_INVALID_DATA;
  }
  offset += length;
  switch (type) {
    case FinalAckPayload: {
      logger_.Line(2, [&] { return Prefix() + "] Received final ACK with Payload."; });
      unsigned int got = 0;
      uint8_t tag = 0;
      const unsigned int done = exchange.doneWords;
      const unsigned int room = exchange.totalWords > done ? exchange.totalWords - done : 0;
      const int status = exchange.packet->GetDataFromRawPacket(ack, length, exchange.buffer + done,
                                                               room, got, tag);
      if (tagEnabled_ && tag != exchange.tag) {
        logger_.Line(4, [&] {
          return "Ack received with invalid tag: expected " + std::to_string(exchange.tag) +
                 ", received " + std::to_string(tag);
        });
      }
      exchange.doneWords += got;
      return status;
    }
    case FinalAck:
      logger_.Line(2, [&] { return Prefix() + "] Received final ACK."; });
      return 0;
    case TentativeAck:
      logger_.Line(2, [&] { return Prefix() + "] Received tentative ACK."; });
      --exchange.waitsLeft;
      exchange.waitAgain = true;
      return 0;
    case ChannelResetAck:
      logger_.Line(2, [&] { return Prefix() + "] Received Channel Reset ACK."; });
      return 0;
    case WaitAck:
      // The camera's delay as it stands, even below the usual time-out.
      exchange.timeoutMs = ntohl(ack[header + 1]);
      logger_.Line(2, [&] {
        return "Received Wait ACK with delay = " + std::to_string(exchange.timeoutMs) + " ms.";
      });
      --exchange.waitsLeft;
      exchange.waitAgain = true;
      return 0;
    case MLO_ERR_CXP_MALFORMED:
      if (exchange.retriesLeft == 0) return MLO_ERR_CXP_MALFORMED;
      // Nothing of this packet counts: it goes out again from the same place.
      --exchange.retriesLeft;
      exchange.payloadWords = 0;
      return 0;
    default:
      return type;
  }
}

int CCxpPort::CleanRcvBuf() {
  int status = 0;
  unsigned int cleaned = 0;
  if (type_ == CxpIfCameraCtrl) {
    for (int waiting; (waiting = VHalDataQueueGetNrOfWords(device_, rxQueue_)) >= 1;) {
      cleaned += static_cast<unsigned int>(waiting);
      VHalDataQueueClear(device_, rxQueue_);
    }
  } else {
    uint64_t value = 0;
    while ((status = ReadRegister(registers_.rxAckData, value)) == 0 && !(value & kAckEmpty))
      ++cleaned;
  }
  logger_.Line(1, [&] {
    return Prefix() + "] Clean data buffer - Words: " + std::to_string(cleaned) +
           "; Status: " + std::to_string(status);
  });
  return status;
}

int CCxpPort::WaitForPacketData(unsigned int timeoutMs, std::vector<unsigned int>& words) {
  PollTimer timer(timeoutMs);
  int status = MLO_ERR_TIMEOUT;
  // A busy poll: an acknowledgement comes within microseconds, and sleeping would cost more.
  if (type_ == CxpIfCameraCtrl) {
    do {
      const int waiting = VHalDataQueueGetNrOfWords(device_, rxQueue_);
      if (waiting != 0) {
        status = waiting < 0 ? waiting : 0;
        break;
      }
    } while (!timer.Expired());
  } else {
    do {
      uint64_t value = 0;
      const int read = ReadRegister(registers_.rxAckData, value);
      if (read != 0 || !(value & kAckEmpty)) {
        status = read;
        if (read == 0) words.push_back(static_cast<unsigned int>(value));
        break;
      }
    } while (!timer.Expired());
    if (status == MLO_ERR_TIMEOUT) {
      logger_.Line(4, [&] {
        return Prefix() + "] Timeout while waiting for CXP Packet after " +
               std::to_string(timer.ElapsedMs()) + " ms";
      });
    }
  }
  logger_.Line(1, [&] {
    return Prefix() + "] WaitForPacketData - Status: " + std::to_string(status) +
           "; Stop: " + std::to_string(status != 0) + "; Size: " + std::to_string(words.size());
  });
  return status;
}

int CCxpPort::ReadPacketData(unsigned int timeoutMs, std::vector<unsigned int>& words) {
  int status = MLO_ERR_TIMEOUT;
  if (type_ == CxpIfCameraCtrl) {
    status = ReadQueuePacket(timeoutMs, words);
  } else {
    PollTimer timer(timeoutMs);
    for (;;) {
      uint64_t value = 0;
      const int read = ReadRegister(registers_.rxAckData, value);
      if (read != 0 || (value & kAckEnd)) {
        status = read;
        break;
      }
      // The clock is read only while the FIFO runs dry: words of a packet come back to back.
      if (!(value & kAckEmpty)) {
        words.push_back(static_cast<unsigned int>(value));
      } else if (timer.Expired()) {
        break;
      }
    }
  }
  logger_.Line(1, [&] {
    return Prefix() + "] ReadPacketData - Status: " + std::to_string(status) +
           "; Stop: " + std::to_string(status != 0) + "; Size: " + std::to_string(words.size());
  });
  return status;
}

int CCxpPort::ReadQueuePacket(unsigned int timeoutMs, std::vector<unsigned int>& words) {
  uint32_t lengthWord = 0;
  const int got = VHalDataQueueReadBufferLong(device_, rxQueue_, &lengthWord, 4, 0);
  if (got != 4) return got == 0 ? MLO_ERR_TIMEOUT : got > 0 ? MLO_ERR_INTERNAL : got;
  words.assign(lengthWord & 0xFFFF, 0);
  auto* position = reinterpret_cast<uint8_t*>(words.data());
  for (size_t remaining = words.size() * 4; remaining > 0;) {
    const int read =
        VHalDataQueueReadBufferLong(device_, rxQueue_, reinterpret_cast<uint32_t*>(position),
                                    static_cast<unsigned int>(remaining), timeoutMs);
    if (read <= 0) return read == 0 ? MLO_ERR_TIMEOUT : read;
    position += read;
    remaining -= static_cast<size_t>(read);
  }
  return 0;
}

void CCxpPort::Capture(const unsigned int* words, unsigned int count,
                       PcapDumper::Direction direction) {
  if (pcapDumper_) pcapDumper_->WriteControlPacket(words, count, direction, tagEnabled_);
}
