// CoaXPress boards through the exported functions alone, on the simulated runtime: discovery,
// topology, hot-plug and events, with the waits shortened through the settings.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace {

// A control function of the simulated runtime that the library loaded.
template <class Signature>
Signature* Sim(const char* name) {
  VHalGetNrOfBoards();  // the library's stub loads the runtime
  void* handle = dlopen(VESK_SIM_RUNTIME "/libvesk_hal.so", RTLD_NOW | RTLD_NOLOAD);
  if (!handle) throw std::runtime_error("the simulated runtime is not loaded");
  void* function = dlsym(handle, name);
  dlclose(handle);
  return reinterpret_cast<Signature*>(function);
}
#define VSIM(name) (*Sim<decltype(name)>(#name))

void ShortenWaits() {
  for (const char* name :
       {"VESK_CXP_WAIT_AFTER_LINK_RESET_DONE", "VESK_CXP_WAIT_AFTER_CAMERA_CONFIG_CHANGED",
        "VESK_CXP_WAIT_AFTER_UPLINK_SPEED_RESET", "VESK_CXP_WAIT_AFTER_POWERUP",
        "VESK_CXP_WAIT_AFTER_TRIP_RESET", "VESK_CXP_WAIT_AFTER_LINK_RESET_ON_EACH_PORT"})
    setenv(name, "0", 1);
  setenv("VESK_CXP_COMMAND_ACK_TIMEOUT", "20", 1);
  setenv("VESK_CXP_DISCOVERY_THREAD_SLEEP_TIME_MS", "10", 1);
  setenv("VESK_CXP_DISCONNECTS_THREAD_SLEEP_TIME_MS", "10", 1);
}

// One board of a rig, opened and handed to the library.
class Board {
 public:
  explicit Board(const std::string& rig) {
    ShortenWaits();
    loaded_ = VSIM(VSimLoadRigText)(rig.c_str(), "cxp rig");
    board_.device = VHalInitDevice(0);
    board_.design = DsnLoadBoardDesign(board_.device);
    opened_ = Mlo_initBoardEx(&board_, 0, &handle_, 0xF);
  }
  ~Board() {
    if (handle_) Mlo_freeBoard(handle_);
    if (board_.design) DsnFreeDesign(board_.design);
    if (board_.device) VHalFreeDevice(board_.device);
  }
  bool Ok() const { return loaded_ == 0 && opened_ == 0 && handle_; }
  MloBoardHandle* Handle() const { return handle_; }

  unsigned int CameraProperty(MloCameraHandle* camera, const char* name, unsigned int link = 0) {
    unsigned int value = 0xFFFFFFFF;
    unsigned int type = 1;
    EXPECT_EQ(Mlo_getCameraPropertyWithType(camera, const_cast<char*>(name), &value, &type, &link),
              0)
        << name;
    return value;
  }

 private:
  Fg_Struct_s board_{};
  MloBoardHandle* handle_ = nullptr;
  int loaded_ = -1;
  int opened_ = -1;
};

std::string QuadRig(const char* design, int type, const char* ports) {
  std::string rig = "<rig><board type='" + std::to_string(type) + "' ports='4' design='" + design +
                    "' operators='1 1.1 1.2 1.3'/><camera id='quad' speeds='3125' xml='zipped'>";
  for (const char* port = ports; *port; ++port)
    rig += std::string("<link board='0' port='") + *port + "'/>";
  return rig + "</camera></rig>";
}

TEST(CxpDiscovery, AFourLinkCameraInAnyCablingIsOneCameraOnItsOperator) {
  Board board(QuadRig("cxp-camera-ctrl", 2656, "2301"));
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(Mlo_scanPortsEx(board.Handle(), 0xF, 5000, 0, 0), 0);
  ASSERT_EQ(Mlo_getCameraCount(board.Handle()), 1);
  MloCameraHandle* camera = nullptr;
  ASSERT_EQ(Mlo_getCameraByIndex(board.Handle(), 0, &camera), 0);
  EXPECT_EQ(board.CameraProperty(camera, "MasterPort"), 2u);
  EXPECT_EQ(board.CameraProperty(camera, "NrOfLinks"), 4u);
  EXPECT_EQ(board.CameraProperty(camera, "LinkSpeed"), 3125u);
  EXPECT_EQ(board.CameraProperty(camera, "AppletPort", 0), 0u);
}

}  // namespace
