// The camera's XML on CGbePortBase: the first URL of the bootstrap and the file it points to,
// plain or zipped.
#include <cstring>
#include <vector>

#include "templates/container/ManagedDataArray.h"
#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/GbePortBase.h"
#include "vesk_genicam/impl/ZipReader.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::container::ManagedDataArray;
using vesk::templates::platform::RecursiveMutexGuard;

namespace {

constexpr unsigned int kFirstUrl = 0x0200;
constexpr unsigned int kUrlSize = 512;
constexpr unsigned int kXmlTimeoutMs = 1000;
constexpr size_t kSchemaSize = 6;
// Larger than any camera description; a URL that claims more is not believed.
constexpr unsigned int kMaxXmlSize = 64u << 20;

bool ParseHex(const std::string& text, unsigned int& value) {
  if (text.empty() || text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos ||
      text.size() > 8)
    return false;
  value = static_cast<unsigned int>(std::stoul(text, nullptr, 16));
  return true;
}

}  // namespace

// "Local:<file>;<address>;<size>", both numbers in hexadecimal.
int CGbePortBase::ParseXmlUrl(std::string& file, unsigned int& address, unsigned int& size) {
  std::vector<unsigned char> url(kUrlSize + 1, 0);
  const int result = ReadMem(kFirstUrl, url.data(), kUrlSize, kXmlTimeoutMs);
  if (result != 0) return result;
  const std::string text(reinterpret_cast<const char*>(url.data()));
  xmlName_ = text;
  if (text.find("local:") == std::string::npos && text.find("Local:") == std::string::npos)
    return MLO_ERR_INTERNAL;
  const std::string rest = text.substr(kSchemaSize);
  const size_t first = rest.find(';');
  if (first == std::string::npos) return MLO_ERR_INTERNAL;
  const size_t second = rest.find(';', first + 1);
  if (second == std::string::npos) return MLO_ERR_INTERNAL;
  file = rest.substr(0, first);
  if (!ParseHex(rest.substr(first + 1, second - first - 1), address) ||
      !ParseHex(rest.substr(second + 1), size))
    return MLO_ERR_INTERNAL;
  return 0;
}

int CGbePortBase::GetXmlInfo() {
  RecursiveMutexGuard scope(&portMutex_);
  std::string file;
  unsigned int address = 0;
  unsigned int size = 0;
  const int result = ParseXmlUrl(file, address, size);
  if (result == 0) xmlSize_ = size;
  return result;
}

std::string CGbePortBase::GetXmlName() {
  RecursiveMutexGuard scope(&portMutex_);
  return xmlName_;
}

int CGbePortBase::LoadXML(std::string& xml, unsigned int) {
  RecursiveMutexGuard scope(&portMutex_);
  if (!xml_.empty()) {
    xml = xml_;
    return 0;
  }
  std::string file;
  unsigned int address = 0;
  unsigned int size = 0;
  int result = ParseXmlUrl(file, address, size);
  if (result != 0) return result;
  if (size == 0 || size > kMaxXmlSize) return MLO_ERR_INTERNAL;
  const unsigned int padded = (size + 3) & ~3u;
  auto bytes = ManagedDataArray::Create(padded + 1);
  result = ReadMem(address, reinterpret_cast<unsigned char*>(bytes->data), padded, kXmlTimeoutMs);
  if (result != 0) return result;
  if (file.find(".zip") != std::string::npos) {
    auto archive = ManagedDataArray::Copy(bytes->data, size);
    CZipReader zip(archive);
    if (!zip.HasFiles()) return MLO_ERR_INTERNAL;
    bytes = zip.GetFile(0);
    if (!bytes) return MLO_ERR_INTERNAL;
    logger_.Line(3, [&] { return "XML type: Zip - Index 0 - Size: " + std::to_string(size); });
  }
  xml_.assign(bytes->data, strnlen(bytes->data, bytes->size));
  xml = xml_;
  return 0;
}
