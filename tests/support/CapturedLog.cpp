#include "tests/support/CapturedLog.h"

#include <dlfcn.h>

#include <sstream>
#include <stdexcept>

#include "loader/LibraryLoader.h"
#include "tools/logging/Logging.h"

namespace vesk::test {

namespace {

void* Function(const char* name) {
  // Building the logging client loads the dispatcher; NOLOAD then finds that same copy.
  tools::logging::Logging::GetLogger("vesk.test");
  std::string directory;
  if (!loader::LibraryLoader::GetInstallationDirectory(&directory)) {
    throw std::runtime_error("no installation directory");
  }
  const std::string path = directory + "/lib64/libcommon-logging-dispatcher.so";
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (!handle) throw std::runtime_error("capturing dispatcher not loaded: " + path);
  void* function = dlsym(handle, name);
  dlclose(handle);
  if (!function) throw std::runtime_error(std::string("capturing dispatcher lacks ") + name);
  return function;
}

template <class Signature>
Signature* Get(const char* name) {
  return reinterpret_cast<Signature*>(Function(name));
}

}  // namespace

void CapturedLog::SetDefaultLevel(unsigned int level) {
  Get<void(unsigned int)>("capture_set_default_level")(level);
}

void CapturedLog::SetAllLevels(unsigned int level) {
  Get<void(unsigned int)>("capture_set_all_levels")(level);
}

void CapturedLog::MapNamesToOneId() { Get<void()>("capture_map_names_to_one_id")(); }

void CapturedLog::ForgetClients() { Get<void()>("capture_forget_clients")(); }

int CapturedLog::ClientCount() { return Get<int()>("capture_client_count")(); }

std::vector<CapturedLine> CapturedLog::Take() {
  char* joined = Get<char*()>("capture_take_lines")();
  std::vector<CapturedLine> lines;
  std::istringstream in(joined);
  Get<void(char*)>("capture_free")(joined);
  std::string row;
  while (std::getline(in, row)) {
    const size_t first = row.find('|');
    const size_t second = row.find('|', first + 1);
    lines.push_back(
        {std::stoull(row.substr(0, first)),
         static_cast<unsigned int>(std::stoul(row.substr(first + 1, second - first - 1))),
         row.substr(second + 1)});
  }
  return lines;
}

std::vector<std::string> CapturedLog::TakeFailures() {
  std::vector<std::string> failures;
  for (const CapturedLine& line : Take()) {
    if (line.level == 5) failures.push_back(line.text);
  }
  return failures;
}

}  // namespace vesk::test
