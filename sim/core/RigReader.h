#ifndef VESK_SIM_CORE_RIG_READER_H
#define VESK_SIM_CORE_RIG_READER_H

#include <string>

#include "sim/core/Rig.h"

namespace vesk::sim {

// Reads and checks a rig's XML text. Every fault throws RigError naming the source, the line,
// the element and what is wrong; sim/README.md describes the format.
class RigReader {
 public:
  // source stands for the text in messages; relative XML file paths are taken from directory.
  static Rig Read(const std::string& text, const std::string& source,
                  const std::string& directory = ".");
  // Also throws std::runtime_error when the file cannot be read.
  static Rig ReadFile(const std::string& path);
};

}  // namespace vesk::sim

#endif
