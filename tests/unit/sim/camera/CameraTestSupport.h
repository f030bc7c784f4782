#ifndef VESK_TESTS_UNIT_SIM_CAMERA_CAMERA_TEST_SUPPORT_H
#define VESK_TESTS_UNIT_SIM_CAMERA_CAMERA_TEST_SUPPORT_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "sim/camera/Camera.h"
#include "vesk_genicam/impl/ZipReader.h"

// What the camera tests share.
namespace vesk::test::camera {

using sim::Camera;
using sim::Endianness;
using sim::Feature;
using sim::FeatureType;
using sim::FeatureValue;
using sim::XmlForm;

// Empty when the camera refuses the read.
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
  for (size_t done = 0; done < size; done += 1024) {
    const std::vector<uint8_t> bytes =
        ReadBytes(camera, camera.XmlAddress() + done, std::min<size_t>(1024, size - done));
    if (bytes.empty()) return "";
    file.insert(file.end(), bytes.begin(), bytes.end());
  }
  const std::string& name = camera.XmlFileName();
  if (name.size() > 4 && name.compare(name.size() - 4, 4, ".zip") == 0) return Inflated(file);
  return std::string(file.begin(), file.end());
}

inline const Feature& FeatureOf(const Camera& camera, const std::string& name) {
  for (const Feature& feature : camera.Features()) {
    if (feature.name == name) return feature;
  }
  throw std::out_of_range("no feature " + name);
}

}  // namespace vesk::test::camera

#endif
