#ifndef VESK_GENAPI_IMPL_ENUMERATION_NODE_H
#define VESK_GENAPI_IMPL_ENUMERATION_NODE_H

#include <vector>

#include "genapi/IEnumeration.h"
#include "genapi/impl/EnumEntryNode.h"
#include "genapi/impl/NodeImpl.h"

namespace GenApi {

class CEnumerationNode : public CValueNode<IEnumeration> {
 public:
  CEnumerationNode(CNodeMapImpl& map, ArvGcFeatureNode* node, std::string name)
      : CValueNode(map, node, std::move(name), intfIEnumeration) {}

  void GetSymbolics(StringList_t& symbolics) override;
  void GetEntries(NodeList_t& entries) override;
  // GenICam::InvalidArgumentException for a value that no entry has; with verify also
  // GenICam::AccessException for an entry that is not available.
  void SetIntValue(int64_t value, bool verify = true) override;
  // With verify, GenICam::AccessException for a value that no entry has.
  int64_t GetIntValue(bool verify = false, bool ignoreCache = false) override;
  IEnumEntry* GetEntryByName(const gcstring& symbolic) override;
  IEnumEntry* GetEntry(int64_t value) override;
  // Null when the camera holds a value that no entry has.
  IEnumEntry* GetCurrentEntry(bool verify = false, bool ignoreCache = false) override;
  gcstring ToString(bool verify = false, bool ignoreCache = false) override;
  void FromString(const gcstring& symbolic, bool verify = true) override;

  void AddEntry(CEnumEntryNode* entry);

 private:
  std::vector<CEnumEntryNode*> entries_;
};

}  // namespace GenApi

#endif
