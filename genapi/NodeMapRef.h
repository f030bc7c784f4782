#ifndef VESK_GENAPI_NODE_MAP_REF_H
#define VESK_GENAPI_NODE_MAP_REF_H

#include "genapi/GCException.h"
#include "genapi/INodeMap.h"
#include "genapi/NodeMapFactory.h"

namespace GenApi {

// The parameter class of a plain CNodeMapRef: no camera-specific members to bind.
class CGeneric_XMLLoaderParams {
 public:
  virtual ~CGeneric_XMLLoaderParams() = default;

 protected:
  virtual void _Initialize(INodeMap*) {}
};

// A counted reference to a node map. Copies share the map; the last one destroys it.
template <class TCameraParams>
class CNodeMapRefT : public TCameraParams {
 public:
  explicit CNodeMapRefT(const gcstring& deviceName = "Device") : _DeviceName(deviceName) {}
  CNodeMapRefT(INodeMap* nodeMap, const gcstring& deviceName = "Device") {
    Attach(nodeMap, deviceName, nodeMap ? new int(0) : nullptr);
  }
  CNodeMapRefT(const CNodeMapRefT& other) : TCameraParams() {
    Attach(other._Ptr, other._DeviceName, other._pRefCount);
  }
  CNodeMapRefT& operator=(const CNodeMapRefT& other) {
    if (this != &other) {
      Release();
      Attach(other._Ptr, other._DeviceName, other._pRefCount);
    }
    return *this;
  }
  // Takes a map that CNodeMapFactory::CreateNodeMap made, with a use count of 1.
  CNodeMapRefT& operator=(INodeMap* nodeMap) {
    Release();
    Attach(nodeMap, nodeMap ? nodeMap->GetDeviceName() : _DeviceName,
           nodeMap ? new int(0) : nullptr);
    return *this;
  }
  ~CNodeMapRefT() override { Release(); }

  void _Destroy() { Release(); }

  void _LoadXMLFromFile(const gcstring& fileName) {
    CheckEmpty();
    CNodeMapFactory factory(ContentType_Xml, fileName);
    *this = factory.CreateNodeMap(_DeviceName);
  }
  void _LoadXMLFromString(const gcstring& xml) {
    CheckEmpty();
    CNodeMapFactory factory(ContentType_Xml, xml.c_str(), xml.size());
    *this = factory.CreateNodeMap(_DeviceName);
  }

  gcstring _GetDeviceName() const { return _DeviceName; }
  void _GetNodes(NodeList_t& nodes) const { Valid()->GetNodes(nodes); }
  INode* _GetNode(const gcstring& name) const { return Valid()->GetNode(name); }
  void _InvalidateNodes() const { Valid()->InvalidateNodes(); }
  bool _Connect(IPort* port, const gcstring& portName) const {
    return Valid()->Connect(port, portName);
  }
  bool _Connect(IPort* port) const { return Valid()->Connect(port); }

  INodeMap* _Ptr = nullptr;

 protected:
  gcstring _DeviceName;
  int* _pRefCount = nullptr;

 private:
  void CheckEmpty() const {
    if (_Ptr) throw RUNTIME_EXCEPTION("Node map already created");
  }
  INodeMap* Valid() const {
    if (!_Ptr) throw ACCESS_EXCEPTION("Feature not present (reference not valid)");
    return _Ptr;
  }
  void Attach(INodeMap* nodeMap, const gcstring& deviceName, int* refCount) {
    _DeviceName = deviceName;
    if (!nodeMap) return;
    _Ptr = nodeMap;
    _pRefCount = refCount;
    ++*_pRefCount;
    TCameraParams::_Initialize(_Ptr);
  }
  void Release() {
    if (!_Ptr) return;
    if (--*_pRefCount == 0) {
      delete _pRefCount;
      dynamic_cast<IDestroy*>(_Ptr)->Destroy();
    }
    _Ptr = nullptr;
    _pRefCount = nullptr;
  }
};

using CNodeMapRef = CNodeMapRefT<CGeneric_XMLLoaderParams>;

}  // namespace GenApi

#endif
