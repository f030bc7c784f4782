#include "templates/platform/TweakProperties.h"

#include <strings.h>

#include <boost/algorithm/string/predicate.hpp>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "templates/platform/RecursiveMutexGuard.h"

namespace vesk::templates::platform {

namespace {

// The text behind "name=" if the argument, its leading dashes dropped, sets `name` (matched
// without regard to case); else null.
const char* CommandLineValue(const char* argument, const std::string& name) {
  if (!argument) return nullptr;
  while (*argument == '-') ++argument;
  const char* equals = std::strchr(argument, '=');
  if (!equals) return nullptr;
  const size_t length = static_cast<size_t>(equals - argument);
  if (length != name.size() || strncasecmp(argument, name.c_str(), length) != 0) return nullptr;
  return equals + 1;
}

// The stream's own number parsing: white space ahead and any trailing text are allowed.
template <class T>
bool ReadNumber(const std::string& text, T& value) {
  std::istringstream in(text);
  T number{};
  in >> number;
  if (in.fail()) return false;
  value = number;
  return true;
}

}  // namespace

const TweakPropertyEntry& TweakProperties::findEntry(const TweakPropertyEntry* table,
                                                     const std::string& key) {
  RecursiveMutexGuard guard(&entriesMutex_);
  if (!tableRegistered_) {
    for (const TweakPropertyEntry* row = table; row->key; ++row) entries_.emplace(row->key, row);
    tableRegistered_ = true;
  }
  const auto entry = entries_.find(key);
  if (entry == entries_.end()) {
    throw std::runtime_error("TweakProperties: Unknown property requested: '" + key + "'");
  }
  return *entry->second;
}

template <class T>
T TweakProperties::internalProperty(const std::string& firstFile, const std::string& secondFile,
                                    const std::string& key, const std::string& environmentVariable,
                                    const std::string& commandLineName,
                                    const std::string& defaultValue, int argc, char** argv) {
  T value{};
  if (!commandLineName.empty() && argc > 0 && argv) {
    // From the back, so that the last setting wins.
    for (int index = argc - 1; index >= 0; --index) {
      const char* text = CommandLineValue(argv[index], commandLineName);
      if (text && resolveValue(text, value)) return value;
    }
  }
  if (fileValue(first_, firstFile, key, value)) return value;
  if (fileValue(second_, secondFile, key, value)) return value;
  if (!environmentVariable.empty()) {
    // Unlike a file's, an empty variable counts: it is a value that was set on purpose.
    const char* text = std::getenv(environmentVariable.c_str());
    if (text && resolveValue(text, value)) return value;
  }
  if (resolveValue(defaultValue, value)) return value;
  throw std::runtime_error("TweakProperties: No valid value found for property '" + key + "'");
}

template <class T>
bool TweakProperties::fileValue(LazyFile& lazy, const std::string& path, const std::string& key,
                                T& value) {
  if (path.empty() || key.empty()) return false;
  {
    RecursiveMutexGuard guard(&lazy.mutex);
    if (!lazy.loaded) {
      // A missing file counts as loaded: it is not looked for again by this object.
      lazy.file.load(path, true, true);
      lazy.loaded = true;
    }
  }
  const std::string& text = lazy.file.property(key, nullptr);
  return !text.empty() && resolveValue(text, value);
}

bool TweakProperties::resolveValue(const std::string& text, bool& value) {
  value = boost::algorithm::iequals(text, "yes") || boost::algorithm::iequals(text, "true") ||
          boost::algorithm::iequals(text, "on") || text == "1";
  return true;
}

bool TweakProperties::resolveValue(const std::string& text, int& value) {
  return ReadNumber(text, value);
}

bool TweakProperties::resolveValue(const std::string& text, unsigned int& value) {
  return ReadNumber(text, value);
}

bool TweakProperties::resolveValue(const std::string& text, unsigned short& value) {
  return ReadNumber(text, value);
}

bool TweakProperties::resolveValue(const std::string& text, std::string& value) {
  value = text;
  return true;
}

#define VESK_TWEAK_PROPERTY_TYPE(T)                                                   \
  template T TweakProperties::internalProperty<T>(                                    \
      const std::string&, const std::string&, const std::string&, const std::string&, \
      const std::string&, const std::string&, int, char**);
VESK_TWEAK_PROPERTY_TYPE(bool)
VESK_TWEAK_PROPERTY_TYPE(int)
VESK_TWEAK_PROPERTY_TYPE(unsigned int)
VESK_TWEAK_PROPERTY_TYPE(unsigned short)
VESK_TWEAK_PROPERTY_TYPE(std::string)
#undef VESK_TWEAK_PROPERTY_TYPE

}  // namespace vesk::templates::platform
