// The subcommands of vesk-genicam, by group, and what each gets to run.
#ifndef VESK_APPS_VESK_GENICAM_COMMANDS_H
#define VESK_APPS_VESK_GENICAM_COMMANDS_H

#include <cstdio>
#include <functional>

#include "Arguments.h"
#include "Json.h"
#include "SimRuntime.h"

namespace vesk::tool {

// What every command runs with. A command prints its report once, through Report.
struct Context {
  bool json = false;
  // Whether stdout is a terminal: progress lines go there only then.
  bool terminal = false;
  SimRuntime* sim = nullptr;
  // Reports nothing: for sim commands that run inside another command's JSON report.
  bool quiet = false;

  // Whether a scan shows how long it has waited.
  bool Progress() const { return terminal && !json && !quiet; }

  // One JSON document with --json, else the text form made from the same data.
  void Report(const Json& data, const std::function<void(const Json&)>& text) const {
    if (quiet) return;
    if (json) {
      std::puts(data.Dump().c_str());
    } else {
      text(data);
    }
    std::fflush(stdout);
  }
};

// A command's work; it returns the exit status, or throws a Failure.
using Handler = int (*)(Arguments&, Context&);

// BoardCommands.cpp
int Boards(Arguments& args, Context& context);
int Scan(Arguments& args, Context& context);
int Version(Arguments& args, Context& context);
// CameraCommands.cpp
int CameraInfo(Arguments& args, Context& context);
int Xml(Arguments& args, Context& context);
int Read(Arguments& args, Context& context);
int Write(Arguments& args, Context& context);
// FeatureCommands.cpp
int Features(Arguments& args, Context& context);
int Get(Arguments& args, Context& context);
int Set(Arguments& args, Context& context);
int Exec(Arguments& args, Context& context);
int Dump(Arguments& args, Context& context);
int Load(Arguments& args, Context& context);
// ConfigCommands.cpp
int Config(Arguments& args, Context& context);
int Profile(Arguments& args, Context& context);
int LinkProfile(Arguments& args, Context& context);
// EventCommands.cpp
int Events(Arguments& args, Context& context);
// SimCommands.cpp
int Sim(Arguments& args, Context& context);

}  // namespace vesk::tool

#endif
