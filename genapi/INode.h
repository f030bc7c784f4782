#ifndef VESK_GENAPI_INODE_H
#define VESK_GENAPI_INODE_H

#include <vector>

#include "genapi/IBase.h"

namespace GenApi {

class INode;
class INodeMap;
class CNodeCallback;

using NodeList_t = std::vector<INode*>;

// A node of a node map. Nodes belong to their map and live as long as it does.
class INode : virtual public IBase {
 public:
  // With fullQualified the name carries its name space: "Std::Width", "Cust::Gamma".
  virtual gcstring GetName(bool fullQualified = false) const = 0;
  virtual ENameSpace GetNameSpace() const = 0;
  virtual EVisibility GetVisibility() const = 0;
  virtual EInterfaceType GetPrincipalInterfaceType() const = 0;
  virtual gcstring GetToolTip() const = 0;
  virtual gcstring GetDescription() const = 0;
  virtual gcstring GetDisplayName() const = 0;
  // True for a node that some category lists.
  virtual bool IsFeature() const = 0;
  virtual INodeMap* GetNodeMap() const = 0;
  virtual void GetChildren(NodeList_t& children, ELinkType linkType = ctWritingChildren) const = 0;
  // Forgets the cached values of this node and of the nodes that depend on it, and fires their
  // callbacks.
  virtual void InvalidateNode() = 0;
  // The node takes the callback over; it is destroyed on deregistration or with the node.
  virtual CallbackHandleType RegisterCallback(CNodeCallback* callback) = 0;
  virtual bool DeregisterCallback(CallbackHandleType handle) = 0;
};

}  // namespace GenApi

#endif
