#ifndef VESK_GENAPI_IENUMENTRY_H
#define VESK_GENAPI_IENUMENTRY_H

#include <cstdint>

#include "genapi/IValue.h"

namespace GenApi {

// One entry of an enumeration. Its node name is "EnumEntry_" enumeration "_" symbolic.
class IEnumEntry : virtual public IValue {
 public:
  virtual int64_t GetValue() = 0;
  virtual gcstring GetSymbolic() const = 0;
};

}  // namespace GenApi

#endif
