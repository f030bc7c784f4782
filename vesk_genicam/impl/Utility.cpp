#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

#include <arpa/inet.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iterator>

const ErrorInfo g_tbErrorInfo[] = {
    {MLO_OK, "No error"},
    {MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle"},
    {MLO_ERR_INVALID_BOARD_HANDLE, "Invalid board handle"},
    {MLO_ERR_FILE_NOT_FOUND, "File not found"},
    {MLO_ERR_INVALID_FILENAME, "Invalid filename"},
    {MLO_ERR_FILE_ACCESS, "Error when accessing the file"},
    {MLO_ERR_FILE_ACCESS, "Error when loading data from file"},
    {MLO_ERR_NO_DATA, "No data at function argument given"},
    {MLO_ERR_BLOCKED, "Operation is blocked by another process / thread"},
    {MLO_ERR_NO_EVENT_HANDLER, "No event handler registered"},
    {MLO_ERR_OUT_OF_RANGE, "Value out of range"},
    {MLO_ERR_NO_INTERFACE, "No Interface"},
    {MLO_ERR_BOARD_NOT_SUPPORTED, "Board type does not support GenICam interface"},
    {MLO_ERR_BUFFER_TOO_SMALL, "Buffer to small to store all received data"},
    {MLO_ERR_ACCESS_DENIED, "Access denied"},
    {MLO_ERR_NO_GENICAM_CONNECTION, "No GenICam connection"},
    {MLO_ERR_UNKNOWN_PROPERTY, "Tried to access an unknown property"},
    {MLO_ERR_INVALID_FEATURE, "Invalid GenICam feature requested"},
    {MLO_ERR_INVALID_COMMAND, "Invalid GenICam command requested"},
    {MLO_ERR_GENICAM_EXCEPTION, "GenICam layer threw an exception, which was caught"},
    {MLO_ERR_INVALID_LINK_SPEED, "Tried to set an invalid link speed"},
    {MLO_ERR_INVALID_LINK_INDEX, "Invalid link index"},
    {MLO_ERR_PACKET_SIZE_REFUSED, "Camera doesn't accept the given stream packet size"},
    {MLO_ERR_NO_PHYSICAL_CONNECTION, "No physical layer connection"},
    {MLO_ERR_LINK_COMBINATION_REFUSED, "Combination of bit rate and no. of links not accepted"},
    {MLO_ERR_EXTENSION_MISMATCH, "Extension link does not match to master"},
    {MLO_ERR_STREAM_PACKET_SIZE_REFUSED, "Stream packet size is not accepted by camera"},
    {MLO_ERR_LAYOUT_MISMATCH, "Desired link layout does not match"},
    {MLO_ERR_LINK_TIMEOUT, "Timeout when establishing link"},
    {MLO_ERR_NO_CAMERA_FOUND, "Automatic discovery didn't find any camera"},
    {MLO_ERR_NO_MASTER, "No master was detected or set for the camera"},
    {MLO_ERR_DISCOVERY_INCOMPLETE, "The camera discovery info is incomplete"},
    {MLO_ERR_INVALID_TYPE, "Invalid data type for void pointer"},
    {MLO_ERR_INVALID_ARGUMENT, "Invalid function argument"},
    {MLO_ERR_INTERNAL, "An internal error occurred"},
    {MLO_ERR_EXCEPTION, "Exception occurred when calling function"},
    {MLO_ERR_NOT_IMPLEMENTED, "Not implemented"},
    {MLO_ERR_INVALID_POINTER, "Invalid pointer"},
    {MLO_ERR_OUT_OF_MEMORY, "Not enough memory"},
    {MLO_ERR_BOARD_INIT, "Board initialization error"},
    {MLO_ERR_INCOMPATIBLE_LIBRARY, "Incompatible underlying library"},
    {MLO_ERR_LIBRARY_NOT_LOADED, "Underlaying library not loaded"},
    {MLO_ERR_GENCP_CRC, "Corrupt CRC at command or acknowledge packet"},
    {MLO_ERR_GENCP_INVALID_PACKET, "Invalid GenCP packet received"},
    {MLO_ERR_GENCP_NO_ACK, "No acknowledge according to GenCP protocol received"},
    {MLO_ERR_GENCP_UNKNOWN_STATUS, "Unknown error code received from device / camera"},
    {MLO_ERR_GENCP_TOO_FEW_DATA, "Too few data received at a read command"},
    {MLO_ERR_GENCP_NO_DATA, "No data received at a read command"},
    {MLO_ERR_GENCP_PENDING, "Pending Acknowledge received"},
    {MLO_ERR_GENCP_UNEXPECTED_ACK, "An unexpected type of acknowledge was received"},
    {MLO_ERR_GENCP_TIMEOUT, "Timeout occurred after 3 retrials"},
    {MLO_ERR_DEVICE_NOT_IMPLEMENTED, "GenCP: Command not implemented in the device"},
    {MLO_ERR_DEVICE_INVALID_ADDRESS, "GenCP: Attempt to access a not existing register address"},
    {MLO_ERR_DEVICE_WRITE_PROTECT, "GenCP: Attempt to write to a read only register"},
    {MLO_ERR_DEVICE_BUSY, "GenCP: The command receiver is currently busy"},
    {MLO_ERR_DEVICE_MSG_TIMEOUT, "GenCP: Timeout waiting for an acknowledge"},
    {MLO_ERR_DEVICE_GENERIC, "GenCP: Generic error"},
    {MLO_ERR_CLHS_NO_COMMAND_WORD, "No command word available in the X-Core (CLHS)"},
    {MLO_ERR_CLHS_RX_FAILED, "XCore failed receiving a message 10 times (CLHS)"},
    {MLO_ERR_CLHS_TX_BUSY_TIMEOUT, "XCore TX Busy time out (CLHS)"},
    {MLO_ERR_CLHS_DEVICE_ID_REJECTED, "LLDeviceID Rejected by camera (CLHS)"},
    {MLO_ERR_CLHS_DEVICE_ID_READ_BACK, "LLDeviceID read back from camera failed (CLHS)"},
    {MLO_ERR_CXP_ACK_TIMEOUT, "CXP: Acknowledgment timeout"},
    {MLO_ERR_CXP_INVALID_ADDRESS, "CXP: Invalid address"},
    {MLO_ERR_CXP_INVALID_DATA, "CXP: Invalid data for the address"},
    {MLO_ERR_CXP_INVALID_OPCODE, "CXP: Invalid control operation code"},
    {MLO_ERR_CXP_WRITE_READ_ONLY, "CXP: Write attempted to a read-only address"},
    {MLO_ERR_CXP_MALFORMED, "CXP: Malformed packet"},
    {MLO_ERR_CXP_CRC, "CXP: Failed CRC test in last received command"},
    {MLO_ERR_CXP_READ_WRITE_ONLY, "CXP: Read attempted from a write-only address"},
    {MLO_ERR_FEATURE_WRITE_ONLY, "a MLO_GetValue function tried to read a write only register"},
    {MLO_ERR_FEATURE_READ_ONLY, "a MLO_GetValue function tried to write a read only register"},
    {MLO_ERR_INVALID_PORT, "Function was called by using an invalid port mask or port index"},
    {MLO_ERR_NO_MASTER_CONNECT, "A Master connect didn't take place at a second frame grabber"},
    {MLO_ERR_GENCP_OTHER_REQUEST_ID,
     "Acknowledge of another ReqId received, while waiting on finalizing pending Ack."},
    {MLO_ERR_GENCP_UNKNOWN_PENDING_STATUS,
     "An unknown GenCP error code was detected on finalizing pending Ack."},
    {MLO_ERR_DEVICE_INVALID_PARAMETER,
     "GenCP: least one of the command parameter of CD or SCD is invalid or out of range"},
    {MLO_ERR_DEVICE_ACCESS_DENIED,
     "GenCP: Attempt to read a non readable or write a non writable register address"},
    {MLO_ERR_CLHS_TX_BUFFER_FULL,
     "An transmission buffer was full, when trying to send data (CLHS)"},
    {MLO_ERR_CLHS_TX_FAILED,
     "XCore failed Sending a message 10 times (CLHS) (no Acknowledge received 10 times)"},
    {MLO_ERR_DEVICE_BAD_ALIGNMENT,
     "GenCP: Attempt to access register with an address which is not aligned according to the "
     "underlying technology"},
    {MLO_ERR_DEVICE_INVALID_HEADER,
     "GenCP: The header of the received command is invalid. This includes CCD and SCD fields but "
     "not the command payload"},
    {MLO_ERR_DEVICE_WRONG_CONFIG,
     "GenCP: The current receiver configuration does not allow the execution of the sent "
     "command"},
    {MLO_ERR_CXP_SIZE_TOO_LARGE,
     "CXP: Size field too large for command message (write) or acknowledgment message (read) "
     "would exceed packet size limit"},
    {MLO_ERR_CXP_SIZE_INCONSISTENT,
     "CXP: Incorrect size received, Message size is inconsistent with message size indication"},
};

const size_t g_tbErrorInfoCount = sizeof g_tbErrorInfo / sizeof g_tbErrorInfo[0];

const char* CUtility::GetError(int code) {
  for (size_t row = 0; row < g_tbErrorInfoCount; ++row) {
    if (g_tbErrorInfo[row].code == code) return g_tbErrorInfo[row].message;
  }
  return "Unknown Error.";
}

const unsigned int g_tbCrc[256] = {
    0x00000000, 0x77073096, 0xEE0E612C, 0x990951BA, 0x076DC419, 0x706AF48F, 0xE963A535, 0x9E6495A3,
    0x0EDB8832, 0x79DCB8A4, 0xE0D5E91E, 0x97D2D988, 0x09B64C2B, 0x7EB17CBD, 0xE7B82D07, 0x90BF1D91,
    0x1DB71064, 0x6AB020F2, 0xF3B97148, 0x84BE41DE, 0x1ADAD47D, 0x6DDDE4EB, 0xF4D4B551, 0x83D385C7,
    0x136C9856, 0x646BA8C0, 0xFD62F97A, 0x8A65C9EC, 0x14015C4F, 0x63066CD9, 0xFA0F3D63, 0x8D080DF5,
    0x3B6E20C8, 0x4C69105E, 0xD56041E4, 0xA2677172, 0x3C03E4D1, 0x4B04D447, 0xD20D85FD, 0xA50AB56B,
    0x35B5A8FA, 0x42B2986C, 0xDBBBC9D6, 0xACBCF940, 0x32D86CE3, 0x45DF5C75, 0xDCD60DCF, 0xABD13D59,
    0x26D930AC, 0x51DE003A, 0xC8D75180, 0xBFD06116, 0x21B4F4B5, 0x56B3C423, 0xCFBA9599, 0xB8BDA50F,
    0x2802B89E, 0x5F058808, 0xC60CD9B2, 0xB10BE924, 0x2F6F7C87, 0x58684C11, 0xC1611DAB, 0xB6662D3D,
    0x76DC4190, 0x01DB7106, 0x98D220BC, 0xEFD5102A, 0x71B18589, 0x06B6B51F, 0x9FBFE4A5, 0xE8B8D433,
    0x7807C9A2, 0x0F00F934, 0x9609A88E, 0xE10E9818, 0x7F6A0DBB, 0x086D3D2D, 0x91646C97, 0xE6635C01,
    0x6B6B51F4, 0x1C6C6162, 0x856530D8, 0xF262004E, 0x6C0695ED, 0x1B01A57B, 0x8208F4C1, 0xF50FC457,
    0x65B0D9C6, 0x12B7E950, 0x8BBEB8EA, 0xFCB9887C, 0x62DD1DDF, 0x15DA2D49, 0x8CD37CF3, 0xFBD44C65,
    0x4DB26158, 0x3AB551CE, 0xA3BC0074, 0xD4BB30E2, 0x4ADFA541, 0x3DD895D7, 0xA4D1C46D, 0xD3D6F4FB,
    0x4369E96A, 0x346ED9FC, 0xAD678846, 0xDA60B8D0, 0x44042D73, 0x33031DE5, 0xAA0A4C5F, 0xDD0D7CC9,
    0x5005713C, 0x270241AA, 0xBE0B1010, 0xC90C2086, 0x5768B525, 0x206F85B3, 0xB966D409, 0xCE61E49F,
    0x5EDEF90E, 0x29D9C998, 0xB0D09822, 0xC7D7A8B4, 0x59B33D17, 0x2EB40D81, 0xB7BD5C3B, 0xC0BA6CAD,
    0xEDB88320, 0x9ABFB3B6, 0x03B6E20C, 0x74B1D29A, 0xEAD54739, 0x9DD277AF, 0x04DB2615, 0x73DC1683,
    0xE3630B12, 0x94643B84, 0x0D6D6A3E, 0x7A6A5AA8, 0xE40ECF0B, 0x9309FF9D, 0x0A00AE27, 0x7D079EB1,
    0xF00F9344, 0x8708A3D2, 0x1E01F268, 0x6906C2FE, 0xF762575D, 0x806567CB, 0x196C3671, 0x6E6B06E7,
    0xFED41B76, 0x89D32BE0, 0x10DA7A5A, 0x67DD4ACC, 0xF9B9DF6F, 0x8EBEEFF9, 0x17B7BE43, 0x60B08ED5,
    0xD6D6A3E8, 0xA1D1937E, 0x38D8C2C4, 0x4FDFF252, 0xD1BB67F1, 0xA6BC5767, 0x3FB506DD, 0x48B2364B,
    0xD80D2BDA, 0xAF0A1B4C, 0x36034AF6, 0x41047A60, 0xDF60EFC3, 0xA867DF55, 0x316E8EEF, 0x4669BE79,
    0xCB61B38C, 0xBC66831A, 0x256FD2A0, 0x5268E236, 0xCC0C7795, 0xBB0B4703, 0x220216B9, 0x5505262F,
    0xC5BA3BBE, 0xB2BD0B28, 0x2BB45A92, 0x5CB36A04, 0xC2D7FFA7, 0xB5D0CF31, 0x2CD99E8B, 0x5BDEAE1D,
    0x9B64C2B0, 0xEC63F226, 0x756AA39C, 0x026D930A, 0x9C0906A9, 0xEB0E363F, 0x72076785, 0x05005713,
    0x95BF4A82, 0xE2B87A14, 0x7BB12BAE, 0x0CB61B38, 0x92D28E9B, 0xE5D5BE0D, 0x7CDCEFB7, 0x0BDBDF21,
    0x86D3D2D4, 0xF1D4E242, 0x68DDB3F8, 0x1FDA836E, 0x81BE16CD, 0xF6B9265B, 0x6FB077E1, 0x18B74777,
    0x88085AE6, 0xFF0F6A70, 0x66063BCA, 0x11010B5C, 0x8F659EFF, 0xF862AE69, 0x616BFFD3, 0x166CCF45,
    0xA00AE278, 0xD70DD2EE, 0x4E048354, 0x3903B3C2, 0xA7672661, 0xD06016F7, 0x4969474D, 0x3E6E77DB,
    0xAED16A4A, 0xD9D65ADC, 0x40DF0B66, 0x37D83BF0, 0xA9BCAE53, 0xDEBB9EC5, 0x47B2CF7F, 0x30B5FFE9,
    0xBDBDF21C, 0xCABAC28A, 0x53B39330, 0x24B4A3A6, 0xBAD03605, 0xCDD70693, 0x54DE5729, 0x23D967BF,
    0xB3667A2E, 0xC4614AB8, 0x5D681B02, 0x2A6F2B94, 0xB40BBE37, 0xC30C8EA1, 0x5A05DF1B, 0x2D02EF8D};

const unsigned int g_tbLinkSpeed[7][2] = {
    {0x28, 1250}, {0x30, 2500},  {0x38, 3125},  {0x40, 5000},
    {0x48, 6250}, {0x50, 10000}, {0x58, 12500},
};

unsigned int CUtility::Uint32Swap(unsigned int value, unsigned char byteCount) {
  unsigned int result = 0;
  for (unsigned int byte = 0; byte < byteCount && byte < 4; ++byte) {
    result |= ((value >> (8 * (3 - byte))) & 0xFF) << (8 * byte);
  }
  return result;
}

namespace {

// g_tbCrc for each byte of a word, so that a word takes four lookups and no shifts between
// them: row k is the register after the byte and k zero bytes behind it.
struct WordTables {
  unsigned int rows[4][256];
};

const WordTables& CrcWordTables() {
  static const WordTables tables = [] {
    WordTables made{};
    std::copy(std::begin(g_tbCrc), std::end(g_tbCrc), made.rows[0]);
    for (int row = 1; row < 4; ++row) {
      for (unsigned int byte = 0; byte < 256; ++byte) {
        const unsigned int previous = made.rows[row - 1][byte];
        made.rows[row][byte] = (previous >> 8) ^ g_tbCrc[previous & 0xFF];
      }
    }
    return made;
  }();
  return tables;
}

}  // namespace

unsigned int CUtility::CalcualteCRC(const unsigned int* data, unsigned int wordCount) {
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "a word's first byte is its lowest");
  const auto& rows = CrcWordTables().rows;
  unsigned int crc = 0xFFFFFFFF;
  for (unsigned int index = 0; index < wordCount; ++index) {
    crc ^= data[index];
    crc = rows[3][crc & 0xFF] ^ rows[2][(crc >> 8) & 0xFF] ^ rows[1][(crc >> 16) & 0xFF] ^
          rows[0][crc >> 24];
  }
  // No final inversion: CXP packets carry the register as it stands.
  return crc;
}

