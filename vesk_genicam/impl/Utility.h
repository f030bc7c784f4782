#ifndef VESK_GENICAM_IMPL_UTILITY_H
#define VESK_GENICAM_IMPL_UTILITY_H

#include <cstddef>
#include <cstdint>

// One row of the error table: a code and its message.
struct ErrorInfo {
  int32_t code;
  const char* message;
};

// The library's error codes and messages, in their fixed order. -1006 stands twice; a lookup
// returns the first row of a code, so the second -1006 message is never returned.
extern const ErrorInfo g_tbErrorInfo[];
extern const size_t g_tbErrorInfoCount;

// Static helpers shared by every part of the library.
class CUtility {
 public:
  // The message of the first row with this code, "Unknown Error." if none.
  static const char* GetError(int code);
};

#endif
