#ifndef VESK_GENAPI_IMPL_COMMAND_NODE_H
#define VESK_GENAPI_IMPL_COMMAND_NODE_H

#include "genapi/ICommand.h"
#include "genapi/impl/NodeImpl.h"

namespace GenApi {

class CCommandNode : public CValueNode<ICommand> {
 public:
  CCommandNode(CNodeMapImpl& map, ArvGcFeatureNode* node, std::string name)
      : CValueNode(map, node, std::move(name), intfICommand) {}

  void Execute(bool verify = true) override;
  bool IsDone(bool verify = true) override;
  // The state of IsDone as "1" or "0"; FromString executes for any number but 0.
  gcstring ToString(bool verify = false, bool ignoreCache = false) override;
  void FromString(const gcstring& value, bool verify = true) override;

 private:
  int64_t CommandValue() const;
};

}  // namespace GenApi

#endif
