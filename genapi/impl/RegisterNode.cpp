#include "genapi/impl/RegisterNode.h"

#include <arv.h>

#include <string>
#include <vector>

namespace GenApi {

namespace {
ArvGcRegister* AsRegister(ArvGcFeatureNode* node) { return ARV_GC_REGISTER(node); }
}  // namespace

void CRegisterNode::Set(const uint8_t* buffer, int64_t length, bool) {
  CheckWritable();
  CheckLength(length);
  Write([&](GError** error) { arv_gc_register_set(AsRegister(node_), buffer, length, error); });
}

void CRegisterNode::Get(uint8_t* buffer, int64_t length, bool, bool ignoreCache) {
  CheckReadable();
  CheckLength(length);
  Read([&](GError** error) { arv_gc_register_get(AsRegister(node_), buffer, length, error); },
       ignoreCache);
}

int64_t CRegisterNode::GetLength() {
  int64_t length = 0;
  Read([&](GError** error) { length = arv_gc_register_get_length(AsRegister(node_), error); });
  return length;
}

int64_t CRegisterNode::GetAddress() {
  int64_t address = 0;
  Read([&](GError** error) { address = arv_gc_register_get_address(AsRegister(node_), error); });
  return address;
}

gcstring CRegisterNode::ToString(bool verify, bool ignoreCache) {
  std::vector<uint8_t> bytes(static_cast<size_t>(GetLength()));
  Get(bytes.data(), static_cast<int64_t>(bytes.size()), verify, ignoreCache);
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xf];
  }
  return text;
}

void CRegisterNode::FromString(const gcstring& value, bool verify) {
  std::string digits = value;
  if (digits.size() >= 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    digits.erase(0, 2);
  }
  if (digits.size() % 2 != 0 ||
      digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    throw VESK_NODE_EXCEPTION(InvalidArgumentException, "'" + value.str() + "' is no hex text");
  }
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i < digits.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  }
  Set(bytes.data(), static_cast<int64_t>(bytes.size()), verify);
}

void CRegisterNode::CheckLength(int64_t length) {
  const int64_t expected = GetLength();
  if (length != expected) {
    throw VESK_NODE_EXCEPTION(OutOfRangeException, "Length " + std::to_string(length) +
                                                       " differs from the register's " +
                                                       std::to_string(expected));
  }
}

}  // namespace GenApi
