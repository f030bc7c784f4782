#ifndef VESK_GENAPI_IBASE_H
#define VESK_GENAPI_IBASE_H

#include "genapi/Types.h"

namespace GenApi {

// The root of every node interface and of IPort.
class IBase {
 public:
  virtual EAccessMode GetAccessMode() const = 0;
  virtual ~IBase() = default;
};

inline bool IsReadable(const IBase* node) { return node && IsReadable(node->GetAccessMode()); }
inline bool IsWritable(const IBase* node) { return node && IsWritable(node->GetAccessMode()); }
inline bool IsImplemented(const IBase* node) {
  return node && IsImplemented(node->GetAccessMode());
}
inline bool IsAvailable(const IBase* node) { return node && IsAvailable(node->GetAccessMode()); }

}  // namespace GenApi

#endif
