#include "templates/platform/PcapDumper.h"

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "templates/platform/PcapFormat.h"

namespace vesk::templates::platform {

namespace {

// Control packet type codes of CoaXPress, repeated in every byte of the word.
constexpr unsigned int kRequest = 0x02020202;
constexpr unsigned int kReply = 0x03030303;
constexpr unsigned int kTaggedRequest = 0x05050505;
constexpr unsigned int kTaggedReply = 0x06060606;
constexpr unsigned int kTrailer = 0xFFFFFFFF;

unsigned int TypeWord(PcapDumper::Direction direction, bool tagged) {
  if (direction == PcapDumper::Direction::Request) return tagged ? kTaggedRequest : kRequest;
  return tagged ? kTaggedReply : kReply;
}

}  // namespace

PcapDumper::PcapDumper(const std::string& fileStem, unsigned int linkType, bool) {
  fd_ = open((fileStem + ".pcap").c_str(), O_WRONLY | O_CREAT, 0644);
  if (fd_ == -1) return;
  const PcapFileHeader header = MakePcapFileHeader(linkType);
  static_cast<void>(write(fd_, header.data(), header.size()));
}

PcapDumper::~PcapDumper() {
  if (fd_ != -1) close(fd_);
}

void PcapDumper::WriteControlPacket(const unsigned int* words, unsigned int count,
                                    Direction direction, bool tagged) {
  if (fd_ == -1 || count == 0) return;
  std::vector<unsigned int> frame(count + 2);
  frame.front() = TypeWord(direction, tagged);
  std::copy(words, words + count, frame.begin() + 1);
  frame.back() = kTrailer;

  timeval now{};
  gettimeofday(&now, nullptr);
  const uint32_t frameBytes = static_cast<uint32_t>(frame.size() * sizeof(unsigned int));
  const PcapRecordHeader header = MakePcapRecordHeader(
      static_cast<uint32_t>(now.tv_sec), static_cast<uint32_t>(now.tv_usec), frameBytes);
  static_cast<void>(write(fd_, header.data(), header.size()));
  static_cast<void>(write(fd_, frame.data(), frameBytes));
}

}  // namespace vesk::templates::platform
