#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "vesk_genicam/impl/Utility.h"

namespace {

// The checksum sums host-order words; the expected values below are those of x86-64.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "expected values assume little endian");

using Pairs = std::vector<std::pair<unsigned char, unsigned char>>;

constexpr unsigned long kIdentity = 0x7654321076543210UL;

// Bit by bit, without a table: the reference the table-driven CRC must agree with.
unsigned int BitwiseCrcWithoutInversion(const std::vector<unsigned char>& bytes) {
  unsigned int crc = 0xFFFFFFFF;
  for (unsigned char byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? (crc >> 1) ^ 0xEDB88320 : crc >> 1;
  }
  return crc;
}

unsigned int CrcOfWords(const std::vector<unsigned int>& words) {
  return CUtility::CalcualteCRC(words.data(), static_cast<unsigned int>(words.size()));
}

std::vector<unsigned char> BytesOf(const std::vector<unsigned int>& words) {
  std::vector<unsigned char> bytes(words.size() * 4);
  if (!words.empty()) std::memcpy(bytes.data(), words.data(), bytes.size());
  return bytes;
}

// The checksum reads 16-bit words, so the bytes go into a buffer of such words.
unsigned int Checksum(const std::vector<unsigned char>& bytes, unsigned int seed = 0) {
  std::vector<unsigned short> words((bytes.size() + 1) / 2 + 1, 0);
  if (!bytes.empty()) std::memcpy(words.data(), bytes.data(), bytes.size());
  return CUtility::CalcualteCRC16(words.data(), static_cast<unsigned int>(bytes.size()), seed);
}

unsigned int Nibble(unsigned long word, unsigned int index) {
  return static_cast<unsigned int>((word >> (4 * index)) & 0xF);
}

TEST(Uint32Swap, ReversesTheMostSignificantBytesIntoTheLowEnd) {
  EXPECT_EQ(CUtility::Uint32Swap(0x11223344, 4), 0x44332211u);
  EXPECT_EQ(CUtility::Uint32Swap(0x11223344, 3), 0x00332211u);
  EXPECT_EQ(CUtility::Uint32Swap(0x11223344, 2), 0x00002211u);
  EXPECT_EQ(CUtility::Uint32Swap(0x11223344, 1), 0x00000011u);
  EXPECT_EQ(CUtility::Uint32Swap(0x11223344, 0), 0u);
  EXPECT_EQ(CUtility::Uint32Swap(0xA1B2C3D4, 4), 0xD4C3B2A1u);
  // The low bytes are dropped, not moved.
  EXPECT_EQ(CUtility::Uint32Swap(0x000000FF, 2), 0u);
}

TEST(CxpCrc, IsCrc32WithoutTheFinalInversion) {
  EXPECT_EQ(CUtility::CalcualteCRC(nullptr, 0), 0xFFFFFFFFu);
  // CRC-32 of four zero bytes is 0x2144DF1C; left uninverted it is the well-known residue.
  EXPECT_EQ(CrcOfWords({0}), 0xDEBB20E3u);
  EXPECT_EQ(CrcOfWords({0}), ~0x2144DF1Cu);
}

// These words look up every entry of the CRC table, so a wrong entry shows here.
TEST(CxpCrc, AgreesWithABitwiseCrcOverTheBytesInMemoryOrder) {
  std::mt19937 random(7);
  for (unsigned int wordCount = 1; wordCount < 40; ++wordCount) {
    std::vector<unsigned int> words(wordCount);
    for (auto& word : words) word = static_cast<unsigned int>(random());
    EXPECT_EQ(CrcOfWords(words), BitwiseCrcWithoutInversion(BytesOf(words)))
        << wordCount << " words";
  }
  // Memory order: the same value in a different byte order gives a different CRC.
  EXPECT_NE(CrcOfWords({0x01020304}), CrcOfWords({0x04030201}));
  EXPECT_EQ(CrcOfWords({0x01020304}), BitwiseCrcWithoutInversion({0x04, 0x03, 0x02, 0x01}));
}

TEST(CxpCrc, CoversExactlyTheGivenWords) {
  const std::vector<unsigned int> words = {0x11111111, 0x22222222, 0x33333333};
  EXPECT_EQ(CUtility::CalcualteCRC(words.data(), 2), CrcOfWords({0x11111111, 0x22222222}));
  EXPECT_NE(CUtility::CalcualteCRC(words.data(), 2), CrcOfWords(words));
}

TEST(InternetChecksum, MatchesTheRfc1071Example) {
  // RFC 1071: the words 0001 f203 f4f5 f6f7 sum to ddf2; stored in host order the checksum's
  // bytes are those of the big-endian sum stored big-endian.
  const unsigned int result = Checksum({0x00, 0x01, 0xF2, 0x03, 0xF4, 0xF5, 0xF6, 0xF7});
  const unsigned short low = static_cast<unsigned short>(result);
  unsigned char stored[2];
  std::memcpy(stored, &low, 2);
  EXPECT_EQ(stored[0], 0x22);
  EXPECT_EQ(stored[1], 0x0D);
  EXPECT_EQ(result, 0xFFFF0D22u);
}

TEST(InternetChecksum, DataWithItsChecksumInsertedSumsToZero) {
  std::mt19937 random(11);
  for (int round = 0; round < 50; ++round) {
    std::vector<unsigned char> frame(2 + 2 * (round % 20 + 1));
    for (size_t index = 2; index < frame.size(); ++index) {
      frame[index] = static_cast<unsigned char>(random());
    }
    const unsigned short checksum = static_cast<unsigned short>(Checksum(frame));
    std::memcpy(frame.data(), &checksum, 2);
    EXPECT_EQ(Checksum(frame) & 0xFFFF, 0u) << "round " << round;
  }
}

TEST(InternetChecksum, SeedStartsTheSumAndBothFoldsApply) {
  EXPECT_EQ(Checksum({}, 0), 0xFFFFFFFFu);
  EXPECT_EQ(Checksum({}, 0x1234), 0xFFFFEDCBu);
  // 0x1FFFF folds to 0x10000 once and to 0x10001 the second time.
  EXPECT_EQ(Checksum({}, 0x0001FFFF), 0xFFFEFFFEu);
  // A carry out of the low half is folded back in: 0xFFFF + 0x0002 = 0x10001 -> 0x0002.
  EXPECT_EQ(Checksum({0xFF, 0xFF, 0x02, 0x00}), 0xFFFFFFFDu);
  EXPECT_EQ(Checksum({0x02, 0x00}, 0xFFFF), 0xFFFFFFFDu);
}

TEST(InternetChecksum, OddLastByteIsSignExtended) {
  // Below 0x80 the odd byte adds as it is.
  EXPECT_EQ(Checksum({0x7F}), 0xFFFFFF80u);
  EXPECT_EQ(Checksum({0x12, 0x34, 0x7F}), ~(0x3412u + 0x7Fu));
  // 0x80 adds -128: 0x3412 - 0x80 = 0x3392, where a zero-extended byte would give 0x3492.
  EXPECT_EQ(Checksum({0x12, 0x34, 0x80}), 0xFFFFCC6Du);
  // 0xFF alone makes the accumulator 0xFFFFFFFF: folded 0x1FFFF, inverted 0xFFFE0000.
  const unsigned int single = Checksum({0xFF});
  EXPECT_EQ(single, 0xFFFE0000u);
  EXPECT_NE(single & 0xFFFF, ~0xFFu & 0xFFFF);
  // Only the odd byte is read: whatever follows it in the buffer stays out.
  const unsigned short buffer[] = {0x22FF};
  EXPECT_EQ(CUtility::CalcualteCRC16(buffer, 1, 0), 0xFFFE0000u);
}

TEST(IsRegisterValid, TrueOnlyForAWordAboveZeroAsSigned) {
  const int zeros[] = {0, 0, 0};
  const int lastPositive[] = {0, 0, 5};
  const int negative[] = {static_cast<int>(0x80000000u), -1};
  EXPECT_FALSE(CUtility::IsRegisterValid(lastPositive, 0));
  EXPECT_FALSE(CUtility::IsRegisterValid(zeros, 3));
  EXPECT_TRUE(CUtility::IsRegisterValid(lastPositive, 3));
  EXPECT_FALSE(CUtility::IsRegisterValid(lastPositive, 2));
  EXPECT_FALSE(CUtility::IsRegisterValid(negative, 1));
  EXPECT_FALSE(CUtility::IsRegisterValid(negative, 2));
}

TEST(GetSpeedTabVal, FindsTheValuesOfAKeyUpToTheEndRow) {
  _SPEED_TO_VAL table[] = {
      {1250, {1, 2, 3, 4}}, {3125, {5, 6, 7, 8}}, {0, {0, 0, 0, 0}}, {6250, {9, 9, 9, 9}}};
  EXPECT_EQ(CUtility::GetSpeedTabVal(1250, table), table[0].values);
  unsigned int* values = CUtility::GetSpeedTabVal(3125, table);
  ASSERT_EQ(values, table[1].values);
  EXPECT_THAT(std::vector<unsigned int>(values, values + 4), testing::ElementsAre(5, 6, 7, 8));
  EXPECT_EQ(CUtility::GetSpeedTabVal(2500, table), nullptr);
  // Rows behind the end row are never reached.
  EXPECT_EQ(CUtility::GetSpeedTabVal(6250, table), nullptr);
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
  EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue(0x00040048), 6250u);
  EXPECT_EQ(CUtility::GetLinkConfigValueFromSpeed(6250, 4), 0x00040048u);
  EXPECT_EQ(CUtility::GetLinkCountFromConfigValue(0x00040048), 4u);
  EXPECT_EQ(CUtility::GetLinkCountFromConfigValue(0xFFFF0058), 0xFFFFu);
  EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue(0xFFFF0058), 12500u);
}

