#include "core/plex/CxpLinkConfiguration.h"

#include <rapidxml/rapidxml.hpp>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <locale>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "templates/platform/BoundedFile.h"

namespace vesk::core::plex {

using templates::platform::BoundedFile;

struct CxpLinkConfiguration::LinkSlot {
  uint32_t physicalIndex = kUnset;
  uint32_t plIndex = kUnset;
};

struct CxpLinkConfiguration::LinkGroup {
  std::array<LinkSlot, kMaxLinks> links{};
  uint32_t linkCount = 0;
  uint32_t masterPhysicalIndex = kUnset;
  uint32_t masterId = 0;
  uint32_t speed = 1250;
  uint32_t streamPacketSize = 4096;
};

struct CxpLinkConfiguration::Impl {
  explicit Impl(std::string family) : family(std::move(family)) {}

  uint32_t links = 0;
  uint32_t linkGroupCount = 0;
  std::array<LinkGroup, kMaxLinkGroups> linkGroups{};
  std::string fileName;
  std::string family;
};

namespace {

using Node = rapidxml::xml_node<char>;

struct SpeedText {
  uint32_t speed;
  const char* text;
};
constexpr SpeedText kSpeedTexts[] = {{1250, "1250"},  {2500, "2500"}, {3125, "3125"},
                                     {5000, "5000"},  {6250, "6250"}, {10000, "10000"},
                                     {12500, "12500"}};

// Empty for a speed the file cannot name; the reader takes that as no speed.
const char* TextOfSpeed(uint32_t speed) {
  for (const SpeedText& row : kSpeedTexts) {
    if (row.speed == speed) return row.text;
  }
  return "";
}

// 0 for a text that is not in the table, which leaves the speed as it was.
uint32_t SpeedOfText(const std::string& text) {
  for (const SpeedText& row : kSpeedTexts) {
    if (text == row.text) return row.speed;
  }
  return 0;
}

// Empty for a family of another name: its files have no root lines, and any root is taken.
std::string RootName(const std::string& family) {
  if (family == "cxp") return "cxpconfiguration";
  if (family == "clhs") return "clhsconfiguration";
  if (family == "cl") return "clconfiguration";
  return "";
}

void CheckLink(uint32_t link) {
  if (link >= CxpLinkConfiguration::kMaxLinks) {
    throw std::runtime_error("link index out of bounds.");
  }
}

// A stream reads the numbers, so leading white space and trailing text pass, and a minus sign
// wraps around.
bool ReadNumber(const std::string& text, uint32_t& value) {
  std::istringstream in(text);
  in.imbue(std::locale::classic());
  in >> value;
  return !in.fail();
}

std::string NameOf(const Node* node) { return std::string(node->name(), node->name_size()); }

bool IsElement(const Node* node, const char* name) {
  return node->type() == rapidxml::node_element && NameOf(node) == name;
}

// The value of the last attribute of that name; empty if there is none.
std::string AttributeOf(const Node* node, const char* name) {
  std::string value;
  for (const auto* attribute = node->first_attribute(); attribute;
       attribute = attribute->next_attribute()) {
    if (std::string(attribute->name(), attribute->name_size()) == name) {
      value.assign(attribute->value(), attribute->value_size());
    }
  }
  return value;
}

bool IsMasterText(const std::string& text) {
  return text == "1" || text == "true" || text == "yes";
}

// A configuration is three levels deep; anything near this is no configuration.
constexpr size_t kMaxNesting = 16;

// Just after the first `end` from `from`; the end of the text if there is none.
const char* After(const char* from, const char* end) {
  const char* found = std::strstr(from, end);
  return found ? found + std::strlen(end) : from + std::strlen(from);
}

bool IsWhiteSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// After the ">" of a DOCTYPE, whose bracketed parts may hold ">".
const char* AfterDoctype(const char* at) {
  for (; *at && *at != '>'; ++at) {
    if (*at != '[') continue;
    for (int depth = 1; depth > 0 && *++at;) depth += *at == '[' ? 1 : *at == ']' ? -1 : 0;
    if (!*at) return at;
  }
  return *at ? at + 1 : at;
}

// After the ">" that closes a start tag, with quoted attribute values skipped; `empty` tells
// whether it was "/>".
const char* AfterStartTag(const char* at, bool& empty) {
  for (char previous = '\0'; *at; previous = *at++) {
    if (*at == '"' || *at == '\'') {
      const char* close = std::strchr(at + 1, *at);
      if (!close) break;
      at = close;
    } else if (*at == '>') {
      empty = previous == '/';
      return at + 1;
    }
  }
  empty = false;
  return at + std::strlen(at);
}

// The parser descends one call per element level, so a text nested without end would overflow
// the stack. The offset of the first start tag deeper than kMaxNesting, found without recursion
// and with the parser's own idea of where markup begins and ends; npos if there is none.
size_t TooDeep(const char* text) {
  size_t depth = 0;
  for (const char* at = std::strchr(text, '<'); at; at = std::strchr(at, '<')) {
    if (std::strncmp(at, "<?", 2) == 0) {
      at = After(at + 2, "?>");
    } else if (std::strncmp(at, "<!--", 4) == 0) {
      at = After(at + 4, "-->");
    } else if (std::strncmp(at, "<![CDATA[", 9) == 0) {
      at = After(at + 9, "]]>");
    } else if (std::strncmp(at, "<!DOCTYPE", 9) == 0 && IsWhiteSpace(at[9])) {
      at = AfterDoctype(at + 10);
    } else if (std::strncmp(at, "<!", 2) == 0) {
      at = After(at + 2, ">");
    } else if (std::strncmp(at, "</", 2) == 0) {
      if (depth > 0) --depth;
      at = After(at + 2, ">");
    } else {
      if (++depth > kMaxNesting) return static_cast<size_t>(at - text);
      bool empty = false;
      at = AfterStartTag(at + 1, empty);
      if (empty) --depth;
    }
  }
  return std::string::npos;
}

}  // namespace

// Fills the model as it goes, through its checked setters, so a failure leaves what came before.
class CxpLinkConfiguration::Reader {
 public:
  Reader(CxpLinkConfiguration& model, std::string name) : model_(model), name_(std::move(name)) {}

