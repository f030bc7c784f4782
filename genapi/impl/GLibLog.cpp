#include "genapi/impl/GLibLog.h"

#include <glib.h>

#include <cstring>
#include <string>

#include "tools/logging/ClassLogger.h"

namespace GenApi {

namespace {

// Aravis logs without a domain of its own; its parser logs as "XML".
const char* const kDomains[] = {nullptr, "XML", "GLib", "GLib-GObject"};
constexpr size_t kDomainCount = sizeof(kDomains) / sizeof(kDomains[0]);

thread_local unsigned int t_xmlParseErrors = 0;

unsigned int LevelOf(GLogLevelFlags flags) {
  if (flags & (G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL)) return 5;
  if (flags & G_LOG_LEVEL_WARNING) return 4;
  if (flags & (G_LOG_LEVEL_MESSAGE | G_LOG_LEVEL_INFO)) return 3;
  return 1;
}

// The parser's messages end in line feeds; a log line is one line.
std::string OneLine(const gchar* domain, const gchar* message) {
  std::string line = std::string(domain ? domain : "Aravis") + ": " + (message ? message : "");
  line.erase(line.find_last_not_of(" \n") + 1);
  for (char& c : line) {
    if (c == '\n') c = ' ';
  }
  return line;
}

// The handlers, removed again when this library goes, so that GLib never calls into code that
// is no longer loaded.
class Handlers {
 public:
  Handlers() {
    const auto levels =
        static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION);
    for (size_t i = 0; i < kDomainCount; ++i) {
      ids_[i] = g_log_set_handler(kDomains[i], levels, Forward, this);
    }
  }
  ~Handlers() {
    for (size_t i = 0; i < kDomainCount; ++i) g_log_remove_handler(kDomains[i], ids_[i]);
  }
  Handlers(const Handlers&) = delete;
  Handlers& operator=(const Handlers&) = delete;

 private:
  static void Forward(const gchar* domain, GLogLevelFlags flags, const gchar* message,
                      gpointer self) {
    const unsigned int level = LevelOf(flags);
    if (level == 5 && domain && std::strcmp(domain, "XML") == 0) ++t_xmlParseErrors;
    static_cast<Handlers*>(self)->logger_.Line(level, [&] { return OneLine(domain, message); });
  }

  vesk::tools::logging::ClassLogger logger_{"vesk.genicam.lib"};
  guint ids_[kDomainCount] = {};
};

}  // namespace

unsigned int XmlParseErrors() { return t_xmlParseErrors; }

void RouteGLibLogs() { static Handlers handlers; }

}  // namespace GenApi
