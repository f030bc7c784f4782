// Exported functions that tie a board's camera layout to a file: the board configuration, the
// connection profile built on it, and the driver's low level link profile.
#include "vesk_genicam/impl/vesk_genicam_configuration.h"

#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>

#include "core/plex/CxpLinkConfiguration.h"
#include "vesk_genicam/impl/ApiArguments.h"
#include "vesk_genicam/impl/ApiCall.h"
#include "vesk_genicam/impl/Driver.h"
#include "vesk_genicam/impl/vesk_genicam.h"

using vesk::core::plex::CxpLinkConfiguration;
using vesk::genicam::ApiCall;
using vesk::genicam::FormatBoard;

namespace {

constexpr unsigned int kTypeInteger = 1;
constexpr uint32_t kSavedPorts = 4;
constexpr int kDifference = MLO_ERR_EXCEPTION;
constexpr int kBadConfigFile = MLO_ERR_INVALID_DATA;

CDriver* Driver(MloBoardHandle* board) { return reinterpret_cast<CDriver*>(board); }

std::string FormatFgBoard(const Fg_Struct_s* board) {
  std::ostringstream text;
  text << ",handle=(P11Fg_Struct_s)" << static_cast<const void*>(board);
  return text.str();
}

std::string FormatProfile(const MloConnectionProfile* profile) {
  std::ostringstream text;
  text << ",handle=(P20MloConnectionProfile)" << static_cast<const void*>(profile);
  return text.str();
}

// Null when the object cannot be made.
std::shared_ptr<CxpLinkConfiguration> MakeConfiguration() {
  try {
    return CxpLinkConfiguration::Create("cxp");
  } catch (...) {
    return nullptr;
  }
}

// An integer camera property through the exported getter; link is a link index or null.
int ReadInteger(MloCameraHandle* camera, const char* name, uint32_t& value,
                const uint32_t* link = nullptr) {
  std::string key(name);
  unsigned int type = kTypeInteger;
  uint32_t index = link ? *link : 0;
  return Mlo_getCameraPropertyWithType(camera, key.data(), &value, &type, link ? &index : nullptr);
}

// The cameras of the board into the configuration, up to the first one without a link. A
// failed read writes its line and gives its code; the configuration's own complaints (more
// cameras or links than it holds) are thrown.
template <class Call>
int FillConfiguration(Call& call, MloBoardHandle* board, CxpLinkConfiguration& config) {
  config.SetLinks(kSavedPorts);
  const int count = Mlo_getCameraCount(board);
  config.SetLinkGroupCount(static_cast<uint32_t>(count));
  uint32_t saved = 0;
  for (; saved < static_cast<uint32_t>(count); ++saved) {
    MloCameraHandle* camera = nullptr;
    int code = Mlo_getCameraByIndex(board, saved, &camera);
    if (code) return call.Fail(code, "Invalid config camera by index");
    auto read = [&](const char* name, uint32_t& value, const char* failure,
                    const uint32_t* link = nullptr) {
      code = ReadInteger(camera, name, value, link);
      if (code) call.Fail(code, std::string("Invalid property by type ") + failure);
      return code == 0;
    };
    uint32_t connected = 0;
    if (!read("Connected", connected, "CAM_PROP_ISCONNECTED_S")) return code;
    if (!connected) break;
    uint32_t packetSize = 0, speed = 0, links = 0, masterId = 0;
    if (!read("StreamPacketSize", packetSize, "CAM_PROP_STREAMPACKET_SIZE_S") ||
        !read("LinkSpeed", speed, "CAM_PROP_LINKSPEED_S") ||
        !read("NrOfLinks", links, "CAM_PROP_NROFLINKS_S") ||
        !read("MasterID", masterId, "CAM_PROP_MASTERID_S")) {
      return code;
    }
    config.SetStreamPacketSize(saved, packetSize);
    config.SetSpeed(saved, speed);
    config.SetLinkCount(saved, links);
    config.SetMasterId(saved, masterId);
    for (uint32_t link = 0; link < links; ++link) {
      uint32_t grabberPort = 0, appletPort = 0, master = 0;
      if (!read("FgPort", grabberPort, "CAM_PROP_FGPORT_S", &link) ||
          !read("AppletPort", appletPort, "CAM_PROP_APPLETPORT_S", &link) ||
          !read("MasterLink", master, "CAM_PROP_MASTERLINK_S", &link)) {
        return code;
      }
      config.SetPhysicalIndex(saved, link, grabberPort);
      config.SetPLIndex(saved, link, appletPort);
      if (master) config.SetMasterPhysicalIndex(saved, grabberPort);
    }
  }
  config.SetLinkGroupCount(saved);
  return 0;
}

// One saved camera against the camera now on its master port: nothing while they match, else
// the code that ends the load. A link that moved to another frame-grabber port ends it with 0.
template <class Call>
std::optional<int> CompareCamera(Call& call, MloBoardHandle* board,
                                 const CxpLinkConfiguration& config, uint32_t group) {
  const uint32_t masterPort = config.GetMasterPhysicalIndex(group);
  MloCameraHandle* camera = nullptr;
  if (const int code = Mlo_getCamera(board, masterPort, &camera)) {
    return call.Fail(code, "Error getting camera by master index");
  }
  if (!camera) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid boardHandle");

  struct Field {
    const char* name;
    const char* key;
    uint32_t saved;
  };
  const Field fields[] = {
      {"NrOfLinks", "NROFLINKS", config.GetLinkCount(group)},
      {"MasterID", "MASTERID", config.GetMasterId(group)},
      {"StreamPacketSize", "STREAMPACKET_SIZE", config.GetStreamPacketSize(group)},
      {"LinkSpeed", "LINKSPEED", config.GetSpeed(group)},
  };
  for (const Field& field : fields) {
    uint32_t value = 0;
    const std::string key = std::string("CAM_PROP_") + field.key + "_S";
    if (const int code = ReadInteger(camera, field.name, value)) {
      return call.Fail(code, "Invalid property by type " + key);
    }
    if (value != field.saved) {
      return call.Fail(kDifference, "Difference between " + key + " saved and discovered");
    }
  }

  for (uint32_t link = 0; link < config.GetLinkCount(group); ++link) {
    const uint32_t savedPort = config.GetPhysicalIndex(group, link);
    // No camera property has this name: a saved extension link on another port ends the
    // comparison with the getter's MLO_ERR_NOT_IMPLEMENTED.
    const char* role = savedPort == masterPort ? "MasterLink" : "EXTENSIONLINK";
    uint32_t value = 0;
    if (const int code = ReadInteger(camera, role, value, &link)) {
      return call.Fail(code, std::string("Invalid property by ") + role);
    }
    if (const int code = ReadInteger(camera, "FgPort", value, &link)) {
      return call.Fail(code, "Invalid property by CAM_PROP_FGPORT_S");
    }
    if (value != savedPort) {
      return call.Fail(0, "Difference between CAM_PROP_FGPORT_S saved and discovered");
    }
    if (const int code = ReadInteger(camera, "AppletPort", value, &link)) {
      return call.Fail(code, "Invalid property by CAM_PROP_APPLETPORT_S");
    }
    if (value != config.GetPLIndex(group, link)) {
      return call.Fail(kDifference,
                       "Difference between CAM_PROP_APPLETPORT_S saved and discovered");
    }
  }
  return std::nullopt;
}

void FreeProfile(MloConnectionProfile* profile) {
  delete[] profile->cameras;
  delete[] profile->cameraInfos;
  delete[] profile->states;
  delete profile;
}

// Each camera of the board with its link checked and its GenICam connection made.
void ConnectCameras(MloConnectionProfile& profile) {
  for (int i = 0; i < profile.cameraCount; ++i) {
    profile.cameraInfos[i] = nullptr;
    MloCameraHandle* camera = nullptr;
    if (Mlo_getCameraByIndex(profile.board, static_cast<unsigned int>(i), &camera) != 0) {
      profile.cameras[i] = nullptr;
      profile.states[i] = MLO_PROFILE_NO_CAMERA;
      continue;
    }
    profile.cameras[i] = camera;
    const int link = Mlo_LinkConnect(profile.board, camera);
    // MLO_ERR_LAYOUT_MISMATCH, a layout that differs, still leaves a usable link.
    if (link != 0 && link != MLO_ERR_LAYOUT_MISMATCH) {
      profile.states[i] = MLO_PROFILE_LINK_NOT_CONNECTED;
      continue;
    }
    profile.cameraInfos[i] = Mlo_getCameraInfo(camera);
    profile.states[i] =
        Mlo_connectCamera(camera) == 0 ? MLO_PROFILE_CONNECTED : MLO_PROFILE_GENICAM_FAILED;
  }
}

}  // namespace

