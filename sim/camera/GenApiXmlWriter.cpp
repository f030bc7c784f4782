#include "sim/camera/GenApiXmlWriter.h"

#include <charconv>
#include <cstdio>
#include <map>
#include <set>

namespace vesk::sim {

namespace {

constexpr int kXmlMajor = 1;
constexpr int kXmlMinor = 0;
constexpr int kXmlSubMinor = 0;

std::string Escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string Hex(uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof(text), "0x%llX", static_cast<unsigned long long>(value));
  return text;
}

// The shortest text that reads back as the same double.
std::string FloatText(double value) {
  char text[40];
  const auto result = std::to_chars(text, text + sizeof(text), value);
  return std::string(text, result.ptr);
}

// Letters, digits and "_", as GenICam wants file and model names.
std::string Identifier(const std::string& text) {
  std::string out = text;
  for (char& c : out) {
    const bool keep = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
    if (!keep) c = '_';
  }
  return out;
}

// 64-bit FNV-1a.
uint64_t Hash(const std::string& text, uint64_t seed) {
  uint64_t hash = seed;
  for (const char c : text) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 0x100000001B3ULL;
  }
  return hash;
}

// A GUID made from text, so that a description that changes gets another version GUID: GenApi
// caches what it made of a description under that GUID.
std::string Guid(const std::string& text) {
  const uint64_t high = Hash(text, 0xCBF29CE484222325ULL);
  const uint64_t low = Hash(text, 0x84222325CBF29CE4ULL);
  char guid[40];
  std::snprintf(guid, sizeof(guid), "%08X-%04X-%04X-%04X-%012llX",
                static_cast<unsigned>(high >> 32), static_cast<unsigned>((high >> 16) & 0xFFFF),
                static_cast<unsigned>(high & 0xFFFF), static_cast<unsigned>(low >> 48),
                static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
  return guid;
}

const char* VisibilityName(Visibility visibility) {
  switch (visibility) {
    case Visibility::Beginner:
      return "Beginner";
    case Visibility::Expert:
      return "Expert";
    case Visibility::Guru:
      return "Guru";
    default:
      return "Invisible";
  }
}

bool HasRegisterNode(const Feature& feature) {
  switch (feature.type) {
    case FeatureType::Integer:
    case FeatureType::Float:
    case FeatureType::Enumeration:
    case FeatureType::Boolean:
    case FeatureType::Command:
      return true;
    default:
      return false;
  }
}

std::string RegisterName(const std::string& feature) {
  return feature + GenApiXmlWriter::kRegisterSuffix;
}

class XmlText {
 public:
  void Open(const std::string& tag, const std::string& attributes = "") {
    Indent();
    out_ += "<" + tag + attributes + ">\n";
    ++depth_;
  }
  void Close(const std::string& tag) {
    --depth_;
    Indent();
    out_ += "</" + tag + ">\n";
  }
  void Leaf(const std::string& tag, const std::string& text, const std::string& attributes = "") {
    Indent();
    out_ += "<" + tag + attributes + ">" + Escaped(text) + "</" + tag + ">\n";
  }
  const std::string& Text() const { return out_; }

 private:
  void Indent() { out_.append(static_cast<size_t>(depth_) * 2, ' '); }

  std::string out_;
  int depth_ = 1;
};

std::string NameAttributes(const std::string& name, bool standard) {
  return " Name=\"" + Escaped(name) + "\" NameSpace=\"" + (standard ? "Standard" : "Custom") + "\"";
}

class Writer {
 public:
  Writer(const CameraModel& model, Endianness endianness) : model_(model), endianness_(endianness) {
    for (const Feature& feature : model.features) {
      types_[feature.name] = feature.type;
      if (HasRegisterNode(feature)) sharers_[feature.address].push_back(feature.name);
      if (!feature.selector.empty()) selected_[feature.selector].push_back(feature.name);
    }
  }

  std::string Body() {
    WriteRoot();
    for (const Feature& feature : model_.features) WriteFeature(feature);
    xml_.Open("Port", NameAttributes("Device", true));
    xml_.Leaf("ToolTip", "Port giving access to the device.");
    xml_.Close("Port");
    return xml_.Text();
  }

 private:
  void WriteRoot() {
    std::set<std::string> held;
    for (const Feature& feature : model_.features) {
      held.insert(feature.children.begin(), feature.children.end());
    }
    xml_.Open("Category", NameAttributes("Root", true));
    for (const Feature& feature : model_.features) {
      if (feature.type == FeatureType::Category && held.count(feature.name) == 0) {
        xml_.Leaf("pFeature", feature.name);
      }
    }
    xml_.Close("Category");
  }

  void Head(const char* tag, const Feature& feature) {
    xml_.Open(tag, NameAttributes(feature.name, feature.standard));
    if (!feature.toolTip.empty()) xml_.Leaf("ToolTip", feature.toolTip);
    xml_.Leaf("Visibility", VisibilityName(feature.visibility));
  }

  void WriteFeature(const Feature& feature) {
    switch (feature.type) {
      case FeatureType::Category:
        Head("Category", feature);
        for (const std::string& child : feature.children) xml_.Leaf("pFeature", child);
        xml_.Close("Category");
        return;
      case FeatureType::Integer:
        Head("Integer", feature);
        xml_.Leaf("pValue", RegisterName(feature.name));
        xml_.Leaf("Min", std::to_string(feature.min));
        xml_.Leaf("Max", std::to_string(feature.max));
        xml_.Leaf("Inc", std::to_string(feature.inc));
        if (!feature.unit.empty()) xml_.Leaf("Unit", feature.unit);
        xml_.Close("Integer");
        break;
      case FeatureType::Float:
        Head("Float", feature);
        xml_.Leaf("pValue", RegisterName(feature.name));
        xml_.Leaf("Min", FloatText(feature.floatMin));
        xml_.Leaf("Max", FloatText(feature.floatMax));
        if (!feature.unit.empty()) xml_.Leaf("Unit", feature.unit);
        xml_.Close("Float");
        break;
      case FeatureType::Enumeration:
        Head("Enumeration", feature);
        for (const EnumEntry& entry : feature.entries) {
          xml_.Open("EnumEntry", NameAttributes(entry.name, feature.standard));
          xml_.Leaf("Value", std::to_string(entry.value));
          xml_.Close("EnumEntry");
        }
        xml_.Leaf("pValue", RegisterName(feature.name));
        for (const std::string& selected : selected_[feature.name]) {
          xml_.Leaf("pSelected", selected);
        }
        xml_.Close("Enumeration");
        break;
      case FeatureType::Boolean:
        Head("Boolean", feature);
        xml_.Leaf("pValue", RegisterName(feature.name));
        xml_.Leaf("OnValue", "1");
        xml_.Leaf("OffValue", "0");
        xml_.Close("Boolean");
        break;
      case FeatureType::Command:
        Head("Command", feature);
        xml_.Leaf("pValue", RegisterName(feature.name));
        xml_.Leaf("CommandValue", std::to_string(feature.commandValue));
        xml_.Close("Command");
        break;
      case FeatureType::String:
        Head("StringReg", feature);
        RegisterBody(feature);
        xml_.Close("StringReg");
        return;
      case FeatureType::IntSwissKnife:
        Head("IntSwissKnife", feature);
        for (const FormulaVariable& variable : feature.variables) {
          xml_.Leaf("pVariable", VariableNode(variable.feature),
                    " Name=\"" + Escaped(variable.name) + "\"");
        }
        xml_.Leaf("Formula", feature.formula);
        if (!feature.unit.empty()) xml_.Leaf("Unit", feature.unit);
        xml_.Close("IntSwissKnife");
        return;
      case FeatureType::Converter:
        Head("Converter", feature);
        xml_.Leaf("FormulaTo", feature.formulaTo);
        xml_.Leaf("FormulaFrom", feature.formula);
        xml_.Leaf("pValue", feature.raw);
        if (!feature.unit.empty()) xml_.Leaf("Unit", feature.unit);
        xml_.Close("Converter");
        return;
    }
    WriteRegister(feature);
  }

  void WriteRegister(const Feature& feature) {
    const bool masked = feature.bits != 0;
    const char* tag = feature.type == FeatureType::Float ? "FloatReg"
                      : masked                           ? "MaskedIntReg"
                                                         : "IntReg";
    xml_.Open(tag, " Name=\"" + Escaped(RegisterName(feature.name)) + "\"");
    xml_.Leaf("Visibility", "Invisible");
    RegisterBody(feature);
    if (masked) BitField(feature);
    if (feature.type != FeatureType::Float) {
      xml_.Leaf("Sign", feature.isSigned ? "Signed" : "Unsigned");
    }
    xml_.Leaf("Endianess", endianness_ == Endianness::Big ? "BigEndian" : "LittleEndian");
    xml_.Close(tag);
  }

  // A formula reads an Enumeration or a Boolean through its register: every GenApi reads an
  // IInteger there, not all of them the other interfaces.
  std::string VariableNode(const std::string& feature) {
    const FeatureType type = types_[feature];
    const bool integer = type == FeatureType::Integer || type == FeatureType::IntSwissKnife;
    return integer ? feature : RegisterName(feature);
  }

  // The part that every register node shares, from Address to pInvalidator.
  void RegisterBody(const Feature& feature) {
    xml_.Leaf("Address", Hex(feature.address));
    if (!feature.selector.empty()) {
      xml_.Leaf("pIndex", RegisterName(feature.selector),
                " Offset=\"" + std::to_string(feature.stride) + "\"");
    }
    xml_.Leaf("Length", std::to_string(feature.length));
    xml_.Leaf("AccessMode", feature.access == Access::ReadOnly ? "RO" : "RW");
    xml_.Leaf("pPort", "Device");
    // A command's register changes by itself while the command runs.
    xml_.Leaf("Cachable", feature.type == FeatureType::Command ? "NoCache" : "WriteThrough");
    // Bit fields of one register: writing one changes what the others read.
    for (const std::string& sharer : sharers_[feature.address]) {
      if (sharer != feature.name) xml_.Leaf("pInvalidator", RegisterName(sharer));
    }
  }

  // GenICam counts the bits of a big-endian register from its most significant bit.
  void BitField(const Feature& feature) {
    uint32_t lsb = feature.lsb;
    uint32_t msb = feature.lsb + feature.bits - 1;
    if (endianness_ == Endianness::Big) {
      const uint32_t top = feature.length * 8 - 1;
      lsb = top - lsb;
      msb = top - msb;
    }
    if (feature.bits == 1) {
      xml_.Leaf("Bit", std::to_string(lsb));
    } else {
      xml_.Leaf("LSB", std::to_string(lsb));
      xml_.Leaf("MSB", std::to_string(msb));
    }
  }

  const CameraModel& model_;
  const Endianness endianness_;
  std::map<uint64_t, std::vector<std::string>> sharers_;
  std::map<std::string, std::vector<std::string>> selected_;
  std::map<std::string, FeatureType> types_;
  XmlText xml_;
};

}  // namespace

