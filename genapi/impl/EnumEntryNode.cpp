#include "genapi/impl/EnumEntryNode.h"

#include <arv.h>

namespace GenApi {

int64_t CEnumEntryNode::GetValue() {
  int64_t value = 0;
  Read([&](GError** error) {
    value = arv_gc_enum_entry_get_value(ARV_GC_ENUM_ENTRY(node_), error);
  });
  return value;
}

gcstring CEnumEntryNode::GetSymbolic() const { return arv_gc_feature_node_get_name(node_); }

gcstring CEnumEntryNode::ToString(bool, bool) { return GetSymbolic(); }

void CEnumEntryNode::FromString(const gcstring&, bool) { CheckWritable(); }

}  // namespace GenApi
