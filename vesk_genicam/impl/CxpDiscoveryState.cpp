#include "vesk_genicam/impl/CxpDiscoveryState.h"

#include <climits>
#include <cstring>

#include "vesk_genicam/impl/CxpController.h"
#include "vesk_genicam/impl/Driver.h"
#include "vesk_genicam/impl/Utility.h"

vesk::tools::logging::ClassLogger CxpDiscoveryState::logger_{"vesk.genicam.CxpDiscoveryState"};

namespace {

using Ports = std::vector<CCxpPort*>;
using vesk::templates::container::SynchronizedQueueInterruptException;

std::unique_ptr<char[]> Copy(const std::string& text) {
  auto copy = std::make_unique<char[]>(text.size() + 1);
  std::memcpy(copy.get(), text.c_str(), text.size() + 1);
  return copy;
}

// The ports of one camera, master first, as the lists of its links name them.
std::vector<CCxpPort*> LinksOf(unsigned int masterId, const Ports& ports) {
  std::vector<CCxpPort*> links;
  for (CCxpPort* port : ports) {
    const EPORT_TYPE type = port->GetPortType();
    if ((type == PortTypeMaster || type == PortTypeExtension) && port->GetMasterID() == masterId)
      links.push_back(port);
  }
  return links;
}

}  // namespace

std::unique_ptr<CxpDiscoveryState::EventProperties>
CxpDiscoveryState::Properties::createEventProperties() const {
  auto made = std::make_unique<EventProperties>();
  for (const auto& [key, value] : ints) {
    made->strings.push_back(Copy(key));
    made->intKeys.push_back(made->strings.back().get());
    made->intValues.push_back(value);
  }
  for (const auto& [key, value] : strings) {
    made->strings.push_back(Copy(key));
    made->stringKeys.push_back(made->strings.back().get());
    made->strings.push_back(Copy(value));
    made->stringValues.push_back(made->strings.back().get());
  }
  made->intCount = static_cast<uint32_t>(made->intKeys.size());
  made->stringCount = static_cast<uint32_t>(made->stringKeys.size());
  return made;
}

boost::shared_ptr<CxpDiscoveryState::EventData> CxpDiscoveryState::EventData::create(
    std::unique_ptr<MloEventInfo> info, std::unique_ptr<EventProperties> properties) {
  auto data = boost::shared_ptr<EventData>(new EventData);
  data->info = std::move(info);
  data->properties = std::move(properties);
  return data;
}

CxpDiscoveryState::CxpDiscoveryState(CxpController* controller)
    : controller_(controller), eventQueue_(UINT_MAX) {
  for (uint32_t port = 0; port < controller_->GetNrOfPorts(); ++port) {
    physicalPorts_.emplace_back();
    physicalPorts_.back().portId = port;
  }
  eventThread_ = std::thread(eventSenderThreadFunc, this);
}

CxpDiscoveryState::~CxpDiscoveryState() {
  eventQueue_.Interrupt();
  eventThread_.join();
}

unsigned int CxpDiscoveryState::getConnectedPhyMask() {
  std::lock_guard<std::mutex> lock(stateLock_);
  return getConnectedPhyMaskUnsafe();
}

unsigned int CxpDiscoveryState::getConnectedPhyMaskUnsafe() const {
  unsigned int mask = 0;
  for (const PhysicalPort& port : physicalPorts_)
    if (port.connected) mask |= 1u << port.portId;
  return mask;
}

unsigned int CxpDiscoveryState::getUnconnectedPhyMask() {
  std::lock_guard<std::mutex> lock(stateLock_);
  return globalDiscoveryPhyMask_ & ~getConnectedPhyMaskUnsafe();
}

unsigned int CxpDiscoveryState::getConnectionPhyMaskOfMasterId(unsigned int masterId) {
  std::lock_guard<std::mutex> lock(stateLock_);
  const auto found = cameras_.find(masterId);
  return found == cameras_.end() ? 0 : found->second.connectionMask;
}

void CxpDiscoveryState::setGlobalDiscoveryPhyMask(unsigned int mask) {
  std::lock_guard<std::mutex> lock(stateLock_);
  globalDiscoveryPhyMask_ = mask;
}

void CxpDiscoveryState::registerDriver(CDriver* driver) {
  std::lock_guard<std::mutex> lock(stateLock_);
  driver_ = driver;
}

