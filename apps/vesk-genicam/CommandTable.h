// The table of subcommands: names, synopses, help texts and handlers.
#ifndef VESK_APPS_VESK_GENICAM_COMMAND_TABLE_H
#define VESK_APPS_VESK_GENICAM_COMMAND_TABLE_H

#include <cstdio>
#include <string>

#include "Commands.h"

namespace vesk::tool {

struct Command {
  const char* name;
  const char* synopsis;
  const char* summary;
  // Options and operands, one per line; may be empty.
  const char* details;
  Handler run;
};

// The command of that name, or null.
const Command* FindCommand(const std::string& name);
void PrintUsage(FILE* out);
void PrintHelp(const Command& command);

}  // namespace vesk::tool

#endif
