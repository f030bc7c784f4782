#ifndef VESK_SIM_CAMERA_CAMERA_H
#define VESK_SIM_CAMERA_CAMERA_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/camera/Feature.h"

namespace vesk::sim {

enum class XmlForm { Plain, Zipped };
enum class Endianness { Little, Big };

// What a camera tells about itself; empty fields take the model's own.
struct CameraIdentity {
  std::string vendor;
  std::string model;
  std::string serial;
  std::string version;
  std::string userName;
};

// A range of register memory whose accesses a transport model answers itself (its bootstrap
// registers, say). Offsets are relative to the start of the range.
struct RegisterRegion {
  uint64_t address = 0;
  uint64_t length = 0;
  std::function<bool(uint64_t offset, uint8_t* bytes, size_t length)> read;
  std::function<bool(uint64_t offset, const uint8_t* bytes, size_t length)> write;
};

// One simulated camera: its register memory and the GenICam XML that describes it. Both are
// generated from one feature table, so they cannot disagree. Safe to use from several threads.
class Camera {
 public:
  // A camera of a built-in model. Throws std::invalid_argument for an unknown model name.
  static std::unique_ptr<Camera> Create(const std::string& model, const CameraIdentity& identity,
                                        XmlForm form, Endianness endianness);
  // A camera that serves the XML file at path over plain register memory, for real-world XML.
  // Throws std::runtime_error if the file cannot be read.
  static std::unique_ptr<Camera> FromXmlFile(const std::string& path,
                                             const CameraIdentity& identity, XmlForm form);
  static std::vector<std::string> ModelNames();

  virtual ~Camera();

  // False for a range that the camera does not have: the transport answers with its protocol's
  // error, never with an assertion.
  bool Read(uint64_t address, void* bytes, size_t length);
  bool Write(uint64_t address, const void* bytes, size_t length);
  // Regions added later take precedence over the feature registers they overlap. An access that
  // lies only partly in the topmost region it touches is refused. The region's handlers run
  // without the camera's lock held, so they may call back into the camera.
  void AddRegion(RegisterRegion region);

  // The XML file as the camera serves it (plain text or a zip archive), its file name (".xml"
  // or ".zip") and where it lies in register memory.
  const std::vector<uint8_t>& XmlFile() const;
  const std::string& XmlFileName() const;
  uint64_t XmlAddress() const;
  const CameraIdentity& Identity() const;

  // The feature table of a built-in model, in the order of its XML; empty for a camera over an
  // XML file. Its values are the ones the camera started with.
  const std::vector<Feature>& Features() const;
  // What the camera holds now for a feature of its table; for a selected feature, the copy that
  // its selector picks. Empty for a category or a name outside the table.
  std::optional<FeatureValue> Value(const std::string& name);

 private:
  struct State;
  explicit Camera(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace vesk::sim

#endif
