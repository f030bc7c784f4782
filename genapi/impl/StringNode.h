#ifndef VESK_GENAPI_IMPL_STRING_NODE_H
#define VESK_GENAPI_IMPL_STRING_NODE_H

#include "genapi/IString.h"
#include "genapi/impl/NodeImpl.h"

namespace GenApi {

// String and StringReg.
class CStringNode : public CValueNode<IString> {
 public:
  CStringNode(CNodeMapImpl& map, ArvGcFeatureNode* node, std::string name)
      : CValueNode(map, node, std::move(name), intfIString) {}

  // verify checks the length against GetMaxLength().
  void SetValue(const gcstring& value, bool verify = true) override;
  gcstring GetValue(bool verify = false, bool ignoreCache = false) override;
  int64_t GetMaxLength() override;
  gcstring ToString(bool verify = false, bool ignoreCache = false) override;
  void FromString(const gcstring& value, bool verify = true) override;
};

}  // namespace GenApi

#endif
