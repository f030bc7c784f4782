#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#include "tests/support/TempDir.h"
#include "tests/unit/sim/camera/CameraTestSupport.h"

// The XML file as the camera serves it: plain or zipped, named after GenICam's convention, in
// read-only register memory at its address.
namespace {

using vesk::sim::CameraIdentity;
using vesk::test::TempDir;
using namespace vesk::test::camera;

std::string Text(const std::vector<uint8_t>& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

// The standard output of a shell command, and its exit status.
std::string Shell(const std::string& command, int* status) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return out;
  std::array<char, 4096> chunk;
  for (size_t count; (count = fread(chunk.data(), 1, chunk.size(), pipe)) > 0;) {
    out.append(chunk.data(), count);
  }
  *status = pclose(pipe);
  return out;
}

class XmlFileTest : public testing::TestWithParam<const char*> {
 protected:
  std::unique_ptr<Camera> Make(XmlForm form, const CameraIdentity& identity = {}) const {
    return Camera::Create(GetParam(), identity, form, Endianness::Little);
  }
};

// Reads of the whole file and of packets go through the node map tests; here its edges.
TEST_P(XmlFileTest, ZipHoldsExactlyThePlainXmlAndTheFileEndsWithItsLastWordReadOnly) {
  const std::unique_ptr<Camera> plain = Make(XmlForm::Plain);
  const std::unique_ptr<Camera> zipped = Make(XmlForm::Zipped);
  const std::string xml = Text(plain->XmlFile());
  const std::string stem = plain->XmlFileName().substr(0, plain->XmlFileName().size() - 4);
  EXPECT_EQ(zipped->XmlFileName(), stem + ".zip");
  EXPECT_EQ(Inflated(zipped->XmlFile()), xml);
  EXPECT_LT(zipped->XmlFile().size(), xml.size() / 4);

  const std::vector<uint8_t>& file = zipped->XmlFile();
  // Memory is read in words: zeros fill the last one, and nothing lies behind it.
  const uint64_t end = zipped->XmlAddress() + file.size();
  const uint64_t padded = zipped->XmlAddress() + (file.size() + 3) / 4 * 4;
  std::vector<uint8_t> tail(file.end() - 3, file.end());
  tail.resize(3 + padded - end, 0);
  EXPECT_EQ(ReadBytes(*zipped, end - 3, tail.size()), tail);
  EXPECT_TRUE(ReadBytes(*zipped, end - 3, tail.size() + 1).empty());
  EXPECT_TRUE(ReadBytes(*zipped, padded, 1).empty());
  const uint8_t byte = 0;
  EXPECT_FALSE(zipped->Write(zipped->XmlAddress(), &byte, 1));
  EXPECT_EQ(ReadBytes(*zipped, zipped->XmlAddress(), 1), std::vector<uint8_t>{'P'});

#ifdef VESK_UNZIP
  TempDir dir;
  const std::string path = dir.File(zipped->XmlFileName());
  std::ofstream(path, std::ios::binary) << Text(file);
  int status = -1;
  Shell(std::string(VESK_UNZIP) + " -tq '" + path + "'", &status);
  EXPECT_EQ(status, 0) << "unzip -t finds the archive damaged";
  EXPECT_EQ(Shell(std::string(VESK_UNZIP) + " -Z1 '" + path + "'", &status), stem + ".xml\n");
  EXPECT_EQ(Shell(std::string(VESK_UNZIP) + " -p '" + path + "'", &status), xml);
#else
  GTEST_SKIP() << "no unzip tool";
#endif
}

TEST_P(XmlFileTest, NamesFollowTheIdentityAsGenICamWantsThem) {
  const std::unique_ptr<Camera> camera = Make(XmlForm::Plain, {"Acme Corp.", "X-1", "", "", ""});
  EXPECT_EQ(camera->XmlFileName(), "Acme_Corp__X_1_1_0_0.xml");
  const std::string xml = Text(camera->XmlFile());
  EXPECT_NE(xml.find("VendorName=\"Acme_Corp_\""), std::string::npos);
  EXPECT_NE(xml.find("ModelName=\"X_1\""), std::string::npos);
  EXPECT_NE(xml.find("xmlns=\"http://www.genicam.org/GenApi/Version_1_1\""), std::string::npos);
  // Another description, another version GUID: GenApi caches descriptions by it.
  const std::string other = Text(Make(XmlForm::Plain)->XmlFile());
  const auto guid = [](const std::string& text) {
    return text.substr(text.find("VersionGuid=\""), 50);
  };
  EXPECT_NE(guid(xml), guid(other));
  EXPECT_EQ(Text(Make(XmlForm::Plain)->XmlFile()), other);
}

INSTANTIATE_TEST_SUITE_P(Models, XmlFileTest, testing::Values("AreaScan", "LineScan"));

}  // namespace