std::string GenApiXmlWriter::FileStem(const CameraIdentity& identity) {
  return Identifier(identity.vendor) + "_" + Identifier(identity.model) + "_" +
         std::to_string(kXmlMajor) + "_" + std::to_string(kXmlMinor) + "_" +
         std::to_string(kXmlSubMinor);
}

std::string GenApiXmlWriter::Write(const CameraModel& model, Endianness endianness) {
  const std::string body = Writer(model, endianness).Body();
  const CameraIdentity& identity = model.identity;
  std::string xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
  xml += "<RegisterDescription\n";
  xml += "  ModelName=\"" + Identifier(identity.model) + "\"\n";
  xml += "  VendorName=\"" + Identifier(identity.vendor) + "\"\n";
  xml += "  ToolTip=\"" + Escaped(model.toolTip) + "\"\n";
  xml += "  StandardNameSpace=\"None\"\n";
  xml += "  SchemaMajorVersion=\"1\"\n  SchemaMinorVersion=\"1\"\n  SchemaSubMinorVersion=\"0\"\n";
  xml += "  MajorVersion=\"" + std::to_string(kXmlMajor) + "\"\n";
  xml += "  MinorVersion=\"" + std::to_string(kXmlMinor) + "\"\n";
  xml += "  SubMinorVersion=\"" + std::to_string(kXmlSubMinor) + "\"\n";
  xml += "  ProductGuid=\"" + Guid(identity.vendor + "/" + model.name) + "\"\n";
  xml += "  VersionGuid=\"" + Guid(identity.vendor + identity.model + body) + "\"\n";
  xml += "  xmlns=\"http://www.genicam.org/GenApi/Version_1_1\"\n";
  xml += "  xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"\n";
  xml +=
      "  xsi:schemaLocation=\"http://www.genicam.org/GenApi/Version_1_1 "
      "http://www.genicam.org/GenApi/GenApiSchema_Version_1_1.xsd\">\n";
  xml += body;
  xml += "</RegisterDescription>\n";
  return xml;
}

}  // namespace vesk::sim
