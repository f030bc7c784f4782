#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/WireBytes.h"
#include "vesk_genicam/impl/CxpBufferRW.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

namespace {

using vesk::test::Be32;
using vesk::test::Bytes;
using vesk::test::Cat;

Bytes HostWord(uint32_t value) {
  Bytes bytes(4);
  std::memcpy(bytes.data(), &value, 4);
  return bytes;
}

// A code byte in all four bytes, as tags and status words are sent.
Bytes Rep(uint8_t code) { return Bytes(4, code); }

// Register contents in camera order, counted in words.
Bytes Payload(unsigned int words) { return vesk::test::Payload(words * 4); }

std::vector<unsigned int> Words(const Bytes& bytes) {
  std::vector<unsigned int> words(bytes.size() / 4 + 1);
  if (!bytes.empty()) std::memcpy(words.data(), bytes.data(), bytes.size());
  return words;
}

// Reflected CRC-32 of 0xEDB88320 bit by bit, from 0xFFFFFFFF, not inverted at the end.
uint32_t Crc(const Bytes& bytes) {
  uint32_t crc = 0xFFFFFFFF;
  for (uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (crc & 1 ? 0xEDB88320 : 0);
  }
  return crc;
}

Bytes WithCrc(const Bytes& ack, uint32_t flip = 0) { return Cat({ack, HostWord(Crc(ack) ^ flip)}); }

constexpr unsigned int kAddress = 0x00002010;
// (128 - 8) / 4: the packet size a port has by default.
constexpr unsigned int kMaxPacketWords = 30;
constexpr uint32_t kWrite = 0x01000000;

// Commands written out from the CoaXPress control packet layout: header, tag, operation and
// size, address, payload.
struct CommandRow {
  const char* name;
  unsigned int sizeWords;
  bool tagged;
  bool write;
  unsigned int header;
  Bytes expected;
};

void PrintTo(const CommandRow& row, std::ostream* os) { *os << row.name; }

class CxpCommand : public testing::TestWithParam<CommandRow> {};

TEST_P(CxpCommand, BuildsTheWordsOfTheLayout) {
  const CommandRow& row = GetParam();
  std::vector<unsigned int> data = Words(Payload(row.sizeWords));
  CCxpBufferRW buffer(kAddress, data.data(), row.sizeWords, kMaxPacketWords, row.tagged, 0x5A,
                      row.write);
  std::unique_ptr<unsigned int[]> packet;
  unsigned int packetWords = 0, payloadWords = 99;
  ASSERT_TRUE(buffer.GetPacket(packet, packetWords, payloadWords, row.header));
  const auto* bytes = reinterpret_cast<const uint8_t*>(packet.get());
  EXPECT_EQ(Bytes(bytes, bytes + packetWords * 4), row.expected);
  EXPECT_EQ(payloadWords, row.write ? packetWords - 3 - row.tagged : 0);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, CxpCommand,
    testing::Values(
        CommandRow{"Read", 1, false, false, 0x02020202, Cat({Rep(2), Be32(4), Be32(kAddress)})},
        CommandRow{"Write", 1, false, true, 0x02020202,
                   Cat({Rep(2), Be32(kWrite | 4), Be32(kAddress), Be32(0x01020304)})},
        CommandRow{"TaggedWrite", 2, true, true, 0x05050505,
                   Cat({Rep(5), Rep(0x5A), Be32(kWrite | 8), Be32(kAddress), Payload(2)})},
        CommandRow{"ReadOf1000BytesAsks27Words", 250, false, false, 0x02020202,
                   Cat({Rep(2), Be32(108), Be32(kAddress)})},
        CommandRow{"TaggedReadAsks26Words", 250, true, false, 0x05050505,
                   Cat({Rep(5), Rep(0x5A), Be32(104), Be32(kAddress)})},
        CommandRow{"WriteCarries27Words", 40, false, true, 0x02020202,
                   Cat({Rep(2), Be32(kWrite | 108), Be32(kAddress), Payload(27)})},
        CommandRow{"TaggedWriteCarries26Words", 40, true, true, 0x05050505,
                   Cat({Rep(5), Rep(0x5A), Be32(kWrite | 104), Be32(kAddress), Payload(26)})},
        CommandRow{"QueueRead", 1, false, false, 0, Cat({Be32(0), Be32(4), Be32(kAddress)})},
        CommandRow{
            "QueueTaggedWrite", 1, true, true, 0x00200000,
            Cat({HostWord(0x00200000), Rep(0x5A), Be32(kWrite | 4), Be32(kAddress), Payload(1)})}),
    [](const testing::TestParamInfo<CommandRow>& info) { return info.param.name; });

TEST(CxpCommandBuffer, RequestOfNoWordsBuildsNothing) {
  unsigned int data = 0;
  std::unique_ptr<unsigned int[]> packet;
  unsigned int packetWords = 0, payloadWords = 0;
  EXPECT_FALSE(CCxpBufferRW(kAddress, &data, 0, kMaxPacketWords, false, 0, true)
                   .GetPacket(packet, packetWords, payloadWords, 0x02020202));
  EXPECT_EQ(packet, nullptr);
}

// Status words of the CoaXPress acknowledgement codes, one row each.
struct StatusRow {
  Bytes ack;
  bool tagged;
  int result;
};

void PrintTo(const StatusRow& row, std::ostream* os) { *os << "result " << row.result; }

class CxpAckStatus : public testing::TestWithParam<StatusRow> {};

TEST_P(CxpAckStatus, Classifies) {
  const StatusRow& row = GetParam();
  std::vector<unsigned int> words = Words(row.ack);
  CCxpBufferRW buffer(kAddress, nullptr, 1, kMaxPacketWords, row.tagged, 0, false);
  EXPECT_EQ(buffer.CheckPacketType(words.data(), static_cast<unsigned int>(row.ack.size() / 4)),
            row.result);
}

const Bytes kSizeAndWord = Cat({Be32(4), Be32(7)});

INSTANTIATE_TEST_SUITE_P(
    Statuses, CxpAckStatus,
    testing::Values(
        StatusRow{Cat({Rep(0), kSizeAndWord}), false, FinalAckPayload},
        StatusRow{Cat({Rep(0x5A), Rep(0), kSizeAndWord}), true, FinalAckPayload},
        StatusRow{Cat({Rep(0), Be32(0)}), false, MLO_ERR_GENCP_INVALID_PACKET},
        StatusRow{Cat({Rep(0x5A), Rep(0), Be32(0)}), true, MLO_ERR_GENCP_INVALID_PACKET},
        StatusRow{Rep(1), false, FinalAck}, StatusRow{Cat({Rep(0x5A), Rep(1)}), true, FinalAck},
        StatusRow{Rep(2), false, TentativeAck}, StatusRow{Rep(3), false, ChannelResetAck},
        StatusRow{Cat({Rep(4), kSizeAndWord}), false, WaitAck},
        StatusRow{Rep(0x40), false, MLO_ERR_CXP_INVALID_ADDRESS},
        StatusRow{Rep(0x41), false, MLO_ERR_CXP_INVALID_DATA},
        StatusRow{Rep(0x42), false, MLO_ERR_CXP_INVALID_OPCODE},
        StatusRow{Rep(0x43), false, MLO_ERR_CXP_WRITE_READ_ONLY},
        StatusRow{Rep(0x44), false, MLO_ERR_CXP_READ_WRITE_ONLY},
        StatusRow{Rep(0x45), false, MLO_ERR_CXP_SIZE_TOO_LARGE},
        StatusRow{Rep(0x46), false, MLO_ERR_CXP_SIZE_INCONSISTENT},
        StatusRow{Rep(0x80), false, MLO_ERR_CXP_CRC},
        StatusRow{Be32(0x01010100), false, MLO_ERR_CXP_MALFORMED},
        StatusRow{Rep(0x05), false, MLO_ERR_CXP_MALFORMED},
        StatusRow{{}, false, MLO_ERR_INVALID_DATA}, StatusRow{Rep(1), true, MLO_ERR_INVALID_DATA}),
    // By place and result: a row's bytes would name it by where they lie in memory.
    [](const testing::TestParamInfo<StatusRow>& info) {
      const int result = info.param.result;
      return std::to_string(info.index) + (result < 0 ? "_Minus" : "_") +
             std::to_string(std::abs(result));
    });

// Acknowledgements with payload, and what is taken out of them into eight words of room.
struct DataRow {
  const char* name;
  Bytes ack;
  bool tagged;
  unsigned int outWords;
  int result;
  Bytes out;
};

void PrintTo(const DataRow& row, std::ostream* os) { *os << row.name; }

class CxpAckData : public testing::TestWithParam<DataRow> {};

TEST_P(CxpAckData, TakesThePayload) {
  const DataRow& row = GetParam();
  std::vector<unsigned int> words = Words(row.ack);
  std::vector<unsigned int> out(8, 0xA5A5A5A5);
  unsigned int gotWords = 99;
  unsigned char tag = 0;
  CCxpBufferRW buffer(kAddress, nullptr, 2, kMaxPacketWords, row.tagged, 0x11, false);
  EXPECT_EQ(buffer.GetDataFromRawPacket(words.data(), static_cast<unsigned int>(row.ack.size() / 4),
                                        out.data(), row.outWords, gotWords, tag),
            row.result);
  EXPECT_EQ(gotWords, row.out.size() / 4);
  Bytes expected = row.out;
  expected.resize(32, 0xA5);
  const auto* bytes = reinterpret_cast<const uint8_t*>(out.data());
  EXPECT_EQ(Bytes(bytes, bytes + 32), expected);
  if (row.tagged && row.ack.size() >= 8) EXPECT_EQ(tag, row.ack[0]);
}

const Bytes kAck = Cat({Rep(0), Be32(8), Payload(2)});
const Bytes kTaggedAck = Cat({Rep(0x5A), Rep(0), Be32(8), Payload(2)});

INSTANTIATE_TEST_SUITE_P(
    Acks, CxpAckData,
    testing::Values(
        DataRow{"WithoutCrc", kAck, false, 8, 0, Payload(2)},
        DataRow{"WithCrc", WithCrc(kAck), false, 8, 0, Payload(2)},
        DataRow{"TaggedWithCrcReportsOtherTag", WithCrc(kTaggedAck), true, 8, 0, Payload(2)},
        DataRow{"TaggedWithoutCrc", kTaggedAck, true, 8, 0, Payload(2)},
        DataRow{"CrcMismatch", WithCrc(kAck, 1), false, 8, MLO_ERR_GENCP_CRC, {}},
        DataRow{"TaggedCrcLeavesOutTag",
                Cat({kTaggedAck, HostWord(Crc(Cat({Rep(0), Be32(8), Payload(2)})))}),
                true,
                8,
                MLO_ERR_GENCP_CRC,
                {}},
        DataRow{"TruncatedByRoom", WithCrc(kAck), false, 1, 0, Payload(1)},
        DataRow{"SizeClaimsMoreThanSent", Cat({Rep(0), Be32(64), Payload(2)}), false, 8, 0, {}},
        DataRow{"ErrorStatusPassedOn", Rep(0x41), false, 8, MLO_ERR_CXP_INVALID_DATA, {}},
        DataRow{"StatusOnly", WithCrc(Rep(1)), false, 8, FinalAck, {}},
        DataRow{"TagWithoutStatus", Rep(0x5A), true, 8, MLO_ERR_INVALID_DATA, {}}),
    [](const testing::TestParamInfo<DataRow>& info) { return info.param.name; });

}  // namespace
