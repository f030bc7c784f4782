// Every reader of a file named from outside takes a regular file of a sane size only: a FIFO that
// nobody writes to, or a file that starts well but goes on far beyond its kind (made sparse, so
// nothing big is written), is refused at once.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "core/plex/CxpLinkConfiguration.h"
#include "genapi/GenApi.h"
#include "templates/platform/PropertiesFile.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestController.h"
#include "vesk_genicam/impl/CameraInterface.h"
#include "vesk_genicam/impl/vesk_genicam.h"
#include "vesk_genicam/impl/vesk_genicam_dump.h"

namespace vesk::test {
namespace {

using core::plex::CxpLinkConfiguration;
using templates::platform::PropertiesFile;

struct Reader {
  const char* name;
  size_t maxBytes;
  // A beginning that the reader takes.
  std::string valid;
  // True if the reader refused the file.
  std::function<bool(const std::string& path)> refuses;
};

// A camera with a node map, for the readers that need one.
struct Camera {
  Camera() { ready = camera.ConnectCamera() == 0; }
  TestController controller;
  CCameraInterface camera{&controller.Port(0), &controller};
  bool ready;
};

template <class Call>
bool Throws(Call&& call) {
  try {
    call();
  } catch (...) {
    return true;
  }
  return false;
}

std::vector<Reader> Readers(Camera& camera) {
  auto* handle = reinterpret_cast<MloCameraHandle*>(&camera.camera);
  return {
      {"board configuration", CxpLinkConfiguration::kMaxFileSize,
       "<cxpconfiguration links='1' linkgroups='0'/>",
       [](const std::string& path) {
         return Throws([&] { CxpLinkConfiguration::Create("cxp")->ReadFromFile(path); });
       }},
      {"parameter dump", genicam::kMaxDumpFileSize, "Width=64\n",
       [=](const std::string& path) {
         return Mlo_LoadCameraParameters(handle, path.c_str(), 1) != 0;
       }},
      {"settings file", PropertiesFile::kMaxFileSize, "[cxp]\nkey = 1\n",
       [](const std::string& path) { return !PropertiesFile().load(path, false, true); }},
      {"camera description", CCameraInterface::kMaxXmlFileSize, TestCameraDescription(),
       [&](const std::string& path) { return camera.camera.ConnectCamera(path.c_str()) != 0; }},
      {"node map factory", GenApi::CNodeMapFactory::kMaxFileSize, TestCameraDescription(),
       [](const std::string& path) {
         return Throws([&] { GenApi::CNodeMapFactory(GenApi::ContentType_Xml, path.c_str()); });
       }},
  };
}

TEST(BoundedFile, EveryReaderRefusesAFifoAndAFileBeyondItsKind) {
  Camera camera;
  ASSERT_TRUE(camera.ready);
  TempDir dir;
  for (const Reader& reader : Readers(camera)) {
    SCOPED_TRACE(reader.name);
    EXPECT_TRUE(ReadWithinBound(dir.Fifo(std::string(reader.name) + ".fifo"), reader.refuses));

    const std::string file = dir.File(reader.name);
    WriteText(file, reader.valid);
    EXPECT_FALSE(reader.refuses(file)) << "the beginning alone is taken";
    std::filesystem::resize_file(file, reader.maxBytes + 1);
    EXPECT_TRUE(reader.refuses(file));
  }
}

}  // namespace
}  // namespace vesk::test
