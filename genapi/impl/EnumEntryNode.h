#ifndef VESK_GENAPI_IMPL_ENUM_ENTRY_NODE_H
#define VESK_GENAPI_IMPL_ENUM_ENTRY_NODE_H

#include "genapi/IEnumEntry.h"
#include "genapi/impl/NodeImpl.h"

namespace GenApi {

class CEnumEntryNode : public CValueNode<IEnumEntry> {
 public:
  CEnumEntryNode(CNodeMapImpl& map, ArvGcFeatureNode* node, std::string name)
      : CValueNode(map, node, std::move(name), intfIEnumEntry) {}

  int64_t GetValue() override;
  gcstring GetSymbolic() const override;
  // The symbolic name; an entry cannot be set.
  gcstring ToString(bool verify = false, bool ignoreCache = false) override;
  void FromString(const gcstring& value, bool verify = true) override;

 protected:
  EAccessMode BaseAccessMode() const override { return RO; }
};

}  // namespace GenApi

#endif
