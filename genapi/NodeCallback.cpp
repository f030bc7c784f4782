#include "genapi/NodeCallback.h"

namespace GenApi {

void Deregister(CallbackHandleType handle) {
  auto* callback = reinterpret_cast<CNodeCallback*>(handle);
  if (callback) callback->GetNode()->DeregisterCallback(handle);
}

}  // namespace GenApi
