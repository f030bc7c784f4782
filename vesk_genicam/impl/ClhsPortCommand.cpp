// The command engine of CClhsPort: GenCP memory commands through the X-Core's FIFOs, with the
// resends and the status handling of GenCP.
#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/ClhsBufferRW.h"
#include "vesk_genicam/impl/ClhsPort.h"
#include "vesk_genicam/impl/PollTimer.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::platform::RecursiveMutexGuard;

namespace {

constexpr unsigned int kAttempts = 3;
constexpr unsigned int kReadTimeoutMs = 200;
constexpr unsigned int kWriteTimeoutMs = 2000;
constexpr unsigned int kHeaderWords = 4;
// The receive FIFO holds no more than the largest acknowledgement; firmware that keeps offering
// words beyond that is not drained for ever.
constexpr unsigned int kMaxAckWords = 1024;

enum TxStatus : uint64_t { TxBusy = 1, TxFailed = 2, TxFull = 4 };
enum RxStatus : uint64_t { RxAck = 1, RxWord = 1u << 7, RxFailed = 1u << 24 };
enum TxOperation : unsigned int { TxSend = 1, TxClear = 2 };
constexpr uint64_t kWordValid = 1ull << 32;

}  // namespace

uint64_t CClhsPort::CommandWord(unsigned int operation) const {
  return commandChannel_ * 64u | commandSubchannel_ * 16u | operation;
}

int CClhsPort::AwaitTransmitter(unsigned int timeoutMs) {
  PollTimer timer(timeoutMs);
  bool cleared = false;
  for (;;) {
    const uint64_t status = ReadRegister(registers_.txStatus);
    if (timeoutMs != 0 && timer.Expired()) {
      logger_.Line(5, [&] { return "WritePacket time out: " + CUtility::HexText(status); });
      return MLO_ERR_CLHS_TX_BUSY_TIMEOUT;
    }
    if (!(status & TxFull)) {
      if (!(status & TxBusy)) return 0;
    } else if (status & TxBusy) {
      ResetCLHSCommandPort();
    } else {
      WriteRegister(registers_.txCommand, CommandWord(TxClear));
      if (cleared) {
        ResetCLHSCommandPort();
        logger_.Line(5, [&] { return "WritePacket buffer full: " + CUtility::HexText(status); });
        return MLO_ERR_CLHS_TX_BUFFER_FULL;
      }
      cleared = true;
    }
  }
}

int CClhsPort::SendFrame(const unsigned int* words, unsigned int count, unsigned int timeoutMs) {
  if (!words) return MLO_ERR_INVALID_POINTER;
  const int status = AwaitTransmitter(timeoutMs);
  if (status != 0) return status;
  for (unsigned int i = 0; i < count; ++i) WriteRegister(registers_.txData, words[i]);
  WriteRegister(registers_.txCommand, CommandWord(TxSend));
  PollTimer timer(timeoutMs);
  for (;;) {
    const uint64_t state = ReadRegister(registers_.txStatus);
    if (state & TxFailed) {
      logger_.Line(5, [&] { return "WritePacket sending error: " + CUtility::HexText(state); });
      return MLO_ERR_CLHS_TX_FAILED;
    }
    if (!(state & TxBusy)) return 0;
    if (timeoutMs != 0 && timer.Expired()) {
      logger_.Line(5, [&] { return "WritePacket time out sending: " + CUtility::HexText(state); });
      return MLO_ERR_CLHS_TX_BUSY_TIMEOUT;
    }
  }
}

int CClhsPort::GetAckPacket(std::vector<unsigned int>& words, unsigned int timeoutMs) {
  words.clear();
  PollTimer timer(timeoutMs);
  int error = 0;
  uint64_t status = 0;
  for (;;) {
    status = ReadRegister(registers_.rxStatus);
    if (status & RxFailed) {
      logger_.Line(5, [&] { return "GetAckPacket rrror receive: " + CUtility::HexText(status); });
      error = MLO_ERR_CLHS_RX_FAILED;
    }
    if (timeoutMs != 0 && timer.Expired()) {
      logger_.Line(5, [&] { return "GetAckPacket time out: " + CUtility::HexText(status); });
      return MLO_ERR_CLHS_NO_COMMAND_WORD;
    }
    if (error != 0) return error;
    if (status & RxAck) break;
  }
  while ((status & RxWord) && words.size() < kMaxAckWords) {
    const uint64_t word = ReadRegister(registers_.rxData);
    if (word & kWordValid) words.push_back(static_cast<unsigned int>(word));
    status = ReadRegister(registers_.rxStatus);
  }
  return 0;
}

int CClhsPort::GenErrorCode(int status) {
  switch (status) {
    case 0:
      return 0;
    case 0x8001:
    case 0x8002:
    case 0x8003:
    case 0x8004:
    case 0x8005:
    case 0x8006:
    case 0x8007:
    case 0x800B:
    case 0x800E:
    case 0x800F:
    case 0x8FFF:
      return -status;  // the device's codes, negated
    default:
      return MLO_ERR_GENCP_UNKNOWN_PENDING_STATUS;
  }
}

// The camera's refusals are final; time-outs and generic errors earn a resend.
bool CClhsPort::SkipResendCommand(int error) {
  return error >= MLO_ERR_DEVICE_BUSY && error <= MLO_ERR_DEVICE_NOT_IMPLEMENTED;
}

