#ifndef VESK_GENICAM_IMPL_PCAPTRACE_H
#define VESK_GENICAM_IMPL_PCAPTRACE_H

#include <cstdint>
#include <cstdio>

// Captures the Ethernet frames of a GigE Vision port into a pcap file. Stays closed until Open;
// until then every write returns at once. Record time stamps are zero.
class CPcapTrace {
 public:
  CPcapTrace() = default;
  ~CPcapTrace();
  CPcapTrace(const CPcapTrace&) = delete;
  CPcapTrace& operator=(const CPcapTrace&) = delete;

  // Closes an open file, then starts a new one at `path`. On failure the trace stays closed.
  void Open(char* path);

  // Writes each IPv4 or ARP frame of `data`, which may hold several back to back. A frame's
  // recorded length comes from its own headers, not from `length`, and `data` must hold all of
  // it: a short IPv4 frame is recorded with its padding to the Ethernet minimum.
  void WritePcapPacket(unsigned char* data, unsigned int length, bool outgoing);

 private:
  void WriteRecord(const unsigned char* frame, uint16_t frameLength);

  FILE* file_ = nullptr;
};

#endif
