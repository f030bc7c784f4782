// The two runtime libraries through their C functions, as the library and the tests meet them.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "loader/dsnrt.h"
#include "loader/vesk_hal.h"
#include "sim/include/vesk_sim.h"

namespace {

using namespace std::chrono_literals;

const char kRig[] = R"(<rig>
  <board type="2656" ports="4" design="cxp-camera-ctrl"/>
  <board type="1872" ports="2" design="cl-base"/>
  <board type="2913" ports="2" design="gige-korvid"/>
  <camera id="cam"><link board="1" port="0"/></camera>
</rig>)";

class RuntimeApi : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(VSimLoadRigText(kRig, "api rig"), 0); }
};

TEST_F(RuntimeApi, BadHandlesAreAnsweredWithErrors) {
  int notAHandle = 0;
  PLdevice* handles[] = {nullptr, reinterpret_cast<PLdevice*>(&notAHandle), VHalInitDevice(0)};
  ASSERT_EQ(VHalFreeDevice(handles[2]), 0);  // a closed handle is as unknown as the others
  for (PLdevice* device : handles) {
    uint64_t value = 0;
    uint32_t word = 0;
    unsigned char byte = 0;
    unsigned int config = 0;
    int rx = 0, tx = 0;
    auto* design = reinterpret_cast<fpga_design*>(device);
    const int bad = VSIM_ERROR_INVALID_HANDLE;
    EXPECT_EQ(VHalFreeDevice(device), bad);
    EXPECT_EQ(VHalGetBoardIndex(device, 0), bad);
    EXPECT_EQ(VHalGetBoardInfoInt(device, "board/type"), bad);
    EXPECT_EQ(VHalRegisterRead(device, 1, &value), bad);
    EXPECT_EQ(VHalRegisterWrite(device, 1, 1), bad);
    EXPECT_EQ(VHalDataQueueClear(device, 0), bad);
    EXPECT_EQ(VHalDataQueueFlush(device, 0), bad);
    EXPECT_EQ(VHalDataQueueGetNrOfWords(device, 0), bad);
    EXPECT_EQ(VHalDataQueueReadBuffer(device, 0, &byte, 1, 0), bad);
    EXPECT_EQ(VHalDataQueueWriteBuffer(device, 0, &byte, 1, 0), bad);
    EXPECT_EQ(VHalDataQueueReadBufferLong(device, 0, &word, 4, 0), bad);
    EXPECT_EQ(VHalDataQueueWriteBufferLong(device, 0, &word, 4, 0), bad);
    EXPECT_EQ(VHalDataQueueAcquireLock(device, 0), bad);
    EXPECT_EQ(VHalDataQueueReleaseLock(device, 0), bad);
    EXPECT_EQ(VHalGetCameraStatusExtended(device, 0), bad);
    EXPECT_EQ(VHalClSerInit(device, 0, 9600, &rx, &tx), bad);
    EXPECT_EQ(VHalClSerSetBaudrate(device, 0, 9600), bad);
    EXPECT_EQ(VHalReadConfig(device, 0x4D44494F, 0, &config, 1), bad);
    EXPECT_EQ(VHalWriteConfig(device, 0x4D44494F, 0, &config, 1), bad);
    EXPECT_EQ(VHalRegisterAsyncNotifyCallback(device, nullptr, nullptr), bad);
    EXPECT_EQ(VHalCameraCtrlIsAvailable(device), bad);
    EXPECT_EQ(VHalCameraCtrlReset(device), bad);
    EXPECT_EQ(VHalCameraCtrlSetPortMap(device, 0), bad);
    EXPECT_EQ(VHalCameraCtrlSetPortPowerState(device, 0, 2), bad);
    EXPECT_EQ(DsnFreeDesign(design), bad);
    EXPECT_EQ(DsnGetRegisterByName(design, "CxpTransceiverStatus_0"), bad);
    EXPECT_EQ(DsnGetNrOfRegister(design), bad);
    EXPECT_EQ(DsnLoadBoardDesign(device), nullptr);
    EXPECT_EQ(DsnGetDesignName(design), nullptr);
    EXPECT_EQ(DsnGetRegisterName(design, 1), nullptr);
  }
  EXPECT_EQ(VHalInitDeviceEx(-1, 0), nullptr);
}

