#ifndef VESK_GENAPI_IMPL_ARAVIS_ERROR_H
#define VESK_GENAPI_IMPL_ARAVIS_ERROR_H

#include <string>

typedef struct _GError GError;

namespace GenApi {

// Throws the GenICam exception that matches an Aravis error, with the error's text after the
// node's name, and frees the error.
[[noreturn]] void ThrowAravisError(GError* error, const std::string& nodeName);

}  // namespace GenApi

#endif
