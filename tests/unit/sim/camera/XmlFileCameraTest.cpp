#include <arv.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/AravisWarnings.h"
#include "tests/support/CameraArvDevice.h"
#include "tests/support/TempDir.h"
#include "tests/unit/sim/camera/CameraTestSupport.h"

// A camera that serves a given XML file over plain memory, for real-world descriptions.
namespace {

using vesk::test::AravisWarnings;
using vesk::test::CameraArvDevice;
using vesk::test::ReadText;
using vesk::test::TempDir;
using namespace vesk::test::camera;

// Reads every feature under `name`; returns how many gave a value.
int ReadTree(ArvGc* genicam, const char* name) {
  ArvGcNode* node = arv_gc_get_node(genicam, name);
  int read = 0;
  if (ARV_IS_GC_CATEGORY(node)) {
    for (const GSList* it = arv_gc_category_get_features(ARV_GC_CATEGORY(node)); it;
         it = it->next) {
      read += ReadTree(genicam, static_cast<const char*>(it->data));
    }
  } else if (ARV_IS_GC_FEATURE_NODE(node) && !ARV_IS_GC_COMMAND(node)) {
    GError* failure = nullptr;
    arv_gc_feature_node_get_value_as_string(ARV_GC_FEATURE_NODE(node), &failure);
    read += failure ? 0 : 1;
    if (failure) g_error_free(failure);
  }
  return read;
}

TEST(XmlFileCameraTest, ServesTheFileOverMemoryThatReadsZerosUntilWritten) {
  TempDir dir;
  const std::string path = dir.File("Some_Camera_1_2_3.xml");
  const std::string xml = "<?xml version=\"1.0\"?>\n<RegisterDescription/>\n";
  vesk::test::WriteText(path, xml);

  std::unique_ptr<Camera> plain =
      Camera::FromXmlFile(path, {"V", "M", "S", "1", "U"}, XmlForm::Plain);
  EXPECT_EQ(plain->XmlFileName(), "Some_Camera_1_2_3.xml");
  EXPECT_EQ(ServedXml(*plain), xml);
  EXPECT_EQ(plain->Identity().serial, "S");
  EXPECT_TRUE(plain->Features().empty());
  EXPECT_FALSE(plain->Value("Width").has_value());
  std::unique_ptr<Camera> zipped = Camera::FromXmlFile(path, {}, XmlForm::Zipped);
  EXPECT_EQ(zipped->XmlFileName(), "Some_Camera_1_2_3.zip");
  EXPECT_EQ(ServedXml(*zipped), xml);

  EXPECT_EQ(ReadBytes(*plain, 0, 8), std::vector<uint8_t>(8, 0));
  EXPECT_EQ(ReadBytes(*plain, 0xC0000FFE, 4), std::vector<uint8_t>(4, 0));
  const std::vector<uint8_t> bytes = {1, 2, 3, 4, 5, 6};
  ASSERT_TRUE(plain->Write(0xC0000FFD, bytes.data(), bytes.size()));
  EXPECT_EQ(ReadBytes(*plain, 0xC0000FFC, 8), (std::vector<uint8_t>{0, 1, 2, 3, 4, 5, 6, 0}));
  EXPECT_EQ(ReadBytes(*plain, 0xFFFFFFFC, 4), std::vector<uint8_t>(4, 0));
  EXPECT_TRUE(ReadBytes(*plain, 0xFFFFFFFE, 4).empty()) << "past 4 GiB";
  EXPECT_FALSE(plain->Write(plain->XmlAddress(), bytes.data(), 1)) << "the file is read-only";
  EXPECT_THROW(Camera::FromXmlFile(dir.File("missing.xml"), {}, XmlForm::Plain),
               std::runtime_error);
}

TEST(XmlFileCameraTest, RealDescriptionsLoadInAravisThroughTheCameraMemory) {
  std::vector<std::string> files;
  std::error_code absent;
  for (const auto& entry : std::filesystem::directory_iterator(VESK_GENICAM_XML_DIR, absent)) {
    // Only files that start as XML: the others are known to be broken.
    const std::string path = entry.path().string();
    if (entry.path().extension() == ".xml" && ReadText(path).rfind("<", 0) == 0) {
      files.push_back(path);
    }
  }
  if (files.empty()) GTEST_SKIP() << "no description files in " << VESK_GENICAM_XML_DIR;
  for (const std::string& path : files) {
    std::unique_ptr<Camera> camera = Camera::FromXmlFile(path, {}, XmlForm::Zipped);
    const std::string xml = ServedXml(*camera);
    EXPECT_EQ(xml, ReadText(path)) << path;
    // Aravis complains about the zeros that the memory holds where entries or divisors belong.
    AravisWarnings expected;
    CameraArvDevice device(*camera, xml);
    ASSERT_NE(device.Genicam(), nullptr) << path;
    EXPECT_GT(ReadTree(device.Genicam(), "Root"), 10) << path;
    EXPECT_EQ(device.RefusedAccesses(), 0u) << path;
  }
}

}  // namespace