namespace vesk::genicam {

int LoadConnectionProfileOfBoard(MloBoardHandle* board, const char* file,
                                 MloConnectionProfile** profile) {
  auto* record = new MloConnectionProfile{};
  record->board = board;
  *profile = record;
  auto giveUp = [&](int code) {
    Mlo_freeBoard(board);
    FreeProfile(record);
    *profile = nullptr;
    return code;
  };
  if (const int code = Mlo_LoadBoardConfiguration(board, file)) return giveUp(code);
  const int count = Mlo_getCameraCount(board);
  if (count < 0) return giveUp(count);
  record->cameraCount = count;
  record->cameras = new MloCameraHandle*[count]();
  record->cameraInfos = new MloCameraInfo*[count]();
  record->states = new uint32_t[count]();
  ConnectCameras(*record);
  return 0;
}

}  // namespace vesk::genicam

int Mlo_SaveBoardConfiguration(MloBoardHandle* board, const char* file) {
  ApiCall call(__LINE__, "Mlo_SaveBoardConfiguration", [=] { return FormatBoard(board); });
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  if (!file || !*file) return call.Fail(MLO_ERR_INVALID_FILENAME, "Invalid config file name");
  const std::shared_ptr<CxpLinkConfiguration> config = MakeConfiguration();
  if (!config) return call.Fail(MLO_ERR_EXCEPTION, "Invalid config pointer");
  try {
    if (const int code = FillConfiguration(call, board, *config)) return code;
  } catch (const std::exception&) {
    return call.Fail(kBadConfigFile, "Error invalid config file");
  }
  try {
    config->WriteToFile(file);
  } catch (const std::exception&) {
    return call.Fail(MLO_ERR_FILE_ACCESS, "Error saving config file");
  }
  return call.Return(0);
}

