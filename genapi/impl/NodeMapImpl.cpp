#include "genapi/impl/NodeMapImpl.h"

#include <arv.h>

#include <cctype>
#include <cstring>
#include <utility>

#include "genapi/GCException.h"
#include "genapi/impl/BooleanNode.h"
#include "genapi/impl/CategoryNode.h"
#include "genapi/impl/CommandNode.h"
#include "genapi/impl/DescriptionText.h"
#include "genapi/impl/EnumEntryNode.h"
#include "genapi/impl/EnumerationNode.h"
#include "genapi/impl/FloatNode.h"
#include "genapi/impl/GLibLog.h"
#include "genapi/impl/IntegerNode.h"
#include "genapi/impl/LinkCycle.h"
#include "genapi/impl/PortNode.h"
#include "genapi/impl/RegisterNode.h"
#include "genapi/impl/StringNode.h"

namespace GenApi {

namespace {

struct ElementType {
  const char* tag;
  EInterfaceType interfaceType;
};

// The interface of each element of the camera description that becomes a node. Elements not
// listed here are plain nodes.
const ElementType kElementTypes[] = {
    {"Integer", intfIInteger},
    {"IntReg", intfIInteger},
    {"MaskedIntReg", intfIInteger},
    {"IntSwissKnife", intfIInteger},
    {"IntConverter", intfIInteger},
    {"StructEntry", intfIInteger},
    {"Float", intfIFloat},
    {"FloatReg", intfIFloat},
    {"SwissKnife", intfIFloat},
    {"Converter", intfIFloat},
    {"Boolean", intfIBoolean},
    {"Command", intfICommand},
    {"String", intfIString},
    {"StringReg", intfIString},
    {"Register", intfIRegister},
    {"Category", intfICategory},
    {"Enumeration", intfIEnumeration},
    {"Port", intfIPort},
};

const char* TagOf(ArvGcFeatureNode* node) { return arv_dom_node_get_node_name(ARV_DOM_NODE(node)); }

EInterfaceType InterfaceOf(ArvGcFeatureNode* node) {
  const char* tag = TagOf(node);
  for (const ElementType& type : kElementTypes) {
    if (std::strcmp(tag, type.tag) == 0) return type.interfaceType;
  }
  return intfIBase;
}

std::unique_ptr<CNodeImpl> MakeNode(CNodeMapImpl& map, ArvGcFeatureNode* node,
                                    const std::string& name) {
  switch (InterfaceOf(node)) {
    case intfIInteger:
      if (ARV_IS_GC_INTEGER(node)) return std::make_unique<CIntegerNode>(map, node, name);
      break;
    case intfIFloat:
      if (ARV_IS_GC_FLOAT(node)) return std::make_unique<CFloatNode>(map, node, name);
      break;
    case intfIBoolean:
      return std::make_unique<CBooleanNode>(map, node, name);
    case intfICommand:
      return std::make_unique<CCommandNode>(map, node, name);
    case intfIString:
      if (ARV_IS_GC_STRING(node)) return std::make_unique<CStringNode>(map, node, name);
      break;
    case intfIRegister:
      if (ARV_IS_GC_REGISTER(node)) return std::make_unique<CRegisterNode>(map, node, name);
      break;
    case intfICategory:
      return std::make_unique<CCategoryNode>(map, node, name);
    case intfIEnumeration:
      return std::make_unique<CEnumerationNode>(map, node, name);
    case intfIPort:
      return std::make_unique<CPortNode>(map, node, name);
    default:
      break;
  }
  return std::make_unique<CNodeImpl>(map, node, name, intfIBase);
}

// The text with its comments cut out, for a search that must not find commented elements.
std::string WithoutComments(const std::string& xml) {
  std::string text;
  size_t from = 0;
  for (size_t start = xml.find("<!--"); start != std::string::npos;
       start = xml.find("<!--", from)) {
    text.append(xml, from, start - from);
    const size_t end = xml.find("-->", start);
    if (end == std::string::npos) return text;
    from = end + 3;
  }
  return text.append(xml, from, std::string::npos);
}

LinkKind KindOf(ArvGcPropertyNodeType type) {
  switch (type) {
    case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE:
      return LinkKind::Value;
    case ARV_GC_PROPERTY_NODE_TYPE_P_FEATURE:
      return LinkKind::Feature;
    case ARV_GC_PROPERTY_NODE_TYPE_P_INVALIDATOR:
      return LinkKind::Invalidator;
    case ARV_GC_PROPERTY_NODE_TYPE_P_SELECTED:
      return LinkKind::Selected;
    case ARV_GC_PROPERTY_NODE_TYPE_P_IS_IMPLEMENTED:
    case ARV_GC_PROPERTY_NODE_TYPE_P_IS_AVAILABLE:
    case ARV_GC_PROPERTY_NODE_TYPE_P_IS_LOCKED:
      return LinkKind::Access;
    default:
      return LinkKind::Reading;
  }
}

// True for a link that a read of the node's value follows. Categories, invalidators and
// selectors are never read with it, and limits and access conditions are read by themselves, so
// that loops through those end: the maximum of a width may well depend on an offset whose maximum
// depends on the width.
bool ReadWithValue(ArvGcPropertyNodeType type) {
  switch (type) {
    case ARV_GC_PROPERTY_NODE_TYPE_P_FEATURE:
    case ARV_GC_PROPERTY_NODE_TYPE_P_INVALIDATOR:
    case ARV_GC_PROPERTY_NODE_TYPE_P_SELECTED:
    case ARV_GC_PROPERTY_NODE_TYPE_P_IS_IMPLEMENTED:
    case ARV_GC_PROPERTY_NODE_TYPE_P_IS_AVAILABLE:
    case ARV_GC_PROPERTY_NODE_TYPE_P_IS_LOCKED:
    case ARV_GC_PROPERTY_NODE_TYPE_P_MINIMUM:
    case ARV_GC_PROPERTY_NODE_TYPE_P_MAXIMUM:
    case ARV_GC_PROPERTY_NODE_TYPE_P_INCREMENT:
      return false;
    default:
      return true;
  }
}

}  // namespace

void CNodeMapImpl::ObjectUnref::operator()(void* object) const { g_object_unref(object); }

CNodeMapImpl::CNodeMapImpl(const std::string& xml, gcstring deviceName)
    : deviceName_(std::move(deviceName)) {
  RouteGLibLogs();
  if (xml.empty()) throw RUNTIME_EXCEPTION("The camera description is empty");
  if (HasTextBeforeDeclaration(xml)) {
    throw RUNTIME_EXCEPTION("The camera description has text before its XML declaration");
  }
  device_.reset(CreatePortDevice(&binding_));
  const std::string text = WithTrimmedValues(xml);
  const unsigned int parseErrors = XmlParseErrors();
  genicam_.reset(arv_gc_new(device_.get(), text.data(), text.size()));
  if (!genicam_ || XmlParseErrors() != parseErrors) {
    throw RUNTIME_EXCEPTION("The camera description is no well-formed GenICam XML");
  }
  SetPortDeviceGenicam(device_.get(), genicam_.get());
  // Values are kept as each register's caching mode allows; range and access checks are done
  // here, before Aravis is called, so that a write without verification can go out of range.
  arv_gc_set_register_cache_policy(genicam_.get(), ARV_REGISTER_CACHE_POLICY_ENABLE);
  arv_gc_set_range_check_policy(genicam_.get(), ARV_RANGE_CHECK_POLICY_DISABLE);
  arv_gc_set_access_check_policy(genicam_.get(), ARV_ACCESS_CHECK_POLICY_DISABLE);
  AddNodes(ARV_DOM_NODE(genicam_.get()));
  MarkStandardNames(text);
  for (const auto& node : nodes_) {
    ForEachLink(*node, [&](ArvGcPropertyNodeType type, CNodeImpl* target) {
      node->AddLink(KindOf(type), target);
    });
  }
  RefuseValueCycles();
}

CNodeMapImpl::~CNodeMapImpl() = default;

void CNodeMapImpl::GetNodes(NodeList_t& nodes) const {
  nodes.assign(nodes_.size(), nullptr);
  for (size_t i = 0; i < nodes_.size(); ++i) nodes[i] = nodes_[i].get();
}

INode* CNodeMapImpl::GetNode(const gcstring& name) const {
  const auto found = byName_.find(name);
  return found == byName_.end() ? nullptr : found->second;
}

void CNodeMapImpl::InvalidateNodes() const {
  const std::vector<CNodeImpl*> nodes = AllNodes();
  {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    ForgetAccessModes();
    for (CNodeImpl* node : nodes) MarkStale(*node);
    for (CNodeImpl* node : nodes) node->RunCallbacks(cbPostInsideLock);
  }
  for (CNodeImpl* node : nodes) node->RunCallbacks(cbPostOutsideLock);
}

bool CNodeMapImpl::Connect(IPort* port, const gcstring& portName) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  const INode* node = GetNode(portName);
  if (!node || node->GetPrincipalInterfaceType() != intfIPort) return false;
  // Whatever was cached came from another port.
  ForgetAccessModes();
  if (binding_.port) {
    for (CNodeImpl* each : AllNodes()) MarkStale(*each);
  }
  binding_.port = port;
  return true;
}

