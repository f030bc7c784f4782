#ifndef VESK_GENAPI_IMPL_REGISTER_NODE_H
#define VESK_GENAPI_IMPL_REGISTER_NODE_H

#include "genapi/IRegister.h"
#include "genapi/impl/NodeImpl.h"

namespace GenApi {

// A Register element: bytes as the camera holds them.
class CRegisterNode : public CValueNode<IRegister> {
 public:
  CRegisterNode(CNodeMapImpl& map, ArvGcFeatureNode* node, std::string name)
      : CValueNode(map, node, std::move(name), intfIRegister) {}

  void Set(const uint8_t* buffer, int64_t length, bool verify = true) override;
  void Get(uint8_t* buffer, int64_t length, bool verify = false, bool ignoreCache = false) override;
  int64_t GetLength() override;
  int64_t GetAddress() override;
  // The bytes in hexadecimal, in the order of camera memory.
  gcstring ToString(bool verify = false, bool ignoreCache = false) override;
  void FromString(const gcstring& value, bool verify = true) override;

 private:
  void CheckLength(int64_t length);
};

}  // namespace GenApi

#endif
