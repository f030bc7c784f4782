#include "sim/core/RigReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <rapidxml/rapidxml.hpp>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <set>
#include <sstream>

#include "sim/core/DesignVariant.h"
#include "sim/core/FaultPlan.h"

namespace vesk::sim {

namespace {

using Node = rapidxml::xml_node<char>;
using Attribute = rapidxml::xml_attribute<char>;

std::string NameOf(const Node* node) { return std::string(node->name(), node->name_size()); }

std::string Joined(const std::vector<std::string>& names) {
  std::string joined;
  for (const std::string& name : names) joined += (joined.empty() ? "" : ", ") + name;
  return joined;
}

std::vector<std::string> VariantNames() {
  std::vector<std::string> names;
  for (const DesignVariant& variant : DesignVariants()) names.push_back(variant.name);
  return names;
}

// White space as XML and RapidXml know it.
bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Decimal or 0x-prefixed hexadecimal, nothing else around it.
std::optional<int64_t> ParseNumber(const std::string& text) {
  const bool negative = !text.empty() && text[0] == '-';
  const std::string digits = negative ? text.substr(1) : text;
  const bool hex = digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
  if (digits.empty() || !std::isxdigit(static_cast<unsigned char>(digits[hex ? 2 : 0]))) {
    return std::nullopt;
  }
  errno = 0;
  char* end = nullptr;
  const long long value = std::strtoll(digits.c_str(), &end, hex ? 16 : 10);
  if (errno != 0 || *end != '\0') return std::nullopt;
  return negative ? -value : value;
}

// Parses in a copy of the text; the original gives the line numbers.
class Parser {
 public:
  Parser(const std::string& text, std::string source, std::string directory)
      : text_(text),
        buffer_(text.begin(), text.end()),
        source_(std::move(source)),
        directory_(std::move(directory)) {
    buffer_.push_back('\0');
  }

  Rig Parse() {
    CheckDepth();
    rapidxml::xml_document<char> document;
    try {
      document.parse<0>(buffer_.data());
    } catch (const rapidxml::parse_error& error) {
      throw RigError(source_, LineOf(error.where<char>()), "rig",
                     std::string("not well-formed XML: ") + error.what());
    }
    const Node* root = document.first_node();
    if (!root || NameOf(root) != "rig") {
      throw RigError(source_, root ? LineOf(root->name()) : 1, root ? NameOf(root) : "rig",
                     "the root element must be <rig>");
    }
    if (const Node* second = root->next_sibling()) Fail(second, "a rig has one root element");
    CheckAttributes(root, {});
    Rig rig;
    rig.source = source_;
    for (const Node* child : Children(root)) {
      const std::string name = NameOf(child);
      if (name == "board") {
        rig.boards.push_back(ReadBoard(child, static_cast<int>(rig.boards.size())));
      } else if (name != "camera") {
        Fail(child, "unknown element; a rig holds <board> and <camera>");
      }
    }
    CheckIndices(rig.boards);
    for (const Node* child : Children(root)) {
      if (NameOf(child) == "camera") rig.cameras.push_back(ReadCamera(child, rig));
    }
    return rig;
  }

 private:
  // RapidXml descends once per level of nesting, so a hostile rig could take the stack with it:
  // the levels are counted first, the way RapidXml will see them. The count errs only upwards
  // (inside a document type's declarations), or where RapidXml refuses the text before it
  // descends any further.
  void CheckDepth() const {
    int depth = 0;
    for (size_t at = text_.find('<'); at != std::string::npos; at = text_.find('<', at)) {
      if (Skipped(at, "<!--", "-->") || Skipped(at, "<![CDATA[", "]]>") ||
          Skipped(at, "<?", "?>") || Skipped(at, "<!", ">")) {
        continue;
      }
      if (Skipped(at, "</", ">")) {
        depth = std::max(depth - 1, 0);
        continue;
      }
      const size_t end = EndOfTag(at);
      if (end == std::string::npos) return;
      if (text_[end - 1] != '/' && ++depth > RigReader::kMaxDepth) {
        const size_t name = text_.find_first_of(" \t\r\n/>?", at + 1);
        throw RigError(
            source_, LineAt(at), text_.substr(at + 1, std::min<size_t>(name - at - 1, 64)),
            "elements nest deeper than " + std::to_string(RigReader::kMaxDepth) + " levels");
      }
      at = end + 1;
    }
  }

