#ifndef VESK_GENAPI_IMPL_PORT_NODE_H
#define VESK_GENAPI_IMPL_PORT_NODE_H

#include "genapi/IPort.h"
#include "genapi/impl/NodeImpl.h"

namespace GenApi {

// A Port element: camera memory through the connected port.
class CPortNode : public CNodeImpl, public IPort {
 public:
  CPortNode(CNodeMapImpl& map, ArvGcFeatureNode* node, std::string name)
      : CNodeImpl(map, node, std::move(name), intfIPort) {}

  void Read(void* buffer, int64_t address, int64_t length) override;
  void Write(const void* buffer, int64_t address, int64_t length) override;

 protected:
  EAccessMode BaseAccessMode() const override { return RW; }
};

}  // namespace GenApi

#endif
