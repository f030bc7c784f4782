#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "vesk_genicam/impl/Utility.h"

namespace {

// The checksum sums host-order words; the expected values below are those of x86-64.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "expected values assume little endian");

using Bytes = std::vector<unsigned char>;
using Pairs = std::vector<std::pair<unsigned char, unsigned char>>;

constexpr unsigned long kIdentity = 0x7654321076543210UL;
constexpr unsigned long kFirstTwoSwapped = 0x7654320176543201UL;

// Bit by bit, without a table: the reference the table-driven CRC must agree with.
unsigned int BitwiseCrcWithoutInversion(const unsigned char* bytes, size_t count) {
  unsigned int crc = 0xFFFFFFFF;
  for (size_t i = 0; i < count; ++i) {
    crc ^= bytes[i];
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? (crc >> 1) ^ 0xEDB88320 : crc >> 1;
  }
  return crc;
}

// The checksum reads 16-bit words, so the bytes go into a buffer of such words.
unsigned int Checksum(const Bytes& bytes, unsigned int seed = 0) {
  std::vector<unsigned short> words((bytes.size() + 1) / 2 + 1, 0);
  if (!bytes.empty()) std::memcpy(words.data(), bytes.data(), bytes.size());
  return CUtility::CalcualteCRC16(words.data(), static_cast<unsigned int>(bytes.size()), seed);
}

TEST(Uint32Swap, ReversesTheMostSignificantBytesIntoTheLowEnd) {
  const unsigned int cases[][3] = {{0x11223344, 4, 0x44332211}, {0x11223344, 3, 0x00332211},
                                   {0x11223344, 2, 0x00002211}, {0x11223344, 1, 0x00000011},
                                   {0x11223344, 0, 0},          {0xA1B2C3D4, 4, 0xD4C3B2A1},
                                   {0x000000FF, 2, 0}};  // the low bytes are dropped, not moved
  for (const auto& c : cases) {
    EXPECT_EQ(CUtility::Uint32Swap(c[0], static_cast<unsigned char>(c[1])), c[2]) << c[1];
  }
}

// CRC-32 without the final inversion over the words in memory order. The random words reach
// fewer than half of the table's entries; the next test checks each.
TEST(CxpCrc, IsCrc32WithoutTheFinalInversion) {
  EXPECT_EQ(CUtility::CalcualteCRC(nullptr, 0), 0xFFFFFFFFu);
  // CRC-32 of four zero bytes is 0x2144DF1C; left uninverted it is the well-known residue.
  const unsigned int zero = 0;
  EXPECT_EQ(CUtility::CalcualteCRC(&zero, 1), 0xDEBB20E3u);
  std::mt19937 random(7);
  std::vector<unsigned int> words(40);
  std::generate(words.begin(), words.end(), [&] { return random(); });
  const auto* bytes = reinterpret_cast<const unsigned char*>(words.data());
  for (unsigned int count = 1; count < words.size(); ++count) {
    EXPECT_EQ(CUtility::CalcualteCRC(words.data(), count),
              BitwiseCrcWithoutInversion(bytes, 4 * count))
        << count << " words";
  }
}

// Entry i is the register after one byte i, worked bit by bit from zero.
TEST(CxpCrc, EveryTableEntryIsTheBitwiseRemainderOfItsIndex) {
  for (unsigned int index = 0; index < 256; ++index) {
    unsigned int remainder = index;
    for (int bit = 0; bit < 8; ++bit) {
      remainder = (remainder & 1) ? (remainder >> 1) ^ 0xEDB88320 : remainder >> 1;
    }
    EXPECT_EQ(g_tbCrc[index], remainder) << "entry " << index;
  }
}

TEST(InternetChecksum, SumsFoldsAndInverts) {
  const std::tuple<Bytes, unsigned int, unsigned int> cases[] = {
      // RFC 1071: the words 0001 f203 f4f5 f6f7 sum to ddf2; stored in host order the
      // checksum's bytes are those of the big-endian sum stored big-endian: 22 0D.
      {{0x00, 0x01, 0xF2, 0x03, 0xF4, 0xF5, 0xF6, 0xF7}, 0, 0xFFFF0D22},
      {{}, 0, 0xFFFFFFFF},
      {{}, 0x1234, 0xFFFFEDCB},
      {{}, 0x0001FFFF, 0xFFFEFFFE},  // folds to 0x10000 once, to 0x10001 the second time
      {{0xFF, 0xFF, 0x02, 0x00}, 0, 0xFFFFFFFD},  // the carry out of the low half folds back in
      {{0x02, 0x00}, 0xFFFF, 0xFFFFFFFD},
      // An odd last byte is sign-extended: below 0x80 it adds as it is, 0x80 adds -128 (0x3392
      // where a zero-extended byte gives 0x3492), and 0xFF alone makes the sum 0xFFFFFFFF.
      {{0x7F}, 0, 0xFFFFFF80},
      {{0x12, 0x34, 0x7F}, 0, ~(0x3412u + 0x7Fu)},
      {{0x12, 0x34, 0x80}, 0, 0xFFFFCC6D},
      {{0xFF}, 0, 0xFFFE0000},
  };
  for (const auto& [bytes, seed, result] : cases) EXPECT_EQ(Checksum(bytes, seed), result);
  // Only the odd byte is read: whatever follows it in the buffer stays out.
  const unsigned short buffer[] = {0x22FF};
  EXPECT_EQ(CUtility::CalcualteCRC16(buffer, 1, 0), 0xFFFE0000u);

  std::mt19937 random(11);
  for (int round = 0; round < 50; ++round) {
    Bytes frame(2 + 2 * (round % 20 + 1));
    std::generate(frame.begin() + 2, frame.end(), [&] { return random(); });
    const unsigned short checksum = static_cast<unsigned short>(Checksum(frame));
    std::memcpy(frame.data(), &checksum, 2);
    EXPECT_EQ(Checksum(frame) & 0xFFFF, 0u) << "data with its checksum inserted, round " << round;
  }
}

TEST(IsRegisterValid, TrueOnlyForAWordAboveZeroAsSigned) {
  const int zeros[] = {0, 0, 0};
  const int lastPositive[] = {0, 0, 5};
  const int negative[] = {static_cast<int>(0x80000000u), -1};
  EXPECT_TRUE(CUtility::IsRegisterValid(lastPositive, 3));
  for (auto [values, count] : {std::pair{lastPositive, 0u},
                               {lastPositive, 2u},
                               {zeros, 3u},
                               {negative, 1u},
                               {negative, 2u}}) {
    EXPECT_FALSE(CUtility::IsRegisterValid(values, count)) << count;
  }
}

TEST(GetSpeedTabVal, FindsTheValuesOfAKeyUpToTheEndRow) {
  _SPEED_TO_VAL table[] = {
      {1250, {1, 2, 3, 4}}, {3125, {5, 6, 7, 8}}, {0, {0, 0, 0, 0}}, {6250, {9, 9, 9, 9}}};
  EXPECT_EQ(CUtility::GetSpeedTabVal(1250, table), table[0].values);
  EXPECT_EQ(CUtility::GetSpeedTabVal(3125, table), table[1].values);
  EXPECT_EQ(CUtility::GetSpeedTabVal(2500, table), nullptr);
  EXPECT_EQ(CUtility::GetSpeedTabVal(6250, table), nullptr) << "a row behind the end row";
}

TEST(LinkConfiguration, CodesAndSpeedsBothWays) {
  const std::pair<unsigned int, unsigned int> rows[] = {{0x28, 1250}, {0x30, 2500}, {0x38, 3125},
                                                        {0x40, 5000}, {0x48, 6250}, {0x50, 10000},
                                                        {0x58, 12500}};
  for (const auto& [code, speed] : rows) {
    EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue(code), speed) << code;
    EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue((3u << 16) | code), speed) << code;
    EXPECT_EQ(CUtility::GetLinkConfigValueFromSpeed(speed, 1), (1u << 16) | code) << speed;
  }
  EXPECT_EQ(CUtility::GetLinkConfigValueFromSpeed(6250, 4), 0x00040048u);
  EXPECT_EQ(CUtility::GetLinkCountFromConfigValue(0x00040048), 4u);
  EXPECT_EQ(CUtility::GetLinkCountFromConfigValue(0xFFFF0058), 0xFFFFu);
  EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue(0xFFFF0058), 12500u);
  // A word may carry the speed itself in its low half; only the low 16 bits count, so 0x10028
  // is code 0x28 with one link, not a speed.
  EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue(3125), 3125u);
  EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue((2u << 16) | 12500), 12500u);
  EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue(0x00010028), 1250u);
  for (unsigned int unknown : {0x0u, 0x29u, 0x00021234u}) {
    EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue(unknown), 0u) << unknown;
  }
  EXPECT_EQ(CUtility::GetLinkConfigValueFromSpeed(7000, 2), 0x00020000u);
  EXPECT_EQ(CUtility::GetLinkConfigValueFromSpeed(0x28, 1), 0x00010000u);
  EXPECT_EQ(CUtility::GetLinkConfigValueFromSpeed(0xFFFFFFFF, 0), 0u);
}

