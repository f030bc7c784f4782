// The commands of CClPort: a GenCP request out on the serial channel, its reply out of the list
// that the polling thread fills, and memory access of any size in commands of 480 bytes at most.
#include <algorithm>
#include <chrono>
#include <cstring>

#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/ClBufferRW.h"
#include "vesk_genicam/impl/ClBufferRet.h"
#include "vesk_genicam/impl/ClPort.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::platform::RecursiveMutexGuard;

namespace {

constexpr unsigned int kChunk = 480;
constexpr unsigned int kGenApiWriteTimeoutMs = 2000;

}  // namespace

int CClPort::WritePacket(const unsigned char* frame, unsigned int size, unsigned int timeoutMs) {
  if (!frame) return MLO_ERR_INVALID_POINTER;
  // Bytes left in the hardware queues are dropped; what the polling thread holds stays.
  VHalDataQueueClear(device_, rxQueue_);
  VHalDataQueueClear(device_, txQueue_);
  if (VHalDataQueueWriteBuffer(device_, txQueue_, frame, size, timeoutMs) < 0)
    return MLO_ERR_INVALID_COMMAND;
  VHalDataQueueFlush(device_, txQueue_);
  return 0;
}

int CClPort::ExecCmd(unsigned int address, unsigned int* data, unsigned int length, bool write) {
  CClBufferRW request(address, write ? kClWriteMemory : kClReadMemory, requestId_,
                      write ? data : nullptr, length);
  unsigned char* built = nullptr;
  unsigned int size = 0;
  request.GetPacket(&built, size);
  const std::unique_ptr<unsigned char[]> frame(built);
  int status = WritePacket(frame.get(), size, maxAckTimeMs_);
  if (status == 0) {
    WaitForAck();
    // Looked for also after the deadline: a reply that came late but before now still counts.
    const std::unique_ptr<CClBufferRet> reply = TakeReply(requestId_);
    status = reply ? Finish(*reply, data, length, write) : MLO_ERR_GENCP_INVALID_PACKET;
  }
  ++requestId_;
  return status;
}

void CClPort::WaitForAck() {
  std::unique_lock<std::mutex> lock(ackMutex_);
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(maxAckTimeMs_.load());
  ackSignal_.wait_until(lock, deadline, [this] { return ackSignalled_; });
  // A signal of an earlier, late reply ends this wait early, and then no reply of ours is there.
  ackSignalled_ = false;
}

std::unique_ptr<CClBufferRet> CClPort::TakeReply(uint16_t id) {
  std::lock_guard<std::mutex> lock(replyMutex_);
  // Replies of other ids stay: they belong to commands that have given up on them.
  const auto found = std::find_if(replies_.begin(), replies_.end(),
                                  [id](const auto& reply) { return reply->GetPacketId() == id; });
  if (found == replies_.end()) return nullptr;
  std::unique_ptr<CClBufferRet> reply = std::move(*found);
  replies_.erase(found);
  return reply;
}

int CClPort::Finish(CClBufferRet& reply, unsigned int* data, unsigned int length,
                    bool write) const {
  const unsigned char* payload = reply.GetData();
  if (!payload) return MLO_ERR_GENCP_INVALID_PACKET;
  const unsigned int got = reply.GetDataLength();
  if (!write) {
    // A shorter reply is taken as it is; the rest stays as it was.
    std::memcpy(data, payload, std::min(got, length));
    return 0;
  }
  // The acknowledgement must report the length asked for, not the padded one that was sent.
  return got >= 4 && static_cast<uint32_t>(CUtility::BigEndian(payload, 4)) == length
             ? 0
             : MLO_ERR_NO_DATA;
}

int CClPort::Transfer(unsigned int address, unsigned char* buffer, unsigned int length,
                      bool write) {
  if (!buffer) return MLO_ERR_INVALID_POINTER;
  RecursiveMutexGuard scope(&portScope_);
  // Whole words, zeroed: a write's last command takes its padding from here.
  std::vector<unsigned int> scratch((length + 3) / 4);
  auto* bytes = reinterpret_cast<unsigned char*>(scratch.data());
  if (write) std::memcpy(bytes, buffer, length);
  int status = 0;
  for (unsigned int done = 0; status == 0 && done < length; done += kChunk) {
    status = ExecCmd(address + done, reinterpret_cast<unsigned int*>(bytes + done),
                     std::min(kChunk, length - done), write);
  }
  // A read that failed half way leaves zeros behind what came.
  if (!write) std::memcpy(buffer, bytes, length);
  return status;
}

int CClPort::ReadPacket(unsigned int address, unsigned char* buffer, unsigned int length,
                        unsigned int) {
  return Transfer(address, buffer, length, false);
}

int CClPort::WritePacket(unsigned int address, unsigned char* buffer, unsigned int length,
                         unsigned int) {
  return Transfer(address, buffer, length, true);
}

void CClPort::Read(void* buffer, int64_t address, int64_t length) {
  ReadPacket(static_cast<unsigned int>(address), static_cast<unsigned char*>(buffer),
             static_cast<unsigned int>(length), 0);
}

void CClPort::Write(const void* buffer, int64_t address, int64_t length) {
  // Copied before it is sent; the bytes are never written through.
  WritePacket(static_cast<unsigned int>(address),
              static_cast<unsigned char*>(const_cast<void*>(buffer)),
              static_cast<unsigned int>(length), kGenApiWriteTimeoutMs);
}
