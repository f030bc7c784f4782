#ifndef VESK_GENAPI_IMPL_FLOAT_NODE_H
#define VESK_GENAPI_IMPL_FLOAT_NODE_H

#include "genapi/IFloat.h"
#include "genapi/impl/NodeImpl.h"

namespace GenApi {

// Float, FloatReg, SwissKnife and Converter.
class CFloatNode : public CValueNode<IFloat> {
 public:
  CFloatNode(CNodeMapImpl& map, ArvGcFeatureNode* node, std::string name)
      : CValueNode(map, node, std::move(name), intfIFloat) {}

  void SetValue(double value, bool verify = true) override;
  double GetValue(bool verify = false, bool ignoreCache = false) override;
  double GetMin() override;
  double GetMax() override;
  gcstring GetUnit() override;
  gcstring ToString(bool verify = false, bool ignoreCache = false) override;
  void FromString(const gcstring& value, bool verify = true) override;

 private:
  void CheckRange(double value);
};

}  // namespace GenApi

#endif
