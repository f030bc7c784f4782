// Register and memory access through a camera's master port and directly through a physical
// port: the checks in their order, byte order, address cuts and time-outs.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/unit/api/ApiTestBoard.h"

namespace vesk::test {
namespace {

constexpr unsigned int kWord = 0x01020304;

class RegisterApi : public ::testing::Test {
 protected:
  RegisterApi()
      : master(board.controller.Port(1)),
        direct(board.controller.Port(2)),
        camera(board.Camera(1)) {
    master.synchronized = true;
    // Port 2 has a link but no camera; the direct functions need nothing more.
    direct.speed = 1250;
  }
  void SetUp() override { CapturedLog::SetDefaultLevel(1); }

  void Put(TestPort& port, int64_t address, std::vector<uint8_t> bytes) {
    port.Write(bytes.data(), address, static_cast<int64_t>(bytes.size()));
  }
  std::vector<uint8_t> Get(TestPort& port, int64_t address, size_t length) {
    std::vector<uint8_t> bytes(length);
    port.Read(bytes.data(), address, static_cast<int64_t>(length));
    return bytes;
  }

  ApiTestBoard board;
  TestPort& master;
  TestPort& direct;
  MloCameraHandle* camera;
};

TEST_F(RegisterApi, CameraFamilyChecksComeInTheirOrder) {
  uint32_t value = 0;
  char bytes[8];
  MloCameraHandle* unsynchronized = board.Camera(3, 2);
  ExpectChecks({
      {"register read data", [&] { return Mlo_registerReadFromCamera(nullptr, nullptr, 0); }, -1991,
       "Invalid data"},
      {"register read camera", [&] { return Mlo_registerReadFromCamera(nullptr, &value, 0); },
       -1000, "Invalid camera handle"},
      {"register read link", [&] { return Mlo_registerReadFromCamera(unsynchronized, &value, 0); },
       -1202, "Tranceiver not sysncronized"},
      {"register write camera", [&] { return Mlo_registerWriteToCamera(nullptr, 1, 0); }, -1000,
       "Invalid camera handle"},
      {"register write link", [&] { return Mlo_registerWriteToCamera(unsynchronized, 1, 0); },
       -1202, "Tranceiver not sysncronized"},
      {"memory read length", [&] { return Mlo_memoryReadFromCamera(nullptr, nullptr, 0, 0); },
       -1991, "Invalid length"},
      {"memory read data", [&] { return Mlo_memoryReadFromCamera(nullptr, nullptr, 0, 4); }, -1991,
       "Invalid data"},
      {"memory read camera", [&] { return Mlo_memoryReadFromCamera(nullptr, bytes, 0, 4); }, -1000,
       "Invalid camera handle"},
      {"memory read link",
       [&] { return Mlo_memoryReadFromCameraWithTimeout(unsynchronized, bytes, 0, 4, 9); }, -1202,
       "Tranceiver not sysncronized"},
      {"string read length", [&] { return Mlo_stringReadFromCamera(nullptr, nullptr, 0, 0); },
       -1991, "Invalid length"},
      {"string read data", [&] { return Mlo_stringReadFromCamera(nullptr, nullptr, 0, 1); }, -1991,
       "Invalid data"},
      {"memory write length", [&] { return Mlo_memoryWriteToCamera(nullptr, nullptr, 0, 0); },
       -1991, "Invalid length"},
      {"memory write data",
       [&] { return Mlo_memoryWriteToCameraWithTimeout(nullptr, nullptr, 0, 4, 9); }, -1991,
       "Invalid data"},
      {"memory write camera", [&] { return Mlo_memoryWriteToCamera(nullptr, bytes, 0, 4); }, -1000,
       "Invalid camera handle"},
      {"memory write link", [&] { return Mlo_memoryWriteToCamera(unsynchronized, bytes, 0, 4); },
       -1202, "Tranceiver not sysncronized"},
  });
  EXPECT_TRUE(board.controller.Port(3).timeouts.empty());
}

TEST_F(RegisterApi, DirectFamilyRefusesANullBoardFirst) {
  unsigned int length = 4;
  char bytes[4];
  MloBoardHandle* b = board.Handle();
  ExpectChecks({
      {"read board", [&] { return Mlo_DirectRegisterRead(nullptr, 0, 0, nullptr); }, -1001,
       "Invalid board handle"},
      {"read value", [&] { return Mlo_DirectRegisterRead(b, 2, 0, nullptr); }, -1014,
       "Invalid camera handle"},
      {"read64 value", [&] { return Mlo_DirectRegisterRead64(b, 2, 0, nullptr); }, -1014,
       "Invalid camera handle"},
      {"write board", [&] { return Mlo_DirectRegisterWrite(nullptr, 0, 0, 1, 1); }, -1001,
       "Invalid board handle"},
      {"write64 board", [&] { return Mlo_DirectRegisterWrite64(nullptr, 0, 0, 1, 1); }, -1001,
       "Invalid board handle"},
      {"read mem board", [&] { return Mlo_DirectRegisterReadMem(nullptr, 0, 0, nullptr, nullptr); },
       -1001, "Invalid board handle"},
      {"read mem length", [&] { return Mlo_DirectRegisterReadMem(b, 2, 0, nullptr, nullptr); },
       -1991, "Invalid buffer length"},
      {"read mem data", [&] { return Mlo_DirectRegisterReadMem(b, 2, 0, nullptr, &length); }, -1991,
       "Invalid data"},
      {"read mem64 length", [&] { return Mlo_DirectRegisterReadMem64(b, 2, 0, bytes, nullptr); },
       -1991, "Invalid buffer length"},
      {"read mem timeout board",
       [&] { return Mlo_DirectRegisterReadMemWithTimeOut(nullptr, 0, 0, nullptr, nullptr, 5); },
       -1001, "Invalid board handle"},
      {"read mem timeout64 data",
       [&] { return Mlo_DirectRegisterReadMemWithTimeOut64(b, 2, 0, nullptr, &length, 5); }, -1991,
       "Invalid data"},
      {"write mem board", [&] { return Mlo_DirectRegisterWriteMem(nullptr, 0, 0, nullptr, 4); },
       -1001, "Invalid board handle"},
      {"write mem data", [&] { return Mlo_DirectRegisterWriteMem(b, 2, 0, nullptr, 4); }, -1991,
       "Invalid data"},
      {"write mem64 data", [&] { return Mlo_DirectRegisterWriteMem64(b, 2, 0, nullptr, 4); }, -1991,
       "Invalid data"},
      {"write mem timeout board",
       [&] { return Mlo_DirectRegisterWriteMemWithTimeOut(nullptr, 0, 0, nullptr, 4, 5); }, -1001,
       "Invalid board handle"},
      {"write mem timeout64 data",
       [&] { return Mlo_DirectRegisterWriteMemWithTimeOut64(b, 2, 0, nullptr, 4, 5); }, -1991,
       "Invalid data"},
  });
  EXPECT_TRUE(board.controller.Port(2).timeouts.empty());
  // The failure lines name the board and the port.
  Mlo_DirectRegisterRead(b, 2, 0, nullptr);
  EXPECT_EQ(TakeApiLines().failures[0], "thread-id=" + Thread() + ",handle=(P14MloBoardHandle)" +
                                            Pointer(b) + ",port-index=2|Invalid camera handle");
}

TEST_F(RegisterApi, CameraRegistersAreBigEndianOnTheWire) {
  Put(master, 0x10, {0, 0, 0, 1});
  uint32_t value = 0;
  ASSERT_EQ(Mlo_registerReadFromCamera(camera, &value, 0x10), 0);
  EXPECT_EQ(value, 1u);
  ASSERT_EQ(Mlo_registerWriteToCamera(camera, kWord, 0x20), 0);
  EXPECT_EQ(Get(master, 0x20, 4), (std::vector<uint8_t>{1, 2, 3, 4}));

  // A failed read leaves the value alone and hands on the port's code.
  master.packetCode = -1607;
  value = 77;
  EXPECT_EQ(Mlo_registerReadFromCamera(camera, &value, 0x10), -1607);
  EXPECT_EQ(value, 77u);
  EXPECT_EQ(Mlo_registerWriteToCamera(camera, 1, 0x20), -1607);
}

TEST_F(RegisterApi, CameraMemoryPassesBytesAsTheyAreAndCutsTheAddress) {
  Put(master, 0x40, {'V', 'e', 's', 'k', 0x7f});
  std::vector<uint8_t> read(5);
  ASSERT_EQ(Mlo_memoryReadFromCamera(camera, read.data(), 0x100000040, read.size()), 0);
  EXPECT_EQ(read, Get(master, 0x40, 5));
  char text[4] = {'x', 'x', 'x', 'x'};
  ASSERT_EQ(Mlo_stringReadFromCamera(camera, text, 0x40, 3), 0);
  EXPECT_EQ(std::string(text, 4), "Vesx");
  std::vector<uint8_t> out = {9, 8, 7};
  ASSERT_EQ(Mlo_memoryWriteToCamera(camera, out.data(), 0x200000080, out.size()), 0);
  EXPECT_EQ(Get(master, 0x80, 3), out);
  ASSERT_EQ(Mlo_memoryWriteToCameraWithTimeout(camera, out.data(), 0x90, 2, 5), 0);
  EXPECT_EQ(Get(master, 0x90, 2), (std::vector<uint8_t>{9, 8}));
}

TEST_F(RegisterApi, CameraFamilyWaitsTwoSecondsUnlessToldAndDirectFamily200Ms) {
  uint32_t value = 0;
  char bytes[4] = {};
  unsigned int length = 4;
  MloBoardHandle* b = board.Handle();
  Mlo_registerReadFromCamera(camera, &value, 0);
  Mlo_registerWriteToCamera(camera, 1, 0);
  Mlo_memoryReadFromCamera(camera, bytes, 0, 4);
  Mlo_memoryReadFromCameraWithTimeout(camera, bytes, 0, 4, 31);
  Mlo_stringReadFromCamera(camera, bytes, 0, 4);
  Mlo_memoryWriteToCamera(camera, bytes, 0, 4);
  Mlo_memoryWriteToCameraWithTimeout(camera, bytes, 0, 4, 32);
  EXPECT_EQ(master.timeouts, (std::vector<unsigned int>{2000, 2000, 2000, 31, 2000, 2000, 32}));

  Mlo_DirectRegisterRead(b, 2, 0, &value);
  Mlo_DirectRegisterRead64(b, 2, 0, &value);
  Mlo_DirectRegisterWrite(b, 2, 0, 1, 0);
  Mlo_DirectRegisterWrite64(b, 2, 0, 1, 0);
  Mlo_DirectRegisterReadMem(b, 2, 0, bytes, &length);
  Mlo_DirectRegisterReadMem64(b, 2, 0, bytes, &length);
  Mlo_DirectRegisterWriteMem(b, 2, 0, bytes, length);
  Mlo_DirectRegisterWriteMem64(b, 2, 0, bytes, length);
  Mlo_DirectRegisterReadMemWithTimeOut(b, 2, 0, bytes, &length, 41);
  Mlo_DirectRegisterReadMemWithTimeOut64(b, 2, 0, bytes, &length, 42);
  Mlo_DirectRegisterWriteMemWithTimeOut(b, 2, 0, bytes, length, 43);
  Mlo_DirectRegisterWriteMemWithTimeOut64(b, 2, 0, bytes, length, 44);
  EXPECT_EQ(direct.timeouts,
            (std::vector<unsigned int>{200, 200, 200, 200, 200, 200, 200, 200, 41, 42, 43, 44}));
}

TEST_F(RegisterApi, MemoryReadsShareOneTraceUnderTheirCommonName) {
  char bytes[4];
  CapturedLog::Take();
  Mlo_memoryReadFromCamera(camera, bytes, 0, 4);
  Mlo_memoryReadFromCameraWithTimeout(camera, bytes, 0, 4, 10);
  Mlo_stringReadFromCamera(camera, bytes, 0, 4);
  const ApiLines lines = TakeApiLines();
  ASSERT_EQ(lines.trace.size(), 6u);
  for (size_t i = 0; i < lines.trace.size(); i += 2) {
    EXPECT_EQ(lines.trace[i], ",handle=(P15MloCameraHandle)" + Pointer(camera) +
                                  "|Entering __impl_Mlo_memoryReadFromCameraWithOrWithoutTimeout");
  }
}

TEST_F(RegisterApi, DirectRegisterReadAlwaysSwapsAndWriteOnlyWhenAsked) {
  MloBoardHandle* b = board.Handle();
  ASSERT_EQ(Mlo_DirectRegisterWrite(b, 2, 0x10, 1, 0), 0);
  EXPECT_EQ(Get(direct, 0x10, 4), (std::vector<uint8_t>{1, 0, 0, 0}));
  ASSERT_EQ(Mlo_DirectRegisterWrite(b, 2, 0x10, 1, 1), 0);
  EXPECT_EQ(Get(direct, 0x10, 4), (std::vector<uint8_t>{0, 0, 0, 1}));
  uint32_t value = 0;
  ASSERT_EQ(Mlo_DirectRegisterRead(b, 2, 0x10, &value), 0);
  EXPECT_EQ(value, 1u);
  ASSERT_EQ(Mlo_DirectRegisterRead64(b, 2, 0x10, &value), 0);
  EXPECT_EQ(value, 1u);
  // The camera's master port is as good as any other port with a link.
  Put(master, 0x20, {1, 2, 3, 4});
  ASSERT_EQ(Mlo_DirectRegisterRead(b, 1, 0x20, &value), 0);
  EXPECT_EQ(value, kWord);
}

TEST_F(RegisterApi, DirectAccessNeedsAKnownPortWithALink) {
  MloBoardHandle* b = board.Handle();
  uint32_t value = 5;
  EXPECT_EQ(Mlo_DirectRegisterRead(b, 0, 0, &value), -1211);
  EXPECT_EQ(Mlo_DirectRegisterRead(b, 9, 0, &value), -1017);
  EXPECT_EQ(value, 5u);
  EXPECT_EQ(Mlo_DirectRegisterWrite(b, 0, 0, 1, 0), -1211);
  unsigned char bytes[2] = {};
  EXPECT_EQ(Mlo_DirectRegisterWriteMem(b, 9, 0, bytes, 2), -1017);
  EXPECT_TRUE(board.controller.Port(0).timeouts.empty());
}

TEST_F(RegisterApi, DirectMemoryCutsWideAddressesAndLeavesTheLength) {
  MloBoardHandle* b = board.Handle();
  Put(direct, 4, {0xa, 0xb, 0xc});
  std::vector<uint8_t> read(3);
  unsigned int length = 3;
  ASSERT_EQ(Mlo_DirectRegisterReadMem64(b, 2, 0x100000004, read.data(), &length), 0);
  EXPECT_EQ(read, (std::vector<uint8_t>{0xa, 0xb, 0xc}));
  EXPECT_EQ(length, 3u);
  length = 2;
  std::vector<uint8_t> timed(2);
  ASSERT_EQ(Mlo_DirectRegisterReadMemWithTimeOut64(b, 2, 0x300000005, timed.data(), &length, 1), 0);
  EXPECT_EQ(timed, (std::vector<uint8_t>{0xb, 0xc}));

  const std::vector<uint8_t> out = {1, 2, 3};
  ASSERT_EQ(Mlo_DirectRegisterWriteMem64(b, 2, 0x100000040, out.data(), 3), 0);
  ASSERT_EQ(Mlo_DirectRegisterWriteMemWithTimeOut64(b, 2, 0x100000050, out.data(), 2, 1), 0);
  ASSERT_EQ(Mlo_DirectRegisterWrite64(b, 2, 0x100000060, kWord, 1), 0);
  EXPECT_EQ(Get(direct, 0x40, 3), out);
  EXPECT_EQ(Get(direct, 0x50, 3), (std::vector<uint8_t>{1, 2, 0}));
  EXPECT_EQ(Get(direct, 0x60, 4), (std::vector<uint8_t>{1, 2, 3, 4}));
}

TEST_F(RegisterApi, WideFunctionsTraceAsTheyForward) {
  MloBoardHandle* b = board.Handle();
  uint32_t value = 0;
  CapturedLog::Take();
  Mlo_DirectRegisterRead64(b, 2, 0, &value);
  Mlo_DirectRegisterWrite64(b, 2, 0x100000000, 1, 0);
  const std::string args = ",handle=(P14MloBoardHandle)" + Pointer(b) + ",port-index=2";
  EXPECT_EQ(TakeApiLines().trace, (std::vector<std::string>{
                                      args + "|Entering Mlo_DirectRegisterRead",
                                      ",return=0" + args + "|Leaving Mlo_DirectRegisterRead",
                                      args + "|Entering Mlo_DirectRegisterWrite64",
                                      args + "|Entering Mlo_DirectRegisterWrite",
                                      ",return=0" + args + "|Leaving Mlo_DirectRegisterWrite",
                                      ",return=0" + args + "|Leaving Mlo_DirectRegisterWrite64",
                                  }));
}

}  // namespace
}  // namespace vesk::test
