#include "genapi/GCException.h"

#include <utility>

namespace GenICam {

GenericException::GenericException(std::string description, const char* sourceFileName,
                                   unsigned int sourceLine)
    : description_(std::move(description)),
      sourceFileName_(sourceFileName ? sourceFileName : ""),
      sourceLine_(sourceLine),
      what_(description_ + " : " + sourceFileName_ + "@" + std::to_string(sourceLine_)) {}

}  // namespace GenICam