TEST(LinkConfiguration, PlainSpeedsAndUnknownValues) {
  // A word may carry the speed itself in its low half.
  EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue(3125), 3125u);
  EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue((2u << 16) | 12500), 12500u);
  EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue(0), 0u);
  EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue(0x29), 0u);
  EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue(0x00021234), 0u);
  // Only the low 16 bits count: 0x10000 + 0x28 is code 0x28 with one link, not a speed.
  EXPECT_EQ(CUtility::GetLinkSpeedFromConfigValue(0x00010028), 1250u);
  EXPECT_EQ(CUtility::GetLinkConfigValueFromSpeed(7000, 2), 0x00020000u);
  EXPECT_EQ(CUtility::GetLinkConfigValueFromSpeed(0x28, 1), 0x00010000u);
  EXPECT_EQ(CUtility::GetLinkConfigValueFromSpeed(0xFFFFFFFF, 0), 0u);
}

TEST(GetFirstPos, FirstByteBelow255) {
  const unsigned char bytes[] = {0xFF, 0xFF, 0x03, 0x00};
  EXPECT_EQ(CUtility::GetFirstPos(bytes, 4), 2u);
  EXPECT_EQ(CUtility::GetFirstPos(bytes + 3, 1), 0u);
  EXPECT_EQ(CUtility::GetFirstPos(bytes, 2), 0xFFFFFFFFu);
  EXPECT_EQ(CUtility::GetFirstPos(bytes, 0), 0xFFFFFFFFu);
  const unsigned char almost[] = {0xFE};
  EXPECT_EQ(CUtility::GetFirstPos(almost, 1), 0u);
}

