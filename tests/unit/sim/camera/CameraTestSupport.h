#ifndef VESK_TESTS_UNIT_SIM_CAMERA_CAMERA_TEST_SUPPORT_H
#define VESK_TESTS_UNIT_SIM_CAMERA_CAMERA_TEST_SUPPORT_H

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "sim/camera/Camera.h"
#include "vesk_genicam/impl/ZipReader.h"

// What the camera tests share. Register contents are decoded here from the feature table alone,
// apart from the camera's own code.
namespace vesk::test::camera {

using sim::Camera;
using sim::Endianness;
using sim::Feature;
using sim::FeatureType;
using sim::FeatureValue;

inline std::vector<uint8_t> ReadBytes(Camera& camera, uint64_t address, size_t length) {
  std::vector<uint8_t> bytes(length);
  if (!camera.Read(address, bytes.data(), length)) bytes.clear();
  return bytes;
}

inline std::string Inflated(const std::vector<uint8_t>& zip) {
  CZipReader reader(vesk::templates::container::ManagedDataArray::Copy(zip.data(), zip.size()));
  const CZipReader::DataArrayPtr file = reader.HasFiles() ? reader.GetFile(0) : nullptr;
  return file ? std::string(file->data, file->size) : std::string();
}

// The XML as a port fetches it: read out of register memory in packets, then unzipped.
inline std::string ServedXml(Camera& camera) {
  std::vector<uint8_t> file;
  const size_t size = camera.XmlFile().size();
  for (size_t done = 0; done < size;) {
    const size_t packet = std::min<size_t>(1024, size - done);
    const std::vector<uint8_t> bytes = ReadBytes(camera, camera.XmlAddress() + done, packet);
    if (bytes.empty()) return "";
    file.insert(file.end(), bytes.begin(), bytes.end());
    done += packet;
  }
  const std::string& name = camera.XmlFileName();
  if (name.size() > 4 && name.compare(name.size() - 4, 4, ".zip") == 0) return Inflated(file);
  return std::string(file.begin(), file.end());
}

inline const Feature* FindFeature(const Camera& camera, const std::string& name) {
  for (const Feature& feature : camera.Features()) {
    if (feature.name == name) return &feature;
  }
  return nullptr;
}

inline const Feature& FeatureOf(const Camera& camera, const std::string& name) {
  const Feature* feature = FindFeature(camera, name);
  if (!feature) throw std::out_of_range("no feature " + name);
  return *feature;
}

// The value that the table gives a feature with a register.
inline FeatureValue StartValue(const Feature& feature) {
  switch (feature.type) {
    case FeatureType::Float:
      return feature.length == 4 ? static_cast<float>(feature.floatValue) : feature.floatValue;
    case FeatureType::String:
      return feature.text.substr(0, feature.length);
    case FeatureType::Command:
      return int64_t{0};
    default:
      return feature.value;
  }
}

inline bool IsWritableValue(const Feature& feature) {
  switch (feature.type) {
    case FeatureType::Integer:
    case FeatureType::Float:
    case FeatureType::Enumeration:
    case FeatureType::Boolean:
    case FeatureType::String:
      return feature.access == sim::Access::ReadWrite;
    default:
      return false;
  }
}

// A valid value other than the start value.
inline FeatureValue OtherValue(const Feature& feature) {
  switch (feature.type) {
    case FeatureType::Float:
      return feature.floatValue == feature.floatMax ? feature.floatMin : feature.floatMax;
    case FeatureType::String:
      return std::string("written");
    case FeatureType::Boolean:
      return 1 - feature.value;
    case FeatureType::Enumeration:
      return feature.entries.back().value == feature.value ? feature.entries.front().value
                                                           : feature.entries.back().value;
    default:
      return feature.value == feature.max ? feature.min : feature.max;
  }
}

// The feature's value as its register holds it; `copy` is the selector entry of a selected
// feature, by default the one selected now.
inline FeatureValue RegisterValue(Camera& camera, const Feature& feature, Endianness endianness,
                                  int64_t copy = -1) {
  if (copy < 0) {
    copy = feature.selector.empty() ? 0 : std::get<int64_t>(*camera.Value(feature.selector));
  }
  const std::vector<uint8_t> bytes = ReadBytes(
      camera, feature.address + static_cast<uint64_t>(copy) * feature.stride, feature.length);
  if (bytes.empty()) return std::string("unreadable");
  if (feature.type == FeatureType::String) {
    return std::string(reinterpret_cast<const char*>(bytes.data()),
                       strnlen(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  }
  uint64_t raw = 0;
  for (size_t index = 0; index < bytes.size(); ++index) {
    const size_t at = endianness == Endianness::Big ? index : bytes.size() - 1 - index;
    raw = (raw << 8) | bytes[at];
  }
  if (feature.type == FeatureType::Float) {
    if (feature.length == 8) {
      double value;
      std::memcpy(&value, &raw, sizeof(value));
      return value;
    }
    const auto narrow = static_cast<uint32_t>(raw);
    float value;
    std::memcpy(&value, &narrow, sizeof(value));
    return static_cast<double>(value);
  }
  const uint32_t width = feature.bits ? feature.bits : feature.length * 8;
  const uint64_t mask = width == 64 ? ~0ULL : (1ULL << width) - 1;
  raw = (raw >> feature.lsb) & mask;
  if (feature.isSigned && width < 64 && (raw >> (width - 1)) != 0) raw |= ~mask;
  return static_cast<int64_t>(raw);
}

}  // namespace vesk::test::camera

#endif
