#ifndef VESK_GENAPI_GC_EXCEPTION_H
#define VESK_GENAPI_GC_EXCEPTION_H

#include <cstdarg>
#include <string>
#include <utility>

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

// Memory could not be had.
class BadAllocException : public GenericException {
 public:
  using GenericException::GenericException;
};
// An argument that the callee cannot take.
class InvalidArgumentException : public GenericException {
 public:
  using GenericException::GenericException;
};
// A value outside the limits of its node.
class OutOfRangeException : public GenericException {
 public:
  using GenericException::GenericException;
};
// A node property that is missing or wrong in the camera description.
class PropertyException : public GenericException {
 public:
  using GenericException::GenericException;
};
// Any other failure found at run time.
class RuntimeException : public GenericException {
 public:
  using GenericException::GenericException;
};
// A call that the caller should not have made, such as the use of a null pointer.
class LogicalErrorException : public GenericException {
 public:
  using GenericException::GenericException;
};
// A node that cannot be read or written now, or a reference that is not valid.
class AccessException : public GenericException {
 public:
  using GenericException::GenericException;
};
// An operation that did not finish in time.
class TimeoutException : public GenericException {
 public:
  using GenericException::GenericException;
};
// A cast to a node interface that the node does not have.
class DynamicCastException : public GenericException {
 public:
  using GenericException::GenericException;
};

// Builds an exception of type E with a printf-style description and the source position:
//   throw RUNTIME_EXCEPTION("Node map already created");
template <class E>
class ExceptionReporter {
 public:
  ExceptionReporter(const char* sourceFileName, unsigned int sourceLine)
      : sourceFileName_(sourceFileName), sourceLine_(sourceLine) {}

  E Report(const char* format, ...) const __attribute__((format(printf, 2, 3)));

 private:
  const char* sourceFileName_;
  unsigned int sourceLine_;
};

// The text that a printf-style format and its argument list make.
std::string FormatDescription(const char* format, va_list arguments);

template <class E>
E ExceptionReporter<E>::Report(const char* format, ...) const {
  va_list arguments;
  va_start(arguments, format);
  std::string description = FormatDescription(format, arguments);
  va_end(arguments);
  return E(std::move(description), sourceFileName_, sourceLine_);
}

}  // namespace GenICam

#define GENICAM_EXCEPTION_REPORTER(Type) \
  GenICam::ExceptionReporter<GenICam::Type>(__FILE__, __LINE__).Report
#define GENERIC_EXCEPTION GENICAM_EXCEPTION_REPORTER(GenericException)
#define BAD_ALLOC_EXCEPTION GENICAM_EXCEPTION_REPORTER(BadAllocException)
#define INVALID_ARGUMENT_EXCEPTION GENICAM_EXCEPTION_REPORTER(InvalidArgumentException)
#define OUT_OF_RANGE_EXCEPTION GENICAM_EXCEPTION_REPORTER(OutOfRangeException)
#define PROPERTY_EXCEPTION GENICAM_EXCEPTION_REPORTER(PropertyException)
#define RUNTIME_EXCEPTION GENICAM_EXCEPTION_REPORTER(RuntimeException)
#define LOGICAL_ERROR_EXCEPTION GENICAM_EXCEPTION_REPORTER(LogicalErrorException)
#define ACCESS_EXCEPTION GENICAM_EXCEPTION_REPORTER(AccessException)
#define TIMEOUT_EXCEPTION GENICAM_EXCEPTION_REPORTER(TimeoutException)
#define DYNAMICCAST_EXCEPTION GENICAM_EXCEPTION_REPORTER(DynamicCastException)

#endif