TEST(Multiplexer, GetMuplexCompletesPartialMaps) {
  EXPECT_EQ(CUtility::GetMuplex({}), kIdentity);
  EXPECT_EQ(CUtility::GetMuplex({{0, 1}, {1, 0}}), 0x7654320176543201UL);
  // 0 begins a chain through 1 that (1, 0) closes.
  EXPECT_EQ(CUtility::GetMuplex({{0, 1}}), 0x7654320176543201UL);
  const unsigned long crossed = CUtility::GetMuplex({{0, 2}, {1, 3}});
  const unsigned int expectedLow[] = {2, 3, 0, 1, 4, 5, 6, 7};
  for (unsigned int k = 0; k < 8; ++k) EXPECT_EQ(Nibble(crossed, k), expectedLow[k]) << k;
  EXPECT_EQ(crossed, 0x7654103276541032UL);
  // A chain of three closes back to its start: 0 -> 1 -> 2 -> 0.
  EXPECT_EQ(CUtility::GetMuplex({{0, 1}, {1, 2}}), 0x7654310276543021UL);
  // The order in which the pairs come does not matter for a full map.
  EXPECT_EQ(CUtility::GetMuplex({{1, 0}, {0, 1}}), 0x7654320176543201UL);
}

TEST(Multiplexer, GetMuplexAddsNibblesSoUnassignedValuesCarry) {
  // (0, 0xFF) stays in the list beside the added (0, 0); sorted it sits second, and 0xFF << 4
  // added to 1 << 8 carries: the low half reads 0x654330F0, not a permutation.
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
    for (unsigned int k = 0; k < 8; ++k) low.push_back(Nibble(word, k));
    std::vector<unsigned int> sorted = low;
    std::sort(sorted.begin(), sorted.end());
    ASSERT_THAT(sorted, testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7)) << std::hex << word;
    for (const auto& [logical, phys] : given) {
      EXPECT_EQ(low[logical], phys) << std::hex << word;
    }
    // The high half is the inverse mapping.
    for (unsigned int k = 0; k < 8; ++k) {
      EXPECT_EQ(CUtility::PhysicToLogic(low[k], word), k) << std::hex << word;
    }
  }
}

