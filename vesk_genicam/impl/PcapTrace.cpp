#include "vesk_genicam/impl/PcapTrace.h"

#include <algorithm>

#include "templates/platform/PcapFormat.h"

using vesk::templates::platform::kPcapLinkTypeEthernet;
using vesk::templates::platform::MakePcapFileHeader;
using vesk::templates::platform::MakePcapRecordHeader;
using vesk::templates::platform::PcapFileHeader;
using vesk::templates::platform::PcapRecordHeader;

namespace {

constexpr uint16_t kEtherTypeIpv4 = 0x0800;
constexpr uint16_t kEtherTypeArp = 0x0806;
constexpr uint16_t kArpFrameLength = 60;
constexpr uint16_t kEthernetHeaderLength = 14;
// A received frame still carries its four check bytes.
constexpr uint16_t kReceivedExtraLength = kEthernetHeaderLength + 4;
constexpr uint16_t kMinimumSentLength = 60;
constexpr uint16_t kMinimumReceivedLength = 64;

uint16_t ReadBe16(const unsigned char* p) { return static_cast<uint16_t>((p[0] << 8) | p[1]); }

// The length to record for the frame at `frame`, or 0 for an EtherType this trace skips.
// The sums wrap at 16 bits, which the minimums keep from reaching 0.
uint16_t RecordedLength(const unsigned char* frame, bool outgoing) {
  switch (ReadBe16(frame + 12)) {
    case kEtherTypeIpv4: {
      const uint16_t totalLength = ReadBe16(frame + 16);
      if (outgoing) {
        return std::max(static_cast<uint16_t>(totalLength + kEthernetHeaderLength),
                        kMinimumSentLength);
      }
      return std::max(static_cast<uint16_t>(totalLength + kReceivedExtraLength),
                      kMinimumReceivedLength);
    }
    case kEtherTypeArp:
      return kArpFrameLength;
    default:
      return 0;
  }
}

}  // namespace

CPcapTrace::~CPcapTrace() {
  if (file_) fclose(file_);
}

void CPcapTrace::Open(char* path) {
  if (file_) fclose(file_);
  file_ = fopen(path, "wb");
  if (!file_) return;
  // "wb" has emptied the file, so the header always goes out.
  if (ftell(file_) != 0) return;
  const PcapFileHeader header = MakePcapFileHeader(kPcapLinkTypeEthernet);
  fwrite(header.data(), 1, header.size(), file_);
  fflush(file_);
}

void CPcapTrace::WritePcapPacket(unsigned char* data, unsigned int length, bool outgoing) {
  if (!file_ || length == 0) return;
  unsigned int offset = 0;
  while (offset < length) {
    const uint16_t frameLength = RecordedLength(data + offset, outgoing);
    if (frameLength == 0) {
      // Skips the rest in a 16-bit step: a rest of 64 KiB or more keeps the walk going, and one
      // of exactly a multiple of 64 KiB never moves. Ethernet frames are far shorter.
      offset += static_cast<uint16_t>(length - offset);
      continue;
    }
    WriteRecord(data + offset, frameLength);
    offset += frameLength;
  }
}

void CPcapTrace::WriteRecord(const unsigned char* frame, uint16_t frameLength) {
  const PcapRecordHeader header = MakePcapRecordHeader(0, 0, frameLength);
  fwrite(header.data(), 1, header.size(), file_);
  fwrite(frame, 1, frameLength, file_);
  fflush(file_);
}