TEST(GetFirstPos, FirstByteBelow255) {
  const unsigned char bytes[] = {0xFF, 0xFF, 0x03, 0x00};
  const unsigned char almost[] = {0xFE};
  EXPECT_EQ(CUtility::GetFirstPos(bytes, 4), 2u);
  EXPECT_EQ(CUtility::GetFirstPos(bytes + 3, 1), 0u);
  EXPECT_EQ(CUtility::GetFirstPos(almost, 1), 0u);
  EXPECT_EQ(CUtility::GetFirstPos(bytes, 2), 0xFFFFFFFFu);
  EXPECT_EQ(CUtility::GetFirstPos(bytes, 0), 0xFFFFFFFFu);
}

TEST(Multiplexer, GetMuplexCompletesPartialMaps) {
  EXPECT_EQ(CUtility::GetMuplex({}), kIdentity);
  EXPECT_EQ(CUtility::GetMuplex({{0, 1}, {1, 0}}), kFirstTwoSwapped);
  EXPECT_EQ(CUtility::GetMuplex({{1, 0}, {0, 1}}), kFirstTwoSwapped);
  // 0 begins a chain through 1 that (1, 0) closes.
  EXPECT_EQ(CUtility::GetMuplex({{0, 1}}), kFirstTwoSwapped);
  EXPECT_EQ(CUtility::GetMuplex({{0, 2}, {1, 3}}), 0x7654103276541032UL);
  // A chain of three closes back to its start: 0 -> 1 -> 2 -> 0.
  EXPECT_EQ(CUtility::GetMuplex({{0, 1}, {1, 2}}), 0x7654310276543021UL);
  // Nibbles are added, so unassigned values carry: (0, 0xFF) stays beside the added (0, 0),
  // sorted second, and 0xFF << 4 added to 1 << 8 gives a low half that is no permutation.
  EXPECT_EQ(CUtility::GetMuplex({{0, 0xFF}}), 0x76543210654330F0UL);
  // (2, 0xFF) sorts fourth: 0xFF << 12 carries into nibble 4.
  EXPECT_EQ(CUtility::GetMuplex({{2, 0xFF}}), 0x765432106552F210UL);
}

