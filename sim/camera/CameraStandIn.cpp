// A stand-in for the camera models: plain register memory and a tiny XML, enough for the board
// runtime's own tests until the models arrive.
#include <zlib.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <sstream>
#include <stdexcept>

#include "sim/camera/Camera.h"

namespace vesk::sim {

namespace {

constexpr uint64_t kMemorySize = 0x10000;
constexpr uint64_t kXmlAddress = 0x100000;

void Put16(std::vector<uint8_t>& out, uint32_t value) {
  out.push_back(static_cast<uint8_t>(value));
  out.push_back(static_cast<uint8_t>(value >> 8));
}

void Put32(std::vector<uint8_t>& out, uint32_t value) {
  Put16(out, value & 0xFFFF);
  Put16(out, value >> 16);
}

// One stored member: the smallest archive that zip readers accept.
std::vector<uint8_t> Zip(const std::string& name, const std::string& text) {
  const auto crc = static_cast<uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size())));
  const auto size = static_cast<uint32_t>(text.size());
  const auto nameSize = static_cast<uint32_t>(name.size());
  std::vector<uint8_t> out;
  auto header = [&](bool central) {
    Put32(out, central ? 0x02014b50 : 0x04034b50);
    if (central) Put16(out, 20);
    for (uint32_t value : {20u, 0u, 0u, 0u, 0x21u}) Put16(out, value);  // version .. date
    Put32(out, crc);
    Put32(out, size);
    Put32(out, size);
    Put16(out, nameSize);
    Put16(out, 0);
    if (central) {
      for (int i = 0; i < 4; ++i) Put16(out, 0);
      Put32(out, 0);
      Put32(out, 0);  // offset of the local header
    }
    out.insert(out.end(), name.begin(), name.end());
  };
  header(false);
  out.insert(out.end(), text.begin(), text.end());
  const auto centralStart = static_cast<uint32_t>(out.size());
  header(true);
  const auto centralSize = static_cast<uint32_t>(out.size()) - centralStart;
  Put32(out, 0x06054b50);
  for (uint32_t value : {0u, 0u, 1u, 1u}) Put16(out, value);
  Put32(out, centralSize);
  Put32(out, centralStart);
  Put16(out, 0);
  return out;
}

std::string StandInXml(const CameraIdentity& identity, Endianness endianness) {
  std::ostringstream xml;
  xml << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
      << "<RegisterDescription ModelName=\"" << identity.model << "\" VendorName=\""
      << identity.vendor << "\" StandardNameSpace=\"None\" SchemaMajorVersion=\"1\" "
      << "SchemaMinorVersion=\"1\" SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" "
      << "MinorVersion=\"0\" SubMinorVersion=\"0\" ToolTip=\"\" ProductGuid=\"\" "
      << "VersionGuid=\"\" xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n"
      << "  <Category Name=\"Root\"><pFeature>Width</pFeature></Category>\n"
      << "  <IntReg Name=\"Width\"><Address>0x100</Address><Length>4</Length>"
      << "<AccessMode>RW</AccessMode><pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>"
      << (endianness == Endianness::Big ? "BigEndian" : "LittleEndian") << "</Endianess></IntReg>\n"
      << "  <Port Name=\"Device\"/>\n"
      << "</RegisterDescription>\n";
  return xml.str();
}

// Whether [address, address + length) lies in [start, start + size), without overflow.
bool Within(uint64_t address, size_t length, uint64_t start, uint64_t size) {
  return address >= start && length <= size && address - start <= size - length;
}

}  // namespace

struct Camera::State {
  State(const CameraIdentity& identity, const std::string& xml, XmlForm form)
      : identity(identity),
        xmlFile(form == XmlForm::Zipped ? Zip("standin.xml", xml)
                                        : std::vector<uint8_t>(xml.begin(), xml.end())),
        xmlFileName(form == XmlForm::Zipped ? "standin.zip" : "standin.xml") {}

  CameraIdentity identity;
  std::vector<uint8_t> xmlFile;
  std::string xmlFileName;
  std::mutex mutex;
  std::vector<uint8_t> memory = std::vector<uint8_t>(kMemorySize);
  std::vector<RegisterRegion> regions;
};

Camera::Camera(std::unique_ptr<State> state) : state_(std::move(state)) {}
Camera::~Camera() = default;

std::unique_ptr<Camera> Camera::Create(const std::string& model, const CameraIdentity& identity,
                                       XmlForm form, Endianness endianness) {
  if (model != "standin") throw std::invalid_argument("unknown camera model '" + model + "'");
  return std::unique_ptr<Camera>(
      new Camera(std::make_unique<State>(identity, StandInXml(identity, endianness), form)));
}

std::unique_ptr<Camera> Camera::FromXmlFile(const std::string& path, const CameraIdentity& identity,
                                            XmlForm form) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read the XML file '" + path + "'");
  const std::string xml((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return std::unique_ptr<Camera>(new Camera(std::make_unique<State>(identity, xml, form)));
}

std::vector<std::string> Camera::ModelNames() { return {"standin"}; }

bool Camera::Read(uint64_t address, void* bytes, size_t length) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  for (auto region = state_->regions.rbegin(); region != state_->regions.rend(); ++region) {
    if (Within(address, length, region->address, region->length)) {
      return region->read(address - region->address, static_cast<uint8_t*>(bytes), length);
    }
  }
  if (Within(address, length, 0, kMemorySize)) {
    std::memcpy(bytes, state_->memory.data() + address, length);
    return true;
  }
  if (Within(address, length, kXmlAddress, state_->xmlFile.size())) {
    std::memcpy(bytes, state_->xmlFile.data() + (address - kXmlAddress), length);
    return true;
  }
  return false;
}

bool Camera::Write(uint64_t address, const void* bytes, size_t length) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  for (auto region = state_->regions.rbegin(); region != state_->regions.rend(); ++region) {
    if (Within(address, length, region->address, region->length)) {
      return region->write(address - region->address, static_cast<const uint8_t*>(bytes), length);
    }
  }
  if (!Within(address, length, 0, kMemorySize)) return false;
  std::memcpy(state_->memory.data() + address, bytes, length);
  return true;
}

void Camera::AddRegion(RegisterRegion region) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->regions.push_back(std::move(region));
}

const std::vector<uint8_t>& Camera::XmlFile() const { return state_->xmlFile; }
const std::string& Camera::XmlFileName() const { return state_->xmlFileName; }
uint64_t Camera::XmlAddress() const { return kXmlAddress; }
const CameraIdentity& Camera::Identity() const { return state_->identity; }

}  // namespace vesk::sim
