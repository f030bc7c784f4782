#include "genapi/impl/PortNode.h"

#include <arv.h>

#include <cstring>
#include <vector>

namespace GenApi {

void CPortNode::Read(void* buffer, int64_t address, int64_t length) {
  CNodeImpl::Read([&](GError** error) {
    arv_gc_port_read(ARV_GC_PORT(node_), buffer, address, length, error);
  });
}

void CPortNode::Write(const void* buffer, int64_t address, int64_t length) {
  // Aravis takes the bytes as writable memory.
  std::vector<uint8_t> bytes(static_cast<const uint8_t*>(buffer),
                             static_cast<const uint8_t*>(buffer) + length);
  CNodeImpl::Write([&](GError** error) {
    arv_gc_port_write(ARV_GC_PORT(node_), bytes.data(), address, length, error);
  });
}

}  // namespace GenApi
