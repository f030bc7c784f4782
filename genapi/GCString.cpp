#include "genapi/GCString.h"

#include <ostream>

namespace GenICam {

std::ostream& operator<<(std::ostream& stream, const gcstring& text) {
  return stream << text.str();
}

}  // namespace GenICam
