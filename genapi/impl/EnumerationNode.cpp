#include "genapi/impl/EnumerationNode.h"

#include <arv.h>

#include <string>

namespace GenApi {

void CEnumerationNode::GetSymbolics(StringList_t& symbolics) {
  symbolics.clear();
  for (CEnumEntryNode* entry : entries_) {
    if (IsAvailable(entry)) symbolics.push_back(entry->GetSymbolic());
  }
}

void CEnumerationNode::GetEntries(NodeList_t& entries) {
  entries.assign(entries_.begin(), entries_.end());
}

void CEnumerationNode::SetIntValue(int64_t value, bool verify) {
  CheckWritable();
  IEnumEntry* entry = GetEntry(value);
  if (!entry) {
    throw VESK_NODE_EXCEPTION(InvalidArgumentException,
                              "Value " + std::to_string(value) + " is not in the enumeration");
  }
  if (verify && !IsAvailable(entry)) {
    throw VESK_NODE_EXCEPTION(AccessException,
                              "Entry " + entry->GetSymbolic().str() + " is not available");
  }
  // Aravis takes only available entries; the value goes to the register itself, so that a
  // write without verification reaches the camera as it does with GenApi.
  NodeList_t values;
  GetChildren(values, ctWritingChildren);
  auto* target = values.empty() ? nullptr : dynamic_cast<CNodeImpl*>(values.front());
  Write([&](GError** error) {
    if (target && ARV_IS_GC_INTEGER(target->ArvNode())) {
      arv_gc_integer_set_value(ARV_GC_INTEGER(target->ArvNode()), value, error);
    } else {
      arv_gc_enumeration_set_int_value(ARV_GC_ENUMERATION(node_), value, error);
    }
  });
}

int64_t CEnumerationNode::GetIntValue(bool verify, bool ignoreCache) {
  CheckReadable();
  int64_t value = 0;
  Read(
      [&](GError** error) {
        value = arv_gc_enumeration_get_int_value(ARV_GC_ENUMERATION(node_), error);
      },
      ignoreCache);
  if (verify && !GetEntry(value)) {
    throw VESK_NODE_EXCEPTION(AccessException,
                              "Value " + std::to_string(value) + " is not in the enumeration");
  }
  return value;
}

IEnumEntry* CEnumerationNode::GetEntryByName(const gcstring& symbolic) {
  for (CEnumEntryNode* entry : entries_) {
    if (entry->GetSymbolic() == symbolic) return entry;
  }
  return nullptr;
}

IEnumEntry* CEnumerationNode::GetEntry(int64_t value) {
  for (CEnumEntryNode* entry : entries_) {
    if (entry->GetValue() == value) return entry;
  }
  return nullptr;
}

IEnumEntry* CEnumerationNode::GetCurrentEntry(bool verify, bool ignoreCache) {
  return GetEntry(GetIntValue(verify, ignoreCache));
}

gcstring CEnumerationNode::ToString(bool verify, bool ignoreCache) {
  const int64_t value = GetIntValue(verify, ignoreCache);
  IEnumEntry* entry = GetEntry(value);
  if (!entry) {
    throw VESK_NODE_EXCEPTION(AccessException,
                              "Value " + std::to_string(value) + " is not in the enumeration");
  }
  return entry->GetSymbolic();
}

void CEnumerationNode::FromString(const gcstring& symbolic, bool verify) {
  IEnumEntry* entry = GetEntryByName(symbolic);
  if (!entry) {
    throw VESK_NODE_EXCEPTION(InvalidArgumentException,
                              "'" + symbolic.str() + "' is no entry of the enumeration");
  }
  SetIntValue(entry->GetValue(), verify);
}

void CEnumerationNode::AddEntry(CEnumEntryNode* entry) {
  entries_.push_back(entry);
  AddLink(LinkKind::Reading, entry);
}

}  // namespace GenApi
