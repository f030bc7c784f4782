#ifndef VESK_TEMPLATES_PLATFORM_PCAP_DUMPER_H
#define VESK_TEMPLATES_PLATFORM_PCAP_DUMPER_H

#include <string>

namespace vesk::templates::platform {

// Captures the CoaXPress control packets of a port into "<fileStem>.pcap". A capture that
// cannot be written is silently dropped: it must never disturb the traffic. The owner holds the
// dumper by a unique_ptr; destroying it closes the file.
class PcapDumper {
 public:
  enum class Direction { Request, Reply };

  // The third argument has no effect. The file is not truncated: a shorter run leaves the tail
  // of an earlier, longer capture behind its end.
  PcapDumper(const std::string& fileStem, unsigned int linkType, bool);
  ~PcapDumper();
  PcapDumper(const PcapDumper&) = delete;
  PcapDumper& operator=(const PcapDumper&) = delete;

  bool IsOpen() const { return fd_ != -1; }

  // One record: the packet's type code in all four bytes of a leading word, the packet's words,
  // then 0xFFFFFFFF. Nothing without a file or without words.
  void WriteControlPacket(const unsigned int* words, unsigned int count, Direction direction,
                          bool tagged);

 private:
  int fd_ = -1;
};

}  // namespace vesk::templates::platform

#endif
