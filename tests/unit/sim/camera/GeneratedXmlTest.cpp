#include <arv.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "sim/camera/Camera.h"
#include "tests/support/AravisWarnings.h"
#include "tests/support/CameraArvDevice.h"
#include "tests/unit/sim/camera/CameraTestSupport.h"

// The generated XML through a real GenICam parser: Aravis builds its node map from the XML that
// the camera serves and reaches the registers through the camera's memory.
namespace {

using vesk::sim::Camera;
using vesk::sim::Endianness;
using vesk::sim::Feature;
using vesk::sim::FeatureType;
using vesk::sim::FeatureValue;
using vesk::sim::XmlForm;
using vesk::test::AravisWarnings;
using vesk::test::CameraArvDevice;
using namespace vesk::test::camera;

struct Variant {
  const char* model;
  Endianness endianness;
  XmlForm form;
};

void PrintTo(const Variant& variant, std::ostream* out) {
  *out << variant.model
       << (variant.endianness == Endianness::Big ? " big-endian" : " little-endian")
       << (variant.form == XmlForm::Zipped ? " zipped" : " plain");
}

std::string VariantName(const testing::TestParamInfo<Variant>& info) {
  return std::string(info.param.model) +
         (info.param.endianness == Endianness::Big ? "_Big" : "_Little") +
         (info.param.form == XmlForm::Zipped ? "_Zipped" : "_Plain");
}

// What the node map reads for a feature, or the error it reports.
FeatureValue NodeValue(ArvGc* genicam, const Feature& feature, std::string* error) {
  const bool command = feature.type == FeatureType::Command;
  // A command is done once its register no longer reads the command value.
  ArvGcNode* node = arv_gc_get_node(genicam, (feature.name + (command ? "Reg" : "")).c_str());
  if (!node) {
    *error = "no node";
    return int64_t{0};
  }
  GError* failure = nullptr;
  FeatureValue value;
  switch (feature.type) {
    case FeatureType::Float:
    case FeatureType::Converter:
      value = arv_gc_float_get_value(ARV_GC_FLOAT(node), &failure);
      break;
    case FeatureType::String:
      value = std::string(arv_gc_string_get_value(ARV_GC_STRING(node), &failure) ?: "");
      break;
    case FeatureType::Boolean:
      value = int64_t{arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node), &failure)};
      break;
    case FeatureType::Enumeration:
      value = arv_gc_enumeration_get_int_value(ARV_GC_ENUMERATION(node), &failure);
      break;
    default:
      value = arv_gc_integer_get_value(ARV_GC_INTEGER(node), &failure);
  }
  if (failure) {
    *error = failure->message;
    g_error_free(failure);
  }
  return value;
}

std::string SetNodeValue(ArvGc* genicam, const std::string& name, const FeatureValue& value) {
  ArvGcNode* node = arv_gc_get_node(genicam, name.c_str());
  GError* failure = nullptr;
  if (std::holds_alternative<double>(value)) {
    arv_gc_float_set_value(ARV_GC_FLOAT(node), std::get<double>(value), &failure);
  } else if (std::holds_alternative<std::string>(value)) {
    arv_gc_string_set_value(ARV_GC_STRING(node), std::get<std::string>(value).c_str(), &failure);
  } else if (ARV_IS_GC_BOOLEAN(node)) {
    arv_gc_boolean_set_value(ARV_GC_BOOLEAN(node), std::get<int64_t>(value) != 0, &failure);
  } else if (ARV_IS_GC_ENUMERATION(node)) {
    arv_gc_enumeration_set_int_value(ARV_GC_ENUMERATION(node), std::get<int64_t>(value), &failure);
  } else {
    arv_gc_integer_set_value(ARV_GC_INTEGER(node), std::get<int64_t>(value), &failure);
  }
  std::string error;
  if (failure) {
    error = failure->message;
    g_error_free(failure);
  }
  return error;
}

void CollectCategory(ArvGc* genicam, const std::string& name, std::set<std::string>* reached) {
  reached->insert(name);
  ArvGcNode* node = arv_gc_get_node(genicam, name.c_str());
  if (!ARV_IS_GC_CATEGORY(node)) return;
  for (const GSList* it = arv_gc_category_get_features(ARV_GC_CATEGORY(node)); it; it = it->next) {
    CollectCategory(genicam, static_cast<const char*>(it->data), reached);
  }
}

