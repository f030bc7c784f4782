// Register and memory access through a camera's master port and directly through a physical
// port: the checks in their order, byte order, address cuts and time-outs.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/unit/api/ApiTestBoard.h"

namespace vesk::test {
namespace {

using Bytes = std::vector<uint8_t>;

class RegisterApi : public ::testing::Test {
 protected:
  RegisterApi() : camera(board.Camera(1)) {
    master.synchronized = true;
    // Port 2 has a link but no camera; the direct functions need nothing more.
    direct.speed = 1250;
  }
  void SetUp() override { CapturedLog::SetDefaultLevel(1); }

  void Put(TestPort& port, int64_t address, Bytes bytes) {
    port.Write(bytes.data(), address, static_cast<int64_t>(bytes.size()));
  }
  Bytes Get(TestPort& port, int64_t address, size_t length) {
    Bytes bytes(length);
    port.Read(bytes.data(), address, static_cast<int64_t>(length));
    return bytes;
  }

  ApiTestBoard board;
  TestPort& master = board.controller.Port(1);
  TestPort& direct = board.controller.Port(2);
  MloBoardHandle* b = board.Handle();
  MloCameraHandle* camera;
};

TEST_F(RegisterApi, ChecksComeInTheirOrderWithTheirLinesAndCodes) {
  uint32_t value = 0;
  unsigned int length = 4;
  char bytes[8];
  MloCameraHandle* lost = board.Camera(3, 2);
  const char* const kLost = "Tranceiver not sysncronized";
  const char* const kNoBoard = "Invalid board handle";
  ExpectChecks({
      CALL(Mlo_registerReadFromCamera(nullptr, nullptr, 0), -1991, "Invalid data"),
      CALL(Mlo_registerReadFromCamera(nullptr, &value, 0), -1000, "Invalid camera handle"),
      CALL(Mlo_registerReadFromCamera(lost, &value, 0), -1202, kLost),
      CALL(Mlo_registerWriteToCamera(nullptr, 1, 0), -1000, "Invalid camera handle"),
      CALL(Mlo_registerWriteToCamera(lost, 1, 0), -1202, kLost),
      CALL(Mlo_memoryReadFromCamera(nullptr, nullptr, 0, 0), -1991, "Invalid length"),
      CALL(Mlo_memoryReadFromCamera(nullptr, nullptr, 0, 4), -1991, "Invalid data"),
      CALL(Mlo_memoryReadFromCamera(nullptr, bytes, 0, 4), -1000, "Invalid camera handle"),
      CALL(Mlo_memoryReadFromCameraWithTimeout(lost, bytes, 0, 4, 9), -1202, kLost),
      CALL(Mlo_stringReadFromCamera(nullptr, nullptr, 0, 0), -1991, "Invalid length"),
      CALL(Mlo_stringReadFromCamera(nullptr, nullptr, 0, 1), -1991, "Invalid data"),
      CALL(Mlo_memoryWriteToCamera(nullptr, nullptr, 0, 0), -1991, "Invalid length"),
      CALL(Mlo_memoryWriteToCameraWithTimeout(nullptr, nullptr, 0, 4, 9), -1991, "Invalid data"),
      CALL(Mlo_memoryWriteToCamera(nullptr, bytes, 0, 4), -1000, "Invalid camera handle"),
      CALL(Mlo_memoryWriteToCamera(lost, bytes, 0, 4), -1202, kLost),
      // The direct family refuses a null board first.
      CALL(Mlo_DirectRegisterRead(nullptr, 0, 0, nullptr), -1001, kNoBoard),
      CALL(Mlo_DirectRegisterRead(b, 2, 0, nullptr), -1014, "Invalid camera handle"),
      CALL(Mlo_DirectRegisterRead64(b, 2, 0, nullptr), -1014, "Invalid camera handle"),
      CALL(Mlo_DirectRegisterWrite(nullptr, 0, 0, 1, 1), -1001, kNoBoard),
      CALL(Mlo_DirectRegisterWrite64(nullptr, 0, 0, 1, 1), -1001, kNoBoard),
      CALL(Mlo_DirectRegisterReadMem(nullptr, 0, 0, nullptr, nullptr), -1001, kNoBoard),
      CALL(Mlo_DirectRegisterReadMem(b, 2, 0, nullptr, nullptr), -1991, "Invalid buffer length"),
      CALL(Mlo_DirectRegisterReadMem(b, 2, 0, nullptr, &length), -1991, "Invalid data"),
      CALL(Mlo_DirectRegisterReadMem64(b, 2, 0, bytes, nullptr), -1991, "Invalid buffer length"),
      CALL(Mlo_DirectRegisterReadMemWithTimeOut(nullptr, 0, 0, nullptr, nullptr, 5), -1001,
           kNoBoard),
      CALL(Mlo_DirectRegisterReadMemWithTimeOut64(b, 2, 0, nullptr, &length, 5), -1991,
           "Invalid data"),
      CALL(Mlo_DirectRegisterWriteMem(nullptr, 0, 0, nullptr, 4), -1001, kNoBoard),
      CALL(Mlo_DirectRegisterWriteMem(b, 2, 0, nullptr, 4), -1991, "Invalid data"),
      CALL(Mlo_DirectRegisterWriteMem64(b, 2, 0, nullptr, 4), -1991, "Invalid data"),
      CALL(Mlo_DirectRegisterWriteMemWithTimeOut(nullptr, 0, 0, nullptr, 4, 5), -1001, kNoBoard),
      CALL(Mlo_DirectRegisterWriteMemWithTimeOut64(b, 2, 0, nullptr, 4, 5), -1991, "Invalid data"),
  });
  EXPECT_TRUE(board.controller.Port(3).timeouts.empty());
  EXPECT_TRUE(direct.timeouts.empty());
}

// The camera family swaps registers to big-endian and passes memory as it is, cutting the
// address to 32 bits; the direct family always swaps a read, a write only when asked.
TEST_F(RegisterApi, BytesAndAddressesOnTheWire) {
  Put(master, 0x10, {0, 0, 0, 1});
  uint32_t value = 0;
  ASSERT_EQ(Mlo_registerReadFromCamera(camera, &value, 0x10), 0);
  EXPECT_EQ(value, 1u);
  ASSERT_EQ(Mlo_registerWriteToCamera(camera, 0x01020304, 0x20), 0);
  EXPECT_EQ(Get(master, 0x20, 4), (Bytes{1, 2, 3, 4}));

  Put(master, 0x40, {'V', 'e', 's', 'k', 0x7f});
  Bytes read(5);
  ASSERT_EQ(Mlo_memoryReadFromCamera(camera, read.data(), 0x100000040, read.size()), 0);
  EXPECT_EQ(read, Get(master, 0x40, 5));
  char text[4] = {'x', 'x', 'x', 'x'};
  ASSERT_EQ(Mlo_stringReadFromCamera(camera, text, 0x40, 3), 0);
  EXPECT_EQ(std::string(text, 4), "Vesx");
  Bytes out = {9, 8, 7};
  ASSERT_EQ(Mlo_memoryWriteToCamera(camera, out.data(), 0x200000080, out.size()), 0);
  EXPECT_EQ(Get(master, 0x80, 3), out);
  ASSERT_EQ(Mlo_memoryWriteToCameraWithTimeout(camera, out.data(), 0x90, 2, 5), 0);
  EXPECT_EQ(Get(master, 0x90, 2), (Bytes{9, 8}));

  ASSERT_EQ(Mlo_DirectRegisterWrite(b, 2, 0x10, 1, 0), 0);
  EXPECT_EQ(Get(direct, 0x10, 4), (Bytes{1, 0, 0, 0}));
  ASSERT_EQ(Mlo_DirectRegisterWrite(b, 2, 0x10, 1, 1), 0);
  EXPECT_EQ(Get(direct, 0x10, 4), (Bytes{0, 0, 0, 1}));
  ASSERT_EQ(Mlo_DirectRegisterRead(b, 2, 0x10, &value), 0);
  EXPECT_EQ(value, 1u);
  ASSERT_EQ(Mlo_DirectRegisterRead64(b, 2, 0x10, &value), 0);
  EXPECT_EQ(value, 1u);
  // The camera's master port is as good as any other port with a link.
  ASSERT_EQ(Mlo_DirectRegisterRead(b, 1, 0x20, &value), 0);
  EXPECT_EQ(value, 0x01020304u);

  // Wide addresses are cut; a read leaves the length as it was.
  Put(direct, 4, {0xa, 0xb, 0xc});
  read.resize(3);
  unsigned int length = 3;
  ASSERT_EQ(Mlo_DirectRegisterReadMem64(b, 2, 0x100000004, read.data(), &length), 0);
  EXPECT_EQ(read, (Bytes{0xa, 0xb, 0xc}));
  EXPECT_EQ(length, 3u);
  length = 2;
  ASSERT_EQ(Mlo_DirectRegisterReadMemWithTimeOut64(b, 2, 0x300000005, read.data(), &length, 1), 0);
  EXPECT_EQ(read, (Bytes{0xb, 0xc, 0xc})) << "two bytes read, the third left from before";
  ASSERT_EQ(Mlo_DirectRegisterWriteMem64(b, 2, 0x100000040, out.data(), 3), 0);
  ASSERT_EQ(Mlo_DirectRegisterWriteMemWithTimeOut64(b, 2, 0x100000050, out.data(), 2, 1), 0);
  ASSERT_EQ(Mlo_DirectRegisterWrite64(b, 2, 0x100000060, 0x01020304, 1), 0);
  EXPECT_EQ(Get(direct, 0x40, 3), out);
  EXPECT_EQ(Get(direct, 0x50, 3), (Bytes{9, 8, 0}));
  EXPECT_EQ(Get(direct, 0x60, 4), (Bytes{1, 2, 3, 4}));
}

// A failed read leaves the value alone and hands on the port's code; a direct access needs a
// known port with a link.
TEST_F(RegisterApi, FailuresOfThePortAndOfThePortNumber) {
  master.packetCode = -1607;
  uint32_t value = 77;
  EXPECT_EQ(Mlo_registerReadFromCamera(camera, &value, 0x10), -1607);
  EXPECT_EQ(Mlo_registerWriteToCamera(camera, 1, 0x20), -1607);
  EXPECT_EQ(Mlo_DirectRegisterRead(b, 0, 0, &value), -1211);
  EXPECT_EQ(Mlo_DirectRegisterRead(b, 9, 0, &value), -1017);
  EXPECT_EQ(value, 77u);
  EXPECT_EQ(Mlo_DirectRegisterWrite(b, 0, 0, 1, 0), -1211);
  unsigned char bytes[2] = {};
  EXPECT_EQ(Mlo_DirectRegisterWriteMem(b, 9, 0, bytes, 2), -1017);
  EXPECT_TRUE(board.controller.Port(0).timeouts.empty());
}

// The three memory reads share one trace under their common name; the wide register functions
// trace as they forward, the write with a line of its own.
TEST_F(RegisterApi, CameraFamilyWaitsTwoSecondsUnlessToldAndDirectFamily200Ms) {
  uint32_t value = 0;
  char bytes[4] = {};
  unsigned int length = 4;
  Mlo_registerReadFromCamera(camera, &value, 0);
  Mlo_registerWriteToCamera(camera, 1, 0);
  Mlo_memoryWriteToCamera(camera, bytes, 0, 4);
  Mlo_memoryWriteToCameraWithTimeout(camera, bytes, 0, 4, 32);
  CapturedLog::Take();
  Mlo_memoryReadFromCamera(camera, bytes, 0, 4);
  Mlo_memoryReadFromCameraWithTimeout(camera, bytes, 0, 4, 31);
  Mlo_stringReadFromCamera(camera, bytes, 0, 4);
  Mlo_DirectRegisterRead64(b, 2, 0, &value);
  Mlo_DirectRegisterWrite64(b, 2, 0x100000000, 1, 0);
  const std::string read = ",handle=(P15MloCameraHandle)" + Pointer(camera) +
                           "|Entering __impl_Mlo_memoryReadFromCameraWithOrWithoutTimeout";
  const std::string args = ",handle=(P14MloBoardHandle)" + Pointer(b) + ",port-index=2|Entering ";
  EXPECT_EQ(TakeEntries(),
            (std::vector<std::string>{read, read, read, args + "Mlo_DirectRegisterRead",
                                      args + "Mlo_DirectRegisterWrite64",
                                      args + "Mlo_DirectRegisterWrite"}));
  EXPECT_EQ(master.timeouts, (std::vector<unsigned int>{2000, 2000, 2000, 32, 2000, 31, 2000}));

  Mlo_DirectRegisterRead(b, 2, 0, &value);
  Mlo_DirectRegisterWrite(b, 2, 0, 1, 0);
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

}  // namespace
}  // namespace vesk::test
