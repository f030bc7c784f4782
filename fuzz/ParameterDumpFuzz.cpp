// Parameter dumps are edited by hand: whatever their bytes, a load over a real camera description
// either applies its lines or stops at a value the camera refuses, and a lax load never fails.
#include <arv.h>

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "genapi/GenApi.h"
#include "vesk_genicam/impl/vesk_genicam_dump.h"

namespace {

// Aravis's fake camera: its description over its own registers.
class FakeCameraPort : public GenApi::IPort {
 public:
  FakeCameraPort() : camera_(arv_fake_camera_new("DUMP-FUZZ")) {}

  GenApi::EAccessMode GetAccessMode() const override { return GenApi::RW; }
  void Read(void* buffer, int64_t address, int64_t length) override {
    arv_fake_camera_read_memory(camera_, static_cast<guint32>(address),
                                static_cast<guint32>(length), buffer);
  }
  void Write(const void* buffer, int64_t address, int64_t length) override {
    arv_fake_camera_write_memory(camera_, static_cast<guint32>(address),
                                 static_cast<guint32>(length), buffer);
  }
  std::string Xml() {
    size_t size = 0;
    const char* xml = arv_fake_camera_get_genicam_xml(camera_, &size);
    return std::string(xml, size);
  }

 private:
  ArvFakeCamera* camera_;
};

GenApi::CNodeMapRef* NodeMap() {
  static FakeCameraPort* port = new FakeCameraPort;
  static GenApi::CNodeMapRef* map = [] {
    auto* nodeMap = new GenApi::CNodeMapRef;
    nodeMap->_LoadXMLFromString(port->Xml().c_str());
    if (!nodeMap->_Connect(port, "Device")) __builtin_trap();
    return nodeMap;
  }();
  return map;
}

void Count(void* user, const std::string&, bool) { ++*static_cast<int*>(user); }

// The most reports a text can give: one per line with "=".
int Assignments(const std::string& text) {
  int count = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line[0] != '#' && line.find('=') != std::string::npos) ++count;
  }
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  GenApi::CNodeMapRef* map = NodeMap();
  for (bool strict : {true, false}) {
    std::istringstream stream(text);
    int reports = 0;
    try {
      const bool done =
          vesk::genicam::restoreCameraParameters(stream, map, strict, &reports, Count);
      if (!strict && !done) __builtin_trap();
      if (done && reports != Assignments(text)) __builtin_trap();
    } catch (const GenICam::GenericException&) {
      // A value the camera refuses leaves the load.
    }
    if (reports > Assignments(text)) __builtin_trap();
  }
  return 0;
}
