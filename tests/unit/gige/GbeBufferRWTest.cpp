#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "vesk_genicam/impl/GbeBufferRW.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Concat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// A register value as the caller hands it over: in host order.
Bytes HostWord(uint32_t value) {
  Bytes bytes(4);
  std::memcpy(bytes.data(), &value, 4);
  return bytes;
}

uint8_t Byte(uint32_t value) { return static_cast<uint8_t>(value); }

// A word as the wire carries it: big-endian.
Bytes Be(uint32_t value) {
  return {Byte(value >> 24), Byte(value >> 16), Byte(value >> 8), Byte(value)};
}

// The command header of the GigE Vision standard: key 0x42, flags, command, length, request id.
Bytes Header(uint8_t flags, unsigned int command, unsigned int length, unsigned int requestId) {
  Bytes header = {0x42, flags};
  for (unsigned int field : {command, length, requestId}) {
    header.push_back(Byte(field >> 8));
    header.push_back(Byte(field));
  }
  return header;
}

// Bytes written out from the command layouts of the GigE Vision standard.
struct CommandRow {
  const char* name;
  unsigned int command;
  unsigned int address;
  unsigned int requestId;
  Bytes data;
  unsigned int length;
  unsigned char flags;
  Bytes expected;  // empty: the coder refuses the command
};

void PrintTo(const CommandRow& row, std::ostream* os) { *os << row.name; }

class GvcpCommand : public testing::TestWithParam<CommandRow> {};

TEST_P(GvcpCommand, CodesTheBytesOfThePublishedLayout) {
  CommandRow row = GetParam();
  CGbeBufferRW buffer(row.command, row.address, row.requestId,
                      row.data.empty() ? nullptr : row.data.data(), row.length, row.flags);
  unsigned char* packet = nullptr;
  unsigned int size = 0;
  const bool coded = buffer.GetPacket(&packet, size);
  ASSERT_EQ(coded, !row.expected.empty());
  if (!coded) return;
  EXPECT_EQ(Bytes(packet, packet + size), row.expected);
  delete[] packet;
}

const Bytes kZeros12(12, 0);
const Bytes kResendIds = {0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

INSTANTIATE_TEST_SUITE_P(
    Commands, GvcpCommand,
    testing::Values(CommandRow{"Discovery", 0x02, 0, 0x12345, Bytes(64), 64, 0x11,
                               Header(0x11, 0x02, 0, 0x2345)},
                    CommandRow{"ReadRegCcp", 0x80, 0x0A00, 7, Bytes(4), 4, 0x01,
                               Concat(Header(1, 0x80, 4, 7), Be(0x0A00))},
                    CommandRow{"ReadRegSixBytesAsksTwoWords", 0x80, 0x0938, 1, Bytes(8), 6, 0x01,
                               Concat(Header(1, 0x80, 8, 1), Concat(Be(0x0938), Be(0x0939)))},
                    CommandRow{"WriteRegCcp", 0x82, 0x0A00, 0xFFFF, HostWord(2), 4, 0x01,
                               Concat(Header(1, 0x82, 8, 0xFFFF), Concat(Be(0x0A00), Be(2)))},
                    CommandRow{
                        "WriteRegShortLastWord", 0x82, 0x0B00, 2,
                        Concat(HostWord(0x2710), HostWord(0xABCD)), 6, 0x01,
                        Concat(Header(1, 0x82, 16, 2), Concat(Concat(Be(0x0B00), Be(0x2710)),
                                                              Concat(Be(0x0B01), Be(0xABCD))))},
                    CommandRow{"ReadMemSixBytesAsksEight", 0x84, 0x10000, 0x10003, Bytes(8), 6,
                               0x01, Concat(Header(1, 0x84, 8, 3), Concat(Be(0x10000), Be(8)))},
                    CommandRow{"ReadMemUrl", 0x84, 0x0200, 9, Bytes(512), 512, 0x01,
                               Concat(Header(1, 0x84, 8, 9), Concat(Be(0x0200), Be(512)))},
                    CommandRow{"PacketResend", 0x40, 0, 1, kResendIds, 12, 0x00,
                               Concat(Header(0, 0x40, 12, 1), kResendIds)},
                    CommandRow{"Action", 0x100, 0, 1, kZeros12, 12, 0x01,
                               Concat(Header(1, 0x100, 12, 1), kZeros12)},
                    CommandRow{"WriteMemIsNotCoded", 0x86, 0x10000, 1, Bytes(4), 4, 0x01, {}},
                    CommandRow{"EventIsNotCoded", 0xC0, 0, 1, Bytes(4), 4, 0x01, {}},
                    CommandRow{"ActionWithoutItsPayload", 0x100, 0, 1, {}, 12, 0x01, {}}),
    [](const testing::TestParamInfo<CommandRow>& info) { return info.param.name; });

TEST(GvcpCommandBuffer, NullPacketIsRefused) {
  unsigned char data[4] = {};
  unsigned int size = 0;
  EXPECT_FALSE(CGbeBufferRW(0x80, 0x0A00, 1, data, 4, 1).GetPacket(nullptr, size));
}

// An acknowledge as the device sends it, and what the coder of `command` makes of it.
struct AckRow {
  const char* name;
  unsigned int command;
  Bytes raw;
  unsigned int outSize;
  int result;
  Bytes out;
};

Bytes Ack(unsigned int status, unsigned int code, unsigned int length, const Bytes& payload) {
  return Concat({static_cast<uint8_t>(status >> 8), static_cast<uint8_t>(status), 0,
                 static_cast<uint8_t>(code), static_cast<uint8_t>(length >> 8),
                 static_cast<uint8_t>(length), 0x12, 0x34},
                payload);
}

Bytes Counting(size_t size) {
  Bytes bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i + 1);
  return bytes;
}

