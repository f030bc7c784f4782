#ifndef VESK_GENICAM_IMPL_ZIPREADER_H
#define VESK_GENICAM_IMPL_ZIPREADER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>

#include "templates/container/ManagedDataArray.h"

// Reads a zip archive that a port has copied out of camera memory: finds its entries and
// inflates one of them. Reads no disk, writes nothing. Every length and offset in the buffer is
// untrusted; a damaged archive gives no files or a null result.
class CZipReader {
 public:
  // A shared byte buffer, as the ports hand it over.
  using DataArrayPtr = vesk::templates::container::ManagedDataArrayPtr;

  // Keeps the buffer; reads nothing until asked.
  explicit CZipReader(DataArrayPtr archive);

  // True if the central directory holds at least one entry that could be read.
  bool HasFiles();

  // A new buffer with the bytes of entry `index`, or null if there is no such entry, the
  // method is neither stored nor deflate, or the entry points outside the buffer.
  DataArrayPtr GetFile(uint32_t index);

 private:
  static constexpr size_t kCentralEntrySize = 46;
  using CentralEntry = std::array<uint8_t, kCentralEntrySize>;

  void ReadDirectory();
  DataArrayPtr Inflate(const uint8_t* input, uint32_t inputSize, uint32_t uncompressedSize) const;

  DataArrayPtr archive_;
  bool notRead_ = true;
  std::map<uint32_t, CentralEntry> entries_;
  uint32_t entryCount_ = 0;
};

#endif
