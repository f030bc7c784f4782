#include "templates/platform/PropertiesFile.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <sstream>

#include "templates/platform/BoundedFile.h"
#include "templates/platform/RecursiveMutexGuard.h"

namespace vesk::templates::platform {

bool PropertiesFile::load(const std::string& path, bool keepExisting, bool overwrite) {
  BoundedFile file = BoundedFile::Read(path, kMaxFileSize);
  if (!file) return false;
  std::istringstream in(file.TakeText());
  RecursiveMutexGuard guard(&mutex_);
  if (!keepExisting) values_.clear();
  std::string section;
  bool inSection = false;
  for (std::string line; std::getline(in, line);) {
    addLine(std::move(line), overwrite, &section, &inSection);
  }
  return true;
}

void PropertiesFile::addLine(std::string line, bool overwrite, std::string* section,
                             bool* inSection) {
  // There is no escape: a "#" inside a value cuts the value.
  const size_t comment = line.find('#');
  if (comment != std::string::npos) line.resize(comment);
  boost::algorithm::trim(line);
  if (line.empty()) return;
  if (useSections_ && line.front() == '[') {
    if (line.size() <= 2) return;
    // Without the closing bracket the line is read as a setting, "[" and all.
    if (line.back() == ']') {
      *section = boost::algorithm::trim_copy(line.substr(1, line.size() - 2));
      if (!caseSensitive_) boost::algorithm::to_lower(*section);
      *inSection = true;
      return;
    }
  }
  if (useSections_ && !*inSection) return;
  const size_t equals = line.find('=');
  if (equals == std::string::npos) return;
  std::string key = boost::algorithm::trim_copy(line.substr(0, equals));
  if (useSections_) key = *section + "::" + key;
  key = normalised(std::move(key));
  if (!overwrite && values_.count(key) != 0) return;
  values_[key] = boost::algorithm::trim_copy(line.substr(equals + 1));
}

const std::string& PropertiesFile::property(const std::string& key, bool* found) {
  const std::string wanted = normalised(key);
  RecursiveMutexGuard guard(&mutex_);
  const auto entry = values_.find(wanted);
  if (found) *found = entry != values_.end();
  return entry == values_.end() ? empty_ : entry->second;
}

std::string PropertiesFile::normalised(std::string key) const {
  if (!caseSensitive_) boost::algorithm::to_lower(key);
  return key;
}

}  // namespace vesk::templates::platform
