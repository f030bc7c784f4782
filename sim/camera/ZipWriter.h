#ifndef VESK_SIM_CAMERA_ZIP_WRITER_H
#define VESK_SIM_CAMERA_ZIP_WRITER_H

#include <cstdint>
#include <string>
#include <vector>

namespace vesk::sim {

// Packs one file into a zip archive, deflated (raw deflate, as zip wants it), as cameras store
// their GenICam XML.
class ZipWriter {
 public:
  // Throws std::runtime_error if zlib fails or the file is too large for a plain zip archive.
  static std::vector<uint8_t> Archive(const std::string& name, const std::vector<uint8_t>& data);
};

}  // namespace vesk::sim

#endif
