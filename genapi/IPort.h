#ifndef VESK_GENAPI_IPORT_H
#define VESK_GENAPI_IPORT_H

#include <cstdint>

#include "genapi/IBase.h"

namespace GenApi {

// Camera memory as a node map reads and writes it. A failure is reported by throwing; the
// exception leaves the node map's call unchanged.
class IPort : virtual public IBase {
 public:
  virtual void Read(void* buffer, int64_t address, int64_t length) = 0;
  virtual void Write(const void* buffer, int64_t address, int64_t length) = 0;
};

}  // namespace GenApi

#endif