bool CNodeMapImpl::Connect(IPort* port) const { return Connect(port, "Device"); }

void CNodeMapImpl::MarkStale(CNodeImpl& node) const {
  if (!node.HoldsCache() || node.IsStale()) return;
  node.SetStale(true);
  ++staleCount_;
}

void CNodeMapImpl::ClearStale(CNodeImpl& node) const {
  if (!node.IsStale()) return;
  node.SetStale(false);
  --staleCount_;
}

void CNodeMapImpl::AddNodes(ArvDomNode* parent) {
  for (ArvDomNode* child = arv_dom_node_get_first_child(parent); child;
       child = arv_dom_node_get_next_sibling(child)) {
    if (ARV_IS_GC_FEATURE_NODE(child)) AddNode(ARV_GC_FEATURE_NODE(child));
    AddNodes(child);
  }
}

void CNodeMapImpl::AddNode(ArvGcFeatureNode* node) {
  // Groups, struct registers and the description itself have no name and are no nodes.
  const char* name = arv_gc_feature_node_get_name(node);
  if (!name) return;
  if (std::strcmp(TagOf(node), "EnumEntry") == 0) {
    AddEnumEntry(node, name);
  } else if (!byName_.count(name)) {
    Add(MakeNode(*this, node, name), name);
  }
}