  // Whether a markup that opens with open starts at at; if so, at moves past its close, or to
  // the end of the text.
  bool Skipped(size_t& at, const char* open, const char* close) const {
    if (text_.compare(at, std::strlen(open), open) != 0) return false;
    const size_t end = text_.find(close, at + std::strlen(open));
    at = end == std::string::npos ? end : end + std::strlen(close);
    return true;
  }

  // The '>' that closes the open tag at at, read by RapidXml's grammar: a name, then attributes
  // name="value" or name='value'. npos where RapidXml refuses the tag.
  size_t EndOfTag(size_t at) const {
    size_t i = at + 1;
    const auto skipName = [&](const char* stops) {
      const size_t start = i;
      while (i < text_.size() && text_[i] != '\0' && !IsSpace(text_[i]) &&
             !std::strchr(stops, text_[i])) {
        ++i;
      }
      return i > start;
    };
    const auto skipSpace = [&] {
      while (i < text_.size() && IsSpace(text_[i])) ++i;
      return i < text_.size();
    };
    if (!skipName("/>?")) return std::string::npos;
    while (skipSpace()) {
      if (text_[i] == '>') return i;
      if (text_[i] == '/') return text_.compare(i, 2, "/>") == 0 ? i + 1 : std::string::npos;
      if (!skipName("/<>=?!") || !skipSpace() || text_[i++] != '=' || !skipSpace()) break;
      const char quote = text_[i];
      if (quote != '"' && quote != '\'') break;
      i = text_.find(quote, i + 1);
      if (i == std::string::npos) break;
      ++i;
    }
    return std::string::npos;
  }

  [[noreturn]] void Fail(const Node* node, const std::string& what) const {
    FailAt(node->name(), node, what);
  }
  // At the line of position, inside node.
  [[noreturn]] void FailAt(const char* position, const Node* node, const std::string& what) const {
    throw RigError(source_, LineOf(position), Describe(node), what);
  }

  int LineOf(const char* position) const {
    return LineAt(static_cast<size_t>(position - buffer_.data()));
  }

  int LineAt(size_t offset) const {
    const auto end = text_.begin() + static_cast<std::ptrdiff_t>(std::min(offset, text_.size()));
    return 1 + static_cast<int>(std::count(text_.begin(), end, '\n'));
  }

  // The element with its naming attribute, as the reader would find it in the file.
  static std::string Describe(const Node* node) {
    std::string described = NameOf(node);
    for (const char* key : {"id", "index", "port"}) {
      if (const Attribute* attribute = node->first_attribute(key)) {
        described += std::string(" ") + key + "=\"" + attribute->value() + "\"";
        break;
      }
    }
    return described;
  }

  std::vector<const Node*> Children(const Node* parent) const {
    std::vector<const Node*> children;
    for (const Node* child = parent->first_node(); child; child = child->next_sibling()) {
      if (child->type() != rapidxml::node_element) Fail(parent, "text is not allowed here");
      children.push_back(child);
    }
    return children;
  }

  // Each attribute is read by its name, so a second of the same name would go unseen.
  void CheckAttributes(const Node* node, const std::vector<const char*>& allowed) const {
    std::set<std::string> seen;
    for (const Attribute* attribute = node->first_attribute(); attribute;
         attribute = attribute->next_attribute()) {
      const std::string name(attribute->name(), attribute->name_size());
      const bool known = std::any_of(allowed.begin(), allowed.end(),
                                     [&](const char* candidate) { return name == candidate; });
      if (!known) Fail(node, "unknown attribute '" + name + "'");
      if (!seen.insert(name).second) {
        FailAt(attribute->name(), node, "attribute '" + name + "' given twice");
      }
    }
  }

