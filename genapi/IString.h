#ifndef VESK_GENAPI_ISTRING_H
#define VESK_GENAPI_ISTRING_H

#include <cstdint>

#include "genapi/IValue.h"

namespace GenApi {

class IString : virtual public IValue {
 public:
  virtual void SetValue(const gcstring& value, bool verify = true) = 0;
  virtual gcstring GetValue(bool verify = false, bool ignoreCache = false) = 0;
  virtual int64_t GetMaxLength() = 0;

  IString& operator=(const gcstring& value) {
    SetValue(value);
    return *this;
  }
  gcstring operator()() { return GetValue(); }
  gcstring operator*() { return GetValue(); }
};

}  // namespace GenApi

#endif
