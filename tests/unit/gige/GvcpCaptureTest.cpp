#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/TempDir.h"
#include "tests/unit/gige/EthernetFrames.h"
#include "vesk_genicam/impl/GbeBufferRW.h"
#include "vesk_genicam/impl/PcapTrace.h"

#ifndef VESK_TSHARK
#define VESK_TSHARK ""
#endif

namespace {

using vesk::test::Bytes;
using vesk::test::TempDir;

// A command as a port sends it, and the fields Wireshark's GVCP dissector reads from it:
// command, request id, payload length, flags, then the address fields of its kind.
struct CaptureRow {
  const char* name;
  unsigned int command;
  unsigned int address;
  unsigned int requestId;
  unsigned int length;
  unsigned char flags;
  const char* fields;
};

// Bootstrap addresses have fields of their own; others show as a custom register.
const CaptureRow kRows[] = {
    {"Discovery", 0x02, 0, 1, 4096, 0x11, "0x0002\t0x0001\t0x0000\t0x11\t\t\t\t\t\t"},
    {"ReadRegCcp", 0x80, 0x0A00, 2, 4, 0x01, "0x0080\t0x0002\t0x0004\t0x01\t0x00000a00\t\t\t\t\t"},
    {"WriteRegHeartbeat", 0x82, 0x0938, 0x1FFFF, 4, 0x01,
     "0x0082\t0xffff\t0x0008\t0x01\t\t0x00000938\t5000\t\t\t"},
    {"ReadMemUrl", 0x84, 0x0200, 4, 512, 0x01,
     "0x0084\t0x0004\t0x0008\t0x01\t\t\t\t0x00000200\t\t0x0200"},
    {"ReadMemOddLength", 0x84, 0x10000, 5, 6, 0x01,
     "0x0084\t0x0005\t0x0008\t0x01\t\t\t\t\t0x00010000\t0x0008"},
    {"PacketResend", 0x40, 0, 1, 12, 0x00, "0x0040\t0x0001\t0x000c\t0x00\t\t\t\t\t\t"},
    {"Action", 0x100, 0, 1, 12, 0x01, "0x0100\t0x0001\t0x000c\t0x01\t\t\t\t\t\t"},
};

const char kFields[] =
    "-e gvcp.cmd.command -e gvcp.cmd.req_id -e gvcp.cmd.payloadlength -e gvcp.cmd.flags "
    "-e gvcp.cmd.readreg.bootstrapregister -e gvcp.cmd.writereg.bootstrapregister "
    "-e gvcp.bootstrap.heartbeattimeout -e gvcp.cmd.readmem.bootstrapregister "
    "-e gvcp.bootstrap.custom.register.write -e gvcp.cmd.readmem.count";

// The port's packet in the frame that leaves it: from 169.254.0.9:10000 to the broadcast
// address at the GVCP port.
Bytes FrameOf(const CaptureRow& row) {
  std::vector<unsigned char> data(row.length);
  const unsigned int heartbeat = 5000;
  std::memcpy(data.data(), &heartbeat, sizeof heartbeat);
  CGbeBufferRW buffer(row.command, row.address, row.requestId, data.data(), row.length, row.flags);
  unsigned char* packet = nullptr;
  unsigned int size = 0;
  EXPECT_TRUE(buffer.GetPacket(&packet, size)) << row.name;
  const Bytes payload(packet, packet + size);
  delete[] packet;
  return vesk::test::UdpFrame(vesk::test::kBroadcastMac, {0x02, 0, 0, 0, 0, 1}, 0xA9FE0009,
                              0xFFFFFFFF, 10000, vesk::test::kGvcpPort, payload);
}

std::vector<std::string> Tshark(const std::string& path) {
  const std::string command = std::string(VESK_TSHARK) + " -r " + path +
                              " -T fields -E occurrence=f " + kFields + " 2>/dev/null";
  FILE* pipe = popen(command.c_str(), "r");
  std::vector<std::string> lines;
  char line[512];
  while (fgets(line, sizeof line, pipe)) lines.emplace_back(line, strcspn(line, "\n"));
  EXPECT_EQ(pclose(pipe), 0) << command;
  return lines;
}

TEST(GvcpCapture, WiresharkReadsEachCommandAsCoded) {
  if (std::string(VESK_TSHARK).empty()) GTEST_SKIP() << "tshark is not installed";
  TempDir dir;
  std::string path = dir.File("gvcp.pcap");
  std::vector<std::string> expected;
  {
    CPcapTrace trace;
    trace.Open(path.data());
    for (const CaptureRow& row : kRows) {
      Bytes frame = FrameOf(row);
      trace.WritePcapPacket(frame.data(), static_cast<unsigned int>(frame.size()), true);
      expected.push_back(row.fields);
    }
  }
  EXPECT_EQ(Tshark(path), expected);
}

}  // namespace