  static std::optional<std::string> Optional(const Node* node, const char* name) {
    const Attribute* attribute = node->first_attribute(name);
    if (!attribute) return std::nullopt;
    return std::string(attribute->value(), attribute->value_size());
  }

  std::string Required(const Node* node, const char* name) const {
    std::optional<std::string> value = Optional(node, name);
    if (!value) Fail(node, std::string("attribute '") + name + "' is missing");
    return *value;
  }

  int64_t NumberOf(const Node* node, const char* name, const std::string& text, int64_t low,
                   int64_t high) const {
    std::optional<int64_t> value = ParseNumber(text);
    if (!value) Fail(node, std::string("attribute '") + name + "': '" + text + "' is no number");
    if (*value < low || *value > high) {
      Fail(node, std::string("attribute '") + name + "': " + text + " is not in " +
                     std::to_string(low) + " .. " + std::to_string(high));
    }
    return *value;
  }

  int64_t Number(const Node* node, const char* name, int64_t fallback, int64_t low,
                 int64_t high) const {
    std::optional<std::string> text = Optional(node, name);
    return text ? NumberOf(node, name, *text, low, high) : fallback;
  }

  int64_t RequiredNumber(const Node* node, const char* name, int64_t low, int64_t high) const {
    return NumberOf(node, name, Required(node, name), low, high);
  }

  RigBoard ReadBoard(const Node* node, int position) {
    CheckAttributes(
        node, {"index", "type", "serial", "ports", "design", "gigePorts", "operators", "dhcp"});
    RigBoard board;
    board.line = LineOf(node->name());
    board.index = static_cast<int>(Number(node, "index", position, 0, 255));
    board.type = static_cast<int>(RequiredNumber(node, "type", 1, INT32_MAX));
    board.serial = static_cast<int>(Number(node, "serial", 0, 0, INT32_MAX));
    board.ports = static_cast<unsigned>(RequiredNumber(node, "ports", 1, 16));
    board.design = Required(node, "design");
    const DesignVariant* variant = FindDesignVariant(board.design);
    if (!variant) {
      Fail(node, "unknown design '" + board.design + "'; designs are " + Joined(VariantNames()));
    }
    const auto& counts = variant->portCounts;
    if (std::find(counts.begin(), counts.end(), board.ports) == counts.end()) {
      std::string allowed;
      for (unsigned count : counts)
        allowed += (allowed.empty() ? "" : ", ") + std::to_string(count);
      Fail(node, "design '" + board.design + "' has " + allowed + " ports, not " +
                     std::to_string(board.ports));
    }
    const unsigned gigePorts = variant->family == Family::Gige ? board.ports : 0;
    board.gigePorts = static_cast<unsigned>(Number(node, "gigePorts", gigePorts, 0, board.ports));
    if (const std::optional<std::string> dhcp = Optional(node, "dhcp")) {
      if (variant->family != Family::Gige) Fail(node, "dhcp is for GigE Vision designs");
      board.dhcpPorts = ReadPortSet(node, "dhcp", *dhcp, board.ports);
    }
    // Camera Link HS designs give their channels' master and extension ids the same way.
    const bool cxp = variant->family == Family::Cxp || variant->family == Family::Clhs;
    const std::optional<std::string> operators = Optional(node, "operators");
    if (operators && !cxp) Fail(node, "operators are for CoaXPress and Camera Link HS designs");
    // By default each firmware port is an operator of one link.
    std::string oneEach;
    for (unsigned port = 1; port <= board.ports; ++port) oneEach += std::to_string(port) + " ";
    if (cxp) ReadOperators(node, operators.value_or(oneEach), board);
    for (const Node* child : Children(node)) {
      if (NameOf(child) != "faults") Fail(child, "unknown element; a board holds <faults>");
      const auto port = static_cast<unsigned>(RequiredNumber(child, "port", 0, board.ports - 1));
      if (board.portFaults.count(port)) Fail(child, "port " + std::to_string(port) + " again");
      board.portFaults[port] = ReadFaults(child, true);
    }
    return board;
  }

