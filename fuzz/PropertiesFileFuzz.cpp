// Settings files are edited by hand: whatever their bytes, a load must stay inside its lines and
// leave only trimmed, comment-free values behind.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "templates/platform/PropertiesFile.h"
#include "templates/platform/TweakProperties.h"

using vesk::templates::platform::PropertiesFile;
using vesk::templates::platform::TweakProperties;

namespace {

// One scratch file a process, removed at exit.
std::string g_scratch;

void RemoveScratch() { std::remove(g_scratch.c_str()); }

const std::string& ScratchFile() {
  if (g_scratch.empty()) {
    g_scratch = "/tmp/vesk-properties-fuzz-" + std::to_string(getpid());
    std::atexit(RemoveScratch);
  }
  return g_scratch;
}

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

void Check(PropertiesFile& properties) {
  for (const char* key : {"cxp::commandacktimeout", "Global::EnablePCAP", "::", "", "a", "[a"}) {
    bool found = false;
    const std::string& value = properties.property(key, &found);
    if (!found && !value.empty()) __builtin_trap();
    if (value.find('#') != std::string::npos) __builtin_trap();
    if (!value.empty() && (IsSpace(value.front()) || IsSpace(value.back()))) __builtin_trap();
    bool flag = false;
    int number = 0;
    unsigned short port = 0;
    TweakProperties::resolveValue(value, flag);
    TweakProperties::resolveValue(value, number);
    TweakProperties::resolveValue(value, port);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& path = ScratchFile();
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return 0;
  std::fwrite(data, 1, size, file);
  std::fclose(file);

  PropertiesFile sectioned;
  if (!sectioned.load(path, true, true)) return 0;
  Check(sectioned);
  // The variant without sections and with case kept reaches the other branches of a line.
  PropertiesFile flat(false, true);
  flat.load(path, false, false);
  Check(flat);
  return 0;
}