unsigned int CUtility::CalcualteCRC16(const unsigned short* data, unsigned int byteCount,
                                      unsigned int seed) {
  unsigned int sum = seed;
  while (byteCount > 1) {
    sum += *data++;
    byteCount -= 2;
  }
  if (byteCount == 1) {
    // The odd byte goes in sign-extended: 0x80 and above subtract from the sum.
    sum += static_cast<unsigned int>(static_cast<int>(*reinterpret_cast<const signed char*>(data)));
  }
  sum = (sum >> 16) + (sum & 0xFFFF);
  sum += sum >> 16;
  return ~sum;
}

bool CUtility::IsRegisterValid(const int* values, unsigned int count) {
  for (unsigned int index = 0; index < count; ++index) {
    if (values[index] > 0) return true;
  }
  return false;
}

unsigned int* CUtility::GetSpeedTabVal(unsigned int speed, _SPEED_TO_VAL* table) {
  for (; table->speed != 0; ++table) {
    if (table->speed == speed) return table->values;
  }
  return nullptr;
}

unsigned int CUtility::GetLinkSpeedFromConfigValue(unsigned int config) {
  const unsigned int low = config & 0xFFFF;
  for (const auto& row : g_tbLinkSpeed) {
    if (row[0] == low) return row[1];
  }
  // Some configuration words carry the speed itself in place of its code.
  for (const auto& row : g_tbLinkSpeed) {
    if (row[1] == low) return row[1];
  }
  return 0;
}