void CxpDiscoveryState::forceDriverUpdate() {
  CDriver* driver = nullptr;
  {
    std::lock_guard<std::mutex> lock(stateLock_);
    driver = driver_;
  }
  if (driver) driver->UpdateDiscoveryInformation(false);
}

void CxpDiscoveryState::enableMloEvents(bool enable) {
  std::lock_guard<std::mutex> lock(stateLock_);
  // A late subscriber hears of the cameras that are there already.
  if (enable && !eventsEnabled_) {
    eventsEnabled_ = true;
    for (const auto& [masterId, camera] : cameras_) enqueueCameraAddedEvent(masterId, camera);
  }
  eventsEnabled_ = enable;
}

unsigned int CxpDiscoveryState::speedOfMaster(const Camera& camera, const Ports& ports) const {
  const auto master = camera.properties.ints.find("masterport");
  const unsigned int port = master == camera.properties.ints.end() ? 0 : master->second;
  return port < ports.size() ? ports[port]->GetSpeed() : 0;
}

void CxpDiscoveryState::notifyLinkDiscoveries(unsigned int mask, const Ports& ports) {
  logger_.Line(
      3, [&] { return "Links discovered event generated,port-mask=" + CUtility::HexText(mask); });
  std::lock_guard<std::mutex> lock(stateLock_);
  std::map<unsigned int, CCxpPort*> byPort;
  for (const PhysicalPort& physical : physicalPorts_)
    if (mask >> physical.portId & 1 && physical.portId < ports.size())
      byPort[physical.portId] = ports[physical.portId];
  std::set<unsigned int> newCameras;
  for (const auto& [number, port] : byPort) {
    if (port->GetExtensionID() != 0) continue;
    if (cameras_.emplace(port->GetMasterID(), Camera()).second)
      newCameras.insert(port->GetMasterID());
  }
  std::set<unsigned int> extendedCameras;
  for (const auto& [number, port] : byPort) {
    const unsigned int masterId = port->GetMasterID();
    const auto camera = cameras_.find(masterId);
    // A link whose master is unknown stays unconnected.
    if (camera == cameras_.end()) continue;
    PhysicalPort& physical = physicalPorts_.at(number);
    physical.connected = true;
    physical.extensionId = port->GetExtensionID();
    physical.masterId = masterId;
    camera->second.connectionMask |= 1u << number;
    ++camera->second.properties.ints["linkcount"];
    camera->second.properties.ints["linkspeed"] = speedOfMaster(camera->second, ports);
    if (port->GetExtensionID() == 0) fillCameraProperties(camera->second, *port, ports);
    if (!newCameras.count(masterId)) extendedCameras.insert(masterId);
  }
  for (unsigned int masterId : extendedCameras) {
    Camera& camera = cameras_.at(masterId);
    updateExtensionLinkProperties(masterId, camera, ports);
    enqueueExtensionLinkDeltaEvent(masterId, camera);
  }
  for (unsigned int masterId : newCameras) enqueueCameraAddedEvent(masterId, cameras_.at(masterId));
}

void CxpDiscoveryState::fillCameraProperties(Camera& camera, CCxpPort& master, const Ports& ports) {
  std::map<std::string, unsigned int>& ints = camera.properties.ints;
  ints["masterport"] = master.GetPortId();
  ints["linkspeed"] = master.GetSpeed();
  ints["master_id"] = master.GetMasterID();
  ints["extension_id"] = master.GetExtensionID();
  ints["linkcount_cameraoperator"] = master.GetPLOperatorSize();
  ints["streampacketsize"] = master.GetMaxStreamPacketSize();
  ints["controlpacketsize"] = master.GetMaxControlPacketSize();
  ints["linkconfigdefault"] = master.GetDefaultConfigValue();
  ints["magicvalue"] = master.GetMagicValue();
  ints["revision"] = master.GetRevision();
  ints["xml_urls_count"] = master.GetXmlSize();
  ints["pl_master_id"] = master.GetLogicPLPort() >> 16;
  std::map<std::string, std::string>& strings = camera.properties.strings;
  strings["xml_urls"] = master.GetXmlName();
  ICameraInfo* info = master.GetCameraInfo();
  strings["manufacturer_name"] = info->GetVendorName();
  strings["model_name"] = info->GetModelName();
  strings["device_version"] = info->GetVersion();
  strings["firmware_version"] = info->GetFirmwareVer();
  strings["manufacturer_specific_info"] = info->GetManufactureInfo();
  strings["serial_number"] = info->GetSerialNr();
  strings["user_defined_name"] = info->GetUserId();
  updateExtensionLinkProperties(master.GetMasterID(), camera, ports);
}

