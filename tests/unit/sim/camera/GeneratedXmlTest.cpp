#include <arv.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "tests/support/AravisWarnings.h"
#include "tests/support/CameraArvDevice.h"
#include "tests/unit/sim/camera/CameraTestSupport.h"

// The generated XML through a real GenICam parser: Aravis builds its node map from the XML that
// the camera serves and reaches the registers through the camera's memory. Register contents
// are decoded here from the feature table alone, apart from the camera's own code.
namespace {

using vesk::test::AravisWarnings;
using vesk::test::CameraArvDevice;
using namespace vesk::test::camera;

struct Variant {
  const char* name;
  const char* model;
  Endianness endianness;
  XmlForm form;
};

void PrintTo(const Variant& variant, std::ostream* out) {
  *out << variant.model
       << (variant.endianness == Endianness::Big ? " big-endian" : " little-endian")
       << (variant.form == XmlForm::Zipped ? " zipped" : " plain");
}

// The value that the table gives a feature with a register.
FeatureValue StartValue(const Feature& feature) {
  if (feature.type == FeatureType::Float) {
    return feature.length == 4 ? static_cast<float>(feature.floatValue) : feature.floatValue;
  }
  if (feature.type == FeatureType::String) return feature.text.substr(0, feature.length);
  return feature.type == FeatureType::Command ? 0 : feature.value;
}

// A valid value other than the start value, for a feature that takes writes.
std::optional<FeatureValue> OtherValue(const Feature& feature) {
  if (feature.access != vesk::sim::Access::ReadWrite) return std::nullopt;
  switch (feature.type) {
    case FeatureType::Integer:
      return feature.value == feature.max ? feature.min : feature.max;
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
      return std::nullopt;
  }
}

template <class Float, class Raw>
double FloatOf(Raw raw) {
  Float value;
  std::memcpy(&value, &raw, sizeof(value));
  return value;
}

// The feature's value as its register holds it; `copy` is the selector entry of a selected
// feature, by default the one selected now.
FeatureValue RegisterValue(Camera& camera, const Feature& feature, Endianness endianness,
                           int64_t copy = -1) {
  if (copy < 0) {
    copy = feature.selector.empty() ? 0 : std::get<int64_t>(*camera.Value(feature.selector));
  }
  const std::vector<uint8_t> bytes = ReadBytes(
      camera, feature.address + static_cast<uint64_t>(copy) * feature.stride, feature.length);
  if (bytes.empty()) return std::string("unreadable");
  if (feature.type == FeatureType::String) {
    return std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
  }
  uint64_t raw = 0;
  for (size_t index = 0; index < bytes.size(); ++index) {
    raw = (raw << 8) | bytes[endianness == Endianness::Big ? index : bytes.size() - 1 - index];
  }
  if (feature.type == FeatureType::Float) {
    return feature.length == 8 ? FloatOf<double>(raw) : FloatOf<float>(static_cast<uint32_t>(raw));
  }
  const uint32_t width = feature.bits ? feature.bits : feature.length * 8;
  const uint64_t mask = width == 64 ? ~0ULL : (1ULL << width) - 1;
  raw = (raw >> feature.lsb) & mask;
  if (feature.isSigned && width < 64 && (raw >> (width - 1)) != 0) raw |= ~mask;
  return static_cast<int64_t>(raw);
}

// The failure's message, freeing it; empty for none.
std::string Message(GError* failure) {
  if (!failure) return "";
  const std::string message = failure->message;
  g_error_free(failure);
  return message;
}

// What the node map reads for a feature; a failed read fails the test.
FeatureValue NodeValue(ArvGc* genicam, const Feature& feature) {
  // A command is done once its register no longer reads the command value.
  const bool command = feature.type == FeatureType::Command;
  ArvGcNode* node = arv_gc_get_node(genicam, (feature.name + (command ? "Reg" : "")).c_str());
  EXPECT_NE(node, nullptr) << feature.name;
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
  EXPECT_EQ(Message(failure), "") << feature.name;
  return value;
}

// The error message of the write; empty when it was taken.
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
  return Message(failure);
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
  int64_t Integer(const std::string& name) { return std::get<int64_t>(*camera_->Value(name)); }

  AravisWarnings warnings_;  // from the load on
  std::unique_ptr<Camera> camera_;
  std::unique_ptr<CameraArvDevice> device_;
};

TEST_P(GeneratedXmlTest, LoadsQuietlyAndEveryFeatureReadsWhatTheCameraHolds) {
  auto* description = ARV_GC_REGISTER_DESCRIPTION_NODE(
      arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(Genicam())));
  EXPECT_EQ(arv_gc_register_description_node_get_schema_major_version(description), 1u);
  EXPECT_EQ(arv_gc_register_description_node_get_schema_minor_version(description), 1u);
  std::set<std::string> table;
  for (const Feature& feature : camera_->Features()) {
    table.insert(feature.name);
    if (feature.type == FeatureType::Category) continue;
    const FeatureValue read = NodeValue(Genicam(), feature);
    EXPECT_EQ(read, *camera_->Value(feature.name)) << feature.name;
    if (feature.type != FeatureType::IntSwissKnife && feature.type != FeatureType::Converter) {
      EXPECT_EQ(read, StartValue(feature)) << feature.name;
    }
  }
  std::set<std::string> reached;  // from Root: exactly the table's features
  CollectCategory(Genicam(), "Root", &reached);
  reached.erase("Root");
  EXPECT_EQ(reached, table);
  EXPECT_EQ(device_->RefusedAccesses(), 0u);
  EXPECT_EQ(warnings_.Text(), "");
}

