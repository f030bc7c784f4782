#ifndef VESK_GENICAM_IMPL_UTILITY_H
#define VESK_GENICAM_IMPL_UTILITY_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// One row of the error table: a code and its message.
struct ErrorInfo {
  int32_t code;
  const char* message;
};

// The library's error codes and messages, in their fixed order. MLO_ERR_FILE_ACCESS stands twice;
// a lookup returns the first row of a code, so its second message is never returned.
extern const ErrorInfo g_tbErrorInfo[];
extern const size_t g_tbErrorInfoCount;

// Reflected CRC-32 table of IEEE 802.3 (polynomial 0xEDB88320).
extern const unsigned int g_tbCrc[256];

// Link configuration code and link speed in Mbit/s, one row per CoaXPress speed.
extern const unsigned int g_tbLinkSpeed[7][2];

// One row of a table keyed by link speed; a row with key 0 ends the table. What the four values
// mean is up to the table's owner.
struct _SPEED_TO_VAL {
  unsigned int speed;
  unsigned int values[4];
};

// Static helpers shared by every part of the library.
class CUtility {
 public:
  // The message of the first row with this code, "Unknown Error." if none.
  static const char* GetError(int code);

  // The byteCount most significant bytes of value, reversed into the low end.
  static unsigned int Uint32Swap(unsigned int value, unsigned char byteCount);
  // CRC of the CXP control packets: reflected CRC-32 without the final inversion.
  static unsigned int CalcualteCRC(const unsigned int* data, unsigned int wordCount);
  // Internet checksum (RFC 1071) in host order; the caller keeps the low 16 bits.
  static unsigned int CalcualteCRC16(const unsigned short* data, unsigned int byteCount,
                                     unsigned int seed);
  // True if any of the words is above zero as a signed value.
  static bool IsRegisterValid(const int* values, unsigned int count);
  // The values of the row whose key is speed, null if the end of the table comes first.
  static unsigned int* GetSpeedTabVal(unsigned int speed, _SPEED_TO_VAL* table);

  // Link configuration word: code (or a plain speed) in the low 16 bits, link count in the high.
  static unsigned int GetLinkSpeedFromConfigValue(unsigned int config);
  static unsigned int GetLinkConfigValueFromSpeed(unsigned int speed, unsigned int linkCount);
  static unsigned int GetLinkCountFromConfigValue(unsigned int config);

  // Index of the first byte below 255, 0xFFFFFFFF if there is none.
  static unsigned int GetFirstPos(const unsigned char* bytes, unsigned int count);

  // Multiplexer word: nibble k of the low half is the physical link of logical link k, nibble k
  // of the high half the logical link of physical link k.
  // The physical links whose logical assignment differs between a and b.
  static unsigned int GetMaskFromMultiplexers(unsigned long a, unsigned long b);
  static unsigned int PhysicToLogic(unsigned int physical, unsigned long multiplexer);
  // Completes partial (logical, physical) pairs, 0xFF meaning unassigned, to a full word.
  static unsigned long GetMuplex(std::vector<std::pair<unsigned char, unsigned char>> pairs);

  static unsigned long htonll(unsigned long value);
  // The number that count bytes (8 at most) give, most significant first.
  static uint64_t BigEndian(const unsigned char* bytes, unsigned int count);
  // Writes the value's low count bytes there, most significant first.
  static void PutBigEndian(unsigned char* bytes, uint64_t value, unsigned int count);
  // Whether the path is a regular file that opens for reading: a folder opens too, but has no
  // contents to read.
  static bool FileExists(const char* path);
  static void SleepMs(unsigned int ms);
  static unsigned int GetBitAt(unsigned int position);
  static bool IsBitSet(unsigned int value, unsigned int position);

  // Hex dump of count bytes for the log, behind the text "Null Buffer".
  static std::string LogBufferData(const unsigned int* data, unsigned int count);
  // "0x" and the value in lower-case hex digits, for the log.
  static std::string HexText(uint64_t value);
};

// Strict orderings of a pair by one member alone, for std::sort.
bool SortByFirst(const std::pair<unsigned int, unsigned int>& left,
                 const std::pair<unsigned int, unsigned int>& right);
bool SortBySecond(const std::pair<unsigned int, unsigned int>& left,
                  const std::pair<unsigned int, unsigned int>& right);

#endif
