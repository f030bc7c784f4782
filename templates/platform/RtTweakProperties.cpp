#include "templates/platform/RtTweakProperties.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "loader/LibraryLoader.h"
#include "templates/platform/TweakProperties.h"
#include "templates/platform/TweakPropertyTable.h"

namespace vesk::templates::platform {

namespace {

bool MakeDirectory(const std::string& path) {
  return mkdir(path.c_str(), 0777) == 0 || errno == EEXIST;
}

// The loaders find the installation the same way; sharing their search shares its cache too.
std::string InstallationFilePath() {
  std::string directory;
  if (!loader::LibraryLoader::GetInstallationDirectory(&directory)) return "";
  return directory + "/rt.conf";
}

}  // namespace

template <class T>
T RtTweakProperties::property(const std::string& key, int argc, char** argv) {
  TweakProperties properties;
  const std::string secondFile = InstallationFilePath();
  const std::string firstFile = localPropertyFilePath();
  const TweakPropertyEntry& entry = properties.findEntry(kTweakPropertyTable, key);
  return properties.internalProperty<T>(firstFile, secondFile, key, entry.environmentVariable,
                                        entry.commandLineName, entry.defaultValue, argc, argv);
}

template bool RtTweakProperties::property<bool>(const std::string&, int, char**);
template int RtTweakProperties::property<int>(const std::string&, int, char**);
template unsigned int RtTweakProperties::property<unsigned int>(const std::string&, int, char**);
template unsigned short RtTweakProperties::property<unsigned short>(const std::string&, int,
                                                                    char**);
template std::string RtTweakProperties::property<std::string>(const std::string&, int, char**);

std::string RtTweakProperties::localPropertyFilePath() {
  const char* home = std::getenv("HOME");
  if (!home || !*home) return "";
  std::string path = getRealPath(home) + "/.config";
  if (!MakeDirectory(path)) return "";
  path += "/vesk";
  if (!MakeDirectory(path)) return "";
  return path + "/rt.conf";
}

std::string RtTweakProperties::getRealPath(const std::string& path) {
  if (path.empty()) return path;
  char resolved[PATH_MAX] = {};
  if (!realpath(path.c_str(), resolved)) return path;
  return resolved;
}

}  // namespace vesk::templates::platform
