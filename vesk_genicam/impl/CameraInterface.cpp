#include "vesk_genicam/impl/CameraInterface.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <exception>
#include <utility>

#include "templates/platform/BoundedFile.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::platform::BoundedFile;

namespace {

constexpr int kTypeInteger = 1;
constexpr int kTypeString = 3;
constexpr unsigned int kLinkValueLimit = 4;
// A description with this broken element does not parse; its first occurrence is blanked.
constexpr char kBrokenToolTip[] = "<ToolTip>< / ToolTip>";

void Refuse(void*, void*) { throw static_cast<int>(MLO_ERR_ACCESS_DENIED); }

std::string LowerCase(const char* name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

}  // namespace

CCameraInterface::CCameraInterface(IPortInterface* port, IControllerInterface* controller)
    : port_(port), controller_(controller) {
  InitLinkInfo();
  initProperties();
}

CCameraInterface::~CCameraInterface() { delete nodeMap_; }

void CCameraInterface::InitLinkInfo() {
  for (auto& link : linkInfo_) link = std::make_unique<LinkInfo>();
}

bool CCameraInterface::IsConnected() { return port_ && port_->IsConnected(); }

bool CCameraInterface::IsTransceiverSynchronized() { return port_->IsTransceiverSynchronized(); }

void CCameraInterface::SetGenicamConnected(bool connected) {
  if (!connected) {
    SetCameraNodeMap(nullptr);
    xml_.clear();
  }
  genicamConnected_ = connected;
}

int CCameraInterface::LinkDisconnect() {
  genicamConnected_ = false;
  return 0;
}

int CCameraInterface::LoadXml() {
  if (!port_) return MLO_ERR_NO_INTERFACE;
  if (int code = port_->LoadXML(xml_, 0)) return code;
  const size_t broken = xml_.find(kBrokenToolTip);
  if (broken != std::string::npos)
    xml_.replace(broken, sizeof kBrokenToolTip - 1, sizeof kBrokenToolTip - 1, ' ');
  return 0;
}

int CCameraInterface::ConnectCamera() {
  if (!port_) return MLO_ERR_NO_INTERFACE;
  // A description set by the application is used as it stands.
  if (xml_.empty()) {
    if (int code = port_->LoadXML(xml_, 0)) return code;
  }
  return BuildNodeMap();
}

int CCameraInterface::ConnectCamera(const char* path) {
  if (!path) return MLO_ERR_INVALID_FILENAME;
  const BoundedFile file = BoundedFile::Read(path, kMaxXmlFileSize);
  if (!file) {
    logger_.Line(5, [&] { return file.Error(); });
    const bool named = file.GetStatus() == BoundedFile::Status::kCannotOpen ||
                       file.GetStatus() == BoundedFile::Status::kNotRegular;
    return named ? MLO_ERR_INVALID_FILENAME : MLO_ERR_FILE_ACCESS;
  }
  if (file.Text().empty()) return MLO_ERR_NO_DATA;
  xml_.assign(file.Text().c_str());
  return BuildNodeMap();
}

int CCameraInterface::BuildNodeMap() {
  auto map = std::make_unique<GenApi::CNodeMapRef>("Device");
  try {
    GenApi::CNodeMapFactory factory(GenApi::ContentType_Xml, xml_.data(), xml_.size());
    *map = factory.CreateNodeMap("Device", true);
    if (map->_Connect(port_, "Device")) {
      SetCameraNodeMap(map.release());
      SetGenicamConnected(true);
      return 0;
    }
  } catch (...) {
    // Every node map problem is told as "No Interface" below.
  }
  map.reset();
  SetGenicamConnected(false);
  return MLO_ERR_NO_INTERFACE;
}

int CCameraInterface::GetXml(char* buffer, size_t* size) {
  if (!size) return MLO_ERR_NO_DATA;
  if (buffer) {
    if (*size < xml_.size()) return MLO_ERR_INVALID_ARGUMENT;
    std::memcpy(buffer, xml_.data(), xml_.size());
  }
  *size = xml_.size();
  return 0;
}

int CCameraInterface::SetXml(const char* text, size_t) {
  if (!text) return MLO_ERR_NO_DATA;
  xml_.assign(text);
  return 0;
}

void CCameraInterface::SetCameraNodeMap(GenApi::CNodeMapRef* nodeMap) {
  delete nodeMap_;
  nodeMap_ = nodeMap;
}

MloCameraInfo* CCameraInterface::GetCameraInfo() {
  std::lock_guard<std::mutex> lock(infoLock_);
  if (port_ && !cameraInfoValid_) {
    SetCameraInfo(port_->GetCameraInfo());
    cameraInfoValid_ = true;
  }
  return &cameraInfo_;
}

void CCameraInterface::SetCameraInfo(ICameraInfo* info) {
  cameraInfo_ = MloCameraInfo{};
  cameraInfo_.vendorName = info->GetVendorName();
  cameraInfo_.modelName = info->GetModelName();
  cameraInfo_.familyName = info->GetFamilyName();
  cameraInfo_.version = info->GetVersion();
  cameraInfo_.firmwareVersion = info->GetFirmwareVer();
  cameraInfo_.manufacturerInfo = info->GetManufactureInfo();
  cameraInfo_.serialNumber = info->GetSerialNr();
  cameraInfo_.userId = info->GetUserId();
}

void CCameraInterface::UpdateCameraInfo() {
  std::lock_guard<std::mutex> lock(infoLock_);
  if (!port_) return;
  port_->UpdateCameraInfo();
  cameraInfoValid_ = false;
}

CCameraInterface::LinkInfo* CCameraInterface::GetLinkInfo(unsigned int link) {
  return link < kMaxLinks ? linkInfo_[link].get() : nullptr;
}

int CCameraInterface::GetLinkIsMaster(unsigned int link, unsigned int& out) {
  if (!GetLinkInfo(link)) return MLO_ERR_INVALID_ARGUMENT;
  out = link == 0 ? 1 : 0;
  return 0;
}

int CCameraInterface::GetLinkFrameGrabberPort(unsigned int link, unsigned int& out) {
  LinkInfo* info = GetLinkInfo(link);
  if (!info) return MLO_ERR_INVALID_ARGUMENT;
  out = info->frameGrabberPort;
  return 0;
}

int CCameraInterface::GetLinkPLPort(unsigned int link, unsigned int& out) {
  LinkInfo* info = GetLinkInfo(link);
  if (!info) return MLO_ERR_INVALID_ARGUMENT;
  out = info->plPort;
  return 0;
}

int CCameraInterface::GetLinkPlMasterId(unsigned int link, unsigned int& out) {
  LinkInfo* info = GetLinkInfo(link);
  if (!info) return MLO_ERR_INVALID_ARGUMENT;
  out = info->plMasterId;
  return 0;
}

int CCameraInterface::GetLinkPLExtensionId(unsigned int link, unsigned int& out) {
  LinkInfo* info = GetLinkInfo(link);
  if (!info) return MLO_ERR_INVALID_ARGUMENT;
  out = info->plExtensionId;
  return 0;
}

// Answers MLO_ERR_INVALID_ARGUMENT even when it stored the value; its callers do not look.
int CCameraInterface::SetLinkFrameGrabberPort(unsigned int link, unsigned int value) {
  LinkInfo* info = GetLinkInfo(link);
  if (info && value < kLinkValueLimit) info->frameGrabberPort = value;
  return MLO_ERR_INVALID_ARGUMENT;
}

int CCameraInterface::SetLinkPlPort(unsigned int link, unsigned int value) {
  LinkInfo* info = GetLinkInfo(link);
  if (!info) return MLO_ERR_INVALID_ARGUMENT;
  if (value < kLinkValueLimit) info->plPort = value;
  return 0;
}

int CCameraInterface::SetLinkPlMasterId(unsigned int link, unsigned int value) {
  LinkInfo* info = GetLinkInfo(link);
  if (!info) return MLO_ERR_INVALID_ARGUMENT;
  info->plMasterId = value;
  return 0;
}

// Answers MLO_ERR_INVALID_ARGUMENT even when it stored the value; its callers do not look.
int CCameraInterface::SetLinkPlExtensionId(unsigned int link, unsigned int value) {
  LinkInfo* info = GetLinkInfo(link);
  if (info && value < kLinkValueLimit) info->plExtensionId = value;
  return MLO_ERR_INVALID_ARGUMENT;
}

int CCameraInterface::SetNrOfLinks(unsigned int count) {
  if (count > kMaxLinks) return MLO_ERR_INVALID_ARGUMENT;
  nrOfLinks_ = count;
  return 0;
}

void CCameraInterface::AddInteger(const char* name, IntegerGetter get, IntegerSetter set) {
  Property row{kTypeInteger, Refuse, Refuse};
  if (get) {
    row.get = [get](void* value, void* index) {
      const unsigned int link = index ? *static_cast<uint32_t*>(index) : 0;
      *static_cast<uint32_t*>(value) = get(link);
    };
  }
  if (set) row.set = [set](void* value, void*) { set(*static_cast<uint32_t*>(value)); };
  properties_[LowerCase(name)] = std::move(row);
}

void CCameraInterface::AddText(const char* name, TextGetter get,
                               std::function<void(const char*)> set) {
  Property row{kTypeString, nullptr, Refuse};
  // The copy may lack its terminator when the buffer is short; the length always counts it.
  row.get = [get](void* value, void* index) {
    const std::string text = get();
    auto* length = static_cast<uint32_t*>(index);
    if (value) std::strncpy(static_cast<char*>(value), text.c_str(), *length);
    *length = static_cast<uint32_t>(text.size() + 1);
  };
  if (set) row.set = [set](void* value, void*) { set(static_cast<const char*>(value)); };
  properties_[LowerCase(name)] = std::move(row);
}

// Speed in bits 0 to 23, number of links in bits 24 to 27 of one controller property.
void CCameraInterface::SetLinkConfig(uint32_t value) {
  if (!controller_) throw static_cast<int>(MLO_ERR_DISCOVERY_INCOMPLETE);
  char name[] = "LinkConfig";
  uint32_t portId = port_->GetPortId();
  if (int code = controller_->SetProperty(name, &value, kTypeInteger, &portId)) throw code;
}

void CCameraInterface::initProperties() {
  auto linkField = [this](int (CCameraInterface::*field)(unsigned int, unsigned int&)) {
    return [this, field](unsigned int link) {
      unsigned int out = 0;
      if (int code = (this->*field)(link, out)) throw code;
      return out;
    };
  };
  auto identity = [this](const char* MloCameraInfo::*field) {
    return [this, field] {
      const char* text = GetCameraInfo()->*field;
      return std::string(text ? text : "");
    };
  };
  AddInteger("StreamPacketSize", [this](unsigned) { return port_->GetMaxStreamPacketSize(); });
  AddInteger("ControlPacketSize", [this](unsigned) { return port_->GetMaxControlPacketSize(); });
  AddInteger("LinkConfig", nullptr, [this](uint32_t value) { SetLinkConfig(value); });
  AddInteger(
      "LinkSpeed", [this](unsigned) { return port_->GetSpeed(); },
      [this](uint32_t value) { SetLinkConfig(value & 0xffffff); });
  AddInteger(
      "NrOfLinks", [this](unsigned) { return nrOfLinks_; },
      [this](uint32_t value) { SetLinkConfig((value << 24) & 0xf000000); });
  AddInteger("DiscoverySpeed", [this](unsigned) { return discoverySpeed_; });
  AddInteger("Connected", [this](unsigned) { return uint32_t{port_->IsConnected()}; });
  AddInteger("MasterPort", [this](unsigned) { return port_->GetPortId(); });
  AddInteger("MasterID", [this](unsigned) { return port_->GetLogicPort() >> 16; });
  AddInteger("AppletMasterID", linkField(&CCameraInterface::GetLinkPlMasterId));
  AddInteger("AppletOperatorIndex", [this](unsigned) { return port_->GetPLOperatorIndex(); });
  AddInteger("AppletOperatorSize", [this](unsigned) { return port_->GetPLOperatorSize(); });
  // The link state, not the GenICam connection.
  AddInteger("IsGenICamConnected", [this](unsigned) { return uint32_t{IsConnected()}; });
  AddInteger("MasterLink", linkField(&CCameraInterface::GetLinkIsMaster));
  AddInteger("FgPort", linkField(&CCameraInterface::GetLinkFrameGrabberPort));
  AddInteger("AppletPort", linkField(&CCameraInterface::GetLinkPLPort));
  AddInteger("IsTransceiverLocked",
             [this](unsigned) { return uint32_t{IsTransceiverSynchronized()}; });
  AddText(
      "XmlData", [this] { return xml_; }, [this](const char* text) { xml_.assign(text); });
  AddText("VendorName", identity(&MloCameraInfo::vendorName));
  AddText("ModelName", identity(&MloCameraInfo::modelName));
  AddText("FamilyName", identity(&MloCameraInfo::familyName));
  AddText("Version", identity(&MloCameraInfo::version));
  AddText("FirmwareVersion", identity(&MloCameraInfo::firmwareVersion));
  AddText("ManufacturerInfo", identity(&MloCameraInfo::manufacturerInfo));
  AddText("SerialNumber", identity(&MloCameraInfo::serialNumber));
  AddText("UserID", identity(&MloCameraInfo::userId));
}

int CCameraInterface::GetProperty(char* name, void* value, unsigned int type, void* index) {
  return CallProperty(name, value, type, index, true);
}

int CCameraInterface::SetProperty(char* name, void* value, unsigned int type, void* index) {
  return CallProperty(name, value, type, index, false);
}

int CCameraInterface::CallProperty(char* name, void* value, unsigned int type, void* index,
                                   bool get) {
  const auto row = properties_.find(LowerCase(name));
  if (row == properties_.end()) return MLO_ERR_NOT_IMPLEMENTED;
  const Property& property = row->second;
  if (static_cast<int>(type) != property.type) return MLO_ERR_INVALID_TYPE;
  if (type == kTypeString ? !index : !value) return MLO_ERR_INVALID_POINTER;
  if (!port_) return MLO_ERR_DISCOVERY_INCOMPLETE;
  try {
    (get ? property.get : property.set)(value, index);
  } catch (int code) {
    return code;
  }
  return 0;
}

const char* CCameraInterface::InsertInStringCache(const char* text) {
  return stringCache_.insert(text).first->c_str();
}

int CCameraInterface::DoPostConnect() {
  try {
    GenApi::INode* node = nodeMap_ ? nodeMap_->_GetNode("AcquisitionStart") : nullptr;
    if (node) GenApi::Register(node, *this, &CCameraInterface::AcquisitionStartCallback);
    return 0;
  } catch (const std::exception& error) {
    logger_.Line(
        5, [&] { return "Exception in post connection handler: " + std::string(error.what()); });
  } catch (const GenICam::GenericException& error) {
    logger_.Line(5, [&] {
      return "GenICam exception in post connection handler: " + std::string(error.GetDescription());
    });
  } catch (...) {
    logger_.Line(5, [] { return "Unexpected exception in post connection handler"; });
  }
  return MLO_ERR_EXCEPTION;
}
