#ifndef VESK_GENAPI_IMPL_NODE_MAP_IMPL_H
#define VESK_GENAPI_IMPL_NODE_MAP_IMPL_H

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "genapi/INodeMap.h"
#include "genapi/impl/NodeImpl.h"
#include "genapi/impl/PortDevice.h"

typedef struct _ArvGc ArvGc;
typedef struct _ArvDevice ArvDevice;
typedef struct _ArvDomNode ArvDomNode;

namespace GenApi {

// A node map over Aravis's ArvGc. The map owns the Aravis document, the device that carries
// its reads and writes to the connected IPort, and one node object per feature node.
class CNodeMapImpl : public INodeMap, public IDestroy {
 public:
  // Parses the description; GenICam::RuntimeException if it is no camera description.
  CNodeMapImpl(const std::string& xml, gcstring deviceName);
  ~CNodeMapImpl() override;
  CNodeMapImpl(const CNodeMapImpl&) = delete;
  CNodeMapImpl& operator=(const CNodeMapImpl&) = delete;

  void GetNodes(NodeList_t& nodes) const override;
  INode* GetNode(const gcstring& name) const override;
  uint64_t GetNumNodes() const override { return nodes_.size(); }
  void InvalidateNodes() const override;
  bool Connect(IPort* port, const gcstring& portName) const override;
  bool Connect(IPort* port) const override;
  gcstring GetDeviceName() override { return deviceName_; }
  void Destroy() override { delete this; }

  // For the nodes.
  std::recursive_mutex& Mutex() const { return mutex_; }
  ArvGc* Genicam() const { return genicam_.get(); }
  PortBinding& Binding() const { return binding_; }
  void MarkStale(CNodeImpl& node) const;
  void ClearStale(CNodeImpl& node) const;
  bool HasStaleRegisters() const { return staleCount_ != 0; }
  // Cached access modes hold for one generation; whatever may change a register starts the next.
  uint64_t AccessModeGeneration() const { return accessModeGeneration_; }
  void ForgetAccessModes() const { ++accessModeGeneration_; }

 private:
  void AddNodes(ArvDomNode* parent);
  void AddNode(ArvGcFeatureNode* node);
  void AddEnumEntry(ArvGcFeatureNode* node, const char* symbolic);
  CNodeImpl* Add(std::unique_ptr<CNodeImpl> node, const std::string& name);
  // Calls visit(type, target) for each link from the node to another node.
  template <class Visit>
  void ForEachLink(const CNodeImpl& node, const Visit& visit) const;
  template <class Visit>
  void ForEachLink(ArvDomNode* element, const Visit& visit) const;
  // GenICam::RuntimeException naming the nodes of a loop that a read would follow for ever.
  void RefuseValueCycles() const;
  void MarkStandardNames(const std::string& description);
  // Every node, for a whole-map invalidation.
  std::vector<CNodeImpl*> AllNodes() const;

  struct ObjectUnref {
    void operator()(void* object) const;
  };

  gcstring deviceName_;
  mutable std::recursive_mutex mutex_;
  mutable PortBinding binding_;
  // Declared in this order so that the nodes go first, then the document, then the device.
  std::unique_ptr<ArvDevice, ObjectUnref> device_;
  std::unique_ptr<ArvGc, ObjectUnref> genicam_;
  std::vector<std::unique_ptr<CNodeImpl>> nodes_;
  std::unordered_map<std::string, CNodeImpl*> byName_;
  std::unordered_map<const ArvGcFeatureNode*, CNodeImpl*> byArvNode_;
  mutable size_t staleCount_ = 0;
  mutable uint64_t accessModeGeneration_ = 1;
};

}  // namespace GenApi

#endif
