#ifndef VESK_TESTS_UNIT_GENAPI_DESCRIPTION_TEXT_H
#define VESK_TESTS_UNIT_GENAPI_DESCRIPTION_TEXT_H

#include <string>
#include <vector>

namespace vesk::test {

inline std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  if (first == text.npos) return "";
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// The text with its comments cut out: descriptions keep old elements in comments.
inline std::string WithoutComments(const std::string& xml) {
  std::string text;
  size_t from = 0;
  for (size_t start = xml.find("<!--"); start != xml.npos; start = xml.find("<!--", from)) {
    text += xml.substr(from, start - from);
    const size_t end = xml.find("-->", start);
    if (end == xml.npos) return text;
    from = end + 3;
  }
  return text + xml.substr(from);
}

// One element of a camera description as the text has it, found without an XML parser, so
// that the tests compare the node map with a second reading of the same file.
struct DescriptionElement {
  std::string name;
  std::string body;  // the text between the start and the end tag

  bool Has(const std::string& child) const { return body.find("<" + child + ">") != body.npos; }
  // The text of the first child element of that name, or "".
  std::string Child(const std::string& child) const {
    const std::string open = "<" + child + ">";
    const size_t start = body.find(open);
    if (start == body.npos) return "";
    const size_t from = start + open.size();
    return Trimmed(body.substr(from, body.find("</" + child + ">", from) - from));
  }
  size_t Count(const std::string& child) const {
    size_t count = 0;
    for (size_t at = body.find("<" + child + ">"); at != body.npos;
         at = body.find("<" + child + ">", at + 1)) {
      ++count;
    }
    return count;
  }
};

// Every element with that tag and a Name attribute. Elements of that tag do not nest.
inline std::vector<DescriptionElement> ElementsOf(const std::string& xml, const std::string& tag) {
  std::vector<DescriptionElement> elements;
  const std::string open = "<" + tag;
  for (size_t at = xml.find(open); at != xml.npos; at = xml.find(open, at + 1)) {
    const char next = xml[at + open.size()];
    if (next != ' ' && next != '\t' && next != '\r' && next != '\n') continue;
    const size_t tagEnd = xml.find('>', at);
    const size_t nameAt = xml.find(" Name=\"", at);
    if (tagEnd == xml.npos || nameAt == xml.npos || nameAt > tagEnd) continue;
    DescriptionElement element;
    const size_t nameStart = nameAt + 7;
    element.name = xml.substr(nameStart, xml.find('"', nameStart) - nameStart);
    if (xml[tagEnd - 1] != '/') {
      const size_t close = xml.find("</" + tag + ">", tagEnd);
      element.body = xml.substr(tagEnd + 1, close - tagEnd - 1);
    }
    elements.push_back(element);
  }
  return elements;
}

// The texts of all children of that name, in order.
inline std::vector<std::string> ChildTexts(const std::string& body, const std::string& child) {
  std::vector<std::string> texts;
  const std::string open = "<" + child + ">";
  for (size_t at = body.find(open); at != body.npos; at = body.find(open, at + 1)) {
    const size_t from = at + open.size();
    texts.push_back(Trimmed(body.substr(from, body.find('<', from) - from)));
  }
  return texts;
}

}  // namespace vesk::test

#endif
