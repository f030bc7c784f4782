#include "sim/camera/ZipWriter.h"

#include <zlib.h>

#include <limits>
#include <stdexcept>

namespace vesk::sim {

namespace {

constexpr uint32_t kLocalHeaderSignature = 0x04034B50;
constexpr uint32_t kCentralEntrySignature = 0x02014B50;
constexpr uint32_t kEndRecordSignature = 0x06054B50;
constexpr uint16_t kVersionNeeded = 20;  // 2.0: deflate
constexpr uint16_t kMethodDeflate = 8;
// A fixed time stamp, 2024-01-01 00:00, keeps archives of equal files equal.
constexpr uint16_t kDosTime = 0;
constexpr uint16_t kDosDate = ((2024 - 1980) << 9) | (1 << 5) | 1;

void Put16(std::vector<uint8_t>& out, uint16_t value) {
  out.push_back(static_cast<uint8_t>(value));
  out.push_back(static_cast<uint8_t>(value >> 8));
}

void Put32(std::vector<uint8_t>& out, uint32_t value) {
  Put16(out, static_cast<uint16_t>(value));
  Put16(out, static_cast<uint16_t>(value >> 16));
}

std::vector<uint8_t> Deflated(const std::vector<uint8_t>& data) {
  z_stream stream{};
  // Negative window bits: raw deflate, without zlib's header and checksum.
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    throw std::runtime_error("deflateInit2 failed");
  }
  std::vector<uint8_t> out(deflateBound(&stream, static_cast<uLong>(data.size())));
  stream.next_in = const_cast<Bytef*>(data.data());
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::runtime_error("deflate failed");
  return out;
}

// What the local header and the central directory entry have in common, from the version
// needed to the extra field length.
void PutCommon(std::vector<uint8_t>& out, uint32_t crc, uint32_t packed, uint32_t size,
               uint16_t nameLength) {
  Put16(out, kVersionNeeded);
  Put16(out, 0);  // flags
  Put16(out, kMethodDeflate);
  Put16(out, kDosTime);
  Put16(out, kDosDate);
  Put32(out, crc);
  Put32(out, packed);
  Put32(out, size);
  Put16(out, nameLength);
  Put16(out, 0);  // extra field
}

}  // namespace

std::vector<uint8_t> ZipWriter::Archive(const std::string& name, const std::vector<uint8_t>& data) {
  if (data.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max()) ||
      name.size() > std::numeric_limits<uint16_t>::max()) {
    throw std::runtime_error("file too large for a zip archive: " + name);
  }
  const std::vector<uint8_t> packed = Deflated(data);
  const auto crc = static_cast<uint32_t>(
      crc32(crc32(0, nullptr, 0), data.data(), static_cast<uInt>(data.size())));
  const auto size = static_cast<uint32_t>(data.size());
  const auto packedSize = static_cast<uint32_t>(packed.size());
  const auto nameLength = static_cast<uint16_t>(name.size());

  std::vector<uint8_t> zip;
  Put32(zip, kLocalHeaderSignature);
  PutCommon(zip, crc, packedSize, size, nameLength);
  zip.insert(zip.end(), name.begin(), name.end());
  zip.insert(zip.end(), packed.begin(), packed.end());

  const auto directory = static_cast<uint32_t>(zip.size());
  Put32(zip, kCentralEntrySignature);
  Put16(zip, kVersionNeeded);  // made by: MS-DOS attributes, version 2.0
  PutCommon(zip, crc, packedSize, size, nameLength);
  Put16(zip, 0);  // comment
  Put16(zip, 0);  // disk
  Put16(zip, 0);  // internal attributes
  Put32(zip, 0);  // external attributes
  Put32(zip, 0);  // offset of the local header
  zip.insert(zip.end(), name.begin(), name.end());
  const auto directorySize = static_cast<uint32_t>(zip.size() - directory);

  Put32(zip, kEndRecordSignature);
  Put16(zip, 0);  // this disk
  Put16(zip, 0);  // disk of the directory
  Put16(zip, 1);  // entries on this disk
  Put16(zip, 1);  // entries
  Put32(zip, directorySize);
  Put32(zip, directory);
  Put16(zip, 0);  // comment
  return zip;
}

}  // namespace vesk::sim
