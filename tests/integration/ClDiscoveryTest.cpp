// Camera Link boards through the exported functions alone, on the simulated runtime: the baud
// search, features, parameters, answers that go wrong, cameras that come and go. A port waits a
// second for each rate at which its camera stays silent, so each suite scans one board and shares
// it, and the cameras answer at their first rate, but for one.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
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

constexpr uint32_t kGencpVersion = 0x00010003;
constexpr int kGencpInvalidPacket = -1603;

unsigned int ThreadCount() {
  unsigned int threads = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
    ++threads;
  return threads;
}

// The events of a board, as its callback got them: type and port mask.
class Events {
 public:
  using Event = std::pair<unsigned int, unsigned int>;
  static int Callback(MloBoardHandle*, const MloEventInfo* info, void* user) {
    auto* events = static_cast<Events*>(user);
    std::lock_guard<std::mutex> lock(events->mutex_);
    // Copies: the record is packed, and its fields do not bind to references.
    events->seen_.emplace_back(static_cast<unsigned int>(info->type),
                               static_cast<unsigned int>(info->port));
    events->changed_.notify_all();
    return 0;
  }
  // The events once count have come, or what came within a few seconds.
  std::vector<Event> Wait(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(8), [&] { return seen_.size() >= count; });
    return std::exchange(seen_, {});
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Event> seen_;
};

// Board 0 of a rig, opened and handed to the library, and scanned once.
class ClBoard {
 public:
  explicit ClBoard(const std::string& rig) {
    loaded_ = VSIM(VSimLoadRigText)(rig.c_str(), "cl rig");
    board_.device = VHalInitDevice(0);
    board_.design = DsnLoadBoardDesign(board_.device);
    opened_ = Mlo_initBoardEx(&board_, 0, &handle_, 0x3);
    if (Ok()) scanned_ = Mlo_scanPortsEx(handle_, 0x3, 5000, 0, 0);
  }
  ~ClBoard() {
    Free();
    if (board_.design) DsnFreeDesign(board_.design);
    if (board_.device) VHalFreeDevice(board_.device);
  }
  bool Ok() const { return loaded_ == 0 && opened_ == 0 && handle_; }
  int Scanned() const { return scanned_; }
  MloBoardHandle* Handle() const { return handle_; }
  void Free() {
    if (handle_) Mlo_freeBoard(std::exchange(handle_, nullptr));
  }
  MloCameraHandle* Camera(unsigned int port) const {
    MloCameraHandle* camera = nullptr;
    EXPECT_EQ(Mlo_getCamera(handle_, port, &camera), 0);
    EXPECT_NE(camera, nullptr);
    return camera;
  }
  static unsigned int Property(MloCameraHandle* camera, const char* name) {
    unsigned int value = 0xFFFFFFFF;
    unsigned int type = 1;
    unsigned int link = 0;
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
  int scanned_ = -1;
};

std::string CameraTag(const char* id, unsigned int port, const char* extra) {
  return std::string("<camera id='") + id + "' xml='zipped' " + extra + "><link board='0' port='" +
         std::to_string(port) + "'/></camera>";
}

// Two base channels: a camera that starts at 9600 and can go to 57600, and one that answers at
// 115200 only, found by the port's search after four silent rates.
class ClDiscovery : public ::testing::Test {
 public:
  static void SetUpTestSuite() {
    board_ = new ClBoard("<rig><board type='1872' ports='2' design='cl-base'/>" +
                         CameraTag("first", 0,
                                   "vendor='Acme' modelName='Line 1' speeds='9600 19200 57600' "
                                   "defaultSpeed='9600'") +
                         CameraTag("fast", 1, "speeds='115200'") + "</rig>");
  }
  static void TearDownTestSuite() { delete board_; }

 protected:
  void SetUp() override { ASSERT_TRUE(board_->Ok()); }
  void TearDown() override {
    const VSimFaults none = {1, 0, 0, 0, 0, 0, -1};
    VSIM(VSimSetCameraFaultsEx)(0, &none, nullptr);
  }
  static void Faults(const VSimFaults& faults, const VSimProtocolFaults& protocol = {}) {
    ASSERT_EQ(VSIM(VSimSetCameraFaultsEx)(0, &faults, &protocol), 0);
  }
  static int ReadVersion(MloCameraHandle* camera) {
    uint32_t value = 0;
    const int code = Mlo_registerReadFromCamera(camera, &value, 0);
    return code == 0 && value != kGencpVersion ? -1 : code;
  }

