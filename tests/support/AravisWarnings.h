#ifndef VESK_TESTS_SUPPORT_ARAVIS_WARNINGS_H
#define VESK_TESTS_SUPPORT_ARAVIS_WARNINGS_H

#include <arv.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <string>

namespace vesk::test {

// Collects what GLib and Aravis warn about while it lives: GLib warnings, criticals and errors
// through a log writer installed once per process, and Aravis's own warnings, which Aravis
// prints to stderr once they are switched on, by capturing stderr.
class AravisWarnings {
 public:
  AravisWarnings() {
    static std::once_flag installed;
    std::call_once(installed, [] {
      g_log_set_writer_func(Writer, nullptr, nullptr);
      arv_debug_enable("all:1");
    });
    Messages().clear();
    std::fflush(stderr);
    saved_ = dup(STDERR_FILENO);
    capture_ = std::tmpfile();
    if (capture_) dup2(fileno(capture_), STDERR_FILENO);
  }
  ~AravisWarnings() { Restore(); }
  AravisWarnings(const AravisWarnings&) = delete;
  AravisWarnings& operator=(const AravisWarnings&) = delete;

  // Everything warned so far; empty if all was quiet.
  std::string Text() {
    std::fflush(stderr);
    std::string text = Messages();
    if (capture_) {
      std::rewind(capture_);
      char chunk[512];
      for (size_t count; (count = std::fread(chunk, 1, sizeof(chunk), capture_)) > 0;) {
        text.append(chunk, count);
      }
    }
    return text;
  }

 private:
  static std::string& Messages() {
    static std::string messages;
    return messages;
  }

  static GLogWriterOutput Writer(GLogLevelFlags level, const GLogField* fields, gsize count,
                                 gpointer data) {
    if (level & (G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING)) {
      for (gsize index = 0; index < count; ++index) {
        if (std::string(fields[index].key) == "MESSAGE" && fields[index].length < 0) {
          Messages() +=
              std::string("GLib: ") + static_cast<const char*>(fields[index].value) + "\n";
        }
      }
      return G_LOG_WRITER_HANDLED;
    }
    return g_log_writer_default(level, fields, count, data);
  }

  void Restore() {
    if (saved_ < 0) return;
    std::fflush(stderr);
    dup2(saved_, STDERR_FILENO);
    close(saved_);
    saved_ = -1;
    if (capture_) std::fclose(capture_);
    capture_ = nullptr;
  }

  int saved_ = -1;
  std::FILE* capture_ = nullptr;
};

}  // namespace vesk::test

#endif