void CxpDiscoveryState::updateExtensionLinkProperties(unsigned int masterId, Camera& camera,
                                                      const Ports& ports) {
  std::string physical;
  std::string firmware;
  std::string extension;
  for (CCxpPort* port : LinksOf(masterId, ports)) {
    const char* separator = physical.empty() ? "" : ",";
    physical += separator + std::to_string(port->GetPortId());
    firmware += separator + std::to_string(port->GetPortPL());
    extension += separator + std::to_string(port->GetExtensionID());
  }
  camera.properties.strings["phy_port_by_index"] = physical;
  camera.properties.strings["pl_port_by_index"] = firmware;
  camera.properties.strings["extension_id_by_index"] = extension;
}

void CxpDiscoveryState::notifyLinkLosses(unsigned int mask, const Ports& ports) {
  logger_.Line(3,
               [&] { return "Links lost event generated,port-mask=" + CUtility::HexText(mask); });
  std::lock_guard<std::mutex> lock(stateLock_);
  std::set<unsigned int> noted;
  for (PhysicalPort& physical : physicalPorts_) {
    if (!(mask >> physical.portId & 1) || !physical.masterId) continue;
    const unsigned int masterId = *physical.masterId;
    const auto found = cameras_.find(masterId);
    if (found == cameras_.end()) continue;
    Camera& camera = found->second;
    if (physical.extensionId.value() == 0) {
      for (PhysicalPort& link : physicalPorts_)
        if (camera.connectionMask >> link.portId & 1) link.reset();
      enqueueCameraLostEvent(masterId, camera);
      cameras_.erase(found);
      continue;
    }
    physical.reset();
    camera.connectionMask &= ~(1u << physical.portId);
    --camera.properties.ints["linkcount"];
    camera.properties.ints["linkspeed"] = speedOfMaster(camera, ports);
    updateExtensionLinkProperties(masterId, camera, ports);
    noted.insert(masterId);
  }
  for (unsigned int masterId : noted) {
    const auto found = cameras_.find(masterId);
    if (found != cameras_.end()) enqueueExtensionLinkDeltaEvent(masterId, found->second);
  }
}

void CxpDiscoveryState::enqueue(uint16_t id, unsigned int masterId, const Properties& properties) {
  std::unique_ptr<EventProperties> flat = properties.createEventProperties();
  auto info = std::make_unique<MloEventInfo>();
  info->type = id;
  info->port = masterId;
  info->intCount = flat->intCount;
  info->intKeys = flat->intKeys.data();
  info->intValues = flat->intValues.data();
  info->stringCount = flat->stringCount;
  info->stringKeys = flat->stringKeys.data();
  info->stringValues = flat->stringValues.data();
  eventQueue_.Push(EventData::create(std::move(info), std::move(flat)));
}

void CxpDiscoveryState::enqueueCameraAddedEvent(unsigned int masterId, const Camera& camera) {
  if (eventsEnabled_) enqueue(MLO_EVENT_CAMERA_ADDED, masterId, camera.properties);
}

void CxpDiscoveryState::enqueueCameraLostEvent(unsigned int masterId, const Camera& camera) {
  if (!eventsEnabled_) return;
  Properties lost;
  for (const char* key : {"masterport", "linkcount", "linkspeed"})
    lost.ints[key] = camera.properties.ints.at(key);
  enqueue(MLO_EVENT_CAMERA_LOST, masterId, lost);
}

void CxpDiscoveryState::enqueueExtensionLinkDeltaEvent(unsigned int masterId,
                                                       const Camera& camera) {
  if (eventsEnabled_) enqueue(MLO_EVENT_EXTENSION_LINK_DELTA, masterId, camera.properties);
}

void CxpDiscoveryState::publishEvent(MloEventInfo* info) { controller_->PublishEvent(info); }

void CxpDiscoveryState::eventSenderThreadFunc(CxpDiscoveryState* state) {
  try {
    for (;;) {
      const boost::shared_ptr<EventData> event = state->eventQueue_.Pop();
      state->publishEvent(event->info.get());
    }
  } catch (const SynchronizedQueueInterruptException&) {
    // The owner is going away.
  }
}