TEST(Multiplexer, PhysicToLogicReadsTheHighHalfAndWraps) {
  const unsigned long swapped = 0x7654320176543201UL;
  for (unsigned int k = 0; k < 8; ++k) EXPECT_EQ(CUtility::PhysicToLogic(k, kIdentity), k);
  EXPECT_EQ(CUtility::PhysicToLogic(0, swapped), 1u);
  EXPECT_EQ(CUtility::PhysicToLogic(1, swapped), 0u);
  // Physical 8 and 9 shift by 64 and 68, taken modulo 64: nibbles 0 and 1 of the low half.
  EXPECT_EQ(CUtility::PhysicToLogic(8, 0x76543210765432BAUL), 0xAu);
  EXPECT_EQ(CUtility::PhysicToLogic(9, 0x76543210765432BAUL), 0xBu);
}

TEST(Multiplexer, MaskOfPhysicalLinksWhoseLogicalLinkDiffers) {
  EXPECT_EQ(CUtility::GetMaskFromMultiplexers(kIdentity, kIdentity), 0u);
  EXPECT_EQ(CUtility::GetMaskFromMultiplexers(kIdentity, 0x7654320176543201UL), 0x03u);
  EXPECT_EQ(CUtility::GetMaskFromMultiplexers(0x7654103276541032UL, kIdentity), 0x0Fu);
  EXPECT_EQ(CUtility::GetMaskFromMultiplexers(kIdentity, 0x0123456701234567UL), 0xFFu);
  EXPECT_EQ(CUtility::GetMaskFromMultiplexers(kIdentity, 0x8654321076543210UL), 0x80u);
  // The low half is not compared.
  EXPECT_EQ(CUtility::GetMaskFromMultiplexers(kIdentity, 0x7654321001234567UL), 0u);
}