unsigned int CUtility::GetLinkConfigValueFromSpeed(unsigned int speed, unsigned int linkCount) {
  unsigned int config = linkCount << 16;
  for (const auto& row : g_tbLinkSpeed) {
    if (row[1] == speed) config |= row[0];
  }
  return config;
}

unsigned int CUtility::GetLinkCountFromConfigValue(unsigned int config) { return config >> 16; }

unsigned int CUtility::GetFirstPos(const unsigned char* bytes, unsigned int count) {
  for (unsigned int index = 0; index < count; ++index) {
    if (bytes[index] < 0xFF) return index;
  }
  return 0xFFFFFFFF;
}

unsigned int CUtility::GetMaskFromMultiplexers(unsigned long a, unsigned long b) {
  unsigned int mask = 0;
  for (unsigned int physical = 0; physical < 8; ++physical) {
    if (PhysicToLogic(physical, a) != PhysicToLogic(physical, b)) mask |= 1u << physical;
  }
  return mask;
}

unsigned int CUtility::PhysicToLogic(unsigned int physical, unsigned long multiplexer) {
  // Past physical link 7 the shift wraps around into the low half.
  return static_cast<unsigned int>((multiplexer >> ((4 * physical + 32) & 63)) & 15);
}

unsigned long CUtility::GetMuplex(std::vector<std::pair<unsigned char, unsigned char>> pairs) {
  constexpr unsigned char kUnassigned = 0xFF;
  auto byFirst = [&pairs](unsigned int value) {
    return std::find_if(pairs.begin(), pairs.end(),
                        [value](const auto& pair) { return pair.first == value; });
  };
  auto bySecond = [&pairs](unsigned int value) {
    return std::find_if(pairs.begin(), pairs.end(),
                        [value](const auto& pair) { return pair.second == value; });
  };

  for (unsigned int number = 0; number < 8; ++number) {
    const auto from = byFirst(number);
    const unsigned char target = from != pairs.end() ? from->second : kUnassigned;
    bool chainStart = from != pairs.end() && target != kUnassigned;

    const auto to = bySecond(number);
    const bool free = to == pairs.end() || to->first == kUnassigned;
    chainStart = chainStart && free;

    if (target == kUnassigned && free) {
      pairs.emplace_back(number, number);
    }
    if (chainStart) {
      // Nothing leads to number, so its chain ends somewhere else; the pair from that end back to
      // number closes the cycle. The walk is bounded so that a malformed list cannot trap it in
      // a loop that does not pass through number.
      unsigned int current = number;
      for (size_t step = 0; step < pairs.size(); ++step) {
        const auto next = byFirst(current);
        if (next == pairs.end() || next->second == kUnassigned) break;
        current = next->second;
      }
      pairs.emplace_back(static_cast<unsigned char>(current), static_cast<unsigned char>(number));
    }
  }

  // Every number from 0 to 7 has left at least one pair behind, so there are eight or more.
  // The nibbles are added, not or-ed: an 0xFF left among the first eight carries into the next.
  unsigned long result = 0;
  std::sort(pairs.begin(), pairs.end());
  for (unsigned int k = 0; k < 8; ++k) {
    result += static_cast<unsigned long>(pairs[k].second) << (4 * k);
  }
  std::sort(pairs.begin(), pairs.end(), SortBySecond);
  for (unsigned int k = 0; k < 8; ++k) {
    result += static_cast<unsigned long>(pairs[k].first) << (32 + 4 * k);
  }
  return result;
}