  static inline ClBoard* board_ = nullptr;
};

TEST_F(ClDiscovery, TheScanFindsEveryCameraAtItsFastestRate) {
  ASSERT_EQ(board_->Scanned(), 0);
  EXPECT_EQ(Mlo_getCameraCount(board_->Handle()), 2);
  MloCameraHandle* first = board_->Camera(0);
  MloCameraHandle* fast = board_->Camera(1);
  EXPECT_EQ(ClBoard::Property(first, "LinkSpeed"), 57600u);
  EXPECT_EQ(ClBoard::Property(fast, "LinkSpeed"), 115200u);
  EXPECT_EQ(ClBoard::Property(fast, "MasterPort"), 1u);
  const MloCameraInfo* info = Mlo_getCameraInfo(first);
  ASSERT_NE(info, nullptr);
  EXPECT_STREQ(info->vendorName, "Acme");
  EXPECT_STREQ(info->modelName, "Line 1");
  EXPECT_EQ(ReadVersion(fast), 0);
}

TEST_F(ClDiscovery, FeaturesByNameAndSavedParametersLoadBack) {
  MloCameraHandle* camera = board_->Camera(0);
  ASSERT_EQ(Mlo_connectCamera(camera), 0);
  ASSERT_EQ(Mlo_setIntegerValue(camera, "Width", 640), 0);
  int64_t width = 0;
  ASSERT_EQ(Mlo_getIntegerValue(camera, "Width", &width), 0);
  EXPECT_EQ(width, 640);
  const std::string parameters = testing::TempDir() + "/cl-parameters.txt";
  ASSERT_EQ(Mlo_SaveCameraParameters(camera, parameters.c_str()), 0);
  ASSERT_EQ(Mlo_setIntegerValue(camera, "Width", 800), 0);
  ASSERT_EQ(Mlo_LoadCameraParameters(camera, parameters.c_str(), 1), 0);
  ASSERT_EQ(Mlo_getIntegerValue(camera, "Width", &width), 0);
  EXPECT_EQ(width, 640);
  EXPECT_EQ(Mlo_disconnectCamera(camera), 0);
}

struct Fault {
  const char* name;
  VSimFaults faults;
  VSimProtocolFaults protocol;
  int result;
};

class ClDiscoveryFaults : public ClDiscovery, public ::testing::WithParamInterface<Fault> {};

// Each command ends within the port's wait, and once the camera answers well again so do the
// commands: the one that a late signal ends early aside.
TEST_P(ClDiscoveryFaults, NoiseStaleRepliesAndSilenceAreSurvived) {
  MloCameraHandle* camera = board_->Camera(0);
  Faults(GetParam().faults, GetParam().protocol);
  EXPECT_EQ(ReadVersion(camera), GetParam().result);
  Faults({1, 0, 0, 0, 0, 0, -1});
  ReadVersion(camera);
  EXPECT_EQ(ReadVersion(camera), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Answers, ClDiscoveryFaults,
    ::testing::Values(
        Fault{"Noise", {1, 0, 0, 1000, 0, 0, -1}, {}, 0},
        Fault{"StaleId", {1, 0, 0, 0, 0, 0, -1}, {0, 0, 0, 0, 1000, 0, 0}, kGencpInvalidPacket},
        Fault{"Silent", {1, 0, 0, 0, 0, 0, 0}, {}, kGencpInvalidPacket}),
    [](const ::testing::TestParamInfo<Fault>& info) { return info.param.name; });

// One camera on a one-channel board: its clock goes and comes back, and the board frees all it
// started.
TEST(ClHotPlug, ACameraWhoseClockGoesIsToldAndComesBackWorking) {
  std::thread([] {}).join();  // a sanitizer starts its helper thread with the first thread
  const unsigned int threadsBefore = ThreadCount();
  Events events;  // outlives the board, whose threads call it until it is freed
  ClBoard board("<rig><board type='1873' ports='1' design='cl-medium'/>" +
                CameraTag("only", 0, "speeds='9600'") + "</rig>");
  ASSERT_TRUE(board.Ok());
  ASSERT_EQ(board.Scanned(), 0);
  ASSERT_EQ(Mlo_registerBoardEventCallback(board.Handle(), Events::Callback, &events), 0);
  MloCameraHandle* camera = board.Camera(0);
  // An application thread reads on while the clock goes and the port searches the camera again.
  std::atomic<bool> reading{true};
  std::thread reader([&] {
    uint32_t value = 0;
    while (reading) Mlo_registerReadFromCamera(camera, &value, 0);
  });
  ASSERT_EQ(VSIM(VSimUnplug)(0, 0), 0);
  EXPECT_EQ(events.Wait(1), (std::vector<Events::Event>{{MLO_EVENT_PORTS_LOST, 0x1}}));
  ASSERT_EQ(VSIM(VSimPlug)(0, 0, VSIM(VSimFindCamera)("only"), 0), 0);
  EXPECT_EQ(events.Wait(1), (std::vector<Events::Event>{{MLO_EVENT_PORTS_CONNECTED, 0x1}}));
  reading = false;
  reader.join();
  ASSERT_EQ(Mlo_connectCamera(camera), 0);
  int64_t width = 0;
  EXPECT_EQ(Mlo_getIntegerValue(camera, "Width", &width), 0);
  EXPECT_GT(width, 0);
  board.Free();
  EXPECT_EQ(ThreadCount(), threadsBefore);
}

// A port without a camera is searched at every rate when the board opens; the scan then finds
// nothing.
TEST(ClEmptyPort, AChannelWithoutACameraIsNoCamera) {
  ClBoard board("<rig><board type='1873' ports='1' design='cl-medium'/></rig>");
  ASSERT_TRUE(board.Ok());
  EXPECT_EQ(board.Scanned(), -1210);
  EXPECT_EQ(Mlo_getCameraCount(board.Handle()), 0);
  EXPECT_EQ(Mlo_scanPortsEx(board.Handle(), 0x1, 100, 0, 0), -1208);
}

}  // namespace
