#include <gtest/gtest.h>
#include <sys/time.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "templates/platform/PcapDumper.h"
#include "tests/support/TempDir.h"
#include "tests/unit/zip/ByteFields.h"
#include "vesk_genicam/impl/PcapTrace.h"

#ifndef VESK_TSHARK
#define VESK_TSHARK ""
#endif

namespace {

using vesk::templates::platform::PcapDumper;
using vesk::test::AppendLe;
using vesk::test::Bytes;
using vesk::test::Le;
using vesk::test::ReadBytes;
using vesk::test::TempDir;
using Lines = std::vector<std::string>;
using Words = std::vector<unsigned int>;
constexpr auto kRequest = PcapDumper::Direction::Request;
constexpr auto kReply = PcapDumper::Direction::Reply;

// Version 2.4, no time zone or accuracy, 65535 bytes to a record at most.
Bytes Header(uint32_t linkType) {
  Bytes header;
  AppendLe(header, {{0xA1B2C3D4, 4}, {2, 2}, {4, 2}, {0, 8}, {0xFFFF, 4}, {linkType, 4}});
  return header;
}

struct Record {
  uint32_t seconds;
  uint32_t microseconds;
  Bytes bytes;
};

// The records behind the file header; both length fields must agree.
std::vector<Record> Records(const Bytes& file) {
  std::vector<Record> records;
  for (size_t at = 24; at + 16 <= file.size(); at += 16 + records.back().bytes.size()) {
    const uint32_t length = Le(file, at + 8);
    EXPECT_EQ(Le(file, at + 12), length);
    const auto start = file.begin() + at + 16;
    records.push_back({Le(file, at), Le(file, at + 4), Bytes(start, start + length)});
  }
  return records;
}

std::ptrdiff_t OpenFiles() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// One line per record with the first value of each field; the warning about root goes to stderr.
Lines Tshark(const std::string& path, const std::string& fields) {
  const std::string command = std::string(VESK_TSHARK) + " -r " + path +
                              " -T fields -E occurrence=f " + fields + " 2>/dev/null";
  FILE* pipe = popen(command.c_str(), "r");
  Lines lines;
  char line[512];
  while (fgets(line, sizeof line, pipe)) lines.emplace_back(line, strcspn(line, "\n"));
  EXPECT_EQ(pclose(pipe), 0) << command;
  return lines;
}

TEST(PcapDumper, FramesEachPacketByDirectionAndTagMode) {
  TempDir dir;
  const auto filesBefore = OpenFiles();
  timeval before{};
  gettimeofday(&before, nullptr);
  const Words words{0x11223344, 0xAABBCCDD};
  {
    PcapDumper dumper(dir.File("cxp"), 147, true);
    ASSERT_TRUE(dumper.IsOpen());
    for (bool tagged : {false, true}) {
      dumper.WriteControlPacket(words.data(), 2, kRequest, tagged);
      dumper.WriteControlPacket(words.data(), 2, kReply, tagged);
    }
    dumper.WriteControlPacket(words.data(), 0, kReply, true);
  }
  EXPECT_EQ(OpenFiles(), filesBefore);
  const Bytes file = ReadBytes(dir.File("cxp.pcap"));
  EXPECT_EQ(Bytes(file.begin(), file.begin() + 24), Header(147));
  const auto records = Records(file);
  ASSERT_EQ(records.size(), 4u);
  const unsigned int types[] = {0x02020202, 0x03030303, 0x05050505, 0x06060606};
  for (size_t i = 0; i < 4; ++i) {
    const Words frame{types[i], words[0], words[1], 0xFFFFFFFF};
    EXPECT_EQ(std::memcmp(records[i].bytes.data(), frame.data(), 16), 0) << "record " << i;
    EXPECT_GE(records[i].seconds, static_cast<uint32_t>(before.tv_sec));
    EXPECT_LE(records[i].seconds, static_cast<uint32_t>(before.tv_sec) + 60);
    EXPECT_LT(records[i].microseconds, 1000000u);
  }

  if (std::string(VESK_TSHARK).empty()) GTEST_SKIP() << "tshark is not installed";
  // 45 is the analyser's own number for user type 0.
  EXPECT_EQ(Tshark(dir.File("cxp.pcap"), "-e frame.encap_type -e frame.len -e frame.cap_len"),
            Lines(4, "45\t16\t16"));
}

TEST(PcapDumper, ShorterRunLeavesTheTailAndAMissingDirectoryNoFile) {
  TempDir dir;
  const Words words{0x11};
  for (int records : {2, 1}) {
    PcapDumper dumper(dir.File("cxp"), 147, true);
    for (int i = 0; i < records; ++i) dumper.WriteControlPacket(words.data(), 1, kRequest, i == 0);
  }
  const Bytes file = ReadBytes(dir.File("cxp.pcap"));
  ASSERT_EQ(file.size(), 24u + 2 * 28);
  EXPECT_EQ(Le(file, 24 + 16), 0x05050505u) << "the second run starts at the front";
  EXPECT_EQ(Le(file, 24 + 28 + 16), 0x02020202u) << "the first run's second record stays";

  PcapDumper missing(dir.File("missing/cxp"), 147, true);
  EXPECT_FALSE(missing.IsOpen());
  missing.WriteControlPacket(words.data(), 1, kRequest, false);
  EXPECT_FALSE(std::filesystem::exists(dir.File("missing")));
}

// An Ethernet frame of `size` bytes, each byte distinct from its neighbours.
Bytes Frame(size_t size, uint16_t etherType, uint16_t ipTotalLength = 0) {
  Bytes frame(size);
  for (size_t i = 0; i < size; ++i) frame[i] = static_cast<unsigned char>(i * 7 + 3);
  frame[12] = etherType >> 8;
  frame[13] = etherType & 0xFF;
  frame[16] = ipTotalLength >> 8;
  frame[17] = ipTotalLength & 0xFF;
  return frame;
}

Bytes Concat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(PcapTrace, RecordsTheLengthTheHeadersGiveIn16Bits) {
  TempDir dir;
  std::string path = dir.File("gige.pcap");
  CPcapTrace trace;
  trace.Open(path.data());
  // Total lengths 20 and 46 take the minimums, 0xFFFF wraps to below them; ARP says too little.
  std::vector<Bytes> frames = {Frame(60, 0x0800, 20),     Frame(64, 0x0800, 46),
                               Frame(118, 0x0800, 100),   Frame(60, 0x0806),
                               Frame(60, 0x0800, 0xFFFF), Frame(64, 0x0800, 0xFFFF)};
  trace.WritePcapPacket(frames[0].data(), 34, true);
  Bytes received = Concat(frames[1], frames[2]);
  trace.WritePcapPacket(received.data(), static_cast<unsigned int>(received.size()), false);
  trace.WritePcapPacket(frames[3].data(), 1, true);
  trace.WritePcapPacket(frames[4].data(), 60, true);
  trace.WritePcapPacket(frames[5].data(), 64, false);
  // An EtherType the trace doesn't know ends the walk, even before a known frame.
  Bytes unknown = Concat(Frame(60, 0x86DD), frames[0]);
  trace.WritePcapPacket(unknown.data(), 120, true);
  trace.WritePcapPacket(frames[0].data(), 0, true);

  const Bytes file = ReadBytes(path);
  EXPECT_EQ(Bytes(file.begin(), file.begin() + 24), Header(1));
  const auto records = Records(file);
  ASSERT_EQ(records.size(), frames.size());
  for (size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(records[i].bytes, frames[i]) << "record " << i;
    EXPECT_EQ(records[i].seconds + records[i].microseconds, 0u);
  }

  if (std::string(VESK_TSHARK).empty()) GTEST_SKIP() << "tshark is not installed";
  EXPECT_EQ(Tshark(path, "-e frame.encap_type -e frame.len -e frame.cap_len -e eth.type"),
            (Lines{"1\t60\t60\t0x0800", "1\t64\t64\t0x0800", "1\t118\t118\t0x0800",
                   "1\t60\t60\t0x0806", "1\t60\t60\t0x0800", "1\t64\t64\t0x0800"}));
}

TEST(PcapTrace, OpenStartsAFreshFileAndOnlyAnOpenTraceWrites) {
  CPcapTrace().WritePcapPacket(nullptr, 100, true);

  TempDir dir;
  std::string path = dir.File("old.pcap");
  std::ofstream(path) << std::string(100, 'x');
  const auto filesBefore = OpenFiles();
  auto trace = std::make_unique<CPcapTrace>();
  trace->Open(path.data());
  EXPECT_EQ(ReadBytes(path), Header(1));
  Bytes arp = Frame(60, 0x0806);
  trace->WritePcapPacket(arp.data(), 60, true);
  EXPECT_EQ(ReadBytes(path).size(), 24u + 16 + 60) << "each record is flushed";

  // A failed open still closes the file before it.
  std::string missing = dir.File("missing/new.pcap");
  trace->Open(missing.data());
  EXPECT_EQ(OpenFiles(), filesBefore);
  trace->WritePcapPacket(arp.data(), 60, true);
  EXPECT_EQ(ReadBytes(path).size(), 24u + 16 + 60);
  EXPECT_FALSE(std::filesystem::exists(dir.File("missing")));

  trace->Open(path.data());
  trace.reset();
  EXPECT_EQ(OpenFiles(), filesBefore);
}

}  // namespace
