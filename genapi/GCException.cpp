#include "genapi/GCException.h"

#include <cstdarg>
#include <cstdio>
#include <utility>
#include <vector>

namespace GenICam {

GenericException::GenericException(std::string description, const char* sourceFileName,
                                   unsigned int sourceLine)
    : description_(std::move(description)),
      sourceFileName_(sourceFileName ? sourceFileName : ""),
      sourceLine_(sourceLine),
      what_(description_ + " : " + sourceFileName_ + "@" + std::to_string(sourceLine_)) {}

std::string FormatDescription(const char* format, va_list arguments) {
  va_list measure;
  va_copy(measure, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measure);
  va_end(measure);
  if (length < 0) return format;
  std::vector<char> text(static_cast<size_t>(length) + 1);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  return std::string(text.data(), static_cast<size_t>(length));
}

}  // namespace GenICam
