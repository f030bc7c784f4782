#ifndef VESK_GENAPI_IMPL_INTEGER_NODE_H
#define VESK_GENAPI_IMPL_INTEGER_NODE_H

#include "genapi/IInteger.h"
#include "genapi/impl/NodeImpl.h"

namespace GenApi {

// Integer, IntReg, MaskedIntReg, IntSwissKnife, IntConverter and struct entries.
class CIntegerNode : public CValueNode<IInteger> {
 public:
  CIntegerNode(CNodeMapImpl& map, ArvGcFeatureNode* node, std::string name)
      : CValueNode(map, node, std::move(name), intfIInteger) {}

  void SetValue(int64_t value, bool verify = true) override;
  int64_t GetValue(bool verify = false, bool ignoreCache = false) override;
  int64_t GetMin() override;
  int64_t GetMax() override;
  int64_t GetInc() override;
  gcstring GetUnit() override;
  gcstring ToString(bool verify = false, bool ignoreCache = false) override;
  void FromString(const gcstring& value, bool verify = true) override;

 private:
  void CheckRange(int64_t value);
};

}  // namespace GenApi

#endif