  // The parser works in the text, up to its first zero.
  void Read(std::string text) {
    if (text.empty() || text[0] == '\0') {
      throw std::runtime_error("XML file is empty: '" + name_ + "'");
    }
    const size_t deep = TooDeep(text.c_str());
    if (deep != std::string::npos) {
      const auto line = 1 + std::count(text.begin(), text.begin() + deep, '\n');
      throw std::runtime_error("Error parsing XML file '" + name_ +
                               "': elements nested deeper than " + std::to_string(kMaxNesting) +
                               " levels, at line " + std::to_string(line));
    }
    auto document = std::make_unique<rapidxml::xml_document<char>>();
    try {
      document->parse<0>(text.data());
    } catch (const rapidxml::parse_error& error) {
      throw std::runtime_error("Error parsing XML file '" + name_ + "': " + error.what());
    }
    const Node* root = document->first_node();
    while (root && root->type() != rapidxml::node_element) root = root->next_sibling();
    const std::string rootName = RootName(model_.impl_->family);
    if (!root || (!rootName.empty() && NameOf(root) != rootName)) {
      throw std::runtime_error("Illegal root node found in XML file '" + name_ + "'");
    }
    ReadRoot(root);
  }

 private:
  void ReadRoot(const Node* root) {
    const std::string element = NameOf(root);
    const uint32_t links = Required(root, element, "links");
    const uint32_t groups = Required(root, element, "linkgroups");
    model_.impl_->links = links;
    model_.impl_->linkGroupCount = groups;
    if (links > kMaxLinks || groups > kMaxLinkGroups) {
      throw std::runtime_error("No more than 4 physical links and linkgroups allowed!");
    }
    uint32_t g = 0;
    for (const Node* child = root->first_node(); child; child = child->next_sibling()) {
      if (IsElement(child, "linkgroup")) ReadGroup(child, g++);
    }
  }

  void ReadGroup(const Node* group, uint32_t g) {
    uint32_t masterId = Optional(group, "linkgroup", "masterId", 0);
    const uint32_t speed = SpeedOfText(AttributeOf(group, "speed"));
    uint32_t size = 0;
    if (!ReadNumber(AttributeOf(group, "streampacketsize"), size)) size = 0;
    if (speed != 0) model_.SetSpeed(g, speed);
    if (size != 0) model_.SetStreamPacketSize(g, size);

    uint32_t count = 0;
    for (const Node* child = group->first_node(); child; child = child->next_sibling()) {
      if (IsElement(child, "link")) ++count;
    }
    if (count > kMaxLinks) throw std::runtime_error("No more than 4 links per linkgroup allowed!");
    model_.SetLinkCount(g, count);

    uint32_t n = 0;
    std::optional<uint32_t> first;
    for (const Node* child = group->first_node(); child; child = child->next_sibling()) {
      if (!IsElement(child, "link")) continue;
      const uint32_t physicalIndex = ReadLink(child, g, n++, masterId);
      if (!first) first = physicalIndex;
    }
    // With no link marked as master, the first link in the document is the master.
    if (model_.GetMasterPhysicalIndex(g) == kUnset && first) {
      model_.SetMasterPhysicalIndex(g, *first);
    }
    model_.SetMasterId(g, masterId);
  }