void PrintTo(const AckRow& row, std::ostream* os) { *os << row.name; }

class GvcpAcknowledge : public testing::TestWithParam<AckRow> {};

TEST_P(GvcpAcknowledge, YieldsTheResultAndTheDataOfTheLayout) {
  AckRow row = GetParam();
  Bytes out(row.outSize + 8, 0xEE);
  unsigned int outLength = 99;
  CGbeBufferRW buffer(row.command, 0x1000, 0x1234, out.data(), row.outSize, 1);
  EXPECT_EQ(buffer.GetDataFromRawPacket(row.raw.data(), static_cast<unsigned int>(row.raw.size()),
                                        out.data(), row.outSize, outLength),
            row.result);
  ASSERT_EQ(outLength, row.out.size());
  EXPECT_EQ(Bytes(out.begin(), out.begin() + outLength), row.out);
  EXPECT_EQ(out[outLength], 0xEE) << "written past the data";
}

constexpr int kDenied = MLO_ERR_ACCESS_DENIED;
constexpr int kInvalid = MLO_ERR_GENCP_INVALID_PACKET;
const Bytes kRegister = {0x00, 0x00, 0x00, 0x02};
const Bytes kMem = {0x00, 0x01, 0x00, 0x00, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

INSTANTIATE_TEST_SUITE_P(
    Acknowledges, GvcpAcknowledge,
    testing::Values(
        AckRow{"ReadReg", 0x80, Ack(0, 0x81, 4, kRegister), 4, MLO_OK, kRegister},
        AckRow{"WriteRegCopiesNothing", 0x82, Ack(0, 0x83, 4, {0, 0, 0, 1}), 4, MLO_OK, {}},
        AckRow{"ReadMemSkipsTheAddress",
               0x84,
               Ack(0, 0x85, 10, kMem),
               8,
               MLO_OK,
               {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}},
        AckRow{"ReadMemAddressOnly", 0x84, Ack(0, 0x85, 4, {0, 1, 0, 0}), 8, MLO_OK, {}},
        AckRow{"ReadMemShorterThanItsAddress", 0x84, Ack(0, 0x85, 2, {0, 1}), 8, MLO_OK, {}},
        AckRow{"ReadMemCutToTheBuffer", 0x84, Ack(0, 0x85, 10, kMem), 2, MLO_OK, {0xAA, 0xBB}},
        AckRow{"DiscoveryCutToTheBuffer", 0x02, Ack(0, 0x03, 0xF8, Counting(0xF8)), 16, MLO_OK,
               Counting(16)},
        AckRow{"LengthBeyondThePacket", 0x80, Ack(0, 0x81, 0x200, kRegister), 64, MLO_OK,
               kRegister},
        AckRow{"NotImplemented", 0x80, Ack(0x8001, 0x81, 4, kRegister), 4, kDenied, {}},
        AckRow{"InvalidAddress", 0x84, Ack(0x8003, 0x85, 8, kMem), 4, kDenied, {}},
        AckRow{"WriteProtect", 0x82, Ack(0x8004, 0x83, 4, kRegister), 4, kDenied, {}},
        AckRow{"AccessDenied", 0x82, Ack(0x8006, 0x83, 4, kRegister), 4, kDenied, {}},
        AckRow{"Busy", 0x80, Ack(0x8007, 0x81, 4, kRegister), 4, kDenied, {}},
        AckRow{"PacketResendStatus", 0x80, Ack(0x0100, 0x81, 4, kRegister), 4, kDenied, {}},
        AckRow{"GenericError", 0x02, Ack(0x8FFF, 0x03, 4, kRegister), 4, kDenied, {}},
        AckRow{"PendingIsNoAnswer", 0x80, Ack(0, 0x89, 4, {0, 0, 0x03, 0xE8}), 4, kInvalid, {}},
        AckRow{"OtherCommandsAck", 0x84, Ack(0, 0x81, 4, kRegister), 4, kInvalid, {}},
        AckRow{"ActionAck", 0x100, Ack(0, 0x101, 0, {}), 4, kInvalid, {}},
        AckRow{"WriteMemAck", 0x86, Ack(0, 0x87, 4, {0, 0, 0, 4}), 4, kInvalid, {}},
        AckRow{"EventAck", 0xC0, Ack(0, 0xC1, 0, {}), 4, kInvalid, {}},
        AckRow{"ShorterThanAHeader", 0x80, {0x00, 0x00, 0x00, 0x81, 0x00}, 4, kInvalid, {}}),
    [](const testing::TestParamInfo<AckRow>& info) { return info.param.name; });

TEST(GvcpAcknowledgeBuffers, NullRawOrOutputIsInvalidData) {
  Bytes raw = Ack(0, 0x81, 4, kRegister);
  unsigned char out[4];
  unsigned int outLength = 7;
  CGbeBufferRW buffer(0x80, 0, 1, out, 4, 1);
  EXPECT_EQ(buffer.GetDataFromRawPacket(nullptr, 12, out, 4, outLength), MLO_ERR_INVALID_DATA);
  EXPECT_EQ(outLength, 0u);
  EXPECT_EQ(buffer.GetDataFromRawPacket(raw.data(), 12, nullptr, 4, outLength),
            MLO_ERR_INVALID_DATA);
}

}  // namespace
