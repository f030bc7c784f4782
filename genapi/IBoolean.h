#ifndef VESK_GENAPI_IBOOLEAN_H
#define VESK_GENAPI_IBOOLEAN_H

#include "genapi/IValue.h"

namespace GenApi {

class IBoolean : virtual public IValue {
 public:
  virtual void SetValue(bool value, bool verify = true) = 0;
  virtual bool GetValue(bool verify = false, bool ignoreCache = false) = 0;

  IBoolean& operator=(bool value) {
    SetValue(value);
    return *this;
  }
  bool operator()() { return GetValue(); }
  bool operator*() { return GetValue(); }
};

}  // namespace GenApi

#endif