unsigned long CUtility::htonll(unsigned long value) {
  return (static_cast<unsigned long>(htonl(static_cast<uint32_t>(value))) << 32) |
         htonl(static_cast<uint32_t>(value >> 32));
}

bool CUtility::FileExists(const char* path) {
  if (path == nullptr) return false;
  FILE* file = std::fopen(path, "r");
  if (file == nullptr) return false;
  struct stat status {};
  const bool regular = fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode);
  std::fclose(file);
  return regular;
}

void CUtility::SleepMs(unsigned int ms) { usleep(ms * 1000); }

unsigned int CUtility::GetBitAt(unsigned int position) { return 1u << (position % 32); }

bool CUtility::IsBitSet(unsigned int value, unsigned int position) {
  return (value & GetBitAt(position)) != 0;
}

uint64_t CUtility::BigEndian(const unsigned char* bytes, unsigned int count) {
  uint64_t value = 0;
  for (unsigned int i = 0; i < count; ++i) value = value << 8 | bytes[i];
  return value;
}

void CUtility::PutBigEndian(unsigned char* bytes, uint64_t value, unsigned int count) {
  for (unsigned int i = 0; i < count; ++i)
    bytes[i] = static_cast<unsigned char>(value >> (8 * (count - 1 - i)));
}

std::string CUtility::HexText(uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
  return text;
}

std::string CUtility::LogBufferData(const unsigned int* data, unsigned int count) {
  // The dump goes behind this text rather than replacing it; the logs have always read so.
  std::string text = "Null Buffer";
  if (data == nullptr) return text;

  // The line count is reckoned in words, but only count bytes are shown.
  const unsigned int byteCount = count * 4;
  unsigned int lines = byteCount / 16;
  const unsigned int rest = byteCount % 16;
  if (rest == 4 || rest == 8 || rest == 12) ++lines;

  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(data);
  unsigned int index = 0;
  char place[4];
  for (unsigned int line = 0; line < lines; ++line) {
    for (unsigned int column = 0; column < 16; ++column) {
      if (index < count) {
        std::snprintf(place, sizeof place, "%02X ", bytes[index]);
        text += place;
        ++index;
      }
    }
    text += "\r\n";
  }
  return text;
}

bool SortByFirst(const std::pair<unsigned int, unsigned int>& left,
                 const std::pair<unsigned int, unsigned int>& right) {
  return left.first < right.first;
}

bool SortBySecond(const std::pair<unsigned int, unsigned int>& left,
                  const std::pair<unsigned int, unsigned int>& right) {
  return left.second < right.second;
}
