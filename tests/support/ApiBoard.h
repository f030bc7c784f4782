#ifndef VESK_TESTS_SUPPORT_API_BOARD_H
#define VESK_TESTS_SUPPORT_API_BOARD_H

// Fixtures of the tests that drive the exported functions alone on the simulated runtime: a
// board of a rig handed to the library, the events of its callback, and the process's threads.
// The program links the shared library and defines VESK_SIM_RUNTIME, the folder of the
// simulated runtime.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace vesk::test {

// A control function of the simulated runtime that the library loaded.
template <class Signature>
Signature* ApiSim(const char* name) {
  VHalGetNrOfBoards();  // the library's stub loads the runtime
  void* handle = dlopen(VESK_SIM_RUNTIME "/libvesk_hal.so", RTLD_NOW | RTLD_NOLOAD);
  if (!handle) throw std::runtime_error("the simulated runtime is not loaded");
  void* function = dlsym(handle, name);
  dlclose(handle);
  return reinterpret_cast<Signature*>(function);
}

// Board `index` of a rig, opened and handed to the library with `flags`, every port taken. An
// empty rig opens the board of the rig in place, beside handles that are open on it.
class ApiBoard {
 public:
  explicit ApiBoard(const std::string& rig, int index = 0, unsigned int flags = 0) {
    if (!rig.empty())
      loaded_ = ApiSim<decltype(VSimLoadRigText)>("VSimLoadRigText")(rig.c_str(), "test rig");
    board_.device = VHalInitDevice(index);
    board_.design = DsnLoadBoardDesign(board_.device);
    opened_ = Mlo_initBoardEx(&board_, flags, &handle_, 0xF);
  }
  ~ApiBoard() {
    Free();
    if (board_.design) DsnFreeDesign(board_.design);
    if (board_.device) VHalFreeDevice(board_.device);
  }
  ApiBoard(const ApiBoard&) = delete;
  ApiBoard& operator=(const ApiBoard&) = delete;

  bool Ok() const { return loaded_ == 0 && opened_ == 0 && handle_; }
  MloBoardHandle* Handle() const { return handle_; }
  PLdevice* Device() const { return board_.device; }
  // Gives the board back to the library; the rig's board stays open.
  void Free() {
    if (handle_) Mlo_freeBoard(std::exchange(handle_, nullptr));
  }
  fpga_design* Design() const { return board_.design; }

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
  int loaded_ = 0;
  int opened_ = -1;
};

// The events of a board, as its callback got them: type and port or master ID.
class ApiEvents {
 public:
  using Event = std::pair<unsigned int, unsigned int>;
  static int Callback(MloBoardHandle*, const MloEventInfo* info, void* user) {
    auto* events = static_cast<ApiEvents*>(user);
    std::lock_guard<std::mutex> lock(events->mutex_);
    // Copies: the record is packed, and its fields do not bind to references.
    const Event event{static_cast<unsigned int>(info->type), static_cast<unsigned int>(info->port)};
    events->seen_.push_back(event);
    events->changed_.notify_all();
    return 0;
  }
  // The events once count have come, or what came within the seconds.
  std::vector<Event> Wait(size_t count, int seconds = 5) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(seconds), [&] { return seen_.size() >= count; });
    return std::exchange(seen_, {});
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Event> seen_;
};

inline unsigned int ThreadCount() {
  unsigned int threads = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
    ++threads;
  return threads;
}

}  // namespace vesk::test

// The runtime's function of that name, typed by its declaration in vesk_sim.h.
#define VSIM(name) (*vesk::test::ApiSim<decltype(name)>(#name))

#endif