  // Port numbers separated by spaces, each once.
  uint32_t ReadPortSet(const Node* node, const char* name, const std::string& text,
                       unsigned ports) const {
    std::istringstream entries(text);
    uint32_t set = 0;
    for (std::string entry; entries >> entry;) {
      const auto port = static_cast<uint32_t>(NumberOf(node, name, entry, 0, ports - 1));
      if (set >> port & 1) Fail(node, std::string(name) + ": port " + entry + " again");
      set |= 1u << port;
    }
    return set;
  }

  // One entry per firmware port: "n" the master link of operator n, "n.e" its link e, "-" none.
  void ReadOperators(const Node* node, const std::string& text, RigBoard& board) const {
    std::istringstream entries(text);
    unsigned port = 0;
    for (std::string entry; entries >> entry; ++port) {
      if (port >= board.ports) Fail(node, "operators: more entries than the board's ports");
      if (entry == "-") continue;
      const size_t dot = entry.find('.');
      const std::optional<int64_t> master = ParseNumber(entry.substr(0, dot));
      const std::optional<int64_t> link =
          dot == std::string::npos ? std::optional<int64_t>(0) : ParseNumber(entry.substr(dot + 1));
      if (!master || !link || *master < 1 || *master > 15 || *link < 0 || *link > 15) {
        Fail(node, "operators: '" + entry + "' is not an operator 1 .. 15 with a link 0 .. 15");
      }
      board.operatorMasters |= static_cast<uint64_t>(*master) << (4 * port);
      board.operatorExtensions |= static_cast<uint64_t>(*link) << (4 * port);
    }
    if (port != board.ports) {
      Fail(node, "operators: " + std::to_string(port) + " entries for " +
                     std::to_string(board.ports) + " ports");
    }
  }

  void CheckIndices(std::vector<RigBoard>& boards) const {
    std::sort(boards.begin(), boards.end(),
              [](const RigBoard& a, const RigBoard& b) { return a.index < b.index; });
    for (size_t i = 0; i < boards.size(); ++i) {
      if (boards[i].index != static_cast<int>(i)) {
        throw RigError(
            source_, boards[i].line, "board index=\"" + std::to_string(boards[i].index) + "\"",
            "board indices must run from 0 without gaps or repeats; expected " + std::to_string(i));
      }
    }
  }

  FaultSettings ReadFaults(const Node* node, bool withPort) const {
    std::vector<const char*> allowed = {
        "seed", "drop",      "corrupt", "odd",    "delay", "delayMs", "silentAfter",
        "wait", "tentative", "unknown", "badCrc", "error", "burst",   "burstErrors"};
    if (withPort) allowed.push_back("port");
    CheckAttributes(node, allowed);
    FaultSettings faults;
    faults.seed = static_cast<uint32_t>(Number(node, "seed", 0, 0, UINT32_MAX));
    const auto chance = [&](const char* name) {
      return static_cast<uint32_t>(Number(node, name, 0, 0, 1000));
    };
    faults.dropPerMille = chance("drop");
    faults.corruptPerMille = chance("corrupt");
    faults.oddPerMille = chance("odd");
    faults.delayPerMille = chance("delay");
    faults.waitPerMille = chance("wait");
    faults.tentativePerMille = chance("tentative");
    faults.unknownPerMille = chance("unknown");
    faults.badCrcPerMille = chance("badCrc");
    faults.errorPerMille = chance("error");
    faults.burstPerMille = chance("burst");
    faults.delayMs = static_cast<uint32_t>(Number(node, "delayMs", 0, 0, 60000));
    faults.burstErrors = static_cast<uint32_t>(Number(node, "burstErrors", 100, 0, UINT32_MAX));
    faults.silentAfter = Number(node, "silentAfter", -1, -1, INT32_MAX);
    if (ChancesPerMille(faults) > 1000)
      Fail(node, "the chances add up to more than 1000 per mille");
    return faults;
  }

