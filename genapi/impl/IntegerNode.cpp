#include "genapi/impl/IntegerNode.h"

#include <arv.h>

#include <string>

namespace GenApi {

namespace {
ArvGcInteger* AsInteger(ArvGcFeatureNode* node) { return ARV_GC_INTEGER(node); }
}  // namespace

void CIntegerNode::SetValue(int64_t value, bool verify) {
  CheckWritable();
  if (verify) CheckRange(value);
  Write([&](GError** error) { arv_gc_integer_set_value(AsInteger(node_), value, error); });
}

int64_t CIntegerNode::GetValue(bool verify, bool ignoreCache) {
  CheckReadable();
  int64_t value = 0;
  Read([&](GError** error) { value = arv_gc_integer_get_value(AsInteger(node_), error); },
       ignoreCache);
  if (verify) CheckRange(value);
  return value;
}

int64_t CIntegerNode::GetMin() {
  int64_t min = 0;
  Read([&](GError** error) { min = arv_gc_integer_get_min(AsInteger(node_), error); });
  return min;
}

int64_t CIntegerNode::GetMax() {
  int64_t max = 0;
  Read([&](GError** error) { max = arv_gc_integer_get_max(AsInteger(node_), error); });
  return max;
}

int64_t CIntegerNode::GetInc() {
  // Aravis has no default for some node types; GenICam's is 1.
  if (!HasElement("Inc") && !HasElement("pInc")) return 1;
  int64_t inc = 1;
  Read([&](GError** error) { inc = arv_gc_integer_get_inc(AsInteger(node_), error); });
  return inc;
}

gcstring CIntegerNode::GetUnit() {
  const char* unit = arv_gc_integer_get_unit(AsInteger(node_));
  return unit ? unit : "";
}

gcstring CIntegerNode::ToString(bool verify, bool ignoreCache) {
  return std::to_string(GetValue(verify, ignoreCache));
}

void CIntegerNode::FromString(const gcstring& value, bool verify) {
  SetValue(ParseInteger(value), verify);
}

void CIntegerNode::CheckRange(int64_t value) {
  const int64_t min = GetMin();
  if (value < min) {
    throw VESK_NODE_EXCEPTION(OutOfRangeException, "Value " + std::to_string(value) +
                                                       " must be equal or greater than Min " +
                                                       std::to_string(min));
  }
  const int64_t max = GetMax();
  if (value > max) {
    throw VESK_NODE_EXCEPTION(OutOfRangeException, "Value " + std::to_string(value) +
                                                       " must be equal or smaller than Max " +
                                                       std::to_string(max));
  }
  // Unsigned, since value - min may not fit a signed 64-bit number.
  const int64_t inc = GetInc();
  if (inc > 1 &&
      (static_cast<uint64_t>(value) - static_cast<uint64_t>(min)) % static_cast<uint64_t>(inc)) {
    throw VESK_NODE_EXCEPTION(OutOfRangeException, "Value " + std::to_string(value) +
                                                       " must be Min " + std::to_string(min) +
                                                       " plus a multiple of Inc " +
                                                       std::to_string(inc));
  }
}

}  // namespace GenApi
