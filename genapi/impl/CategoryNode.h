#ifndef VESK_GENAPI_IMPL_CATEGORY_NODE_H
#define VESK_GENAPI_IMPL_CATEGORY_NODE_H

#include "genapi/ICategory.h"
#include "genapi/impl/NodeImpl.h"

namespace GenApi {

class CCategoryNode : public CValueNode<ICategory> {
 public:
  CCategoryNode(CNodeMapImpl& map, ArvGcFeatureNode* node, std::string name)
      : CValueNode(map, node, std::move(name), intfICategory) {}

  void GetFeatures(FeatureList_t& features) override;
  // A category has no value: its text is empty and it cannot be set.
  gcstring ToString(bool verify = false, bool ignoreCache = false) override;
  void FromString(const gcstring& value, bool verify = true) override;

 protected:
  EAccessMode BaseAccessMode() const override { return RO; }
};

}  // namespace GenApi

#endif