  RigCamera ReadCamera(const Node* node, const Rig& rig) {
    CheckAttributes(node, {"id", "model", "xmlFile", "vendor", "modelName", "serial", "version",
                           "userName", "xml", "endianness", "speeds", "defaultSpeed",
                           "defaultLinks", "cxpRevision", "controlPacketSize"});
    RigCamera camera;
    camera.line = LineOf(node->name());
    camera.id = Required(node, "id");
    if (camera.id.empty()) Fail(node, "the id is empty");
    for (const RigCamera& other : rig.cameras) {
      if (other.id == camera.id)
        Fail(node, "id used before, on line " + std::to_string(other.line));
    }
    camera.model = Optional(node, "model").value_or("");
    camera.xmlFile = Optional(node, "xmlFile").value_or("");
    if (!camera.model.empty() && !camera.xmlFile.empty()) {
      Fail(node, "a camera has a model or an xmlFile, not both");
    }
    const std::vector<std::string> models = Camera::ModelNames();
    if (!camera.model.empty() &&
        std::find(models.begin(), models.end(), camera.model) == models.end()) {
      Fail(node, "unknown model '" + camera.model + "'; models are " + Joined(models));
    }
    if (!camera.xmlFile.empty() && camera.xmlFile[0] != '/') {
      camera.xmlFile = directory_ + "/" + camera.xmlFile;
    }
    camera.identity = {
        Optional(node, "vendor").value_or(""), Optional(node, "modelName").value_or(""),
        Optional(node, "serial").value_or(""), Optional(node, "version").value_or(""),
        Optional(node, "userName").value_or("")};
    camera.form = Choice(node, "xml", {"plain", "zipped"}) == 1 ? XmlForm::Zipped : XmlForm::Plain;
    camera.endianness =
        Choice(node, "endianness", {"big", "little"}) == 1 ? Endianness::Little : Endianness::Big;
    ReadSpeeds(node, camera);
    constexpr uint32_t kRevisions[] = {0x20000, 0x10001, 0x10000};
    camera.cxpRevision = kRevisions[Choice(node, "cxpRevision", {"2.0", "1.1", "1.0"})];
    camera.controlPacketSize =
        static_cast<uint32_t>(Number(node, "controlPacketSize", 1024, 128, 0xFFFFFF));
    for (const Node* child : Children(node)) {
      const std::string name = NameOf(child);
      if (name == "link") {
        camera.links.push_back(ReadLink(child, rig));
      } else if (name == "faults") {
        camera.faults = ReadFaults(child, false);
      } else {
        Fail(child, "unknown element; a camera holds <link> and <faults>");
      }
    }
    if (camera.links.empty()) Fail(node, "a camera has at least one <link>");
    const auto links = static_cast<int64_t>(camera.links.size());
    camera.defaultLinks = static_cast<unsigned>(Number(node, "defaultLinks", links, 1, links));
    return camera;
  }

  // The position of the value among choices; 0, the first, when the attribute is absent.
  size_t Choice(const Node* node, const char* name,
                std::initializer_list<const char*> choices) const {
    std::optional<std::string> value = Optional(node, name);
    if (!value) return 0;
    size_t position = 0;
    std::string listed;
    for (const char* choice : choices) {
      if (*value == choice) return position;
      ++position;
      listed += (listed.empty() ? "'" : " or '") + std::string(choice) + "'";
    }
    Fail(node, std::string("attribute '") + name + "': '" + *value + "' is not " + listed);
  }

