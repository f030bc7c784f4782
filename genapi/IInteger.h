#ifndef VESK_GENAPI_IINTEGER_H
#define VESK_GENAPI_IINTEGER_H

#include <cstdint>

#include "genapi/IValue.h"

namespace GenApi {

class IInteger : virtual public IValue {
 public:
  // verify checks the value against the node's minimum, maximum and increment.
  virtual void SetValue(int64_t value, bool verify = true) = 0;
  virtual int64_t GetValue(bool verify = false, bool ignoreCache = false) = 0;
  virtual int64_t GetMin() = 0;
  virtual int64_t GetMax() = 0;
  virtual int64_t GetInc() = 0;
  virtual gcstring GetUnit() = 0;

  IInteger& operator=(int64_t value) {
    SetValue(value);
    return *this;
  }
  int64_t operator()() { return GetValue(); }
  int64_t operator*() { return GetValue(); }
};

}  // namespace GenApi

#endif