void CNodeMapImpl::AddEnumEntry(ArvGcFeatureNode* node, const char* symbolic) {
  const auto parent = byArvNode_.find(
      reinterpret_cast<ArvGcFeatureNode*>(arv_dom_node_get_parent_node(ARV_DOM_NODE(node))));
  if (parent == byArvNode_.end()) return;
  auto* enumeration = dynamic_cast<CEnumerationNode*>(parent->second);
  if (!enumeration) return;
  // GenApi's name for an entry node, which keeps entries of different enumerations apart.
  const std::string name = "EnumEntry_" + enumeration->GetName().str() + "_" + symbolic;
  if (byName_.count(name)) return;
  CNodeImpl* entry = Add(std::make_unique<CEnumEntryNode>(*this, node, name), name);
  enumeration->AddEntry(static_cast<CEnumEntryNode*>(entry));
}

CNodeImpl* CNodeMapImpl::Add(std::unique_ptr<CNodeImpl> node, const std::string& name) {
  CNodeImpl* added = node.get();
  byName_.emplace(name, added);
  byArvNode_.emplace(added->ArvNode(), added);
  nodes_.push_back(std::move(node));
  return added;
}

template <class Visit>
void CNodeMapImpl::ForEachLink(const CNodeImpl& node, const Visit& visit) const {
  ArvDomNode* element = ARV_DOM_NODE(node.ArvNode());
  ForEachLink(element, visit);
  // A struct entry is read through the register that holds it.
  if (std::strcmp(TagOf(node.ArvNode()), "StructEntry") == 0) {
    ForEachLink(arv_dom_node_get_parent_node(element), visit);
  }
}

