#include "genapi/impl/StringNode.h"

#include <arv.h>

#include <string>

namespace GenApi {

void CStringNode::SetValue(const gcstring& value, bool verify) {
  CheckWritable();
  if (verify) {
    const int64_t maxLength = GetMaxLength();
    if (static_cast<int64_t>(value.size()) > maxLength) {
      throw VESK_NODE_EXCEPTION(OutOfRangeException, "Text of " + std::to_string(value.size()) +
                                                         " characters is longer than " +
                                                         std::to_string(maxLength));
    }
  }
  Write(
      [&](GError** error) { arv_gc_string_set_value(ARV_GC_STRING(node_), value.c_str(), error); });
}

gcstring CStringNode::GetValue(bool, bool ignoreCache) {
  CheckReadable();
  gcstring value;
  Read(
      [&](GError** error) {
        const char* text = arv_gc_string_get_value(ARV_GC_STRING(node_), error);
        // After a failed read the text is Aravis's buffer as it was, not always terminated.
        if (text && !*error) value = text;
      },
      ignoreCache);
  return value;
}

int64_t CStringNode::GetMaxLength() {
  int64_t length = 0;
  Read([&](GError** error) { length = arv_gc_string_get_max_length(ARV_GC_STRING(node_), error); });
  return length;
}

gcstring CStringNode::ToString(bool verify, bool ignoreCache) {
  return GetValue(verify, ignoreCache);
}

void CStringNode::FromString(const gcstring& value, bool verify) { SetValue(value, verify); }

}  // namespace GenApi