TEST_F(RuntimeApi, RegistersByDesignIdsAreCountedAndBadArgumentsRefused) {
  PLdevice* device = VHalInitDeviceEx(0, 0);
  fpga_design* design = DsnLoadBoardDesign(device);
  ASSERT_NE(design, nullptr);
  EXPECT_EQ(VHalGetBoardIndex(device, 0), 0);
  EXPECT_STREQ(DsnGetDesignName(design), "Acquisition_CXP_CameraCtrl");
  const int id = DsnGetRegisterByName(design, "CxpStreamPacketSize");  // a plain register
  ASSERT_GT(id, 0);
  EXPECT_STREQ(DsnGetRegisterName(design, id), "CxpStreamPacketSize");
  const int count = DsnGetNrOfRegister(design);
  EXPECT_NE(DsnGetRegisterName(design, count), nullptr);
  EXPECT_EQ(DsnGetRegisterName(design, count + 1), nullptr);
  EXPECT_EQ(DsnGetRegisterName(design, 0), nullptr);

  ASSERT_EQ(VSimResetCounters(0), 0);
  uint64_t value = 0;
  EXPECT_EQ(VHalRegisterWrite(device, id, 0xabcdef0123ull), 0);
  EXPECT_EQ(VHalRegisterRead(device, id, &value), 0);
  EXPECT_EQ(VHalRegisterRead(device, id, &value), 0);
  EXPECT_EQ(value, 0xabcdef0123ull);
  VSimBoardCounters counters{};
  EXPECT_EQ(VSimGetBoardCounters(0, &counters), 0);
  EXPECT_EQ(counters.registerWrites, 1u);
  EXPECT_EQ(counters.registerReads, 2u);

  EXPECT_EQ(VHalRegisterRead(device, 1, nullptr), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(VHalGetBoardIndex(device, 1), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(VHalDataQueueReadBufferLong(device, 0, nullptr, 4, 0), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(DsnGetRegisterByName(design, nullptr), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(DsnFreeDesign(design), 0);
  EXPECT_EQ(VHalFreeDevice(device), 0);
}

TEST_F(RuntimeApi, QueuesBetweenTheHostAndTheControlApiWithOneLockOwner) {
  PLdevice* first = VHalInitDevice(0);
  PLdevice* second = VHalInitDevice(0);
  const uint32_t answer[3] = {0x2, 0xc0ffee, 0xbeef};
  EXPECT_EQ(VSimQueuePush(0, 4, answer, sizeof answer), 12);
  EXPECT_EQ(VHalDataQueueGetNrOfWords(first, 4), 3);
  uint32_t words[3] = {};
  EXPECT_EQ(VHalDataQueueReadBufferLong(second, 4, words, 4, 0), 4);
  EXPECT_EQ(VHalDataQueueReadBufferLong(first, 4, words + 1, 8, 100), 8);
  EXPECT_EQ(std::memcmp(words, answer, sizeof answer), 0);
  EXPECT_EQ(VHalDataQueueWriteBufferLong(first, 6, answer, 8, 100), 8);  // the firmware's spare
  uint32_t taken[4] = {};
  EXPECT_EQ(VSimQueueTake(0, 6, taken, sizeof taken), 8);
  EXPECT_EQ(taken[1], 0xc0ffeeu);
  EXPECT_EQ(VSimQueuePush(0, 4, answer, 3), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(VSimQueuePush(0, 99, answer, 4), VSIM_ERROR_NO_SUCH_QUEUE);

  // The handle is the owner, and closing it gives the lock back.
  EXPECT_EQ(VHalDataQueueAcquireLock(first, 4), 0);
  EXPECT_EQ(VHalDataQueueAcquireLock(second, 4), VSIM_ERROR_QUEUE_LOCKED);
  EXPECT_EQ(VHalDataQueueReleaseLock(second, 4), VSIM_ERROR_NOT_LOCKED);
  EXPECT_EQ(VHalDataQueueReleaseLock(first, 4), 0);
  EXPECT_EQ(VHalDataQueueAcquireLock(second, 4), 0);
  EXPECT_EQ(VHalFreeDevice(second), 0);
  EXPECT_EQ(VHalDataQueueAcquireLock(first, 4), 0);
  EXPECT_EQ(VHalFreeDevice(first), 0);
}

TEST_F(RuntimeApi, TheCameraControllerAnswersToTheBoardAndToItsDesign) {
  PLdevice* device = VHalInitDevice(0);
  fpga_design* design = DsnLoadBoardDesign(device);
  auto* designAsDevice = reinterpret_cast<PLdevice*>(design);
  EXPECT_EQ(VHalCameraCtrlIsAvailable(designAsDevice), 0);
  EXPECT_EQ(VHalCameraCtrlReset(designAsDevice), 0);
  EXPECT_EQ(VHalCameraCtrlSetPortMap(device, 0x3210), 0);
  EXPECT_EQ(VHalCameraCtrlSetPortDataPathSpeed(device, 1, 6250), 0);
  for (auto set :
       {VHalCameraCtrlSetPortPowerState, VHalCameraCtrlSetPortDataPathState,
        VHalCameraCtrlSetPortCxpStandardVersion, VHalCameraCtrlSetPortCxpLedState,
        VHalCameraCtrlSetPortCxpNumCameraConnections, VHalCameraCtrlSetPortAcquisitionState}) {
    EXPECT_EQ(set(device, 3, 2), 0);
  }
  PLdevice* cl = VHalInitDevice(1);
  EXPECT_EQ(VHalCameraCtrlIsAvailable(cl), VSIM_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(VHalCameraCtrlSetPortPowerState(cl, 0, 2), VSIM_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(VHalFreeDevice(cl), 0);
  EXPECT_EQ(DsnFreeDesign(design), 0);
  EXPECT_EQ(VHalCameraCtrlIsAvailable(designAsDevice), VSIM_ERROR_INVALID_HANDLE);
  EXPECT_EQ(VHalFreeDevice(device), 0);
}

TEST_F(RuntimeApi, CameraLinkSerialChannelAndCameraClockFollowTheCable) {
  PLdevice* device = VHalInitDevice(1);
  int rx = -1;
  int tx = -1;
  EXPECT_EQ(VHalClSerInit(device, 0, 9600, &rx, &tx), 0);
  EXPECT_EQ(VHalClSerInit(device, 0, 9600, nullptr, &tx), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(VHalClSerSetBaudrate(device, 0, 115200), 0);
  const unsigned char command[] = {0x01, 0x02};
  EXPECT_EQ(VHalDataQueueWriteBuffer(device, tx, command, 2, 100), 2);
  EXPECT_EQ(VHalDataQueueFlush(device, tx), 0);
  unsigned char sent[2] = {};
  EXPECT_EQ(VSimQueueTake(1, tx, sent, 2), 0);  // the firmware put them on the cable
  EXPECT_EQ(VHalDataQueueReadBufferLong(device, rx, nullptr, 4, 0), VSIM_ERROR_WRONG_QUEUE_UNIT);

  EXPECT_EQ(VHalGetCameraStatusExtended(device, 0) & 1, 1);
  EXPECT_EQ(VSimUnplug(1, 0), 0);
  EXPECT_EQ(VHalGetCameraStatusExtended(device, 0) & 1, 0);
  int camera = -1;
  unsigned link = 0;
  EXPECT_EQ(VSimGetCable(1, 0, &camera, &link), VSIM_ERROR_NO_CABLE);
  EXPECT_EQ(VSimPlug(1, 1, VSimFindCamera("cam"), 0), 0);
  EXPECT_EQ(VHalGetCameraStatusExtended(device, 1) & 1, 1);
  EXPECT_EQ(VHalFreeDevice(device), 0);
}

// What a handle's callback was handed (board * 100 + what * 10 + detail), on which thread, and
// what closing its own handle from there answered.
struct Calls {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<unsigned long> calls;
  std::thread::id thread;
  int freeStatus = 0;
  PLdevice* device = VHalInitDevice(2);

  static int Callback(int board, unsigned long what, unsigned long detail, unsigned long,
                      void* user) {
    auto* self = static_cast<Calls*>(user);
    const int freeStatus = VHalFreeDevice(self->device);
    std::lock_guard<std::mutex> lock(self->mutex);
    self->freeStatus = freeStatus;
    self->calls.push_back(static_cast<unsigned long>(board) * 100 + what * 10 + detail);
    self->thread = std::this_thread::get_id();
    self->changed.notify_all();
    return 0;
  }
  bool Await(size_t count) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, 10s, [&] { return calls.size() >= count; });
  }
};

TEST_F(RuntimeApi, NotificationsRunOnEachHandlesOwnThreadUntilItCloses) {
  Calls first;
  Calls second;
  EXPECT_EQ(VHalGetBoardInfoInt(first.device, "ports/gige"), 2);
  ASSERT_EQ(VHalRegisterAsyncNotifyCallback(first.device, &Calls::Callback, &first), 0);
  ASSERT_EQ(VHalRegisterAsyncNotifyCallback(second.device, &Calls::Callback, &second), 0);
  EXPECT_EQ(VSimUnplug(1, 0), 0);      // the camera's link, from board 1
  EXPECT_EQ(VSimPlug(2, 1, 0, 0), 0);  // an Ethernet PHY tells of its link
  EXPECT_EQ(VSimNotify(2, 4, 1), 0);
  ASSERT_TRUE(first.Await(2));
  ASSERT_TRUE(second.Await(2));
  {
    std::scoped_lock lock(first.mutex, second.mutex);
    EXPECT_EQ(first.calls, (std::vector<unsigned long>{232, 241}));
    EXPECT_EQ(second.calls, first.calls);
    EXPECT_NE(first.thread, std::this_thread::get_id());
    EXPECT_NE(first.thread, second.thread);
    EXPECT_EQ(first.freeStatus, VSIM_ERROR_BUSY);  // a callback cannot close its own handle
  }
  EXPECT_EQ(VHalFreeDevice(first.device), 0);
  EXPECT_EQ(VSimNotify(2, 4, 1), 0);
  ASSERT_TRUE(second.Await(3));
  EXPECT_EQ(first.calls.size(), 2u);  // nobody listens on the closed handle
  EXPECT_EQ(VHalFreeDevice(second.device), 0);
}

// Which callbacks heard a notification, by the number each is named with.
struct Heard {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<int> names;

  template <int Name>
  static int Callback(int, unsigned long, unsigned long, unsigned long, void* user) {
    auto* self = static_cast<Heard*>(user);
    std::lock_guard<std::mutex> lock(self->mutex);
    self->names.push_back(Name);
    self->changed.notify_all();
    return 0;
  }
  // What was heard, sorted, once all of lasts were, or by the bound.
  std::vector<int> After(const std::vector<int>& lasts) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, 10s, [&] {
      return std::all_of(lasts.begin(), lasts.end(), [&](int name) {
        return std::find(names.begin(), names.end(), name) != names.end();
      });
    });
    std::vector<int> sorted = names;
    std::sort(sorted.begin(), sorted.end());
    return sorted;
  }
};

// Callbacks 1 and 2 on one handle, 3 on another that only witnesses the notification.
TEST_F(RuntimeApi, AHandleKeepsEveryCallbackUntilItIsUnregisteredOrFreed) {
  enum Then { Keep, UnregisterTheFirst, FreeTheHandle };
  const std::pair<Then, std::vector<int>> rows[] = {
      {Keep, {1, 2, 3}},
      {UnregisterTheFirst, {2, 3}},
      {FreeTheHandle, {3}},
  };
  for (const auto& [then, heard] : rows) {
    Heard calls;
    PLdevice* device = VHalInitDevice(2);
    PLdevice* witness = VHalInitDevice(2);
    ASSERT_EQ(VHalRegisterAsyncNotifyCallback(device, &Heard::Callback<1>, &calls), 0);
    ASSERT_EQ(VHalRegisterAsyncNotifyCallback(device, &Heard::Callback<2>, &calls), 0);
    if (then == UnregisterTheFirst) {
      EXPECT_EQ(VHalUnregisterAsyncNotifyCallback(device, &Heard::Callback<1>, &calls), 0);
      EXPECT_LT(VHalUnregisterAsyncNotifyCallback(device, &Heard::Callback<1>, &calls), 0);
    }
    if (then == FreeTheHandle) EXPECT_EQ(VHalFreeDevice(device), 0);
    ASSERT_EQ(VHalRegisterAsyncNotifyCallback(witness, &Heard::Callback<3>, &calls), 0);
    ASSERT_EQ(VSimNotify(2, 4, 1), 0);
    // A handle runs its callbacks in order: once 2 is heard, 1 was or never will be.
    EXPECT_EQ(calls.After(then == FreeTheHandle ? std::vector<int>{3} : std::vector<int>{2, 3}),
              heard)
        << then;
    if (then != FreeTheHandle) EXPECT_EQ(VHalFreeDevice(device), 0);
    EXPECT_EQ(VHalFreeDevice(witness), 0);
  }
}

TEST_F(RuntimeApi, ControlApiListsTheRigAndRejectsBadArguments) {
  EXPECT_EQ(VSimGetNrOfBoards(), 3);
  VSimBoardInfo board{};
  EXPECT_EQ(VSimGetBoardInfo(2, &board), 0);
  EXPECT_EQ(board.type, 2913);
  EXPECT_STREQ(board.design, "gige-korvid");
  EXPECT_EQ(VSimGetBoardInfo(3, &board), VSIM_ERROR_NO_SUCH_BOARD);
  EXPECT_EQ(VSimGetBoardInfo(0, nullptr), VSIM_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(VSimGetNrOfCameras(), 1);
  VSimCameraInfo camera{};
  EXPECT_EQ(VSimGetCameraInfo(0, &camera), 0);
  EXPECT_STREQ(camera.id, "cam");
  EXPECT_EQ(camera.links, 1u);
  EXPECT_EQ(VSimGetCameraInfo(1, &camera), VSIM_ERROR_NO_SUCH_CAMERA);

  VSimFaults faults{};
  faults.dropPerMille = 600;
  faults.oddPerMille = 600;
  EXPECT_EQ(VSimSetCameraFaults(0, &faults), VSIM_ERROR_INVALID_ARGUMENT);
  faults.oddPerMille = 0;
  EXPECT_EQ(VSimSetCameraFaults(0, &faults), 0);
  EXPECT_EQ(VSimSetPortFaults(0, 3, &faults), 0);
  EXPECT_EQ(VSimSetPortFaults(0, 4, &faults), VSIM_ERROR_NO_SUCH_PORT);
  VSimProtocolFaults protocol{};
  protocol.waitPerMille = 401;  // with the drops, one too many
  EXPECT_EQ(VSimSetCameraFaultsEx(0, &faults, &protocol), VSIM_ERROR_INVALID_ARGUMENT);
  protocol.waitPerMille = 400;
  EXPECT_EQ(VSimSetCameraFaultsEx(0, &faults, &protocol), 0);
  EXPECT_EQ(VSimSetPortFaultsEx(0, 3, &faults, &protocol), 0);
  uint64_t lineErrors = 1;
  EXPECT_EQ(VSimGetPortLineErrors(0, 3, &lineErrors), 0);
  EXPECT_EQ(lineErrors, 0u);
  EXPECT_EQ(VSimGetPortLineErrors(0, 3, nullptr), VSIM_ERROR_INVALID_ARGUMENT);
  VSimPortCounters port{};
  EXPECT_EQ(VSimGetPortCounters(0, 3, &port), 0);
  EXPECT_EQ(VSimGetPortCounters(0, 3, nullptr), VSIM_ERROR_INVALID_ARGUMENT);

  EXPECT_EQ(VSimLoadRigText("<rig><board type=\"1\"/></rig>", "bad.xml"), VSIM_ERROR_RIG);
  char text[16];
  EXPECT_GT(VSimGetLastError(text, sizeof text), 15);  // the whole length, cut to the buffer
  EXPECT_EQ(std::string(text), "bad.xml:1: <boa");
  EXPECT_EQ(VSimLoadDefaultRig(), 0);
  EXPECT_EQ(VHalGetNrOfBoards(), 8);
}

}  // namespace
