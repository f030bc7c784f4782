#include "sim/camera/Camera.h"

#include <fstream>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "sim/camera/CameraModel.h"
#include "sim/camera/FeatureRegisters.h"
#include "sim/camera/GenApiXmlWriter.h"
#include "sim/camera/PlainMemory.h"
#include "sim/camera/ZipWriter.h"

namespace vesk::sim {

namespace {

// Far above the feature registers (0x100000 on) and the transports' bootstrap registers, and
// above the registers of the real-world XML files that a camera may serve.
constexpr uint64_t kXmlAddress = 0xF0000000;

struct ModelMaker {
  const char* name;
  CameraModel (*make)();
};
const ModelMaker kModels[] = {{"AreaScan", AreaScanModel}, {"LineScan", LineScanModel}};

CameraIdentity Resolved(const CameraIdentity& given, const CameraIdentity& defaults) {
  const auto pick = [](const std::string& text, const std::string& fallback) {
    return text.empty() ? fallback : text;
  };
  return {pick(given.vendor, defaults.vendor), pick(given.model, defaults.model),
          pick(given.serial, defaults.serial), pick(given.version, defaults.version),
          pick(given.userName, defaults.userName)};
}

void ApplyIdentity(const CameraIdentity& identity, std::vector<Feature>& features) {
  const std::pair<const char*, const std::string*> strings[] = {
      {"DeviceVendorName", &identity.vendor},   {"DeviceModelName", &identity.model},
      {"DeviceSerialNumber", &identity.serial}, {"DeviceVersion", &identity.version},
      {"DeviceUserID", &identity.userName},
  };
  for (Feature& feature : features) {
    for (const auto& [name, text] : strings) {
      if (feature.name == name) feature.text = *text;
    }
  }
}

std::vector<uint8_t> Bytes(const std::string& text) {
  return std::vector<uint8_t>(text.begin(), text.end());
}

// Where [address, address + length) overlaps [start, start + size): not at all, wholly, or in
// part.
enum class Overlap { None, Inside, Partial };

Overlap OverlapOf(uint64_t address, size_t length, uint64_t start, uint64_t size) {
  const uint64_t end = address + length;
  if (end <= start || address >= start + size) return Overlap::None;
  return address >= start && end <= start + size ? Overlap::Inside : Overlap::Partial;
}

using Regions = std::vector<std::shared_ptr<const RegisterRegion>>;

// The topmost region that the access touches, or null; *partial if the access leaves it.
std::shared_ptr<const RegisterRegion> Touched(const Regions& regions, uint64_t address,
                                              size_t length, bool* partial) {
  for (auto it = regions.rbegin(); it != regions.rend(); ++it) {
    const Overlap overlap = OverlapOf(address, length, (*it)->address, (*it)->length);
    if (overlap == Overlap::None) continue;
    *partial = overlap == Overlap::Partial;
    return *it;
  }
  return nullptr;
}

}  // namespace

struct Camera::State {
  std::mutex mutex;
  CameraIdentity identity;
  std::vector<uint8_t> xmlFile;
  std::string xmlFileName;
  // One of the two: the registers of a built-in model, or plain memory under a given XML file.
  std::unique_ptr<FeatureRegisters> registers;
  std::unique_ptr<PlainMemory> memory;
  Regions regions;
};

Camera::Camera(std::unique_ptr<State> state) : state_(std::move(state)) {}

Camera::~Camera() = default;

std::vector<std::string> Camera::ModelNames() {
  std::vector<std::string> names;
  for (const ModelMaker& model : kModels) names.push_back(model.name);
  return names;
}

std::unique_ptr<Camera> Camera::Create(const std::string& model, const CameraIdentity& identity,
                                       XmlForm form, Endianness endianness) {
  const ModelMaker* maker = nullptr;
  for (const ModelMaker& candidate : kModels) {
    if (model == candidate.name) maker = &candidate;
  }
  if (!maker) throw std::invalid_argument("unknown camera model: " + model);

  CameraModel table = maker->make();
  table.identity = Resolved(identity, table.identity);
  ApplyIdentity(table.identity, table.features);

  auto state = std::make_unique<State>();
  state->identity = table.identity;
  const std::string stem = GenApiXmlWriter::FileStem(table.identity);
  const std::vector<uint8_t> xml = Bytes(GenApiXmlWriter::Write(table, endianness));
  state->registers = std::make_unique<FeatureRegisters>(std::move(table.features), endianness);
  if (form == XmlForm::Zipped) {
    state->xmlFile = ZipWriter::Archive(stem + ".xml", xml);
    state->xmlFileName = stem + ".zip";
  } else {
    state->xmlFile = xml;
    state->xmlFileName = stem + ".xml";
  }
  return std::unique_ptr<Camera>(new Camera(std::move(state)));
}

std::unique_ptr<Camera> Camera::FromXmlFile(const std::string& path, const CameraIdentity& identity,
                                            XmlForm form) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read XML file " + path);
  const std::vector<uint8_t> xml((std::istreambuf_iterator<char>(in)),
                                 std::istreambuf_iterator<char>());
  if (in.bad()) throw std::runtime_error("cannot read XML file " + path);

