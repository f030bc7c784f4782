#include "genapi/impl/BooleanNode.h"

#include <arv.h>
#include <strings.h>

namespace GenApi {

void CBooleanNode::SetValue(bool value, bool) {
  CheckWritable();
  Write([&](GError** error) { arv_gc_boolean_set_value(ARV_GC_BOOLEAN(node_), value, error); });
}

bool CBooleanNode::GetValue(bool, bool ignoreCache) {
  CheckReadable();
  gboolean value = FALSE;
  Read([&](GError** error) { value = arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node_), error); },
       ignoreCache);
  return value;
}

gcstring CBooleanNode::ToString(bool verify, bool ignoreCache) {
  return GetValue(verify, ignoreCache) ? "1" : "0";
}

void CBooleanNode::FromString(const gcstring& value, bool verify) {
  if (value == "1" || strcasecmp(value.c_str(), "true") == 0) {
    SetValue(true, verify);
  } else if (value == "0" || strcasecmp(value.c_str(), "false") == 0) {
    SetValue(false, verify);
  } else {
    throw VESK_NODE_EXCEPTION(InvalidArgumentException, "'" + value.str() + "' is no boolean");
  }
}

}  // namespace GenApi
