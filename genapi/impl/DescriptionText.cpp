#include "genapi/impl/DescriptionText.h"

#include <cctype>
#include <cstring>

namespace GenApi {

namespace {

const char kBlanks[] = " \t\r\n";
const char kByteOrderMark[] = "\xEF\xBB\xBF";

// The position after the markup that starts at the '<' at start: a tag, whose attribute values
// may hold '>', a comment, CDATA or a processing instruction; npos if it does not end.
size_t MarkupEnd(const std::string& xml, size_t start) {
  static const struct {
    const char* open;
    const char* close;
  } kSections[] = {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}, {"<!", ">"}};
  for (const auto& section : kSections) {
    if (xml.compare(start, std::strlen(section.open), section.open) != 0) continue;
    const size_t end = xml.find(section.close, start + std::strlen(section.open));
    return end == std::string::npos ? end : end + std::strlen(section.close);
  }
  char quote = 0;
  for (size_t at = start + 1; at < xml.size(); ++at) {
    const char c = xml[at];
    if (quote) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '>') {
      return at + 1;
    }
  }
  return std::string::npos;
}

// True for a start tag that is not also its own end tag.
bool OpensElement(const std::string& xml, size_t start, size_t end) {
  return xml[start + 1] != '/' && xml[start + 1] != '!' && xml[start + 1] != '?' &&
         xml[end - 2] != '/';
}

bool IsDeclaration(const std::string& xml, size_t start) {
  return xml.compare(start, 5, "<?xml") == 0 && start + 5 < xml.size() &&
         std::strchr(kBlanks, xml[start + 5]);
}

void AppendTrimmed(std::string& text, const std::string& xml, size_t from, size_t to) {
  const size_t first = xml.find_first_not_of(kBlanks, from);
  if (first >= to) return;
  const size_t last = xml.find_last_not_of(kBlanks, to - 1);
  text.append(xml, first, last + 1 - first);
}

}  // namespace

std::string WithTrimmedValues(const std::string& xml) {
  std::string text;
  text.reserve(xml.size());
  bool inLeaf = false;  // after a start tag, with nothing but text since
  size_t at = 0;
  for (size_t start = xml.find('<'); start != std::string::npos; start = xml.find('<', at)) {
    const size_t end = MarkupEnd(xml, start);
    // What does not end is left to the parser to report.
    if (end == std::string::npos) break;
    if (inLeaf && xml[start + 1] == '/') {
      AppendTrimmed(text, xml, at, start);
    } else {
      text.append(xml, at, start - at);
    }
    text.append(xml, start, end - start);
    inLeaf = OpensElement(xml, start, end);
    at = end;
  }
  return text.append(xml, at, std::string::npos);
}

bool HasTextBeforeDeclaration(const std::string& xml) {
  const size_t first = xml.compare(0, 3, kByteOrderMark) == 0 ? 3 : 0;
  // The declaration is looked for up to the first element, past comments that may quote one.
  size_t start = xml.find('<', first);
  while (start != std::string::npos) {
    if (IsDeclaration(xml, start)) return start != first;
    if (std::isalpha(static_cast<unsigned char>(xml[start + 1]))) return false;
    const size_t end = MarkupEnd(xml, start);
    if (end == std::string::npos) return false;
    start = xml.find('<', end);
  }
  return false;
}

}  // namespace GenApi
