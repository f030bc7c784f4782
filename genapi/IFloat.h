#ifndef VESK_GENAPI_IFLOAT_H
#define VESK_GENAPI_IFLOAT_H

#include "genapi/IValue.h"

namespace GenApi {

class IFloat : virtual public IValue {
 public:
  // verify checks the value against the node's minimum and maximum.
  virtual void SetValue(double value, bool verify = true) = 0;
  virtual double GetValue(bool verify = false, bool ignoreCache = false) = 0;
  virtual double GetMin() = 0;
  virtual double GetMax() = 0;
  virtual gcstring GetUnit() = 0;

  IFloat& operator=(double value) {
    SetValue(value);
    return *this;
  }
  double operator()() { return GetValue(); }
  double operator*() { return GetValue(); }
};

}  // namespace GenApi

#endif
