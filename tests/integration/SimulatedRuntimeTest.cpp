// The library in an installation with the simulated board runtime, used as an application uses
// it: through the library's own VHal and Dsn stubs.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <utility>

#include "sim/include/vesk_sim.h"
#include "tests/support/Installation.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace {

using vesk::test::Installation;

class SimulatedRuntime : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("VESKDIR5_64");
    unsetenv("VESKDIR5");
    unsetenv("VESK_SIM_RIG");
    ASSERT_NE(installation_.Handle(), nullptr) << dlerror();
    installation_.Function<void()>("VeskGenICamInit")();
  }
  void TearDown() override { installation_.Function<void()>("VeskGenICamDeinit")(); }

  template <class Signature>
  Signature* Stub(const char* name) {
    return installation_.Function<Signature>(name);
  }

  Installation installation_{VESK_GENICAM_LIBRARY, VESK_SIM_RUNTIME};
};

TEST_F(SimulatedRuntime, TheLibraryReachesTheDefaultRigThroughItsStubs) {
  EXPECT_EQ(Stub<int()>("VHalGetNrOfBoards")(), 7);
  PLdevice* device = Stub<PLdevice*(int)>("VHalInitDevice")(0);
  ASSERT_NE(device, nullptr);
  EXPECT_EQ(Stub<int(PLdevice*, const char*)>("VHalGetBoardInfoInt")(device, "board/type"), 2656);
  fpga_design* design = Stub<fpga_design*(PLdevice*)>("DsnLoadBoardDesign")(device);
  ASSERT_NE(design, nullptr);
  const int id =
      Stub<int(fpga_design*, const char*)>("DsnGetRegisterByName")(design, "CxpPowerStatus_1");
  ASSERT_GT(id, 0);
  EXPECT_EQ(Stub<int(PLdevice*, int, uint64_t)>("VHalRegisterWrite")(device, id, 0x5a5a), 0);
  uint64_t value = 0;
  EXPECT_EQ(Stub<int(PLdevice*, int, uint64_t*)>("VHalRegisterRead")(device, id, &value), 0);
  EXPECT_EQ(value, 0x5a5au);

  // The installation's own board library, already loaded by the library, counted the calls.
  void* hal = dlopen(installation_.File("lib64/libvesk_hal.so").c_str(), RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(hal, nullptr);
  auto counters =
      reinterpret_cast<int (*)(int, VSimBoardCounters*)>(dlsym(hal, "VSimGetBoardCounters"));
  ASSERT_NE(counters, nullptr);
  VSimBoardCounters counted{};
  EXPECT_EQ(counters(0, &counted), 0);
  EXPECT_EQ(counted.registerWrites, 1u);
  EXPECT_EQ(counted.registerReads, 1u);
  dlclose(hal);

  EXPECT_EQ(Stub<int(fpga_design*)>("DsnFreeDesign")(design), 0);
  EXPECT_EQ(Stub<int(PLdevice*)>("VHalFreeDevice")(device), 0);
}

// Board 0 of the default rig is a CoaXPress board. Its transport is not part of the library yet,
// so the board is refused as one without a GenICam interface and no handle is left to free.
TEST_F(SimulatedRuntime, ACoaXPressBoardWithoutItsTransportYetIsRefusedWithoutAHandle) {
  PLdevice* device = Stub<PLdevice*(int)>("VHalInitDevice")(0);
  ASSERT_NE(device, nullptr);
  ASSERT_EQ(Stub<int(PLdevice*, const char*)>("VHalGetBoardInfoInt")(device, "board/type"), 2656);
  Fg_Struct_s board{device, Stub<fpga_design*(PLdevice*)>("DsnLoadBoardDesign")(device)};
  ASSERT_NE(board.design, nullptr);

  auto* initBoardEx =
      Stub<int(Fg_Struct_s*, unsigned int, MloBoardHandle**, unsigned int)>("Mlo_initBoardEx");
  ASSERT_NE(initBoardEx, nullptr);
  MloBoardHandle* handle = reinterpret_cast<MloBoardHandle*>(&board);
  const int code = initBoardEx(&board, 0, &handle, 0xF);
  EXPECT_EQ(code, -1011);
  EXPECT_EQ(handle, nullptr);
  EXPECT_STREQ(Stub<const char*(int)>("Mlo_getErrorDescription")(code),
               "Board type does not support GenICam interface");
  // What an application's cleanup does with the handle it got: a null board is only traced.
  Stub<void(MloBoardHandle*)>("Mlo_freeBoard")(handle);

  EXPECT_EQ(Stub<int(fpga_design*)>("DsnFreeDesign")(board.design), 0);
  EXPECT_EQ(Stub<int(PLdevice*)>("VHalFreeDevice")(device), 0);
}

// A fresh installation, so that its simulator reads $VESK_SIM_RIG on first use: the number of
// boards it finds and the ports of the first.
std::pair<int, int> BoardsAndGigePortsWithRig(const std::string& rig) {
  setenv("VESK_SIM_RIG", rig.c_str(), 1);
  Installation fresh(VESK_GENICAM_LIBRARY, VESK_SIM_RUNTIME);
  fresh.Function<void()>("VeskGenICamInit")();
  const int boards = fresh.Function<int()>("VHalGetNrOfBoards")();
  PLdevice* device = fresh.Function<PLdevice*(int)>("VHalInitDevice")(0);
  const int ports =
      fresh.Function<int(PLdevice*, const char*)>("VHalGetBoardInfoInt")(device, "ports/gige");
  if (device) fresh.Function<int(PLdevice*)>("VHalFreeDevice")(device);
  fresh.Function<void()>("VeskGenICamDeinit")();
  unsetenv("VESK_SIM_RIG");
  return {boards, ports};
}

TEST_F(SimulatedRuntime, ARigFileChoosesTheBoardsAndABrokenOneIsAnError) {
  std::ofstream(installation_.File("rig.xml"))
      << "<rig><board type=\"3652\" ports=\"2\" design=\"gige-ka4\"/></rig>";
  EXPECT_EQ(BoardsAndGigePortsWithRig(installation_.File("rig.xml")), std::make_pair(1, 2));
  EXPECT_EQ(BoardsAndGigePortsWithRig(installation_.File("missing.xml")).first, VSIM_ERROR_RIG);
}

}  // namespace
