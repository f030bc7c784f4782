#include "genapi/impl/NodeImpl.h"

#include <arv.h>

#include <algorithm>
#include <cstring>
#include <unordered_set>
#include <utility>

#include "genapi/NodeCallback.h"
#include "genapi/impl/AravisError.h"
#include "genapi/impl/NodeMapImpl.h"

namespace GenApi {

namespace {

// Reads past Aravis's register cache for as long as it lives; the registers read on the way
// keep their new values.
class CacheBypass {
 public:
  CacheBypass(ArvGc* genicam, bool active) : genicam_(active ? genicam : nullptr) {
    if (!genicam_) return;
    previous_ = arv_gc_get_register_cache_policy(genicam_);
    arv_gc_set_register_cache_policy(genicam_, ARV_REGISTER_CACHE_POLICY_DISABLE);
  }
  ~CacheBypass() {
    if (genicam_) arv_gc_set_register_cache_policy(genicam_, previous_);
  }
  CacheBypass(const CacheBypass&) = delete;
  CacheBypass& operator=(const CacheBypass&) = delete;

 private:
  ArvGc* genicam_;
  ArvRegisterCachePolicy previous_ = ARV_REGISTER_CACHE_POLICY_ENABLE;
};

EAccessMode FromAravis(ArvGcAccessMode mode) {
  switch (mode) {
    case ARV_GC_ACCESS_MODE_RO:
      return RO;
    case ARV_GC_ACCESS_MODE_WO:
      return WO;
    default:
      return RW;
  }
}

// The mode of a node together with the node behind its pValue.
EAccessMode Combine(EAccessMode a, EAccessMode b) {
  if (a == NI || b == NI) return NI;
  if (a == NA || b == NA) return NA;
  if (a == b || b == RW) return a;
  if (a == RW) return b;
  return NA;  // read only with write only
}

void Append(std::vector<CNodeImpl*>& list, CNodeImpl* node) {
  if (std::find(list.begin(), list.end(), node) == list.end()) list.push_back(node);
}

void RunAll(const std::vector<CNodeImpl*>& nodes, ECallbackType type) {
  for (CNodeImpl* node : nodes) node->RunCallbacks(type);
}

// Reads a cached register once, whatever its type, so that Aravis keeps the new value.
void ReadRegister(ArvGcFeatureNode* node, GError** error) {
  if (ARV_IS_GC_INTEGER(node)) {
    arv_gc_integer_get_value(ARV_GC_INTEGER(node), error);
  } else if (ARV_IS_GC_FLOAT(node)) {
    arv_gc_float_get_value(ARV_GC_FLOAT(node), error);
  } else if (ARV_IS_GC_STRING(node)) {
    arv_gc_string_get_value(ARV_GC_STRING(node), error);
  } else {
    const guint64 length = arv_gc_register_get_length(ARV_GC_REGISTER(node), error);
    if (*error) return;
    std::vector<uint8_t> buffer(length);
    arv_gc_register_get(ARV_GC_REGISTER(node), buffer.data(), length, error);
  }
}

// Tells Aravis's invalidators of a register that its value is new, so that Aravis does not read
// it once more for a change that the refresh already took in.
void SyncInvalidators(ArvDomNode* element) {
  for (ArvDomNode* child = arv_dom_node_get_first_child(element); child;
       child = arv_dom_node_get_next_sibling(child)) {
    if (ARV_IS_GC_INVALIDATOR_NODE(child)) {
      arv_gc_invalidator_has_changed(ARV_GC_INVALIDATOR_NODE(child));
    }
  }
}

bool IsCachable(ArvGcFeatureNode* node) {
  ArvDomNode* element = ARV_DOM_NODE(node);
  // A struct entry is cached as the register that holds it.
  if (ARV_IS_GC_STRUCT_ENTRY_NODE(node)) element = arv_dom_node_get_parent_node(element);
  for (ArvDomNode* child = arv_dom_node_get_first_child(element); child;
       child = arv_dom_node_get_next_sibling(child)) {
    if (ARV_IS_GC_PROPERTY_NODE(child) && arv_gc_property_node_get_node_type(ARV_GC_PROPERTY_NODE(
                                              child)) == ARV_GC_PROPERTY_NODE_TYPE_CACHABLE) {
      return arv_gc_property_node_get_cachable(ARV_GC_PROPERTY_NODE(child),
                                               ARV_GC_CACHABLE_WRITE_THROUGH) !=
             ARV_GC_CACHABLE_NO_CACHE;
    }
  }
  return true;  // GenICam's default is WriteThrough
}

}  // namespace

CNodeImpl::CNodeImpl(CNodeMapImpl& map, ArvGcFeatureNode* node, std::string name,
                     EInterfaceType interfaceType)
    : map_(map),
      node_(node),
      name_(std::move(name)),
      interfaceType_(interfaceType),
      holdsCache_(ARV_IS_GC_REGISTER(node)) {}

CNodeImpl::~CNodeImpl() {
  for (CNodeCallback* callback : callbacks_) callback->Destroy();
}

EAccessMode CNodeImpl::GetAccessMode() const {
  std::lock_guard<std::recursive_mutex> lock(map_.Mutex());
  const uint64_t generation = map_.AccessModeGeneration();
  if (accessModeGeneration_ == generation) return accessMode_;
  CacheBypass bypass(map_.Genicam(), !RefreshStaleRegisters());
  const EAccessMode mode = EvaluateAccessMode();
  if (AccessModeCachable()) {
    accessMode_ = mode;
    accessModeGeneration_ = generation;
  }
  return mode;
}

EAccessMode CNodeImpl::EvaluateAccessMode() const {
  gboolean implemented = TRUE;
  Invoke([&](GError** error) { implemented = arv_gc_feature_node_is_implemented(node_, error); });
  if (!implemented) return NI;
  gboolean available = TRUE;
  Invoke([&](GError** error) { available = arv_gc_feature_node_is_available(node_, error); });
  if (!available) return NA;
  EAccessMode mode = BaseAccessMode();
  for (CNodeImpl* value : writing_) mode = Combine(mode, value->GetAccessMode());
  if (!IsWritable(mode)) return mode;
  gboolean locked = FALSE;
  Invoke([&](GError** error) { locked = arv_gc_feature_node_is_locked(node_, error); });
  if (!locked) return mode;
  return mode == RW ? RO : NA;
}

bool CNodeImpl::AccessModeCachable() const {
  if (!accessModeCachable_) {
    bool cachable = true;
    for (const CNodeImpl* node : Collect(&CNodeImpl::writing_)) {
      for (const CNodeImpl* condition : node->access_) {
        for (const CNodeImpl* read : condition->RegistersRead()) {
          cachable = cachable && IsCachable(read->node_);
        }
      }
    }
    accessModeCachable_ = cachable;
  }
  return *accessModeCachable_;
}

EAccessMode CNodeImpl::BaseAccessMode() const {
  return FromAravis(arv_gc_feature_node_get_actual_access_mode(node_));
}

gcstring CNodeImpl::GetName(bool fullQualified) const {
  if (!fullQualified) return name_;
  return (GetNameSpace() == Standard ? "Std::" : "Cust::") + name_;
}

ENameSpace CNodeImpl::GetNameSpace() const { return standard_ ? Standard : Custom; }

EVisibility CNodeImpl::GetVisibility() const {
  switch (arv_gc_feature_node_get_visibility(node_)) {
    case ARV_GC_VISIBILITY_INVISIBLE:
      return Invisible;
    case ARV_GC_VISIBILITY_GURU:
      return Guru;
    case ARV_GC_VISIBILITY_EXPERT:
      return Expert;
    default:
      return Beginner;
  }
}

gcstring CNodeImpl::GetToolTip() const { return arv_gc_feature_node_get_tooltip(node_); }

gcstring CNodeImpl::GetDescription() const { return arv_gc_feature_node_get_description(node_); }

gcstring CNodeImpl::GetDisplayName() const {
  const char* displayName = arv_gc_feature_node_get_display_name(node_);
  return displayName ? displayName : arv_gc_feature_node_get_name(node_);
}

INodeMap* CNodeImpl::GetNodeMap() const { return &map_; }

void CNodeImpl::GetChildren(NodeList_t& children, ELinkType linkType) const {
  std::lock_guard<std::recursive_mutex> lock(map_.Mutex());
  std::vector<CNodeImpl*> nodes;
  switch (linkType) {
    case ctParentNodes:
      nodes = parents_;
      break;
    case ctReadingChildren:
      nodes = interfaceType_ == intfICategory ? features_ : reading_;
      break;
    case ctWritingChildren:
      nodes = writing_;
      break;
    case ctInvalidatingChildren:
      nodes = invalidators_;
      break;
    case ctDependingNodes:
      nodes = WithDependents();
      nodes.erase(nodes.begin());
      break;
    case ctTerminalNodes:
      nodes = RegistersRead();
      break;
    default:
      throw VESK_NODE_EXCEPTION(InvalidArgumentException, "Link type not supported");
  }
  children.assign(nodes.begin(), nodes.end());
}

void CNodeImpl::InvalidateNode() {
  std::vector<CNodeImpl*> touched;
  {
    std::lock_guard<std::recursive_mutex> lock(map_.Mutex());
    touched = WithDependents();
    map_.ForgetAccessModes();
    for (CNodeImpl* node : touched) map_.MarkStale(*node);
    RunAll(touched, cbPostInsideLock);
  }
  RunAll(touched, cbPostOutsideLock);
}

CallbackHandleType CNodeImpl::RegisterCallback(CNodeCallback* callback) {
  if (!callback) throw VESK_NODE_EXCEPTION(InvalidArgumentException, "Callback is null");
  std::lock_guard<std::recursive_mutex> lock(map_.Mutex());
  callbacks_.push_back(callback);
  return reinterpret_cast<CallbackHandleType>(callback);
}

bool CNodeImpl::DeregisterCallback(CallbackHandleType handle) {
  std::lock_guard<std::recursive_mutex> lock(map_.Mutex());
  const auto found =
      std::find(callbacks_.begin(), callbacks_.end(), reinterpret_cast<CNodeCallback*>(handle));
  if (found == callbacks_.end()) return false;
  CNodeCallback* callback = *found;
  callbacks_.erase(found);
  callback->Destroy();
  return true;
}

void CNodeImpl::RunCallbacks(ECallbackType type) {
  // A callback may deregister itself or others while the list is walked.
  const std::vector<CNodeCallback*> snapshot = callbacks_;
  for (CNodeCallback* callback : snapshot) {
    if (std::find(callbacks_.begin(), callbacks_.end(), callback) != callbacks_.end()) {
      (*callback)(type);
    }
  }
}

void CNodeImpl::AddLink(LinkKind kind, CNodeImpl* target) {
  Append(target->parents_, this);
  switch (kind) {
    case LinkKind::Value:
      Append(writing_, target);
      Append(reading_, target);
      Append(target->dependents_, this);
      break;
    case LinkKind::Access:
      Append(access_, target);
      [[fallthrough]];
    case LinkKind::Reading:
      Append(reading_, target);
      Append(target->dependents_, this);
      break;
    case LinkKind::Feature:
      Append(features_, target);
      Append(target->categories_, this);
      break;
    case LinkKind::Invalidator:
      Append(invalidators_, target);
      Append(target->dependents_, this);
      break;
    case LinkKind::Selected:
      Append(dependents_, target);
      break;
  }
}

std::vector<CNodeImpl*> CNodeImpl::WithDependents() const {
  return Collect(&CNodeImpl::dependents_);
}

void CNodeImpl::Read(const AravisCall& call, bool ignoreCache) const {
  std::lock_guard<std::recursive_mutex> lock(map_.Mutex());
  // New values from the camera may open or close other nodes.
  if (ignoreCache) map_.ForgetAccessModes();
  const bool fresh = ignoreCache || !RefreshStaleRegisters();
  CacheBypass bypass(map_.Genicam(), fresh);
  Invoke(call);
}

void CNodeImpl::Write(const AravisCall& call) {
  std::vector<CNodeImpl*> touched;
  {
    std::lock_guard<std::recursive_mutex> lock(map_.Mutex());
    CacheBypass bypass(map_.Genicam(), !RefreshStaleRegisters());
    map_.ForgetAccessModes();
    Invoke(call);
    // Aravis has kept or dropped the written registers as their caching mode says; what
    // depends on them has to be read again.
    const std::vector<CNodeImpl*> written = Collect(&CNodeImpl::writing_);
    std::unordered_set<CNodeImpl*> seen;
    for (CNodeImpl* node : written) {
      for (CNodeImpl* dependent : node->WithDependents()) {
        if (seen.insert(dependent).second) touched.push_back(dependent);
      }
    }
    for (CNodeImpl* node : touched) {
      if (std::find(written.begin(), written.end(), node) == written.end()) map_.MarkStale(*node);
    }
    RunAll(touched, cbPostInsideLock);
  }
  RunAll(touched, cbPostOutsideLock);
}

void CNodeImpl::CheckReadable() const {
  if (!IsReadable(GetAccessMode())) {
    throw VESK_NODE_EXCEPTION(AccessException, "Node is not readable");
  }
}

void CNodeImpl::CheckWritable() const {
  if (!IsWritable(GetAccessMode())) {
    throw VESK_NODE_EXCEPTION(AccessException, "Node is not writable");
  }
}

std::string CNodeImpl::Described(const std::string& text) const {
  return "Node '" + name_ + "': " + text;
}

bool CNodeImpl::HasElement(const char* name) const {
  for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(node_)); child;
       child = arv_dom_node_get_next_sibling(child)) {
    if (std::strcmp(arv_dom_node_get_node_name(child), name) == 0) return true;
  }
  return false;
}

