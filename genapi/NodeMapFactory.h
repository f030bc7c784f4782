#ifndef VESK_GENAPI_NODE_MAP_FACTORY_H
#define VESK_GENAPI_NODE_MAP_FACTORY_H

#include <cstddef>
#include <string>

#include "genapi/INodeMap.h"

namespace GenApi {

enum ECameraDescriptionContentType { ContentType_Auto, ContentType_Xml, ContentType_ZippedXml };

// Holds a camera description and builds node maps from it. Only plain XML is read; zipped
// descriptions are unpacked by the ports before they get here.
class CNodeMapFactory {
 public:
  // Not in the reference API: the largest description file that is read, far beyond real ones.
  static constexpr size_t kMaxFileSize = 64 << 20;

  CNodeMapFactory() = default;
  // Reads the file now; GenICam::RuntimeException if it cannot be read, is no regular file or is
  // larger than kMaxFileSize.
  CNodeMapFactory(ECameraDescriptionContentType contentType, const gcstring& fileName);
  CNodeMapFactory(ECameraDescriptionContentType contentType, const void* data, size_t size);

  // A new node map, owned by the caller, who gives it to a CNodeMapRef. Throws
  // GenICam::RuntimeException for a description that does not parse. With
  // releaseCameraDescriptionData the factory forgets the text afterwards.
  INodeMap* CreateNodeMap(const gcstring& deviceName = "Device",
                          bool releaseCameraDescriptionData = true);
  bool IsEmpty() const { return xml_.empty(); }
  void ReleaseCameraDescriptionFileData();

 private:
  void CheckContentType(ECameraDescriptionContentType contentType) const;

  std::string xml_;
};

}  // namespace GenApi

#endif