  // Returns the link's physical index.
  uint32_t ReadLink(const Node* link, uint32_t g, uint32_t n, uint32_t& masterId) {
    const uint32_t physicalIndex = Required(link, "link", "phyIndex");
    const uint32_t plIndex = Required(link, "link", "plIndex");
    const uint32_t index = Optional(link, "link", "linkIndex", n);
    const bool isMaster = IsMasterText(AttributeOf(link, "isMaster"));
    if (isMaster && masterId == 0) masterId = physicalIndex + 1;
    model_.SetPhysicalIndex(g, index, physicalIndex);
    model_.SetPLIndex(g, index, plIndex);
    if (isMaster) model_.SetMasterPhysicalIndex(g, physicalIndex);
    return physicalIndex;
  }

  uint32_t Required(const Node* node, const std::string& element, const char* attribute) const {
    const std::string text = AttributeOf(node, attribute);
    if (text.empty()) {
      throw std::runtime_error(std::string("Attribute '") + attribute + "' not found in <" +
                               element + "> of XML file '" + name_ + "'");
    }
    return Number(text, element, attribute);
  }

  // An empty attribute counts as a missing one.
  uint32_t Optional(const Node* node, const std::string& element, const char* attribute,
                    uint32_t fallback) const {
    const std::string text = AttributeOf(node, attribute);
    return text.empty() ? fallback : Number(text, element, attribute);
  }

  uint32_t Number(const std::string& text, const std::string& element,
                  const char* attribute) const {
    uint32_t value = 0;
    if (!ReadNumber(text, value)) {
      throw std::runtime_error(std::string("Illegal value of attribute '") + attribute + "' in <" +
                               element + "> of XML file '" + name_ + "'");
    }
    return value;
  }