TEST_P(GeneratedXmlTest, WritesThroughTheNodeMapLandInTheRegistersOrComeBackAsErrors) {
  for (const Feature& feature : camera_->Features()) {
    const std::optional<FeatureValue> other = OtherValue(feature);
    if (!other) continue;
    const FeatureValue& written = *other;
    ASSERT_EQ(SetNodeValue(Genicam(), feature.name, written), "") << feature.name;
    EXPECT_EQ(NodeValue(Genicam(), feature), written) << feature.name;
    EXPECT_EQ(*camera_->Value(feature.name), written) << feature.name;
    EXPECT_EQ(RegisterValue(*camera_, feature, GetParam().endianness), written) << feature.name;
  }
  EXPECT_EQ(device_->RefusedAccesses(), 0u);

  const Feature& width = Find("Width");
  EXPECT_NE(SetNodeValue(Genicam(), "Width", width.max + width.inc), "");
  EXPECT_NE(SetNodeValue(Genicam(), "DeviceVendorName", std::string("other")), "");
  EXPECT_EQ(camera_->Value("Width"), OtherValue(width));
  EXPECT_EQ(device_->RefusedAccesses(), 2u);
}

TEST_P(GeneratedXmlTest, CommandsRunForTheirBusyReadsThenAreDone) {
  for (const Feature& feature : camera_->Features()) {
    if (feature.type != FeatureType::Command) continue;
    GError* failure = nullptr;
    arv_gc_command_execute(ARV_GC_COMMAND(arv_gc_get_node(Genicam(), feature.name.c_str())),
                           &failure);
    ASSERT_EQ(Message(failure), "") << feature.name;
    EXPECT_EQ(*camera_->Value(feature.name),
              FeatureValue(feature.busyReads ? feature.commandValue : int64_t{0}));
    // IsDone polls the command's register until it leaves the command value.
    std::vector<FeatureValue> expected(feature.busyReads, feature.commandValue);
    expected.push_back(int64_t{0});
    std::vector<FeatureValue> polls;
    while (polls.size() < expected.size()) polls.push_back(NodeValue(Genicam(), feature));
    EXPECT_EQ(polls, expected) << feature.name;
  }
}

TEST_P(GeneratedXmlTest, SelectorAndFormulaNodesFollowTheFeaturesTheyUse) {
  // The selector picks the register of its entry.
  const Feature& mode = Find("TriggerMode");
  const Feature& selector = Find(mode.selector);
  const int64_t start = selector.value;
  const int64_t other = start == 0 ? 1 : 0;
  ASSERT_EQ(SetNodeValue(Genicam(), selector.name, other), "");
  ASSERT_EQ(SetNodeValue(Genicam(), mode.name, int64_t{1}), "");
  ASSERT_EQ(SetNodeValue(Genicam(), selector.name, start), "");
  EXPECT_EQ(NodeValue(Genicam(), mode), FeatureValue(int64_t{0}));
  EXPECT_EQ(*camera_->Value(mode.name), FeatureValue(int64_t{0}));
  EXPECT_EQ(RegisterValue(*camera_, mode, GetParam().endianness, other), FeatureValue(int64_t{1}));
  ASSERT_EQ(SetNodeValue(Genicam(), selector.name, other), "");
  EXPECT_EQ(NodeValue(Genicam(), mode), FeatureValue(int64_t{1}));

  const Feature& width = Find("Width");
  const Feature& format = Find("PixelFormat");
  ASSERT_EQ(SetNodeValue(Genicam(), "Width", width.max - width.inc), "");
  ASSERT_EQ(SetNodeValue(Genicam(), "PixelFormat", format.entries.back().value), "");
  // Bits per pixel stand in bits 16 to 23 of a pixel format's code.
  const int64_t bits = (format.entries.back().value >> 16) & 0xFF;
  const FeatureValue payload = Integer("Width") * Integer("Height") * bits / 8;
  EXPECT_EQ(NodeValue(Genicam(), Find("PayloadSize")), payload);
  EXPECT_EQ(*camera_->Value("PayloadSize"), payload);
  if (camera_->Value("ExposureTimeRaw")) {
    // The raw register counts steps of 0.1 us.
    ASSERT_EQ(SetNodeValue(Genicam(), "ExposureTime", 2500.5), "");
    EXPECT_EQ(Integer("ExposureTimeRaw"), 25005);
    ASSERT_EQ(SetNodeValue(Genicam(), "ExposureTimeRaw", int64_t{1230}), "");
    EXPECT_EQ(NodeValue(Genicam(), Find("ExposureTime")), FeatureValue(123.0));
    EXPECT_EQ(*camera_->Value("ExposureTime"), FeatureValue(123.0));
  }
}

// The quiet load above hears Aravis when there is something to hear.
TEST(AravisWarningsTest, HearAravisComplainAboutBrokenXml) {
  std::unique_ptr<Camera> camera = Camera::Create("LineScan", {}, XmlForm::Plain, Endianness::Big);
  std::string xml = ServedXml(*camera);
  xml.erase(xml.find("</Category>"), 11);
  AravisWarnings warnings;
  CameraArvDevice device(*camera, xml);
  EXPECT_NE(warnings.Text(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Models, GeneratedXmlTest,
    testing::Values(
        Variant{"AreaScan_Big_Plain", "AreaScan", Endianness::Big, XmlForm::Plain},
        Variant{"AreaScan_Little_Zipped", "AreaScan", Endianness::Little, XmlForm::Zipped},
        Variant{"LineScan_Little_Plain", "LineScan", Endianness::Little, XmlForm::Plain},
        Variant{"LineScan_Big_Zipped", "LineScan", Endianness::Big, XmlForm::Zipped}),
    [](const testing::TestParamInfo<Variant>& info) { return std::string(info.param.name); });

}  // namespace
