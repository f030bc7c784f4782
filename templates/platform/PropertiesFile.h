#ifndef VESK_TEMPLATES_PLATFORM_PROPERTIES_FILE_H
#define VESK_TEMPLATES_PLATFORM_PROPERTIES_FILE_H

#include <cstddef>
#include <map>
#include <string>

#include "templates/platform/RecursiveMutex.h"

namespace vesk::templates::platform {

// An in-memory image of one settings file: "[section]" headers, "key = value" lines and "#"
// comments. With sections the keys are stored as "section::key"; unless case sensitive they are
// stored in lower case, while values keep their case. Malformed lines are skipped silently.
class PropertiesFile {
 public:
  // Settings files have a few kilobytes; a larger file than this is not read.
  static constexpr size_t kMaxFileSize = 1 << 20;

  explicit PropertiesFile(bool useSections = true, bool caseSensitive = false)
      : useSections_(useSections), caseSensitive_(caseSensitive) {}
  PropertiesFile(const PropertiesFile&) = delete;
  PropertiesFile& operator=(const PropertiesFile&) = delete;

  // False, with the map untouched, if the file can't be opened, is no regular file or is larger
  // than kMaxFileSize. keepExisting false empties the map first; overwrite false keeps a key's
  // earlier value over a later line.
  bool load(const std::string& path, bool keepExisting, bool overwrite);
  // The value, or an empty string if the key is missing; *found (if given) tells the two apart.
  const std::string& property(const std::string& key, bool* found);

 private:
  std::string normalised(std::string key) const;
  void addLine(std::string line, bool overwrite, std::string* section, bool* inSection);

  std::map<std::string, std::string> values_;
  const bool useSections_;
  const bool caseSensitive_;
  // Guards values_; its holder count is the file's use counter.
  RecursiveMutex mutex_;
  const std::string empty_;
};

}  // namespace vesk::templates::platform

#endif
