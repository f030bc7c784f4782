#ifndef VESK_GENAPI_IMPL_NODE_IMPL_H
#define VESK_GENAPI_IMPL_NODE_IMPL_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "genapi/GCException.h"
#include "genapi/INode.h"
#include "genapi/IValue.h"

// Aravis and GLib stay out of the headers; their types are only named here.
typedef struct _ArvGcFeatureNode ArvGcFeatureNode;
typedef struct _GError GError;

namespace GenApi {

class CNodeMapImpl;

// How a link of the camera description ties two nodes together.
enum class LinkKind {
  Reading,      // the node reads the target to get its value
  Access,       // pIsImplemented, pIsAvailable, pIsLocked: the target settles the access mode
  Value,        // pValue: read and written with the node
  Feature,      // pFeature of a category
  Invalidator,  // pInvalidator: a change of the target invalidates the node
  Selected      // pSelected: the target depends on this selector
};

// The node of an Aravis feature node. Every operation holds the node map's lock; an Aravis
// error or a failure of the port leaves it as a GenICam exception whose text names the node.
class CNodeImpl : public INode {
 public:
  CNodeImpl(CNodeMapImpl& map, ArvGcFeatureNode* node, std::string name,
            EInterfaceType interfaceType);
  ~CNodeImpl() override;
  CNodeImpl(const CNodeImpl&) = delete;
  CNodeImpl& operator=(const CNodeImpl&) = delete;

  EAccessMode GetAccessMode() const override;
  gcstring GetName(bool fullQualified = false) const override;
  ENameSpace GetNameSpace() const override;
  EVisibility GetVisibility() const override;
  EInterfaceType GetPrincipalInterfaceType() const override { return interfaceType_; }
  gcstring GetToolTip() const override;
  gcstring GetDescription() const override;
  gcstring GetDisplayName() const override;
  bool IsFeature() const override { return !categories_.empty(); }
  INodeMap* GetNodeMap() const override;
  void GetChildren(NodeList_t& children, ELinkType linkType = ctWritingChildren) const override;
  void InvalidateNode() override;
  CallbackHandleType RegisterCallback(CNodeCallback* callback) override;
  bool DeregisterCallback(CallbackHandleType handle) override;

  ArvGcFeatureNode* ArvNode() const { return node_; }
  void SetStandardNameSpace() { standard_ = true; }
  // Called while the map is built.
  void AddLink(LinkKind kind, CNodeImpl* target);
  // True for a node that keeps its value in Aravis's register cache.
  bool HoldsCache() const { return holdsCache_; }
  bool IsStale() const { return stale_; }
  void SetStale(bool stale) { stale_ = stale; }
  // This node and every node whose value or access mode depends on it.
  std::vector<CNodeImpl*> WithDependents() const;
  void RunCallbacks(ECallbackType type);

 protected:
  using AravisCall = std::function<void(GError**)>;

  // A read through Aravis: stale cached registers are read again first, and with ignoreCache
  // every register on the way is read from the camera.
  void Read(const AravisCall& call, bool ignoreCache = false) const;
  // A write through Aravis; afterwards the nodes that depend on the written ones are
  // invalidated and their callbacks run.
  void Write(const AravisCall& call);
  void CheckReadable() const;
  void CheckWritable() const;
  // The mode that the node's type and its description give, before availability and locks.
  virtual EAccessMode BaseAccessMode() const;
  // "Node 'name': text".
  std::string Described(const std::string& text) const;
  // True if the node's element has a child element of that name.
  bool HasElement(const char* name) const;
  // Decimal, or hexadecimal after "0x"; GenICam::InvalidArgumentException for anything else.
  int64_t ParseInteger(const gcstring& text) const;
  const std::vector<CNodeImpl*>& Features() const { return features_; }

  CNodeMapImpl& map_;
  ArvGcFeatureNode* node_;

 private:
  // Runs the call, then throws what the port threw or what Aravis reported.
  void Invoke(const AravisCall& call) const;
  // Reads the stale registers that this node reads; false if one of them failed.
  bool RefreshStaleRegisters() const;
  bool Refresh(const CNodeImpl& requester);
  EAccessMode EvaluateAccessMode() const;
  // False if the access mode rests on a register that is read from the camera every time.
  bool AccessModeCachable() const;
  // The cached registers that a read of this node may touch.
  const std::vector<CNodeImpl*>& RegistersRead() const;
  // This node and every node reached through the links, breadth first.
  std::vector<CNodeImpl*> Collect(std::vector<CNodeImpl*> CNodeImpl::*links) const;

  std::string name_;
  EInterfaceType interfaceType_;
  bool holdsCache_;
  bool standard_ = false;
  bool stale_ = false;
  std::vector<CNodeCallback*> callbacks_;
  std::vector<CNodeImpl*> parents_;
  std::vector<CNodeImpl*> reading_;
  std::vector<CNodeImpl*> writing_;
  std::vector<CNodeImpl*> access_;
  std::vector<CNodeImpl*> features_;
  std::vector<CNodeImpl*> categories_;
  std::vector<CNodeImpl*> invalidators_;
  std::vector<CNodeImpl*> dependents_;
  mutable std::vector<CNodeImpl*> registersRead_;
  mutable bool registersReadKnown_ = false;
  mutable EAccessMode accessMode_ = NI;
  // The map's access mode generation that accessMode_ belongs to; 0 for none.
  mutable uint64_t accessModeGeneration_ = 0;
  mutable std::optional<bool> accessModeCachable_;
};

// A node with a value: I is the value interface it offers.
template <class I>
class CValueNode : public CNodeImpl, public I {
 public:
  using CNodeImpl::CNodeImpl;
  INode* GetNode() override { return this; }
};

}  // namespace GenApi

#define VESK_NODE_EXCEPTION(Type, text) GenICam::Type(Described(text), __FILE__, __LINE__)

#endif
