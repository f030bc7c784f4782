#ifndef VESK_GENAPI_INODEMAP_H
#define VESK_GENAPI_INODEMAP_H

#include <cstdint>

#include "genapi/INode.h"
#include "genapi/IPort.h"

namespace GenApi {

// The nodes of one camera description.
class INodeMap {
 public:
  virtual ~INodeMap() = default;

  virtual void GetNodes(NodeList_t& nodes) const = 0;
  // Null for a name that the map does not have.
  virtual INode* GetNode(const gcstring& name) const = 0;
  virtual uint64_t GetNumNodes() const = 0;
  // Every cached value is read again from the camera on its next use.
  virtual void InvalidateNodes() const = 0;
  // Binds the port node of that name to the camera's memory; false if there is no such node.
  virtual bool Connect(IPort* port, const gcstring& portName) const = 0;
  // The same for the port node "Device".
  virtual bool Connect(IPort* port) const = 0;
  virtual gcstring GetDeviceName() = 0;
};

// How a node map is disposed of: CNodeMapRef calls Destroy when its last reference goes.
class IDestroy {
 public:
  virtual void Destroy() = 0;

 protected:
  ~IDestroy() = default;
};

}  // namespace GenApi

#endif