TEST(ByteOrderAndBits, HtonllPutsTheMostSignificantByteFirst) {
  const unsigned long network = CUtility::htonll(0x0102030405060708UL);
  unsigned char bytes[8];
  std::memcpy(bytes, &network, 8);
  EXPECT_THAT(bytes, testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_EQ(CUtility::htonll(CUtility::htonll(0xA1B2C3D4E5F60718UL)), 0xA1B2C3D4E5F60718UL);
}

TEST(ByteOrderAndBits, BitPositionsAreTakenModulo32) {
  EXPECT_EQ(CUtility::GetBitAt(0), 1u);
  EXPECT_EQ(CUtility::GetBitAt(31), 0x80000000u);
  EXPECT_EQ(CUtility::GetBitAt(32), 1u);
  EXPECT_EQ(CUtility::GetBitAt(35), 8u);
  EXPECT_TRUE(CUtility::IsBitSet(0x80000001, 31));
  EXPECT_TRUE(CUtility::IsBitSet(0x80000001, 0));
  EXPECT_FALSE(CUtility::IsBitSet(0x80000001, 1));
  EXPECT_FALSE(CUtility::IsBitSet(0x7FFFFFFF, 31));
  EXPECT_TRUE(CUtility::IsBitSet(0x2, 33));
}

TEST(FileExists, OnlyFilesThatOpenForReading) {
  EXPECT_FALSE(CUtility::FileExists(nullptr));
  char path[] = "/tmp/vesk_utility_XXXXXX";
  const int descriptor = mkstemp(path);
  ASSERT_GE(descriptor, 0);
  close(descriptor);
  EXPECT_TRUE(CUtility::FileExists(path));
  ASSERT_EQ(chmod(path, 0), 0);
  const bool privileged = geteuid() == 0;
  // Root reads the file regardless of its mode.
  if (!privileged) {
    EXPECT_FALSE(CUtility::FileExists(path));
  }
  std::remove(path);
  EXPECT_FALSE(CUtility::FileExists(path));
}

class LogBufferData : public testing::Test {
 protected:
  void SetUp() override {
    // Bytes 0xA0, 0xA1, ... in memory order, so that letters show whether hex is upper case.
    unsigned char bytes[sizeof words_];
    for (size_t index = 0; index < sizeof bytes; ++index) {
      bytes[index] = static_cast<unsigned char>(0xA0 + index);
    }
    std::memcpy(words_, bytes, sizeof bytes);
  }

  std::string Dump(unsigned int count) { return CUtility::LogBufferData(words_, count); }

  const std::string kFullLine = "A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF \r\n";
  unsigned int words_[8] = {};
};

TEST_F(LogBufferData, NothingToShow) {
  EXPECT_EQ(CUtility::LogBufferData(nullptr, 4), "Null Buffer");
  EXPECT_EQ(Dump(0), "Null Buffer");
}

TEST_F(LogBufferData, ShowsCountBytesOnLinesReckonedInWords) {
  EXPECT_EQ(Dump(1), "Null BufferA0 \r\n");
  EXPECT_EQ(Dump(4), "Null BufferA0 A1 A2 A3 \r\n");
  // Five words make 20 bytes, two lines, of which only the first holds the five bytes.
  EXPECT_EQ(Dump(5), "Null BufferA0 A1 A2 A3 A4 \r\n\r\n");
  EXPECT_EQ(Dump(8), "Null BufferA0 A1 A2 A3 A4 A5 A6 A7 \r\n\r\n");
  EXPECT_EQ(Dump(15), "Null BufferA0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE \r\n\r\n\r\n\r\n");
  EXPECT_EQ(Dump(16), "Null Buffer" + kFullLine + "\r\n\r\n\r\n");
  EXPECT_EQ(Dump(17), "Null Buffer" + kFullLine + "B0 \r\n\r\n\r\n\r\n");
  EXPECT_EQ(Dump(20), "Null Buffer" + kFullLine + "B0 B1 B2 B3 \r\n\r\n\r\n\r\n");
}

TEST_F(LogBufferData, ByteValuesAreTwoUpperCaseDigits) {
  const unsigned int word = 0x0F00FF01;
  EXPECT_EQ(CUtility::LogBufferData(&word, 4), "Null Buffer01 FF 00 0F \r\n");
}

}  // namespace
