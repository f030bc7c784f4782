#ifndef VESK_GENAPI_IVALUE_H
#define VESK_GENAPI_IVALUE_H

#include "genapi/INode.h"

namespace GenApi {

// A node with a value that can be shown and set as text.
class IValue : virtual public IBase {
 public:
  virtual INode* GetNode() = 0;
  virtual gcstring ToString(bool verify = false, bool ignoreCache = false) = 0;
  virtual void FromString(const gcstring& value, bool verify = true) = 0;
};

}  // namespace GenApi

#endif