int64_t CNodeImpl::ParseInteger(const gcstring& text) const {
  const std::string digits = text;
  const bool hex = digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
  size_t used = 0;
  try {
    const long long value = std::stoll(digits, &used, hex ? 16 : 10);
    if (used == digits.size()) return value;
  } catch (const std::exception&) {
  }
  throw VESK_NODE_EXCEPTION(InvalidArgumentException, "'" + digits + "' is no integer");
}

void CNodeImpl::Invoke(const AravisCall& call) const {
  PortBinding& binding = map_.Binding();
  binding.failure = nullptr;
  GError* error = nullptr;
  call(&error);
  if (binding.failure) {
    // What the port threw is what GenApi's caller gets to see.
    if (error) g_error_free(error);
    std::exception_ptr failure = std::move(binding.failure);
    binding.failure = nullptr;
    std::rethrow_exception(failure);
  }
  if (error) ThrowAravisError(error, name_);
}

bool CNodeImpl::RefreshStaleRegisters() const {
  if (!map_.HasStaleRegisters()) return true;
  bool refreshed = true;
  for (CNodeImpl* node : RegistersRead()) {
    if (node->IsStale()) refreshed = node->Refresh(*this) && refreshed;
  }
  return refreshed;
}

bool CNodeImpl::Refresh(const CNodeImpl& requester) {
  // Reading a write-only register would only bother the camera.
  if (arv_gc_feature_node_get_actual_access_mode(node_) != ARV_GC_ACCESS_MODE_WO) {
    CacheBypass bypass(map_.Genicam(), true);
    try {
      requester.Invoke([&](GError** error) { ReadRegister(node_, error); });
      ArvDomNode* element = ARV_DOM_NODE(node_);
      SyncInvalidators(element);
      // A struct entry lives in the register of its parent element.
      ArvDomNode* parent = arv_dom_node_get_parent_node(element);
      if (ARV_IS_GC_REGISTER_NODE(parent)) SyncInvalidators(parent);
    } catch (...) {
      // The register stays stale and the requester reads without the cache; a failure that
      // matters shows there.
      return false;
    }
  }
  map_.ClearStale(*this);
  return true;
}

const std::vector<CNodeImpl*>& CNodeImpl::RegistersRead() const {
  if (!registersReadKnown_) {
    for (CNodeImpl* node : Collect(&CNodeImpl::reading_)) {
      if (node->HoldsCache()) registersRead_.push_back(node);
    }
    registersReadKnown_ = true;
  }
  return registersRead_;
}

std::vector<CNodeImpl*> CNodeImpl::Collect(std::vector<CNodeImpl*> CNodeImpl::*links) const {
  std::vector<CNodeImpl*> found{const_cast<CNodeImpl*>(this)};
  std::unordered_set<const CNodeImpl*> seen{this};
  for (size_t next = 0; next < found.size(); ++next) {
    for (CNodeImpl* linked : found[next]->*links) {
      if (seen.insert(linked).second) found.push_back(linked);
    }
  }
  return found;
}

}  // namespace GenApi
