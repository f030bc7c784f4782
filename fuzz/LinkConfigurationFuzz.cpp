// Every text goes through the reader of each family; what it accepts must survive the writer:
// the written file has to read back without an error.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "core/plex/CxpLinkConfiguration.h"

using vesk::core::plex::CxpLinkConfiguration;

namespace {

// One file per process, gone when the process ends normally.
class ScratchFile {
 public:
  ScratchFile() {
    char pattern[] = "/tmp/link_configuration_fuzz_XXXXXX";
    const int fd = mkstemp(pattern);
    if (fd < 0) std::abort();
    close(fd);
    name_ = pattern;
  }
  ~ScratchFile() { std::remove(name_.c_str()); }
  const std::string& Name() const { return name_; }

 private:
  std::string name_;
};

const std::string& ScratchName() {
  static const ScratchFile file;
  return file.Name();
}

struct Family {
  const char* name;
  // A family without a root element writes its groups alone, which no reader takes.
  bool readsBack;
};
constexpr Family kFamilies[] = {{"cxp", true}, {"clhs", true}, {"cl", true}, {"gev", false}};

void WriteAndReadBack(const CxpLinkConfiguration& accepted, const Family& family) {
  accepted.WriteToFile(ScratchName());
  if (!family.readsBack) return;
  auto again = CxpLinkConfiguration::Create(family.name);
  try {
    again->ReadFromFile(ScratchName());
  } catch (const std::runtime_error& error) {
    std::fprintf(stderr, "written file of family %s does not read back: %s\n", family.name,
                 error.what());
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (const Family& family : kFamilies) {
    auto configuration = CxpLinkConfiguration::Create(family.name);
    try {
      configuration->ReadFromString(text.c_str());
    } catch (const std::runtime_error&) {
      continue;
    }
    WriteAndReadBack(*configuration, family);
  }
  return 0;
}