  CxpLinkConfiguration& model_;
  const std::string name_;
};

std::shared_ptr<CxpLinkConfiguration> CxpLinkConfiguration::Create(const std::string& family) {
  return std::make_shared<CxpLinkConfiguration>(family);
}

CxpLinkConfiguration::CxpLinkConfiguration(const std::string& family)
    : impl_(std::make_shared<Impl>(family)) {}

CxpLinkConfiguration::~CxpLinkConfiguration() = default;

CxpLinkConfiguration::LinkGroup& CxpLinkConfiguration::Group(uint32_t group) const {
  // A failed read may leave a count above 4 behind; there are no more records than that.
  if (group >= impl_->linkGroupCount || group >= kMaxLinkGroups) {
    throw std::runtime_error("link group index out of bounds.");
  }
  return impl_->linkGroups[group];
}

uint32_t CxpLinkConfiguration::GetLinks() const { return impl_->links; }
void CxpLinkConfiguration::SetLinks(uint32_t links) { impl_->links = links; }

uint32_t CxpLinkConfiguration::GetLinkGroupCount() const { return impl_->linkGroupCount; }
void CxpLinkConfiguration::SetLinkGroupCount(uint32_t count) {
  if (count <= kMaxLinkGroups) impl_->linkGroupCount = count;
}

uint32_t CxpLinkConfiguration::GetSpeed(uint32_t group) const { return Group(group).speed; }
void CxpLinkConfiguration::SetSpeed(uint32_t group, uint32_t speed) { Group(group).speed = speed; }

uint32_t CxpLinkConfiguration::GetStreamPacketSize(uint32_t group) const {
  return Group(group).streamPacketSize;
}
void CxpLinkConfiguration::SetStreamPacketSize(uint32_t group, uint32_t size) {
  Group(group).streamPacketSize = size;
}

uint32_t CxpLinkConfiguration::GetLinkCount(uint32_t group) const { return Group(group).linkCount; }
void CxpLinkConfiguration::SetLinkCount(uint32_t group, uint32_t count) {
  LinkGroup& record = Group(group);
  if (count <= kMaxLinks) record.linkCount = count;
}

uint32_t CxpLinkConfiguration::GetMasterPhysicalIndex(uint32_t group) const {
  return Group(group).masterPhysicalIndex;
}
void CxpLinkConfiguration::SetMasterPhysicalIndex(uint32_t group, uint32_t index) {
  Group(group).masterPhysicalIndex = index;
}

uint32_t CxpLinkConfiguration::GetMasterId(uint32_t group) const { return Group(group).masterId; }
void CxpLinkConfiguration::SetMasterId(uint32_t group, uint32_t id) { Group(group).masterId = id; }

CxpLinkConfiguration::LinkSlot& CxpLinkConfiguration::Slot(uint32_t group, uint32_t link) const {
  LinkGroup& record = Group(group);  // the group is checked first
  CheckLink(link);
  return record.links[link];
}

uint32_t CxpLinkConfiguration::GetPhysicalIndex(uint32_t group, uint32_t link) const {
  return Slot(group, link).physicalIndex;
}
void CxpLinkConfiguration::SetPhysicalIndex(uint32_t group, uint32_t link, uint32_t index) {
  Slot(group, link).physicalIndex = index;
}

uint32_t CxpLinkConfiguration::GetPLIndex(uint32_t group, uint32_t link) const {
  return Slot(group, link).plIndex;
}
void CxpLinkConfiguration::SetPLIndex(uint32_t group, uint32_t link, uint32_t index) {
  Slot(group, link).plIndex = index;
}

void CxpLinkConfiguration::Reset() {
  impl_->links = 0;
  impl_->linkGroupCount = 0;
}

void CxpLinkConfiguration::WriteToFile(const std::string& fileName) const {
  std::ofstream out(fileName, std::ios::out | std::ios::trunc);
  if (!out) throw std::runtime_error("Error opening file '" + fileName + "' for writing!");

  std::ostringstream text;
  text.imbue(std::locale::classic());
  const std::string root = RootName(impl_->family);
  if (!root.empty()) {
    text << '<' << root << " links=\"" << impl_->links << "\" linkgroups=\""
         << impl_->linkGroupCount << "\">\n";
  }
  const uint32_t groups = std::min(impl_->linkGroupCount, kMaxLinkGroups);
  for (uint32_t g = 0; g < groups; ++g) {
    const LinkGroup& group = impl_->linkGroups[g];
    text << "\t<linkgroup masterId=\"" << group.masterId << "\" speed=\""
         << TextOfSpeed(group.speed) << "\" streampacketsize=\"" << group.streamPacketSize
         << "\">\n";
    uint32_t written = 0;
    for (uint32_t n = 0; n < kMaxLinks && written < group.linkCount; ++n) {
      const LinkSlot& slot = group.links[n];
      if (slot.physicalIndex == kUnset || slot.plIndex == kUnset) continue;
      // The master is whatever sits in slot 0; the master physical index is not saved.
      text << "\t\t<link phyIndex=\"" << slot.physicalIndex << "\" plIndex=\"" << slot.plIndex
           << "\" linkIndex=\"" << n << '"' << (n == 0 ? " isMaster=\"true\"/>\n" : "/>\n");
      ++written;
    }
    text << "\t</linkgroup>\n";
  }
  if (!root.empty()) text << "</" << root << ">\n";
  // A full disk shows only when the buffer goes out.
  out << text.str();
  out.close();
  if (!out) throw std::runtime_error("Error writing file '" + fileName + "'!");
}

void CxpLinkConfiguration::ReadFromFile(const std::string& fileName) {
  impl_->fileName = fileName;
  BoundedFile file = BoundedFile::Read(fileName, kMaxFileSize);
  if (file.GetStatus() == BoundedFile::Status::kTooLarge) throw std::runtime_error(file.Error());
  if (!file) throw std::runtime_error("Error opening file '" + fileName + "' for reading!");
  Reader(*this, fileName).Read(file.TakeText());
}

void CxpLinkConfiguration::ReadFromString(const char* text) {
  Reader(*this, "<buffer>").Read(text ? text : "");
}

void CxpLinkConfiguration::Reload() {
  if (impl_->fileName.empty()) return;
  // The caller looks at the fields afterwards; a file that went away leaves them as they were.
  try {
    ReadFromFile(impl_->fileName);
  } catch (...) {
  }
}

}  // namespace vesk::core::plex
