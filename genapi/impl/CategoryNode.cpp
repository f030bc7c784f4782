#include "genapi/impl/CategoryNode.h"

namespace GenApi {

void CCategoryNode::GetFeatures(FeatureList_t& features) {
  features.clear();
  for (CNodeImpl* feature : Features()) {
    if (auto* value = dynamic_cast<IValue*>(feature)) features.push_back(value);
  }
}

gcstring CCategoryNode::ToString(bool, bool) { return ""; }

void CCategoryNode::FromString(const gcstring&, bool) { CheckWritable(); }

}  // namespace GenApi
