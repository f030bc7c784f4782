#include "genapi/NodeMapFactory.h"

#include "genapi/GCException.h"
#include "genapi/impl/NodeMapImpl.h"
#include "templates/platform/BoundedFile.h"

namespace GenApi {

using vesk::templates::platform::BoundedFile;

CNodeMapFactory::CNodeMapFactory(ECameraDescriptionContentType contentType,
                                 const gcstring& fileName) {
  CheckContentType(contentType);
  BoundedFile file = BoundedFile::Read(fileName.c_str(), kMaxFileSize);
  if (!file) {
    throw RUNTIME_EXCEPTION("Cannot read the camera description: %s", file.Error().c_str());
  }
  xml_ = file.TakeText();
}

CNodeMapFactory::CNodeMapFactory(ECameraDescriptionContentType contentType, const void* data,
                                 size_t size) {
  CheckContentType(contentType);
  if (!data && size) throw INVALID_ARGUMENT_EXCEPTION("Camera description data is null");
  if (data) xml_.assign(static_cast<const char*>(data), size);
}

INodeMap* CNodeMapFactory::CreateNodeMap(const gcstring& deviceName,
                                         bool releaseCameraDescriptionData) {
  auto* nodeMap = new CNodeMapImpl(xml_, deviceName);
  if (releaseCameraDescriptionData) ReleaseCameraDescriptionFileData();
  return nodeMap;
}

void CNodeMapFactory::ReleaseCameraDescriptionFileData() { std::string().swap(xml_); }

void CNodeMapFactory::CheckContentType(ECameraDescriptionContentType contentType) const {
  if (contentType == ContentType_ZippedXml) {
    throw RUNTIME_EXCEPTION("Zipped camera descriptions are not read here; unpack them first");
  }
}

}  // namespace GenApi
