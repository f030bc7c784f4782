#include "vesk_genicam/impl/ZipReader.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

using vesk::templates::container::ManagedDataArray;

constexpr uint32_t kLocalHeaderSignature = 0x04034B50;
constexpr uint32_t kCentralEntrySignature = 0x02014B50;
constexpr uint32_t kEndRecordSignature = 0x06054B50;
constexpr size_t kLocalHeaderSize = 30;
constexpr size_t kEndRecordSize = 22;
// The end record's comment is at most 65535 bytes long, so the record cannot sit further back.
constexpr size_t kEndRecordMaxSteps = 65535;
// Deflate turns one bit pair into at most 258 bytes, so no stream grows beyond 1032 times its
// size; the slack covers tiny streams.
constexpr uint64_t kMaxInflateRatio = 1032;
constexpr uint64_t kInflateSlack = 1024;

constexpr uint16_t kMethodStored = 0;
constexpr uint16_t kMethodDeflate = 8;

uint16_t ReadLe16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

uint32_t ReadLe32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

}  // namespace

CZipReader::CZipReader(DataArrayPtr archive) : archive_(std::move(archive)) {}

bool CZipReader::HasFiles() {
  if (notRead_) ReadDirectory();
  return entryCount_ > 0;
}

void CZipReader::ReadDirectory() {
  // Once only, even if the buffer turns out not to be an archive.
  notRead_ = false;
  if (!archive_) return;
  const auto* data = reinterpret_cast<const uint8_t*>(archive_->data);
  const size_t size = archive_->size;

  if (size < 4 || ReadLe32(data) != kLocalHeaderSignature) return;
  if (size < kEndRecordSize) return;

  size_t endRecord = size - kEndRecordSize;
  bool found = false;
  for (size_t step = 0;; ++step) {
    if (ReadLe32(data + endRecord) == kEndRecordSignature) {
      found = true;
      break;
    }
    if (step == kEndRecordMaxSteps || endRecord == 0) break;
    --endRecord;
  }
  if (!found) return;

  const uint16_t count = ReadLe16(data + endRecord + 10);
  const size_t directoryOffset = ReadLe32(data + endRecord + 16);
  if (count == 0 || directoryOffset > size || size - directoryOffset < kCentralEntrySize) return;

  // Entries are taken as 46 bytes back to back: the name, extra and comment fields behind each
  // are not skipped, so of a usual archive only the first entry is found. The ports want no more.
  size_t offset = directoryOffset;
  for (uint32_t index = 0; index < count; ++index) {
    if (size - offset < kCentralEntrySize) break;
    if (ReadLe32(data + offset) != kCentralEntrySignature) break;
    CentralEntry& entry = entries_[index];
    std::memcpy(entry.data(), data + offset, kCentralEntrySize);
    entryCount_ = index + 1;
    offset += kCentralEntrySize;
  }
}

CZipReader::DataArrayPtr CZipReader::GetFile(uint32_t index) {
  if (notRead_) ReadDirectory();
  if (index >= entryCount_) return nullptr;

  const CentralEntry& entry = entries_.at(index);
  const uint32_t compressedSize = ReadLe32(entry.data() + 20);
  const uint32_t uncompressedSize = ReadLe32(entry.data() + 24);
  const uint64_t localHeader = ReadLe32(entry.data() + 42);

  const auto* data = reinterpret_cast<const uint8_t*>(archive_->data);
  const uint64_t size = archive_->size;
  if (localHeader > size || size - localHeader < kLocalHeaderSize) return nullptr;
  const uint8_t* header = data + localHeader;
  const uint16_t method = ReadLe16(header + 8);
  const uint64_t dataStart =
      localHeader + kLocalHeaderSize + ReadLe16(header + 26) + ReadLe16(header + 28);
  if (dataStart > size) return nullptr;
  const uint64_t available = size - dataStart;

  if (method == kMethodStored) {
    // A stored entry is as long as its uncompressed size says.
    if (uncompressedSize > available) return nullptr;
    return ManagedDataArray::Copy(data + dataStart, uncompressedSize);
  }
  if (method == kMethodDeflate) {
    if (compressedSize > available) return nullptr;
    return Inflate(data + dataStart, compressedSize, uncompressedSize);
  }
  return nullptr;
}

CZipReader::DataArrayPtr CZipReader::Inflate(const uint8_t* input, uint32_t inputSize,
                                             uint32_t uncompressedSize) const {
  // A damaged directory may claim gigabytes; no stream of this length can produce more than
  // the bound, so neither the first guess nor the doubling goes beyond it.
  const uint64_t bound = std::min<uint64_t>(inputSize * kMaxInflateRatio + kInflateSlack,
                                            std::numeric_limits<uInt>::max());
  uint64_t outputSize = std::min<uint64_t>(std::max<uint32_t>(uncompressedSize, 1), bound);

  for (;;) {
    DataArrayPtr output = ManagedDataArray::Create(outputSize);
    z_stream stream{};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) return nullptr;
    stream.next_in = const_cast<Bytef*>(input);
    stream.avail_in = inputSize;
    stream.next_out = reinterpret_cast<Bytef*>(output->data);
    stream.avail_out = static_cast<uInt>(outputSize);
    const int result = inflate(&stream, Z_FINISH);
    const uLong produced = stream.total_out;
    const bool outputFull = stream.avail_out == 0;
    inflateEnd(&stream);

    if (result == Z_STREAM_END) {
      output->size = produced;  // the zero byte behind it is still untouched
      return output;
    }
    // The directory's size was too small (a size of 0 is common): grow and start over.
    if (result == Z_BUF_ERROR && outputFull && outputSize < bound) {
      outputSize = std::min(outputSize * 2, bound);
      continue;
    }
    // A broken stream gives what was inflated before the break, at the full output size.
    return output;
  }
}
