#include "genapi/impl/CommandNode.h"

#include <arv.h>

#include "genapi/IInteger.h"

namespace GenApi {

void CCommandNode::Execute(bool) {
  CheckWritable();
  Write([&](GError** error) { arv_gc_command_execute(ARV_GC_COMMAND(node_), error); });
}

bool CCommandNode::IsDone(bool verify) {
  NodeList_t values;
  GetChildren(values, ctWritingChildren);
  auto* value = values.empty() ? nullptr : dynamic_cast<IInteger*>(values.front());
  // Without a register to read back the camera cannot say more than that it took the command.
  if (!value || !IsReadable(value)) return true;
  return value->GetValue(verify, true) != CommandValue();
}

gcstring CCommandNode::ToString(bool verify, bool) { return IsDone(verify) ? "1" : "0"; }

void CCommandNode::FromString(const gcstring& value, bool verify) {
  if (ParseInteger(value) != 0) Execute(verify);
}

int64_t CCommandNode::CommandValue() const {
  int64_t commandValue = 0;
  for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(node_)); child;
       child = arv_dom_node_get_next_sibling(child)) {
    if (!ARV_IS_GC_PROPERTY_NODE(child)) continue;
    const ArvGcPropertyNodeType type =
        arv_gc_property_node_get_node_type(ARV_GC_PROPERTY_NODE(child));
    if (type != ARV_GC_PROPERTY_NODE_TYPE_COMMAND_VALUE &&
        type != ARV_GC_PROPERTY_NODE_TYPE_P_COMMAND_VALUE) {
      continue;
    }
    Read([&](GError** error) {
      commandValue = arv_gc_property_node_get_int64(ARV_GC_PROPERTY_NODE(child), error);
    });
  }
  return commandValue;
}

}  // namespace GenApi