template <class Visit>
void CNodeMapImpl::ForEachLink(ArvDomNode* element, const Visit& visit) const {
  for (ArvDomNode* child = arv_dom_node_get_first_child(element); child;
       child = arv_dom_node_get_next_sibling(child)) {
    if (!ARV_IS_GC_PROPERTY_NODE(child)) continue;
    ArvGcPropertyNode* property = ARV_GC_PROPERTY_NODE(child);
    const ArvGcPropertyNodeType type = arv_gc_property_node_get_node_type(property);
    // Below this mark the property holds a value, above it names a node.
    if (type <= ARV_GC_PROPERTY_NODE_TYPE_P_UNKNONW) continue;
    ArvGcNode* target = arv_gc_property_node_get_linked_node(property);
    if (!target) continue;
    const auto linked = byArvNode_.find(reinterpret_cast<ArvGcFeatureNode*>(target));
    if (linked != byArvNode_.end()) visit(type, linked->second);
  }
}

// Aravis follows a loop of values for ever, or until the stack is gone.
void CNodeMapImpl::RefuseValueCycles() const {
  std::unordered_map<const CNodeImpl*, size_t> indexes;
  for (size_t i = 0; i < nodes_.size(); ++i) indexes.emplace(nodes_[i].get(), i);
  std::vector<std::vector<size_t>> links(nodes_.size());
  for (size_t i = 0; i < nodes_.size(); ++i) {
    ForEachLink(*nodes_[i], [&](ArvGcPropertyNodeType type, const CNodeImpl* target) {
      if (ReadWithValue(type)) links[i].push_back(indexes.at(target));
    });
  }
  const std::vector<size_t> cycle = FindLinkCycle(links);
  if (cycle.empty()) return;
  std::string path;
  for (size_t i : cycle) path += (path.empty() ? "" : " -> ") + nodes_[i]->GetName().str();
  throw RUNTIME_EXCEPTION("Node '%s' depends on its own value: %s",
                          nodes_[cycle.front()]->GetName().c_str(), path.c_str());
}

// Aravis takes a missing NameSpace attribute for "Standard", where GenICam's default is
// "Custom"; so the attribute is looked up in the text. Entries keep the default.
void CNodeMapImpl::MarkStandardNames(const std::string& description) {
  const std::string xml = WithoutComments(description);
  static const std::string kStandard = "NameSpace=\"Standard\"";
  static const std::string kName = "Name=\"";
  for (size_t at = xml.find(kStandard); at != std::string::npos;
       at = xml.find(kStandard, at + kStandard.size())) {
    const size_t tagStart = xml.rfind('<', at);
    const size_t tagEnd = xml.find('>', at);
    size_t name = xml.find(kName, tagStart);
    while (name != std::string::npos && name < tagEnd && !std::isspace(xml[name - 1])) {
      name = xml.find(kName, name + 1);
    }
    if (tagStart == std::string::npos || name == std::string::npos || name > tagEnd) continue;
    const size_t nameStart = name + kName.size();
    const auto found = byName_.find(xml.substr(nameStart, xml.find('"', nameStart) - nameStart));
    if (found != byName_.end()) found->second->SetStandardNameSpace();
  }
}

std::vector<CNodeImpl*> CNodeMapImpl::AllNodes() const {
  std::vector<CNodeImpl*> nodes;
  nodes.reserve(nodes_.size());
  for (const auto& node : nodes_) nodes.push_back(node.get());
  return nodes;
}

}  // namespace GenApi
