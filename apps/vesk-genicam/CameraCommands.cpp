// info, xml, read, write: a camera's identity, description and memory, without its node map.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <vector>

#include <vesk_genicam/vesk_genicam.h>

#include "Board.h"
#include "Commands.h"
#include "Failure.h"
#include "Table.h"

namespace vesk::tool {

namespace {

constexpr uint64_t kMaxReadLength = 65536;

std::string CameraCall(const char* call, const CameraName& name) {
  return std::string(call) + "(" + name.Text() + ")";
}

std::string HexText(uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
  return text;
}

const char* const kIdentity[][2] = {
    {"vendor", "VendorName"},        {"model", "ModelName"},
    {"family", "FamilyName"},        {"version", "Version"},
    {"firmware", "FirmwareVersion"}, {"manufacturerInfo", "ManufacturerInfo"},
    {"serial", "SerialNumber"},      {"userId", "UserID"}};

const char* const kLinkProperties[][2] = {{"masterPort", "MasterPort"},
                                          {"masterId", "MasterID"},
                                          {"links", "NrOfLinks"},
                                          {"speed", "LinkSpeed"},
                                          {"discoverySpeed", "DiscoverySpeed"},
                                          {"connected", "Connected"},
                                          {"transceiverLocked", "IsTransceiverLocked"},
                                          {"controlPacketSize", "ControlPacketSize"},
                                          {"streamPacketSize", "StreamPacketSize"}};

Json Identity(MloCameraHandle* camera) {
  const MloCameraInfo* info = Mlo_getCameraInfo(camera);
  const char* const texts[] = {info->vendorName,   info->modelName,       info->familyName,
                               info->version,      info->firmwareVersion, info->manufacturerInfo,
                               info->serialNumber, info->userId};
  Json identity = Json::MakeObject();
  for (size_t i = 0; i < std::size(kIdentity); ++i) identity.Set(kIdentity[i][0], texts[i]);
  return identity;
}

// The links of the camera: the board's port and the firmware's port of each.
Json Links(MloCameraHandle* camera) {
  Json links = Json::MakeArray();
  const long count = CameraProperty(camera, "NrOfLinks");
  for (unsigned int link = 0; static_cast<long>(link) < count; ++link) {
    Json described = Json::MakeObject();
    described.Set("port", CameraProperty(camera, "FgPort", link))
        .Set("appletPort", CameraProperty(camera, "AppletPort", link));
    links.Add(described);
  }
  return links;
}

void PrintInfo(const Json& data) {
  std::printf("camera %s\n", data["camera"].Text().c_str());
  Table table;
  for (const auto& key : kIdentity) {
    const Json& text = data["identity"][key[0]];
    if (!text.IsNull() && !text.Text().empty()) table.Add({key[0], text.Text()});
  }
  for (const auto& key : kLinkProperties) {
    if (data[key[0]].Integer() >= 0) table.Add({key[0], data[key[0]].Text()});
  }
  for (const Json& link : data["linkPorts"].Items())
    table.Add(
        {"link", "port " + link["port"].Text() + ", firmware port " + link["appletPort"].Text()});
  table.Print(2);
}

// 16 bytes a line: address, bytes in hexadecimal, the printable ones as text.
void PrintHexDump(uint64_t address, const std::vector<unsigned char>& bytes) {
  for (size_t offset = 0; offset < bytes.size(); offset += 16) {
    std::string hex;
    std::string text;
    for (size_t i = offset; i < offset + 16; ++i) {
      char byte[4] = "   ";
      if (i < bytes.size()) std::snprintf(byte, sizeof byte, "%02x ", bytes[i]);
      hex += byte;
      if (i - offset == 7) hex += ' ';
      if (i < bytes.size()) text += std::isprint(bytes[i]) ? static_cast<char>(bytes[i]) : '.';
    }
    std::printf("%08llx  %s |%s|\n", static_cast<unsigned long long>(address + offset), hex.c_str(),
                text.c_str());
  }
}

std::string Hex(const std::vector<unsigned char>& bytes) {
  std::string hex;
  for (const unsigned char byte : bytes) {
    char text[3];
    std::snprintf(text, sizeof text, "%02x", byte);
    hex += text;
  }
  return hex;
}

void WriteFile(const std::string& path, const std::string& text) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) UsageError("cannot write " + path + ": " + std::strerror(errno));
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  if (std::fclose(file) != 0 || !written)
    UsageError("cannot write " + path + ": " + std::strerror(errno));
}

}  // namespace

