#ifndef VESK_GENAPI_GC_EXCEPTION_H
#define VESK_GENAPI_GC_EXCEPTION_H

#include <string>

namespace GenICam {

// The root of the GenICam exceptions. It does not derive from std::exception, so that the
// library's boundary can tell the two apart and report GetDescription().
class GenericException {
 public:
  GenericException(std::string description, const char* sourceFileName, unsigned int sourceLine);
  virtual ~GenericException() = default;

  // The description alone.
  const char* GetDescription() const { return description_.c_str(); }
  const char* GetSourceFileName() const { return sourceFileName_.c_str(); }
  unsigned int GetSourceLine() const { return sourceLine_; }
  // The description with its source position.
  const char* what() const { return what_.c_str(); }

 private:
  std::string description_;
  std::string sourceFileName_;
  unsigned int sourceLine_;
  std::string what_;
};

}  // namespace GenICam

#endif