  const size_t slash = path.find_last_of('/');
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  auto state = std::make_unique<State>();
  state->identity = identity;
  state->memory = std::make_unique<PlainMemory>();
  if (form == XmlForm::Zipped) {
    const size_t dot = name.find_last_of('.');
    state->xmlFile = ZipWriter::Archive(name, xml);
    state->xmlFileName = name.substr(0, dot) + ".zip";
  } else {
    state->xmlFile = xml;
    state->xmlFileName = name;
  }
  return std::unique_ptr<Camera>(new Camera(std::move(state)));
}

bool Camera::Read(uint64_t address, void* bytes, size_t length) {
  if (!bytes || length == 0 || address + length < address) return false;
  auto* out = static_cast<uint8_t*>(bytes);
  std::shared_ptr<const RegisterRegion> region;
  {
    std::lock_guard<std::mutex> lock(state_->mutex);
    bool partial = false;
    region = Touched(state_->regions, address, length, &partial);
    if (partial) return false;
    if (!region) {
      const std::vector<uint8_t>& xml = state_->xmlFile;
      // Memory is read in whole words: the file's last word is padded with zeros.
      const size_t padded = (xml.size() + 3) / 4 * 4;
      switch (OverlapOf(address, length, kXmlAddress, padded)) {
        case Overlap::Partial:
          return false;
        case Overlap::Inside: {
          const size_t from = static_cast<size_t>(address - kXmlAddress);
          const size_t copied = from < xml.size() ? std::min(length, xml.size() - from) : 0;
          std::copy_n(xml.begin() + static_cast<ptrdiff_t>(from), copied, out);
          std::fill(out + copied, out + length, uint8_t{0});
          return true;
        }
        case Overlap::None:
          break;
      }
      return state_->registers ? state_->registers->Read(address, out, length)
                               : state_->memory->Read(address, out, length);
    }
  }
  return region->read && region->read(address - region->address, out, length);
}

bool Camera::Write(uint64_t address, const void* bytes, size_t length) {
  if (!bytes || length == 0 || address + length < address) return false;
  const auto* in = static_cast<const uint8_t*>(bytes);
  std::shared_ptr<const RegisterRegion> region;
  {
    std::lock_guard<std::mutex> lock(state_->mutex);
    bool partial = false;
    region = Touched(state_->regions, address, length, &partial);
    if (partial) return false;
    if (!region) {
      // The XML file is read-only.
      if (OverlapOf(address, length, kXmlAddress, state_->xmlFile.size()) != Overlap::None) {
        return false;
      }
      return state_->registers ? state_->registers->Write(address, in, length)
                               : state_->memory->Write(address, in, length);
    }
  }
  return region->write && region->write(address - region->address, in, length);
}

void Camera::AddRegion(RegisterRegion region) {
  auto shared = std::make_shared<const RegisterRegion>(std::move(region));
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->regions.push_back(std::move(shared));
}

const std::vector<uint8_t>& Camera::XmlFile() const { return state_->xmlFile; }

const std::string& Camera::XmlFileName() const { return state_->xmlFileName; }

uint64_t Camera::XmlAddress() const { return kXmlAddress; }

const CameraIdentity& Camera::Identity() const { return state_->identity; }

const std::vector<Feature>& Camera::Features() const {
  static const std::vector<Feature> none;
  return state_->registers ? state_->registers->Features() : none;
}

std::optional<FeatureValue> Camera::Value(const std::string& name) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  if (!state_->registers) return std::nullopt;
  return state_->registers->Value(name);
}

}  // namespace vesk::sim
