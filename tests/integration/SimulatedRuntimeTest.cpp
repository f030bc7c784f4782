// The library in an installation with the simulated board runtime, used as an application uses
// it: through the library's own VHal and Dsn stubs.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <utility>

#include "loader/dsnrt.h"
#include "sim/include/vesk_sim.h"
#include "tests/support/Installation.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace {

using vesk::test::Installation;

// The installation's function of that name, typed by its declaration.
#define STUB(installation, name) (installation).Function<decltype(name)>(#name)

class SimulatedRuntime : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("VESKDIR5_64");
    unsetenv("VESKDIR5");
    unsetenv("VESK_SIM_RIG");
    ASSERT_NE(installation_.Handle(), nullptr) << dlerror();
    STUB(installation_, VeskGenICamInit)();
  }
  void TearDown() override { STUB(installation_, VeskGenICamDeinit)(); }

  Installation installation_{VESK_GENICAM_LIBRARY, VESK_SIM_RUNTIME};
};

TEST_F(SimulatedRuntime, TheLibraryReachesTheDefaultRigThroughItsStubs) {
  EXPECT_EQ(STUB(installation_, VHalGetNrOfBoards)(), 8);
  PLdevice* device = STUB(installation_, VHalInitDevice)(0);
  ASSERT_NE(device, nullptr);
  EXPECT_EQ(STUB(installation_, VHalGetBoardInfoInt)(device, "board/type"), 2656);
  fpga_design* design = STUB(installation_, DsnLoadBoardDesign)(device);
  ASSERT_NE(design, nullptr);
  const int id = STUB(installation_, DsnGetRegisterByName)(design, "CxpStreamPacketSize");
  ASSERT_GT(id, 0);
  EXPECT_EQ(STUB(installation_, VHalRegisterWrite)(device, id, 0x5a5a), 0);
  uint64_t value = 0;
  EXPECT_EQ(STUB(installation_, VHalRegisterRead)(device, id, &value), 0);
  EXPECT_EQ(value, 0x5a5au);

  // The installation's own board library, already loaded by the library, counted the calls.
  void* hal = dlopen(installation_.File("lib64/libvesk_hal.so").c_str(), RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(hal, nullptr);
  using GetCounters = decltype(&VSimGetBoardCounters);
  VSimBoardCounters counted{};
  EXPECT_EQ(reinterpret_cast<GetCounters>(dlsym(hal, "VSimGetBoardCounters"))(0, &counted), 0);
  EXPECT_EQ(counted.registerWrites, 1u);
  EXPECT_EQ(counted.registerReads, 1u);
  dlclose(hal);

  EXPECT_EQ(STUB(installation_, DsnFreeDesign)(design), 0);
  EXPECT_EQ(STUB(installation_, VHalFreeDevice)(device), 0);
}

// A board of a type that no transport knows is refused as one without a GenICam interface, and
// no handle is left to free.
TEST_F(SimulatedRuntime, ABoardOfNoTransportIsRefusedWithoutAHandle) {
  ASSERT_GE(STUB(installation_, VHalGetNrOfBoards)(), 0);  // the stubs load the runtime
  const std::string runtime = installation_.Root() + "/lib64/libvesk_hal.so";
  void* simulator = dlopen(runtime.c_str(), RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(simulator, nullptr);
  auto* load = reinterpret_cast<decltype(VSimLoadRigText)*>(dlsym(simulator, "VSimLoadRigText"));
  dlclose(simulator);
  ASSERT_EQ(load("<rig><board type='2575' ports='2' design='cl-base'/></rig>", "odd board"), 0);
  PLdevice* device = STUB(installation_, VHalInitDevice)(0);
  ASSERT_NE(device, nullptr);
  Fg_Struct_s board{device, STUB(installation_, DsnLoadBoardDesign)(device)};
  ASSERT_NE(board.design, nullptr);

  MloBoardHandle* handle = reinterpret_cast<MloBoardHandle*>(&board);
  const int code = STUB(installation_, Mlo_initBoardEx)(&board, 0, &handle, 0xF);
  EXPECT_EQ(code, -1011);
  EXPECT_EQ(handle, nullptr);
  EXPECT_STREQ(STUB(installation_, Mlo_getErrorDescription)(code),
               "Board type does not support GenICam interface");
  // What an application's cleanup does with the handle it got: a null board is only traced.
  STUB(installation_, Mlo_freeBoard)(handle);

  EXPECT_EQ(STUB(installation_, DsnFreeDesign)(board.design), 0);
  EXPECT_EQ(STUB(installation_, VHalFreeDevice)(device), 0);
}

// A fresh installation, so that its simulator reads $VESK_SIM_RIG on first use: the number of
// boards it finds and the Ethernet ports of the first.
std::pair<int, int> BoardsAndGigePortsWithRig(const std::string& rig) {
  setenv("VESK_SIM_RIG", rig.c_str(), 1);
  Installation fresh(VESK_GENICAM_LIBRARY, VESK_SIM_RUNTIME);
  STUB(fresh, VeskGenICamInit)();
  const int boards = STUB(fresh, VHalGetNrOfBoards)();
  PLdevice* device = STUB(fresh, VHalInitDevice)(0);
  const int ports = STUB(fresh, VHalGetBoardInfoInt)(device, "ports/gige");
  if (device) STUB(fresh, VHalFreeDevice)(device);
  STUB(fresh, VeskGenICamDeinit)();
  unsetenv("VESK_SIM_RIG");
  return {boards, ports};
}

TEST_F(SimulatedRuntime, ARigFileChoosesTheBoardsAndABrokenOneIsAnError) {
  std::ofstream(installation_.File("rig.xml"))
      << "<rig><board type='3652' ports='2' design='gige-ka4'/></rig>";
  EXPECT_EQ(BoardsAndGigePortsWithRig(installation_.File("rig.xml")), std::make_pair(1, 2));
  EXPECT_EQ(BoardsAndGigePortsWithRig(installation_.File("missing.xml")).first, VSIM_ERROR_RIG);
}

}  // namespace
