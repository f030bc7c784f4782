#include "genapi/impl/AravisError.h"

#include <arv.h>

#include "genapi/GCException.h"

namespace GenApi {

namespace {

enum class Kind { Access, InvalidArgument, LogicalError, OutOfRange, Property, Runtime, Timeout };

struct Mapping {
  GQuark (*domain)();
  int code;
  Kind kind;
};

// Errors of other domains, the expression evaluator's among them, are runtime errors.
const Mapping kMappings[] = {
    {arv_gc_error_quark, ARV_GC_ERROR_PROPERTY_NOT_DEFINED, Kind::Property},
    {arv_gc_error_quark, ARV_GC_ERROR_PVALUE_NOT_DEFINED, Kind::Property},
    {arv_gc_error_quark, ARV_GC_ERROR_INVALID_PVALUE, Kind::Property},
    {arv_gc_error_quark, ARV_GC_ERROR_NODE_NOT_FOUND, Kind::Property},
    {arv_gc_error_quark, ARV_GC_ERROR_INVALID_BIT_RANGE, Kind::Property},
    {arv_gc_error_quark, ARV_GC_ERROR_OUT_OF_RANGE, Kind::OutOfRange},
    {arv_gc_error_quark, ARV_GC_ERROR_INVALID_LENGTH, Kind::OutOfRange},
    {arv_gc_error_quark, ARV_GC_ERROR_ENUM_ENTRY_NOT_FOUND, Kind::InvalidArgument},
    {arv_gc_error_quark, ARV_GC_ERROR_INVALID_SYNTAX, Kind::InvalidArgument},
    {arv_gc_error_quark, ARV_GC_ERROR_READ_ONLY, Kind::Access},
    {arv_gc_error_quark, ARV_GC_ERROR_NO_DEVICE_SET, Kind::Access},
    {arv_gc_error_quark, ARV_GC_ERROR_SET_FROM_STRING_UNDEFINED, Kind::LogicalError},
    {arv_gc_error_quark, ARV_GC_ERROR_GET_AS_STRING_UNDEFINED, Kind::LogicalError},
    {arv_device_error_quark, ARV_DEVICE_ERROR_NOT_CONNECTED, Kind::Access},
    {arv_device_error_quark, ARV_DEVICE_ERROR_TIMEOUT, Kind::Timeout},
    {arv_device_error_quark, ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT, Kind::Access},
    {arv_device_error_quark, ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED, Kind::Access},
    {arv_device_error_quark, ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS,
     Kind::InvalidArgument},
};

Kind KindOf(const GError* error) {
  for (const Mapping& mapping : kMappings) {
    if (error->domain == mapping.domain() && error->code == mapping.code) return mapping.kind;
  }
  return Kind::Runtime;
}

template <class E>
[[noreturn]] void Throw(const std::string& text) {
  throw E(text, __FILE__, __LINE__);
}

}  // namespace

void ThrowAravisError(GError* error, const std::string& nodeName) {
  const Kind kind = KindOf(error);
  const std::string text = "Node '" + nodeName + "': " + (error->message ? error->message : "");
  g_error_free(error);
  switch (kind) {
    case Kind::Access:
      Throw<GenICam::AccessException>(text);
    case Kind::InvalidArgument:
      Throw<GenICam::InvalidArgumentException>(text);
    case Kind::LogicalError:
      Throw<GenICam::LogicalErrorException>(text);
    case Kind::OutOfRange:
      Throw<GenICam::OutOfRangeException>(text);
    case Kind::Property:
      Throw<GenICam::PropertyException>(text);
    case Kind::Timeout:
      Throw<GenICam::TimeoutException>(text);
    case Kind::Runtime:
      break;
  }
  Throw<GenICam::RuntimeException>(text);
}

}  // namespace GenApi
