#ifndef VESK_GENAPI_NODE_CALLBACK_H
#define VESK_GENAPI_NODE_CALLBACK_H

#include "genapi/INode.h"

namespace GenApi {

// A function that a node calls after its value or access mode may have changed: after a write
// to it or to a node it depends on, and after its invalidation. Owned by the node it is
// registered with.
class CNodeCallback {
 public:
  CNodeCallback(INode* node, ECallbackType callbackType)
      : node_(node), callbackType_(callbackType) {}
  virtual ~CNodeCallback() = default;

  // Runs the function if the callback is of this type.
  virtual void operator()(ECallbackType callbackType) const = 0;
  virtual void Destroy() = 0;
  INode* GetNode() { return node_; }

 protected:
  INode* node_;
  ECallbackType callbackType_;
};

// A callback that calls function(node).
template <class Function>
class Function_NodeCallback : public CNodeCallback {
 public:
  Function_NodeCallback(INode* node, const Function& function, ECallbackType callbackType)
      : CNodeCallback(node, callbackType), function_(function) {}

  void operator()(ECallbackType callbackType) const override {
    if (callbackType == callbackType_) function_(node_);
  }
  void Destroy() override { delete this; }

 private:
  Function function_;
};

// A callback that calls (client.*member)(node).
template <class Client, class Member>
class Member_NodeCallback : public CNodeCallback {
 public:
  Member_NodeCallback(INode* node, Client& client, Member member, ECallbackType callbackType)
      : CNodeCallback(node, callbackType), client_(client), member_(member) {}

  void operator()(ECallbackType callbackType) const override {
    if (callbackType == callbackType_) (client_.*member_)(node_);
  }
  void Destroy() override { delete this; }

 private:
  Client& client_;
  Member member_;
};

template <class Function>
CNodeCallback* make_NodeCallback(INode* node, Function function, ECallbackType callbackType) {
  return new Function_NodeCallback<Function>(node, function, callbackType);
}

template <class Client, class Member>
CNodeCallback* make_NodeCallback(INode* node, Client& client, Member member,
                                 ECallbackType callbackType) {
  return new Member_NodeCallback<Client, Member>(node, client, member, callbackType);
}

template <class Function>
CallbackHandleType Register(INode* node, Function function,
                            ECallbackType callbackType = cbPostInsideLock) {
  return node->RegisterCallback(make_NodeCallback(node, function, callbackType));
}

template <class Client, class Member>
CallbackHandleType Register(INode* node, Client& client, Member member,
                            ECallbackType callbackType = cbPostInsideLock) {
  return node->RegisterCallback(make_NodeCallback(node, client, member, callbackType));
}

// Removes and destroys the callback of a handle that Register gave.
void Deregister(CallbackHandleType handle);

}  // namespace GenApi

#endif