TEST(Multiplexer, GetMuplexKeepsGivenPairsOfAnyPartialPermutation) {
  std::mt19937 random(3);
  for (int round = 0; round < 500; ++round) {
    std::vector<unsigned char> physical(8);
    std::iota(physical.begin(), physical.end(), 0);
    std::shuffle(physical.begin(), physical.end(), random);
    Pairs given;
    for (unsigned char logical = 0; logical < 8; ++logical) {
      if (random() % 2) given.emplace_back(logical, physical[logical]);
    }
    std::shuffle(given.begin(), given.end(), random);

    const unsigned long word = CUtility::GetMuplex(given);
    std::vector<unsigned int> low;
    for (unsigned int k = 0; k < 8; ++k) low.push_back((word >> (4 * k)) & 0xF);
    ASSERT_TRUE(std::is_permutation(low.begin(), low.end(), physical.begin())) << std::hex << word;
    for (const auto& [logical, phys] : given) EXPECT_EQ(low[logical], phys) << std::hex << word;
    // The high half is the inverse mapping.
    for (unsigned int k = 0; k < 8; ++k) {
      EXPECT_EQ(CUtility::PhysicToLogic(low[k], word), k) << std::hex << word;
    }
  }
}

TEST(Multiplexer, PhysicToLogicAndTheMaskOfLinksWhoseLogicalLinkDiffers) {
  for (unsigned int k = 0; k < 8; ++k) EXPECT_EQ(CUtility::PhysicToLogic(k, kIdentity), k);
  EXPECT_EQ(CUtility::PhysicToLogic(0, kFirstTwoSwapped), 1u);
  EXPECT_EQ(CUtility::PhysicToLogic(1, kFirstTwoSwapped), 0u);
  // Physical 8 and 9 shift by 64 and 68, taken modulo 64: nibbles 0 and 1 of the low half.
  EXPECT_EQ(CUtility::PhysicToLogic(8, 0x76543210765432BAUL), 0xAu);
  EXPECT_EQ(CUtility::PhysicToLogic(9, 0x76543210765432BAUL), 0xBu);

  EXPECT_EQ(CUtility::GetMaskFromMultiplexers(kIdentity, kIdentity), 0u);
  EXPECT_EQ(CUtility::GetMaskFromMultiplexers(kIdentity, kFirstTwoSwapped), 0x03u);
  EXPECT_EQ(CUtility::GetMaskFromMultiplexers(0x7654103276541032UL, kIdentity), 0x0Fu);
  EXPECT_EQ(CUtility::GetMaskFromMultiplexers(kIdentity, 0x0123456701234567UL), 0xFFu);
  EXPECT_EQ(CUtility::GetMaskFromMultiplexers(kIdentity, 0x8654321076543210UL), 0x80u);
  // The low half is not compared.
  EXPECT_EQ(CUtility::GetMaskFromMultiplexers(kIdentity, 0x7654321001234567UL), 0u);
}

