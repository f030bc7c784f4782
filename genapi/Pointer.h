#ifndef VESK_GENAPI_POINTER_H
#define VESK_GENAPI_POINTER_H

#include "genapi/GCException.h"
#include "genapi/IBase.h"
#include "genapi/IBoolean.h"
#include "genapi/ICategory.h"
#include "genapi/ICommand.h"
#include "genapi/IEnumEntry.h"
#include "genapi/IEnumeration.h"
#include "genapi/IFloat.h"
#include "genapi/IInteger.h"
#include "genapi/INode.h"
#include "genapi/INodeMap.h"
#include "genapi/IPort.h"
#include "genapi/IRegister.h"
#include "genapi/IString.h"
#include "genapi/IValue.h"

namespace GenApi {

// A node interface pointer that carries the type test: it holds the result of a dynamic cast,
// null when the node is missing or of another type. Using a null pointer throws
// GenICam::LogicalErrorException.
template <class T, class B = IBase>
class CPointer {
 public:
  CPointer() = default;
  CPointer(B* base) : pointer_(dynamic_cast<T*>(base)) {}

  CPointer& operator=(B* base) {
    pointer_ = dynamic_cast<T*>(base);
    return *this;
  }

  operator T*() const { return Checked(); }
  T& operator*() const { return *Checked(); }
  T& operator()() const { return *Checked(); }
  T* operator->() const { return Checked(); }

  bool IsValid() const { return pointer_ != nullptr; }
  operator bool() const { return pointer_ != nullptr; }
  bool operator==(T* other) const { return pointer_ == other; }
  bool operator==(const CPointer& other) const { return pointer_ == other.pointer_; }
  bool operator!=(T* other) const { return pointer_ != other; }

 private:
  T* Checked() const {
    if (!pointer_) throw LOGICAL_ERROR_EXCEPTION("NULL pointer dereferenced");
    return pointer_;
  }

  T* pointer_ = nullptr;
};

using CBasePtr = CPointer<IBase>;
using CNodePtr = CPointer<INode>;
using CValuePtr = CPointer<IValue>;
using CIntegerPtr = CPointer<IInteger>;
using CFloatPtr = CPointer<IFloat>;
using CBooleanPtr = CPointer<IBoolean>;
using CStringPtr = CPointer<IString>;
using CCommandPtr = CPointer<ICommand>;
using CEnumerationPtr = CPointer<IEnumeration>;
using CEnumEntryPtr = CPointer<IEnumEntry>;
using CCategoryPtr = CPointer<ICategory>;
using CRegisterPtr = CPointer<IRegister>;
using CPortPtr = CPointer<IPort>;
using CNodeMapPtr = CPointer<INodeMap, INodeMap>;

}  // namespace GenApi

#endif
