#ifndef VESK_GENAPI_IREGISTER_H
#define VESK_GENAPI_IREGISTER_H

#include <cstdint>

#include "genapi/IValue.h"

namespace GenApi {

// A block of camera memory. Get and Set take exactly GetLength() bytes.
class IRegister : virtual public IValue {
 public:
  virtual void Set(const uint8_t* buffer, int64_t length, bool verify = true) = 0;
  virtual void Get(uint8_t* buffer, int64_t length, bool verify = false,
                   bool ignoreCache = false) = 0;
  virtual int64_t GetLength() = 0;
  virtual int64_t GetAddress() = 0;
};

}  // namespace GenApi

#endif
