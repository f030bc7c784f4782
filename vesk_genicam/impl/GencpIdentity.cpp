#include "vesk_genicam/impl/GencpIdentity.h"

namespace {

constexpr unsigned int kTextSize = 64;
constexpr unsigned int kTimeoutMs = 200;
constexpr unsigned int kUserId = 0x184;

struct Field {
  unsigned int address;
  void (CCameraInfo::*set)(std::string);
  const char* name;
};

const Field kFields[] = {
    {0x84, &CCameraInfo::SetFamilyName, "Device name: "},
    {0x04, &CCameraInfo::SetVendorName, "Device name: "},
    {0x44, &CCameraInfo::SetModelName, "Model name: "},
    {0x104, &CCameraInfo::SetManufactureInfo, "ManufacturerInfo name: "},
    {0xC4, &CCameraInfo::SetVersion, "Version: "},
    {0x144, &CCameraInfo::SetSerialNr, "SerialNumber : "},
};

}  // namespace

int GencpIdentity::ReadField(IPortInterface& port, unsigned int address, const char* name,
                             void (CCameraInfo::*set)(std::string), CCameraInfo& info,
                             vesk::tools::logging::ClassLogger& logger, const std::string& prefix) {
  unsigned char buffer[kTextSize + 1] = {};
  const int status = port.ReadPacket(address, buffer, kTextSize, kTimeoutMs);
  std::string text = status == 0 ? reinterpret_cast<const char*>(buffer) : "";
  logger.Line(3, [&] { return prefix + name + text + " Error code: " + std::to_string(status); });
  if (status == 0) (info.*set)(std::move(text));
  return status;
}

void GencpIdentity::Read(IPortInterface& port, CCameraInfo& info, bool withUserId,
                         vesk::tools::logging::ClassLogger& logger, const std::string& prefix) {
  for (const Field& field : kFields)
    ReadField(port, field.address, field.name, field.set, info, logger, prefix);
  if (withUserId) ReadUserId(port, info, logger, prefix);
}

int GencpIdentity::ReadUserId(IPortInterface& port, CCameraInfo& info,
                              vesk::tools::logging::ClassLogger& logger,
                              const std::string& prefix) {
  return ReadField(port, kUserId, "UserId : ", &CCameraInfo::SetUserId, info, logger, prefix);
}
