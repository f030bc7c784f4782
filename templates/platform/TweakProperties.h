#ifndef VESK_TEMPLATES_PLATFORM_TWEAK_PROPERTIES_H
#define VESK_TEMPLATES_PLATFORM_TWEAK_PROPERTIES_H

#include <map>
#include <string>

#include "templates/platform/PropertiesFile.h"
#include "templates/platform/RecursiveMutex.h"

namespace vesk::templates::platform {

// One row of a property table. An empty text means the row has no such source; a null key ends
// the table.
struct TweakPropertyEntry {
  const char* key;  // "section::name"
  const char* environmentVariable;
  const char* commandLineName;
  const char* defaultValue;
};

// One read of settings: the command line, the user's file, the installation's file, the
// environment and the row's default, in that order. Each file is loaded once per object, when
// first needed; nothing outlives the object.
class TweakProperties {
 public:
  TweakProperties() = default;
  virtual ~TweakProperties() = default;
  TweakProperties(const TweakProperties&) = delete;
  TweakProperties& operator=(const TweakProperties&) = delete;

  // The row of `key` in `table`, matched exactly, case included; the table is registered on the
  // first call. Throws std::runtime_error for a key the table lacks.
  const TweakPropertyEntry& findEntry(const TweakPropertyEntry* table, const std::string& key);

  // The first value that converts to T. Empty names or paths leave their source out. Throws
  // std::runtime_error if not even the default converts.
  template <class T>
  T internalProperty(const std::string& firstFile, const std::string& secondFile,
                     const std::string& key, const std::string& environmentVariable,
                     const std::string& commandLineName, const std::string& defaultValue, int argc,
                     char** argv);

  // Conversions from text; false leaves value as it was. A bool accepts any text.
  static bool resolveValue(const std::string& text, bool& value);
  static bool resolveValue(const std::string& text, int& value);
  static bool resolveValue(const std::string& text, unsigned int& value);
  static bool resolveValue(const std::string& text, unsigned short& value);
  static bool resolveValue(const std::string& text, std::string& value);

 private:
  // A file, loaded on first use. The mutex's holder count is the loading's use counter.
  struct LazyFile {
    bool loaded = false;
    PropertiesFile file;
    RecursiveMutex mutex;
  };

  template <class T>
  bool fileValue(LazyFile& lazy, const std::string& path, const std::string& key, T& value);

  LazyFile first_;
  LazyFile second_;
  bool tableRegistered_ = false;
  std::map<std::string, const TweakPropertyEntry*> entries_;
  RecursiveMutex entriesMutex_;
};

}  // namespace vesk::templates::platform

#endif
