#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ostream>
#include <vector>

#include "tests/support/WireBytes.h"
#include "vesk_genicam/impl/ClhsBufferRW.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

namespace {

using vesk::test::Be16;
using vesk::test::Be64;
using vesk::test::Bytes;
using vesk::test::Cat;
using vesk::test::Payload;
using Words = std::vector<unsigned int>;

Words ToWords(const Bytes& bytes) {
  Words words((bytes.size() + 3) / 4);
  if (!bytes.empty()) std::memcpy(words.data(), bytes.data(), bytes.size());
  return words;
}

// The X-Core's two words ahead of the GenCP header: 40 50 00 00, then 00 01 00 00 in memory.
const Bytes kPrefix = {0x40, 0x50, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00};

Words Request(uint32_t flags, uint32_t command, uint32_t scd, uint32_t id, uint64_t address,
              const Bytes& payload) {
  return ToWords(
      Cat({kPrefix, Be16(flags), Be16(command), Be16(scd), Be16(id), Be64(address), payload}));
}

constexpr uint64_t kAddress = 0x0123456789ABCDEF;
constexpr uint32_t kAck = 0x4000;
constexpr uint32_t kResend = 0x8000;

struct RequestRow {
  const char* name;
  unsigned int command;
  unsigned int id;
  unsigned int length;
  bool requestAck;
  bool resend;
  Words expected;
};

void PrintTo(const RequestRow& row, std::ostream* os) { *os << row.name; }

class ClhsRequest : public testing::TestWithParam<RequestRow> {};

TEST_P(ClhsRequest, BuildsTheFifoWords) {
  const RequestRow& row = GetParam();
  Words data = ToWords(Payload((row.length + 3) & ~3u));
  data.push_back(0xDEADBEEF);  // past the padded length: must not be sent
  CClhsBufferRW request(kAddress, row.command, row.id, data.data(), row.length, row.requestAck,
                        row.resend);
  unsigned int* words = nullptr;
  unsigned int count = 0;
  ASSERT_EQ(request.GetPacket(&words, count), 1);
  EXPECT_EQ(Words(words, words + count), row.expected);
  delete[] words;
}

const Bytes kReadOf8 = Cat({Be16(0), Be16(8)});
const Bytes kEmptyWord = Bytes(4, 0);

INSTANTIATE_TEST_SUITE_P(
    Requests, ClhsRequest,
    testing::Values(RequestRow{"Read8", 0x0800, 1, 8, true, false,
                               Request(kAck, 0x0800, 12, 1, kAddress, kReadOf8)},
                    RequestRow{"ReadResent", 0x0800, 2, 8, true, true,
                               Request(kAck | kResend, 0x0800, 12, 2, kAddress, kReadOf8)},
                    RequestRow{"ResendWithoutAck", 0x0800, 3, 8, false, true,
                               Request(kResend, 0x0800, 12, 3, kAddress, kReadOf8)},
                    RequestRow{"NoFlags", 0x0800, 4, 8, false, false,
                               Request(0, 0x0800, 12, 4, kAddress, kReadOf8)},
                    RequestRow{
                        "ReadKeepsLow16BitsOfLengthAndId", 0x0800, 0x12345, 0x10992, true, false,
                        Request(kAck, 0x0800, 12, 0x2345, kAddress, Cat({Be16(0), Be16(0x0992)}))},
                    RequestRow{"WriteOfNothing", 0x0802, 5, 0, true, false,
                               Request(kAck, 0x0802, 8, 5, kAddress, {})},
                    RequestRow{"Write4", 0x0802, 6, 4, true, false,
                               Request(kAck, 0x0802, 12, 6, kAddress, Payload(4))},
                    RequestRow{"Write5CountsUnpaddedBytes", 0x0802, 7, 5, true, false,
                               Request(kAck, 0x0802, 13, 7, kAddress, Payload(8))},
                    RequestRow{"Write992", 0x0802, 8, 992, true, true,
                               Request(kAck | kResend, 0x0802, 1000, 8, kAddress, Payload(992))},
                    RequestRow{"ReadAckCarriesLength", 0x0801, 9, 0x1234, true, false,
                               Request(kAck, 0x0801, 0x1234, 9, kAddress, kEmptyWord)},
                    // The raw 1 in the low half of word 3 reads as 01 00 in memory.
                    RequestRow{"WriteAckRawOne", 0x0803, 10, 4, true, false,
                               Request(kAck, 0x0803, 0x0100, 10, kAddress, kEmptyWord)},
                    RequestRow{"OtherCommandEmpty", 0x0804, 11, 8, true, false,
                               Request(kAck, 0x0804, 0, 11, kAddress, kEmptyWord)}),
    [](const testing::TestParamInfo<RequestRow>& info) { return info.param.name; });

TEST(ClhsRequestBuffer, NullWordsBuildNothing) {
  unsigned int count = 77;
  EXPECT_EQ(CClhsBufferRW(kAddress, 0x0800, 1, nullptr, 4, true, false).GetPacket(nullptr, count),
            0);
  EXPECT_EQ(count, 77u);
}

// An acknowledge as the receive FIFO gives it: 8 bytes the decoder skips, then the header.
Words Ack(uint32_t status, uint32_t ackId, uint32_t scd, uint32_t id, const Bytes& scdBytes) {
  return ToWords(Cat({Bytes(8, 0xEE), Be16(status), Be16(ackId), Be16(scd), Be16(id), scdBytes}));
}

struct AckRow {
  const char* name;
  Words words;
  bool write;
  int result;
  _CPACK expected;
};

void PrintTo(const AckRow& row, std::ostream* os) { *os << row.name; }

class ClhsAck : public testing::TestWithParam<AckRow> {};

TEST_P(ClhsAck, Decodes) {
  const AckRow& row = GetParam();
  Words words = row.words;
  _CPACK pack;
  std::memset(&pack, 0x5A, sizeof pack);  // the decoder must clear what it does not fill
  ASSERT_EQ(CClhsBufferRW::DecodeGenCPMemAckPacket(
                words.data(), static_cast<unsigned int>(words.size()), pack, row.write),
            row.result);
  if (row.result != 0) return;
  EXPECT_EQ(pack.status, row.expected.status);
  EXPECT_EQ(pack.ackId, row.expected.ackId);
  EXPECT_EQ(pack.scdLength, row.expected.scdLength);
  EXPECT_EQ(pack.requestId, row.expected.requestId);
  EXPECT_EQ(pack.reserved, row.expected.reserved);
  EXPECT_EQ(pack.dataLength, row.expected.dataLength);
  EXPECT_EQ(pack.pendingTimeout, row.expected.pendingTimeout);
}

const Bytes kWritten4 = Cat({Be16(0x0102), Be16(4)});
const Bytes kPending300 = Cat({Be16(0), Be16(300)});

INSTANTIATE_TEST_SUITE_P(
    Acks, ClhsAck,
    testing::Values(
        AckRow{"ReadWithData",
               Ack(0, 0x0801, 8, 0x1234, Payload(8)),
               false,
               0,
               {0, 0x0801, 8, 0x1234, 0, 8, 0}},
        AckRow{"ReadOfHeaderOnly", Ack(0, 0x0801, 0, 7, {}), false, 0, {0, 0x0801, 0, 7, 0, 0, 0}},
        AckRow{"ReadLengthFromWordsNotScd",
               Ack(0, 0x0801, 4, 7, Payload(12)),
               false,
               0,
               {0, 0x0801, 4, 7, 0, 12, 0}},
        AckRow{"WriteWithPayload",
               Ack(0, 0x0803, 4, 9, kWritten4),
               true,
               0,
               {0, 0x0803, 4, 9, 0x0102, 4, 0}},
        AckRow{"WriteHeaderOnly", Ack(0, 0x0803, 4, 9, {}), true, 0, {0, 0x0803, 4, 9, 0, 0, 0}},
        AckRow{
            "WriteOtherScd", Ack(0, 0x0803, 8, 9, Payload(8)), true, 0, {0, 0x0803, 8, 9, 0, 0, 0}},
        AckRow{"PendingOfRead",
               Ack(0, 0x0805, 4, 3, kPending300),
               false,
               0,
               {0, 0x0805, 4, 3, 0, 4, 300}},
        AckRow{"PendingOfWrite",
               Ack(0, 0x0805, 4, 3, kPending300),
               true,
               0,
               {0, 0x0805, 4, 3, 0, 300, 300}},
        AckRow{"PendingHeaderOnly", Ack(0, 0x0805, 4, 3, {}), false, 0, {0, 0x0805, 4, 3, 0, 0, 0}},
        AckRow{"NotImplemented",
               Ack(0x8001, 0x0801, 0, 1, {}),
               false,
               0,
               {0x8001, 0x0801, 0, 1, 0, 0, 0}},
        AckRow{"InvalidParameter",
               Ack(0x8002, 0x0803, 0, 1, {}),
               true,
               0,
               {0x8002, 0x0803, 0, 1, 0, 0, 0}},
        AckRow{"InvalidAddress",
               Ack(0x8003, 0x0801, 0, 1, {}),
               false,
               0,
               {0x8003, 0x0801, 0, 1, 0, 0, 0}},
        AckRow{"WriteProtect",
               Ack(0x8004, 0x0803, 0, 1, {}),
               true,
               0,
               {0x8004, 0x0803, 0, 1, 0, 0, 0}},
        AckRow{"BadAlignment",
               Ack(0x8005, 0x0801, 0, 1, {}),
               false,
               0,
               {0x8005, 0x0801, 0, 1, 0, 0, 0}},
        AckRow{"AccessDenied",
               Ack(0x8006, 0x0801, 0, 1, {}),
               false,
               0,
               {0x8006, 0x0801, 0, 1, 0, 0, 0}},
        AckRow{"Busy", Ack(0x8007, 0x0803, 0, 1, {}), true, 0, {0x8007, 0x0803, 0, 1, 0, 0, 0}},
        AckRow{
            "MsgTimeout", Ack(0x800B, 0x0801, 0, 1, {}), false, 0, {0x800B, 0x0801, 0, 1, 0, 0, 0}},
        AckRow{"InvalidHeader",
               Ack(0x800E, 0x0801, 0, 1, {}),
               false,
               0,
               {0x800E, 0x0801, 0, 1, 0, 0, 0}},
        AckRow{"WrongConfig",
               Ack(0x800F, 0x0801, 0, 1, {}),
               false,
               0,
               {0x800F, 0x0801, 0, 1, 0, 0, 0}},
        AckRow{"GenericError",
               Ack(0x8FFF, 0x0803, 0, 0xFFFF, {}),
               true,
               0,
               {0x8FFF, 0x0803, 0, 0xFFFF, 0, 0, 0}},
        AckRow{"ThreeWordsWhateverTheyHold",
               Words{0, 0, 0x00010808},
               false,
               MLO_ERR_GENCP_INVALID_PACKET,
               {}},
        AckRow{"OneWord", Words{0x08010000}, true, MLO_ERR_GENCP_INVALID_PACKET, {}}),
    [](const testing::TestParamInfo<AckRow>& info) { return info.param.name; });

TEST(ClhsAckBuffer, NullWordsAreRefused) {
  _CPACK pack{};
  EXPECT_EQ(CClhsBufferRW::DecodeGenCPMemAckPacket(nullptr, 8, pack, false),
            MLO_ERR_INVALID_POINTER);
}

}  // namespace