int CameraInfo(Arguments& args, Context& context) {
  const CameraName name = CameraName::Parse(args.Operand("CAMERA"));
  args.Done();
  Board board(name.board);
  MloCameraHandle* camera = board.Camera(name, context.Progress());
  Json data = Json::MakeObject();
  data.Set("camera", name.Text()).Set("identity", Identity(camera));
  for (const auto& key : kLinkProperties) data.Set(key[0], CameraProperty(camera, key[1]));
  data.Set("linkPorts", Links(camera));
  context.Report(data, PrintInfo);
  return 0;
}

int Xml(Arguments& args, Context& context) {
  const auto file = args.Option("-o");
  const CameraName name = CameraName::Parse(args.Operand("CAMERA"));
  args.Done();
  Board board(name.board);
  MloCameraHandle* camera = board.Camera(name, context.Progress());
  Check(Mlo_loadCameraXml(camera), CameraCall("Mlo_loadCameraXml", name));
  size_t size = 0;
  Check(Mlo_getGenICamXML(camera, nullptr, &size), CameraCall("Mlo_getGenICamXML", name));
  std::string xml(size, '\0');
  Check(Mlo_getGenICamXML(camera, xml.data(), &size), CameraCall("Mlo_getGenICamXML", name));
  if (file) WriteFile(*file, xml);
  Json data = Json::MakeObject();
  data.Set("camera", name.Text()).Set("size", static_cast<uint64_t>(size));
  data.Set(file ? "file" : "xml", file ? *file : xml);
  context.Report(data, [&](const Json&) {
    if (file) {
      std::printf("wrote the XML of %s (%zu bytes) to %s\n", name.Text().c_str(), size,
                  file->c_str());
    } else {
      std::fwrite(xml.data(), 1, xml.size(), stdout);
    }
  });
  return 0;
}

int Read(Arguments& args, Context& context) {
  const CameraName name = CameraName::Parse(args.Operand("CAMERA"));
  const uint64_t address = ParseNumber(args.Operand("ADDRESS"), "read ADDRESS", UINT32_MAX);
  const auto lengthText = args.OptionalOperand();
  const uint64_t length = lengthText ? ParseNumber(*lengthText, "read LENGTH", kMaxReadLength) : 4;
  args.Done();
  if (length == 0) UsageError("read LENGTH: read at least one byte");
  Board board(name.board);
  MloCameraHandle* camera = board.Camera(name, context.Progress());
  std::vector<unsigned char> bytes(length);
  Check(Mlo_memoryReadFromCamera(camera, bytes.data(), address, length),
        CameraCall("Mlo_memoryReadFromCamera", name) + " at " + HexText(address));
  Json data = Json::MakeObject();
  data.Set("camera", name.Text())
      .Set("address", address)
      .Set("length", length)
      .Set("data", Hex(bytes));
  context.Report(data, [&](const Json&) { PrintHexDump(address, bytes); });
  return 0;
}

int Write(Arguments& args, Context& context) {
  const CameraName name = CameraName::Parse(args.Operand("CAMERA"));
  const uint64_t address = ParseNumber(args.Operand("ADDRESS"), "write ADDRESS", UINT32_MAX);
  const auto value =
      static_cast<uint32_t>(ParseNumber(args.Operand("VALUE"), "write VALUE", UINT32_MAX));
  args.Done();
  Board board(name.board);
  MloCameraHandle* camera = board.Camera(name, context.Progress());
  Check(Mlo_registerWriteToCamera(camera, value, address),
        CameraCall("Mlo_registerWriteToCamera", name) + " at " + HexText(address));
  Json data = Json::MakeObject();
  data.Set("camera", name.Text()).Set("address", address).Set("value", value);
  context.Report(data, [&](const Json&) {
    std::printf("%s: wrote %s to %s\n", name.Text().c_str(), HexText(value).c_str(),
                HexText(address).c_str());
  });
  return 0;
}

}  // namespace vesk::tool