int Mlo_LoadBoardConfiguration(MloBoardHandle* board, const char* file) {
  ApiCall call(__LINE__, "Mlo_LoadBoardConfiguration", [=] { return FormatBoard(board); });
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  if (!file || !*file) return call.Fail(MLO_ERR_INVALID_FILENAME, "Invalid config file name");
  const std::shared_ptr<CxpLinkConfiguration> config = MakeConfiguration();
  if (!config) return call.Fail(MLO_ERR_EXCEPTION, "Invalid config pointer");
  std::error_code error;
  if (!std::filesystem::exists(file, error)) return call.Return(MLO_ERR_INVALID_FILENAME);
  try {
    config->ReadFromFile(file);
  } catch (const std::exception&) {
    return call.Fail(kBadConfigFile, "Error loading config pointer");
  }
  for (uint32_t group = 0; group < config->GetLinkGroupCount(); ++group) {
    if (const std::optional<int> end = CompareCamera(call, board, *config, group)) return *end;
  }
  return call.Return(0);
}

int Mlo_LoadConnectionProfile(Fg_Struct_s* board, const char* file,
                              MloConnectionProfile** profile) {
  ApiCall call(__LINE__, "Mlo_LoadConnectionProfile", [=] { return FormatFgBoard(board); });
  if (!board || !file || !profile || !*file)
    return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid parameter");
  MloBoardHandle* handle = nullptr;
  if (const int code = Mlo_initBoard(board, 0, &handle)) {
    *profile = nullptr;
    return call.Return(code);
  }
  const int code = vesk::genicam::LoadConnectionProfileOfBoard(handle, file, profile);
  if (code == 0) call.AppendHandle("P20MloConnectionProfile", *profile);
  return call.Return(code);
}

int Mlo_UnloadConnectionProfile(MloConnectionProfile* profile) {
  ApiCall call(__LINE__, "Mlo_UnloadConnectionProfile", [=] { return FormatProfile(profile); });
  if (!profile) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid parameter");
  for (int i = 0; profile->cameras && i < profile->cameraCount; ++i) {
    if (!profile->cameras[i]) continue;
    Mlo_disconnectCamera(profile->cameras[i]);
    Mlo_LinkDisconnect(profile->cameras[i]);
  }
  Mlo_freeBoard(profile->board);
  FreeProfile(profile);
  return call.Return(0);
}

int Mlo_StoreLowLevelLinkProfile(MloBoardHandle* board, char* file) {
  ApiCall call(__LINE__, "Mlo_StoreLowLevelLinkProfile", [=] { return FormatBoard(board); });
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  if (!file || !*file) return call.Fail(MLO_ERR_INVALID_FILENAME, "Invalid config file name");
  return call.Return(Driver(board)->StoreLowLevelLinkProfile(file));
}

int Mlo_RestoreLowLevelLinkProfile(MloBoardHandle* board, char* file) {
  ApiCall call(__LINE__, "Mlo_RestoreLowLevelLinkProfile", [=] { return FormatBoard(board); });
  if (!board) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle");
  if (!file || !*file) return call.Fail(MLO_ERR_INVALID_FILENAME, "Invalid config file name");
  return call.Return(Driver(board)->RestoreLowLevelLinkProfile(file));
}
