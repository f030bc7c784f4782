#include "genapi/impl/FloatNode.h"

#include <arv.h>

#include <sstream>
#include <string>

namespace GenApi {

namespace {

ArvGcFloat* AsFloat(ArvGcFeatureNode* node) { return ARV_GC_FLOAT(node); }

std::string Text(double value) {
  std::ostringstream text;
  text << value;
  return text.str();
}

}  // namespace

void CFloatNode::SetValue(double value, bool verify) {
  CheckWritable();
  if (verify) CheckRange(value);
  Write([&](GError** error) { arv_gc_float_set_value(AsFloat(node_), value, error); });
}

double CFloatNode::GetValue(bool verify, bool ignoreCache) {
  CheckReadable();
  double value = 0;
  Read([&](GError** error) { value = arv_gc_float_get_value(AsFloat(node_), error); }, ignoreCache);
  if (verify) CheckRange(value);
  return value;
}

double CFloatNode::GetMin() {
  double min = 0;
  Read([&](GError** error) { min = arv_gc_float_get_min(AsFloat(node_), error); });
  return min;
}

double CFloatNode::GetMax() {
  double max = 0;
  Read([&](GError** error) { max = arv_gc_float_get_max(AsFloat(node_), error); });
  return max;
}

gcstring CFloatNode::GetUnit() {
  const char* unit = arv_gc_float_get_unit(AsFloat(node_));
  return unit ? unit : "";
}

gcstring CFloatNode::ToString(bool verify, bool ignoreCache) {
  return Text(GetValue(verify, ignoreCache));
}

void CFloatNode::FromString(const gcstring& value, bool verify) {
  std::istringstream text(value.str());
  text.imbue(std::locale::classic());
  double number = 0;
  if (!(text >> number) || !(text >> std::ws).eof()) {
    throw VESK_NODE_EXCEPTION(InvalidArgumentException, "'" + value.str() + "' is no number");
  }
  SetValue(number, verify);
}

void CFloatNode::CheckRange(double value) {
  const double min = GetMin();
  if (value < min) {
    throw VESK_NODE_EXCEPTION(
        OutOfRangeException,
        "Value " + Text(value) + " must be equal or greater than Min " + Text(min));
  }
  const double max = GetMax();
  if (value > max) {
    throw VESK_NODE_EXCEPTION(
        OutOfRangeException,
        "Value " + Text(value) + " must be equal or smaller than Max " + Text(max));
  }
}

}  // namespace GenApi
