#ifndef VESK_SIM_CORE_RIG_READER_H
#define VESK_SIM_CORE_RIG_READER_H

#include <cstddef>
#include <string>

#include "sim/core/Rig.h"

namespace vesk::sim {

// Reads and checks a rig's XML text. Every fault throws RigError naming the source, the line,
// the element and what is wrong; sim/README.md describes the format.
class RigReader {
 public:
  // Far beyond any real rig (a few kilobytes, three levels deep), well within what the reader
  // can take.
  static constexpr size_t kMaxFileBytes = 1 << 20;
  static constexpr int kMaxDepth = 64;

  // source stands for the text in messages; relative XML file paths are taken from directory.
  static Rig Read(const std::string& text, const std::string& source,
                  const std::string& directory = ".");
  // Also throws std::runtime_error naming the file when it cannot be read, is not a regular file
  // or is larger than kMaxFileBytes.
  static Rig ReadFile(const std::string& path);
};

}  // namespace vesk::sim

#endif