  void ReadSpeeds(const Node* node, RigCamera& camera) const {
    std::istringstream words(Optional(node, "speeds").value_or(""));
    for (std::string word; words >> word;) {
      camera.speeds.push_back(static_cast<uint32_t>(NumberOf(node, "speeds", word, 1, 1000000)));
    }
    const int64_t fastest =
        camera.speeds.empty() ? 0 : *std::max_element(camera.speeds.begin(), camera.speeds.end());
    camera.defaultSpeed = static_cast<uint32_t>(Number(node, "defaultSpeed", fastest, 0, 1000000));
    if (!camera.speeds.empty() && std::find(camera.speeds.begin(), camera.speeds.end(),
                                            camera.defaultSpeed) == camera.speeds.end()) {
      Fail(node,
           "defaultSpeed " + std::to_string(camera.defaultSpeed) + " is not among the speeds");
    }
  }

  RigLink ReadLink(const Node* node, const Rig& rig) {
    CheckAttributes(node, {"board", "port"});
    if (!Children(node).empty()) Fail(node, "a link holds nothing");
    if (!node->first_attribute()) return RigLink{};  // not plugged in
    if (rig.boards.empty()) Fail(node, "the rig has no boards to plug into");
    RigLink link;
    link.board = static_cast<int>(
        RequiredNumber(node, "board", 0, static_cast<int64_t>(rig.boards.size()) - 1));
    const RigBoard& board = rig.boards[static_cast<size_t>(link.board)];
    link.port = static_cast<unsigned>(RequiredNumber(node, "port", 0, board.ports - 1));
    if (!usedPorts_.insert({link.board, link.port}).second) {
      Fail(node, "port " + std::to_string(link.port) + " of board " + std::to_string(link.board) +
                     " holds another link already");
    }
    return link;
  }

  const std::string& text_;
  std::vector<char> buffer_;
  const std::string source_;
  const std::string directory_;
  std::set<std::pair<int, unsigned>> usedPorts_;
};

// Closes a file when it goes.
struct FileCloser {
  int file;
  ~FileCloser() { close(file); }
};

// Opened without waiting, so that a FIFO cannot hold the reader, and read only if regular and of
// a rig's size; the bound holds for a file that grows while it is read, too.
std::string ReadText(const std::string& path) {
  const auto failed = [&](const std::string& what) {
    return std::runtime_error("rig file '" + path + "' " + what);
  };
  const auto unreadable = [&] {
    return failed(std::string("cannot be read: ") + std::strerror(errno));
  };
  const auto tooLarge = [&](uint64_t bytes) {
    return failed("has " + std::to_string(bytes) + " bytes; a rig has " +
                  std::to_string(RigReader::kMaxFileBytes) + " at most");
  };
  const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) throw unreadable();
  const FileCloser closer{file};
  struct stat status {};
  if (fstat(file, &status) != 0) throw unreadable();
  if (!S_ISREG(status.st_mode)) throw failed("is not a regular file");
  if (static_cast<uint64_t>(status.st_size) > RigReader::kMaxFileBytes)
    throw tooLarge(status.st_size);
  std::string text(RigReader::kMaxFileBytes + 1, '\0');
  size_t size = 0;
  while (size < text.size()) {
    const ssize_t got = read(file, &text[size], text.size() - size);
    if (got == 0) break;
    if (got > 0) {
      size += static_cast<size_t>(got);
    } else if (errno != EINTR) {
      throw unreadable();
    }
  }
  if (size > RigReader::kMaxFileBytes) throw tooLarge(size);
  text.resize(size);
  return text;
}

}  // namespace

Rig RigReader::Read(const std::string& text, const std::string& source,
                    const std::string& directory) {
  return Parser(text, source, directory).Parse();
}

Rig RigReader::ReadFile(const std::string& path) {
  const size_t slash = path.rfind('/');
  return Read(ReadText(path), path, slash == std::string::npos ? "." : path.substr(0, slash));
}

}  // namespace vesk::sim