TEST(ByteOrderAndBits, HtonllAndBitPositionsModulo32) {
  const unsigned long network = CUtility::htonll(0x0102030405060708UL);
  unsigned char bytes[8];
  std::memcpy(bytes, &network, 8);
  EXPECT_THAT(bytes, testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_EQ(CUtility::htonll(CUtility::htonll(0xA1B2C3D4E5F60718UL)), 0xA1B2C3D4E5F60718UL);

  for (auto [position, bit] : {std::pair{0u, 1u}, {31u, 0x80000000u}, {32u, 1u}, {35u, 8u}}) {
    EXPECT_EQ(CUtility::GetBitAt(position), bit) << position;
  }
  const std::tuple<unsigned int, unsigned int, bool> bits[] = {{0x80000001, 31, true},
                                                               {0x80000001, 0, true},
                                                               {0x80000001, 1, false},
                                                               {0x7FFFFFFF, 31, false},
                                                               {0x2, 33, true}};
  for (auto [value, position, set] : bits) EXPECT_EQ(CUtility::IsBitSet(value, position), set);
}

TEST(FileExists, OnlyFilesThatOpenForReading) {
  EXPECT_FALSE(CUtility::FileExists(nullptr));
  EXPECT_FALSE(CUtility::FileExists("/")) << "a folder opens but is no file";
  char path[] = "/tmp/vesk_utility_XXXXXX";
  const int descriptor = mkstemp(path);
  ASSERT_GE(descriptor, 0);
  close(descriptor);
  EXPECT_TRUE(CUtility::FileExists(path));
  ASSERT_EQ(chmod(path, 0), 0);
  // Root reads the file regardless of its mode.
  if (geteuid() != 0) EXPECT_FALSE(CUtility::FileExists(path));
  std::remove(path);
  EXPECT_FALSE(CUtility::FileExists(path));
}

// Count bytes in upper-case hex on lines reckoned in words: five words make 20 bytes, two lines,
// of which only the first holds the five bytes.
TEST(LogBufferData, ShowsCountBytesOnLinesReckonedInWords) {
  unsigned int words[8];
  auto* bytes = reinterpret_cast<unsigned char*>(words);
  for (size_t index = 0; index < sizeof words; ++index) bytes[index] = 0xA0 + index;
  const std::string full = "Null BufferA0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF \r\n";
  const std::pair<unsigned int, std::string> cases[] = {
      {0, "Null Buffer"},
      {1, "Null BufferA0 \r\n"},
      {4, "Null BufferA0 A1 A2 A3 \r\n"},
      {5, "Null BufferA0 A1 A2 A3 A4 \r\n\r\n"},
      {8, "Null BufferA0 A1 A2 A3 A4 A5 A6 A7 \r\n\r\n"},
      {15, "Null BufferA0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE \r\n\r\n\r\n\r\n"},
      {16, full + "\r\n\r\n\r\n"},
      {17, full + "B0 \r\n\r\n\r\n\r\n"},
      {20, full + "B0 B1 B2 B3 \r\n\r\n\r\n\r\n"},
  };
  for (const auto& [count, text] : cases) EXPECT_EQ(CUtility::LogBufferData(words, count), text);
  EXPECT_EQ(CUtility::LogBufferData(nullptr, 4), "Null Buffer");
  const unsigned int word = 0x0F00FF01;
  EXPECT_EQ(CUtility::LogBufferData(&word, 4), "Null Buffer01 FF 00 0F \r\n");
}

}  // namespace
