#ifndef VESK_GENICAM_IMPL_CAMERAINTERFACE_H
#define VESK_GENICAM_IMPL_CAMERAINTERFACE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "genapi/GenApi.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/IControllerInterface.h"
#include "vesk_genicam/impl/IPortInterface.h"
#include "vesk_genicam/impl/vesk_genicam.h"

// The camera object, the thing an MloCameraHandle points to: the master port and the board's
// controller (neither owned), and over them the camera's XML, its node map, its named
// properties, its links and the strings handed to the application. One thread at a time per
// camera, except for the identity strings.
class CCameraInterface {
 public:
  static constexpr unsigned int kMaxLinks = 4;
  // Camera descriptions have up to a few megabytes; a larger file than this is not read.
  static constexpr size_t kMaxXmlFileSize = 64 << 20;

  // One link of the camera; link 0 is the master. All ones where not assigned.
  struct LinkInfo {
    uint32_t frameGrabberPort = 0xFFFFFFFF;
    uint32_t plPort = 0xFFFFFFFF;
    uint32_t plMasterId = 0xFFFFFFFF;
    uint32_t plExtensionId = 0xFFFFFFFF;
  };

  // A row of the property table. value: the integer, or the character buffer of a string.
  // index: for a string the address of its 32-bit length, for an integer an optional link
  // number. Failures are thrown as a plain int code.
  struct Property {
    int type;
    std::function<void(void* value, void* index)> get;
    std::function<void(void* value, void* index)> set;
  };

  CCameraInterface(IPortInterface* port, IControllerInterface* controller);
  ~CCameraInterface();
  CCameraInterface(const CCameraInterface&) = delete;
  CCameraInterface& operator=(const CCameraInterface&) = delete;

  IPortInterface* GetPortInterface() { return port_; }
  IControllerInterface* GetControllerInterface() { return controller_; }
  // The link state that discovery made, not the GenICam connection.
  bool IsConnected();
  bool IsTransceiverSynchronized();
  bool IsGenicamConnected() { return genicamConnected_; }
  // With false also forgets the node map and the XML.
  void SetGenicamConnected(bool connected);

  int ConnectCamera();
  // The XML from a file instead of the camera.
  int ConnectCamera(const char* path);
  int LinkDisconnect();
  int LoadXml();
  int GetXml(char* buffer, size_t* size);
  int SetXml(const char* text, size_t size);

  GenApi::CNodeMapRef* GetCameraNodeMap() { return nodeMap_; }
  // Takes the map and deletes the old one.
  void SetCameraNodeMap(GenApi::CNodeMapRef* nodeMap);

  MloCameraInfo* GetCameraInfo();
  // Callers hold infoLock_.
  void SetCameraInfo(ICameraInfo* info);
  void UpdateCameraInfo();

  LinkInfo* GetLinkInfo(unsigned int link);
  LinkInfo* GetMasterLinkInfo() { return GetLinkInfo(0); }
  int GetLinkIsMaster(unsigned int link, unsigned int& out);
  int GetLinkFrameGrabberPort(unsigned int link, unsigned int& out);
  int GetLinkPLPort(unsigned int link, unsigned int& out);
  int GetLinkPlMasterId(unsigned int link, unsigned int& out);
  int GetLinkPLExtensionId(unsigned int link, unsigned int& out);
  int SetLinkFrameGrabberPort(unsigned int link, unsigned int value);
  int SetLinkPlPort(unsigned int link, unsigned int value);
  int SetLinkPlMasterId(unsigned int link, unsigned int value);
  int SetLinkPlExtensionId(unsigned int link, unsigned int value);
  int SetNrOfLinks(unsigned int count);
  uint32_t GetNrOfLinks() { return nrOfLinks_; }
  void SetDiscoverySpeed(uint32_t speed) { discoverySpeed_ = speed; }
  uint32_t GetDiscoverySpeed() { return discoverySpeed_; }

  // Names in any case.
  int GetProperty(char* name, void* value, unsigned int type, void* index);
  int SetProperty(char* name, void* value, unsigned int type, void* index);

  // The cached copy of text, which lives until ClearStringCache; equal texts share one copy.
  const char* InsertInStringCache(const char* text);
  void ClearStringCache() { stringCache_.clear(); }

  // Kept for transports that switch between an internal and an external description; this
  // library has only the internal one.
  void SwitchToInternalGenICam(bool) {}
  // A hook on "AcquisitionStart"; nothing in the library calls it.
  int DoPostConnect();
  void AcquisitionStartCallback(GenApi::INode*) {}

 private:
  using IntegerGetter = std::function<uint32_t(unsigned int link)>;
  using IntegerSetter = std::function<void(uint32_t value)>;
  using TextGetter = std::function<std::string()>;

  void InitLinkInfo();
  void initProperties();
  void AddInteger(const char* name, IntegerGetter get, IntegerSetter set = nullptr);
  void AddText(const char* name, TextGetter get, std::function<void(const char*)> set = nullptr);
  void SetLinkConfig(uint32_t value);
  int BuildNodeMap();
  int CallProperty(char* name, void* value, unsigned int type, void* index, bool get);

  vesk::tools::logging::ClassLogger logger_{"vesk.genicam.MLOCameraInterface"};
  GenApi::CNodeMapRef* nodeMap_ = nullptr;
  bool genicamConnected_ = false;
  uint32_t nrOfLinks_ = 0;
  uint32_t discoverySpeed_ = 0;
  MloCameraInfo cameraInfo_{};
  bool cameraInfoValid_ = false;
  std::mutex infoLock_;
  std::map<std::string, Property> properties_;
  std::array<std::unique_ptr<LinkInfo>, kMaxLinks> linkInfo_;
  std::set<std::string> stringCache_;
  IPortInterface* port_;
  IControllerInterface* controller_;
  std::string xml_;
};

#endif
