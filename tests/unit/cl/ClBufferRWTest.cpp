#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ostream>
#include <vector>

#include "tests/support/WireBytes.h"
#include "vesk_genicam/impl/ClBufferRW.h"
#include "vesk_genicam/impl/ClBufferRet.h"

namespace {

using vesk::test::Be16;
using vesk::test::Be64;
using vesk::test::Bytes;
using vesk::test::Cat;
using vesk::test::Payload;

// The GenCP checksum: one's complement sum of big-endian 16-bit words, an odd byte padded with
// zero, inverted, sent big-endian.
Bytes Checksum(const Bytes& frame, size_t from, size_t count) {
  uint32_t sum = 0;
  for (size_t at = from; at < from + count; at += 2) {
    sum += uint32_t{frame[at]} << 8 | (at + 1 < from + count ? frame[at + 1] : 0);
  }
  while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
  return Be16(~sum & 0xFFFF);
}

// A frame of the GenCP serial layout: preamble, checksums, channel, flags or status, command or
// acknowledge id, SCD length, request id, then the SCD.
Bytes Frame(uint32_t flags, uint32_t command, uint32_t id, const Bytes& scd, uint32_t channel = 0) {
  Bytes frame = Cat({Be16(0x0100), Be16(0), Be16(0), Be16(channel), Be16(flags), Be16(command),
                     Be16(static_cast<uint32_t>(scd.size())), Be16(id), scd});
  const Bytes header = Checksum(frame, 6, 10);
  const Bytes full = Checksum(frame, 6, frame.size() - 6);
  std::copy(header.begin(), header.end(), frame.begin() + 2);
  std::copy(full.begin(), full.end(), frame.begin() + 4);
  return frame;
}

Bytes Reply(uint32_t id, const Bytes& payload) { return Frame(0, 0x0801, id, payload); }

constexpr uint64_t kAddress = 0x00000000000001D8;
constexpr uint32_t kRequest = 0x4000;

struct RequestRow {
  const char* name;
  uint64_t address;
  unsigned int command;
  unsigned int id;
  unsigned int length;
  Bytes expected;
};

void PrintTo(const RequestRow& row, std::ostream* os) { *os << row.name; }

class ClRequest : public testing::TestWithParam<RequestRow> {};

TEST_P(ClRequest, BuildsTheSerialLayout) {
  const RequestRow& row = GetParam();
  const Bytes payload = Payload((row.length + 3) & ~3u);
  std::vector<unsigned int> words(payload.size() / 4 + 1);
  if (!payload.empty()) std::memcpy(words.data(), payload.data(), payload.size());
  CClBufferRW request(row.address, row.command, row.id,
                      row.command == kClWriteMemory ? words.data() : nullptr, row.length);
  unsigned char* packet = nullptr;
  unsigned int size = 0;
  ASSERT_EQ(request.GetPacket(&packet, size), 1);
  EXPECT_EQ(Bytes(packet, packet + size), row.expected);
  delete[] packet;
}

Bytes ReadScd(uint64_t address, uint32_t length) {
  return Cat({Be64(address), Be16(0), Be16(length)});
}

INSTANTIATE_TEST_SUITE_P(
    Requests, ClRequest,
    testing::Values(RequestRow{"Read8", kAddress, kClReadMemory, 1, 8,
                               Frame(kRequest, 0x0800, 1, ReadScd(kAddress, 8))},
                    RequestRow{"ReadOfNothing", kAddress, kClReadMemory, 2, 0,
                               Frame(kRequest, 0x0800, 2, ReadScd(kAddress, 0))},
                    RequestRow{"ReadKeepsLow16BitsOfLength", kAddress, kClReadMemory, 3, 0x11170,
                               Frame(kRequest, 0x0800, 3, ReadScd(kAddress, 0x1170))},
                    RequestRow{"Read480At64BitAddress", 0x0123456789ABCDEF, kClReadMemory, 0xFFFF,
                               480,
                               Frame(kRequest, 0x0800, 0xFFFF, ReadScd(0x0123456789ABCDEF, 480))},
                    RequestRow{"IdKeepsLow16Bits", kAddress, kClReadMemory, 0x12345, 4,
                               Frame(kRequest, 0x0800, 0x2345, ReadScd(kAddress, 4))},
                    RequestRow{"WriteOfNothing", kAddress, kClWriteMemory, 5, 0,
                               Frame(kRequest, 0x0802, 5, Be64(kAddress))},
                    RequestRow{"Write1SendsAWord", kAddress, kClWriteMemory, 6, 1,
                               Frame(kRequest, 0x0802, 6, Cat({Be64(kAddress), Payload(4)}))},
                    RequestRow{"Write4", kAddress, kClWriteMemory, 7, 4,
                               Frame(kRequest, 0x0802, 7, Cat({Be64(kAddress), Payload(4)}))},
                    RequestRow{"Write5SendsTwoWords", kAddress, kClWriteMemory, 8, 5,
                               Frame(kRequest, 0x0802, 8, Cat({Be64(kAddress), Payload(8)}))},
                    RequestRow{"Write480", 0x10000, kClWriteMemory, 9, 480,
                               Frame(kRequest, 0x0802, 9, Cat({Be64(0x10000), Payload(480)}))},
                    RequestRow{"OtherCommandTakesTheReadLayoutEmpty", kAddress, 0x0804, 10, 8,
                               Frame(kRequest, 0x0804, 10, ReadScd(kAddress, 0))}),
    [](const testing::TestParamInfo<RequestRow>& info) { return info.param.name; });

TEST(ClRequestBuffer, NullPacketBuildsNothing) {
  unsigned int size = 77;
  EXPECT_EQ(CClBufferRW(kAddress, kClReadMemory, 1, nullptr, 4).GetPacket(nullptr, size), 0);
  EXPECT_EQ(size, 77u);
}

const Bytes kGood = Reply(0x1234, Payload(8));

Bytes Spoiled(Bytes frame, size_t at) {
  frame[at] ^= 0x10;
  return frame;
}

struct ReplyRow {
  const char* name;
  Bytes stream;
  bool valid;
  unsigned int offset;
  unsigned int length;
};

void PrintTo(const ReplyRow& row, std::ostream* os) { *os << row.name; }

class ClReply : public testing::TestWithParam<ReplyRow> {};

TEST_P(ClReply, IsFoundInTheStream) {
  const ReplyRow& row = GetParam();
  Bytes stream = row.stream;
  CClBufferRet reply(stream.data(), static_cast<unsigned int>(stream.size()));
  unsigned int offset = 99, length = 99;
  ASSERT_EQ(reply.IsValidPacket(offset, length), row.valid);
  if (row.valid) {
    EXPECT_EQ(offset, row.offset);
    EXPECT_EQ(length, row.length);
  }
}

Bytes Truncated(const Bytes& frame) { return Bytes(frame.begin(), frame.end() - 1); }

INSTANTIATE_TEST_SUITE_P(
    Replies, ClReply,
    testing::Values(
        ReplyRow{"Alone", kGood, true, 0, 24},
        ReplyRow{"BehindNoise", Cat({{0xFF, 0x00, 0x55, 0x01, 0x01}, kGood}), true, 5, 24},
        ReplyRow{"WithBytesBehind", Cat({kGood, Reply(1, Payload(4))}), true, 0, 24},
        ReplyRow{"OddPayload", Reply(7, Payload(3)), true, 0, 19},
        ReplyRow{"OneByte", Reply(7, {0x42}), true, 0, 17},
        ReplyRow{"NoiseHoldingAPreamble", Cat({{0x01, 0x00, 0x33}, kGood}), false, 0, 0},
        ReplyRow{"OnlyAHeader", Reply(7, {}), false, 0, 0},
        ReplyRow{"NotComplete", Truncated(kGood), false, 0, 0},
        ReplyRow{"NoPreamble", Bytes(40, 0x01), false, 0, 0},
        ReplyRow{"PreambleAtTheEnd", Cat({Bytes(20, 0x55), {0x01, 0x00}}), false, 0, 0},
        ReplyRow{"OtherChannel", Frame(0, 0x0801, 7, Payload(4), 1), false, 0, 0},
        ReplyRow{"HeaderChecksumWrong", Spoiled(kGood, 2), false, 0, 0},
        ReplyRow{"FullChecksumWrong", Spoiled(kGood, 5), false, 0, 0},
        ReplyRow{"HeaderByteSpoiled", Spoiled(kGood, 14), false, 0, 0},
        ReplyRow{"PayloadByteSpoiled", Spoiled(kGood, 23), false, 0, 0},
        ReplyRow{"Empty", Bytes{}, false, 0, 0}),
    [](const testing::TestParamInfo<ReplyRow>& info) { return info.param.name; });

TEST(ClReplyFields, ComeFromAReplyCutOutAtItsOffset) {
  Bytes stream = Cat({{0x77, 0x66}, kGood});
  CClBufferRet found(stream.data(), static_cast<unsigned int>(stream.size()));
  unsigned int offset = 0, length = 0;
  ASSERT_TRUE(found.IsValidPacket(offset, length));
  CClBufferRet reply(stream.data() + offset, length);
  EXPECT_EQ(reply.GetPacketId(), 0x1234);
  EXPECT_EQ(reply.GetDataLength(), 8);
  EXPECT_EQ(Bytes(reply.GetData(), reply.GetData() + 8), Payload(8));
}

}  // namespace