class GeneratedXmlTest : public testing::TestWithParam<Variant> {
 protected:
  void SetUp() override {
    camera_ = Camera::Create(GetParam().model, {}, GetParam().form, GetParam().endianness);
    device_ = std::make_unique<CameraArvDevice>(*camera_, ServedXml(*camera_));
    ASSERT_NE(device_->Genicam(), nullptr);
  }

  ArvGc* Genicam() const { return device_->Genicam(); }
  const Feature& Find(const std::string& name) const { return FeatureOf(*camera_, name); }
  bool Has(const std::string& name) const { return FindFeature(*camera_, name) != nullptr; }
  int64_t Integer(const std::string& name) { return std::get<int64_t>(*camera_->Value(name)); }

  std::unique_ptr<Camera> camera_;
  std::unique_ptr<CameraArvDevice> device_;
};

TEST_P(GeneratedXmlTest, LoadsQuietlyAndEveryFeatureReadsWhatTheCameraHolds) {
  AravisWarnings warnings;
  CameraArvDevice device(*camera_, ServedXml(*camera_));
  ASSERT_NE(device.Genicam(), nullptr);
  auto* description = ARV_GC_REGISTER_DESCRIPTION_NODE(
      arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(device.Genicam())));
  EXPECT_EQ(arv_gc_register_description_node_get_schema_major_version(description), 1u);
  EXPECT_EQ(arv_gc_register_description_node_get_schema_minor_version(description), 1u);

  for (const Feature& feature : camera_->Features()) {
    if (feature.type == FeatureType::Category) continue;
    std::string error;
    const FeatureValue read = NodeValue(device.Genicam(), feature, &error);
    EXPECT_EQ(error, "") << feature.name;
    EXPECT_EQ(read, *camera_->Value(feature.name)) << feature.name;
    if (feature.type != FeatureType::IntSwissKnife && feature.type != FeatureType::Converter) {
      EXPECT_EQ(read, StartValue(feature)) << feature.name;
    }
  }
  EXPECT_EQ(device.RefusedAccesses(), 0u);
  EXPECT_EQ(warnings.Text(), "");
}

TEST_P(GeneratedXmlTest, RootReachesExactlyTheTablesFeatures) {
  std::set<std::string> reached;
  CollectCategory(Genicam(), "Root", &reached);
  reached.erase("Root");
  std::set<std::string> table;
  for (const Feature& feature : camera_->Features()) table.insert(feature.name);
  EXPECT_EQ(reached, table);
}

TEST_P(GeneratedXmlTest, WritesThroughTheNodeMapLandInTheRegisters) {
  for (const Feature& feature : camera_->Features()) {
    if (!IsWritableValue(feature)) continue;
    const FeatureValue written = OtherValue(feature);
    ASSERT_EQ(SetNodeValue(Genicam(), feature.name, written), "") << feature.name;
    std::string error;
    EXPECT_EQ(NodeValue(Genicam(), feature, &error), written) << feature.name << error;
    EXPECT_EQ(*camera_->Value(feature.name), written) << feature.name;
    EXPECT_EQ(RegisterValue(*camera_, feature, GetParam().endianness), written) << feature.name;
  }
  EXPECT_EQ(device_->RefusedAccesses(), 0u);
}

TEST_P(GeneratedXmlTest, RefusedWritesReachTheNodeMapAsErrors) {
  const Feature& width = Find("Width");
  EXPECT_NE(SetNodeValue(Genicam(), "Width", width.max + width.inc), "");
  EXPECT_NE(SetNodeValue(Genicam(), "DeviceVendorName", std::string("other")), "");
  EXPECT_EQ(*camera_->Value("Width"), FeatureValue(width.value));
  EXPECT_EQ(device_->RefusedAccesses(), 2u);
}

