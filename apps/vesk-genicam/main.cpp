// vesk-genicam: the command-line face of libvesk_genicam.so.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <vesk_genicam/vesk_genicam.h>

#include "CommandTable.h"
#include "Failure.h"
#include "SimRuntime.h"

namespace vesk::tool {

namespace {

struct Options {
  bool help = false;
  int verbosity = 0;
  bool json = false;
  // The commands, each its name and its words, as '+' separates them.
  std::vector<std::vector<std::string>> commands;
};

Options ParseOptions(int argc, char** argv) {
  Options options;
  int i = 1;
  for (; i < argc && argv[i][0] == '-'; ++i) {
    const std::string option = argv[i];
    if (option == "-v") {
      options.verbosity = 1;
    } else if (option == "-vv") {
      options.verbosity = 2;
    } else if (option == "--json") {
      options.json = true;
    } else if (option == "--help" || option == "-h") {
      options.help = true;
      return options;
    } else {
      UsageError("unknown option '" + option + "' (see vesk-genicam --help)");
    }
  }
  if (i == argc) UsageError("a command is missing (see vesk-genicam --help)");
  options.commands.emplace_back();
  for (; i < argc; ++i) {
    if (std::string(argv[i]) == "+") {
      options.commands.emplace_back();
    } else {
      options.commands.back().push_back(argv[i]);
    }
  }
  for (const auto& words : options.commands) {
    if (words.empty()) UsageError("a command is missing (see vesk-genicam --help)");
    if (!FindCommand(words.front()))
      UsageError("unknown command '" + words.front() + "' (see vesk-genicam --help)");
  }
  return options;
}

// The dispatcher reads its levels when the library first loads it, so they are set before.
void SetLogLevel(int verbosity) {
  static const char* const kLevels[] = {nullptr, "3", "1"};
  if (verbosity) setenv("VESK_LOG_LEVEL", kLevels[verbosity], 1);
}

// One use of the library for the whole run: were the last board freed without it, the board
// runtime would be unloaded, and the simulated runtime's rig with it.
class LibraryUse {
 public:
  LibraryUse() { VeskGenICamInit(); }
  ~LibraryUse() { VeskGenICamDeinit(); }
  LibraryUse(const LibraryUse&) = delete;
  LibraryUse& operator=(const LibraryUse&) = delete;
};

int RunCommand(const std::vector<std::string>& words, Context& context) {
  const Command& command = *FindCommand(words.front());
  Arguments args(words.front(), {words.begin() + 1, words.end()});
  if (args.Flag("--help") || args.Flag("-h")) {
    PrintHelp(command);
    return 0;
  }
  // --json also stands after the command, where scripts tend to put it.
  Context local = context;
  local.json = context.json || args.Flag("--json");
  return command.run(args, local);
}

int Run(int argc, char** argv) {
  const Options options = ParseOptions(argc, argv);
  if (options.help) {
    PrintUsage(stdout);
    return 0;
  }
  SetLogLevel(options.verbosity);
  LibraryUse library;
  SimRuntime sim;
  Context context{options.json, isatty(STDOUT_FILENO) == 1, &sim};
  for (const auto& words : options.commands) {
    const int status = RunCommand(words, context);
    if (status != 0) return status;
  }
  return 0;
}

}  // namespace

}  // namespace vesk::tool

int main(int argc, char** argv) {
  try {
    return vesk::tool::Run(argc, argv);
  } catch (const vesk::tool::Failure& failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "vesk-genicam: %s\n", failure.what());
    return failure.Status();
  }
}