int CClhsPort::CheckAcknowledgement(const std::vector<unsigned int>& words, unsigned int* data,
                                    unsigned int length, bool write, bool& pending, bool& retry) {
  _CPACK pack{};
  int status =
      CClhsBufferRW::DecodeGenCPMemAckPacket(const_cast<unsigned int*>(words.data()),
                                             static_cast<unsigned int>(words.size()), pack, write);
  if (status != 0) return status;
  if (pack.requestId != requestId_) return MLO_ERR_GENCP_OTHER_REQUEST_ID;
  status = GenErrorCode(pack.status);
  if (status != 0) {
    retry = !SkipResendCommand(status);
    return status;
  }
  switch (pack.ackId) {
    case kClhsPendingAck:
      // The camera's announced time is not used: each wait is the caller's time-out again.
      pending = true;
      return 0;
    case kClhsWriteMemoryAck:
      // A camera that reports the written length in its payload passes only for 4-byte writes.
      if (!(pack.scdLength & 4) || pack.scdLength == length) return 0;
      logger_.Line(5,
                   [&] { return "ExecCmd GenCpCIWritememAck: " + std::to_string(pack.scdLength); });
      return MLO_ERR_GENCP_INVALID_PACKET;
    case kClhsReadMemoryAck: {
      const unsigned int wanted = (length + 3) / 4;
      if (pack.dataLength < length) return MLO_ERR_GENCP_TOO_FEW_DATA;
      if (words.size() - kHeaderWords < wanted) return MLO_ERR_BUFFER_TOO_SMALL;
      std::copy_n(words.begin() + kHeaderWords, wanted, data);
      return 0;
    }
    default:
      logger_.Line(5, [&] { return "ExecCmd UnexpectedAck: " + CUtility::HexText(pack.ackId); });
      return MLO_ERR_GENCP_UNEXPECTED_ACK;
  }
}

int CClhsPort::Attempt(uint64_t address, unsigned int* data, unsigned int length,
                       unsigned int timeoutMs, bool write, bool resend, bool& retry) {
  CClhsBufferRW request(address, write ? kClhsWriteMemory : kClhsReadMemory, requestId_,
                        write ? data : nullptr, length, true, resend);
  unsigned int* frame = nullptr;
  unsigned int count = 0;
  request.GetPacket(&frame, count);
  const std::unique_ptr<unsigned int[]> owned(frame);
  int status = SendFrame(frame, count, maxAckTime_);
  if (status != 0) {
    retry = true;
    return status;
  }
  // Pending acknowledgements keep the command alive without a limit on their number.
  for (bool pending = true; pending;) {
    std::vector<unsigned int> words;
    status = GetAckPacket(words, timeoutMs);
    if (status != 0) {
      retry = true;
      return status;
    }
    pending = false;
    status = CheckAcknowledgement(words, data, length, write, pending, retry);
    if (status != 0) return status;
  }
  return 0;
}

int CClhsPort::ExecCmd(uint64_t address, unsigned int* data, unsigned int length,
                       unsigned int timeoutMs, bool write) {
  RecursiveMutexGuard scope(&portScope_);
  for (unsigned int attempt = 0; attempt < kAttempts; ++attempt) {
    bool retry = false;
    const int status = Attempt(address, data, length, timeoutMs, write, attempt > 0, retry);
    if (!retry) {
      ++requestId_;
      return status;
    }
  }
  // The resends keep the request id, and so does the command that gave up.
  return MLO_ERR_GENCP_TIMEOUT;
}

int CClhsPort::ReadPacket(unsigned int address, unsigned char* buffer, unsigned int length,
                          unsigned int timeoutMs) {
  RecursiveMutexGuard scope(&portScope_);
  std::vector<unsigned int> scratch((length + 3) / 4 + 7);
  int status = 0;
  for (unsigned int offset = 0; offset < length && status == 0; offset += kMaxPacketSize) {
    const unsigned int chunk = std::min(kMaxPacketSize, length - offset);
    status = ExecCmd(address + offset, scratch.data() + offset / 4, chunk, timeoutMs, false);
  }
  // What came is handed over also when a later chunk failed.
  std::memcpy(buffer, scratch.data(), length);
  return status;
}

int CClhsPort::WritePacket(unsigned int address, unsigned char* buffer, unsigned int length,
                           unsigned int timeoutMs) {
  RecursiveMutexGuard scope(&portScope_);
  std::vector<unsigned int> scratch((length + 3) / 4);
  std::memcpy(scratch.data(), buffer, length);
  int status = 0;
  for (unsigned int offset = 0; offset < length && status == 0; offset += kMaxPacketSize) {
    const unsigned int chunk = std::min(kMaxPacketSize, length - offset);
    status = ExecCmd(address + offset, scratch.data() + offset / 4, chunk, timeoutMs, true);
  }
  return status;
}

void CClhsPort::Read(void* buffer, int64_t address, int64_t length) {
  ReadPacket(static_cast<unsigned int>(address), static_cast<unsigned char*>(buffer),
             static_cast<unsigned int>(length), kReadTimeoutMs);
}

void CClhsPort::Write(const void* buffer, int64_t address, int64_t length) {
  WritePacket(static_cast<unsigned int>(address),
              const_cast<unsigned char*>(static_cast<const unsigned char*>(buffer)),
              static_cast<unsigned int>(length), kWriteTimeoutMs);
}

int CClhsPort::ReadWord(unsigned int address, uint32_t& value, unsigned int timeoutMs) {
  uint32_t wire = 0;
  const int status = ReadPacket(address, reinterpret_cast<unsigned char*>(&wire), 4, timeoutMs);
  if (status == 0) value = ntohl(wire);
  return status;
}

int CClhsPort::WriteWord(unsigned int address, uint32_t value, unsigned int timeoutMs) {
  uint32_t wire = htonl(value);
  return WritePacket(address, reinterpret_cast<unsigned char*>(&wire), 4, timeoutMs);
}