TEST_P(GeneratedXmlTest, CommandsRunForTheirBusyReadsThenAreDone) {
  for (const Feature& feature : camera_->Features()) {
    if (feature.type != FeatureType::Command) continue;
    GError* failure = nullptr;
    arv_gc_command_execute(ARV_GC_COMMAND(arv_gc_get_node(Genicam(), feature.name.c_str())),
                           &failure);
    ASSERT_EQ(failure, nullptr) << feature.name;
    EXPECT_EQ(*camera_->Value(feature.name),
              FeatureValue(feature.busyReads ? feature.commandValue : int64_t{0}));
    // IsDone polls the command's register until it leaves the command value.
    std::vector<int64_t> polls;
    std::string error;
    for (uint32_t poll = 0; poll <= feature.busyReads; ++poll) {
      polls.push_back(std::get<int64_t>(NodeValue(Genicam(), feature, &error)));
    }
    std::vector<int64_t> expected(feature.busyReads, feature.commandValue);
    expected.push_back(0);
    EXPECT_EQ(polls, expected) << feature.name << error;
  }
}

TEST_P(GeneratedXmlTest, SelectorPicksTheRegisterOfItsEntry) {
  const Feature& mode = Find("TriggerMode");
  const Feature& selector = Find(mode.selector);
  const int64_t start = selector.value;
  const int64_t other = start == 0 ? 1 : 0;
  ASSERT_EQ(SetNodeValue(Genicam(), selector.name, other), "");
  ASSERT_EQ(SetNodeValue(Genicam(), mode.name, int64_t{1}), "");
  ASSERT_EQ(SetNodeValue(Genicam(), selector.name, start), "");

  std::string error;
  EXPECT_EQ(NodeValue(Genicam(), mode, &error), FeatureValue(int64_t{0}));
  EXPECT_EQ(*camera_->Value(mode.name), FeatureValue(int64_t{0}));
  EXPECT_EQ(RegisterValue(*camera_, mode, GetParam().endianness, other), FeatureValue(int64_t{1}));
  ASSERT_EQ(SetNodeValue(Genicam(), selector.name, other), "");
  EXPECT_EQ(NodeValue(Genicam(), mode, &error), FeatureValue(int64_t{1})) << error;
}

TEST_P(GeneratedXmlTest, FormulaNodesFollowTheFeaturesTheyUse) {
  const Feature& width = Find("Width");
  const Feature& format = Find("PixelFormat");
  ASSERT_EQ(SetNodeValue(Genicam(), "Width", width.max - width.inc), "");
  ASSERT_EQ(SetNodeValue(Genicam(), "PixelFormat", format.entries.back().value), "");
  // Bits per pixel stand in bits 16 to 23 of a pixel format's code.
  const int64_t bits = (format.entries.back().value >> 16) & 0xFF;
  const int64_t payload = Integer("Width") * Integer("Height") * bits / 8;
  std::string error;
  EXPECT_EQ(NodeValue(Genicam(), Find("PayloadSize"), &error), FeatureValue(payload)) << error;
  EXPECT_EQ(*camera_->Value("PayloadSize"), FeatureValue(payload));

  if (Has("ExposureTimeRaw")) {
    // The raw register counts steps of 0.1 us.
    ASSERT_EQ(SetNodeValue(Genicam(), "ExposureTime", 2500.5), "");
    EXPECT_EQ(Integer("ExposureTimeRaw"), 25005);
    ASSERT_EQ(SetNodeValue(Genicam(), "ExposureTimeRaw", int64_t{1230}), "");
    EXPECT_EQ(NodeValue(Genicam(), Find("ExposureTime"), &error), FeatureValue(123.0));
    EXPECT_EQ(*camera_->Value("ExposureTime"), FeatureValue(123.0));
  }
}

// The quiet check above hears Aravis when there is something to hear.
TEST(AravisWarningsTest, HearAravisComplainAboutBrokenXml) {
  std::unique_ptr<Camera> camera = Camera::Create("LineScan", {}, XmlForm::Plain, Endianness::Big);
  std::string xml = ServedXml(*camera);
  xml.erase(xml.find("</Category>"), 11);
  AravisWarnings warnings;
  CameraArvDevice device(*camera, xml);
  EXPECT_NE(warnings.Text(), "");
}

INSTANTIATE_TEST_SUITE_P(Models, GeneratedXmlTest,
                         testing::Values(Variant{"AreaScan", Endianness::Big, XmlForm::Plain},
                                         Variant{"AreaScan", Endianness::Little, XmlForm::Zipped},
                                         Variant{"LineScan", Endianness::Little, XmlForm::Plain},
                                         Variant{"LineScan", Endianness::Big, XmlForm::Zipped}),
                         VariantName);

}  // namespace
