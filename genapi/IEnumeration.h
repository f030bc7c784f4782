#ifndef VESK_GENAPI_IENUMERATION_H
#define VESK_GENAPI_IENUMERATION_H

#include <cstdint>

#include "genapi/IEnumEntry.h"
#include "genapi/IValue.h"

namespace GenApi {

using StringList_t = gcstring_vector;

class IEnumeration : virtual public IValue {
 public:
  // The symbolic names of the entries that are available now.
  virtual void GetSymbolics(StringList_t& symbolics) = 0;
  // Every entry, in the order of the camera description.
  virtual void GetEntries(NodeList_t& entries) = 0;
  virtual void SetIntValue(int64_t value, bool verify = true) = 0;
  virtual int64_t GetIntValue(bool verify = false, bool ignoreCache = false) = 0;
  // Null when no entry has the name or the value.
  virtual IEnumEntry* GetEntryByName(const gcstring& symbolic) = 0;
  virtual IEnumEntry* GetEntry(int64_t value) = 0;
  virtual IEnumEntry* GetCurrentEntry(bool verify = false, bool ignoreCache = false) = 0;

  IEnumeration& operator=(const gcstring& symbolic) {
    FromString(symbolic);
    return *this;
  }
  gcstring operator*() { return ToString(); }
};

}  // namespace GenApi

#endif
