#ifndef VESK_GENAPI_IMPL_BOOLEAN_NODE_H
#define VESK_GENAPI_IMPL_BOOLEAN_NODE_H

#include "genapi/IBoolean.h"
#include "genapi/impl/NodeImpl.h"

namespace GenApi {

class CBooleanNode : public CValueNode<IBoolean> {
 public:
  CBooleanNode(CNodeMapImpl& map, ArvGcFeatureNode* node, std::string name)
      : CValueNode(map, node, std::move(name), intfIBoolean) {}

  void SetValue(bool value, bool verify = true) override;
  bool GetValue(bool verify = false, bool ignoreCache = false) override;
  // "1" or "0"; FromString also takes "true" and "false".
  gcstring ToString(bool verify = false, bool ignoreCache = false) override;
  void FromString(const gcstring& value, bool verify = true) override;
};

}  // namespace GenApi

#endif
