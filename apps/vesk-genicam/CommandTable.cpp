#include "CommandTable.h"

#include <iterator>

namespace vesk::tool {

namespace {

const Command kCommands[] = {
    {"boards", "boards", "the boards of the board runtime: type, serial, transport, design", "",
     Boards},
    {"scan", "scan [--board N] [--ports MASK] [--timeout MS] [--speed S] [--flags F]",
     "look for cameras and list them with master port, links, speed and identity",
     "  --board N      the board (0)\n"
     "  --ports MASK   the ports to scan, bit n for port n (every port)\n"
     "  --timeout MS   how long the scan may wait for cameras (5000)\n"
     "  --speed S      a link speed in Mbit/s, 0 to search it (0)\n"
     "  --flags F      scan flags: 0x20 refresh the camera table only, 0x40 keep vanished "
     "cameras (0)\n",
     Scan},
    {"info", "info CAMERA", "the camera's identity, master port, links and speeds", "", CameraInfo},
    {"xml", "xml CAMERA [-o FILE]", "the camera's GenICam XML",
     "  -o FILE   write it to FILE instead of stdout\n", Xml},
    {"features", "features CAMERA [--all]", "the feature tree with values, units and access modes",
     "  --all   also the guru and invisible features\n", Features},
    {"get", "get CAMERA FEATURE", "the value of a feature", "", Get},
    {"set", "set CAMERA FEATURE VALUE",
     "write a feature: a number, true or false, an entry's name or a text", "", Set},
    {"exec", "exec CAMERA COMMAND", "execute a command feature and wait a while until it is done",
     "", Exec},
    {"read", "read CAMERA ADDRESS [LENGTH]", "read camera memory, shown as a hex dump",
     "  LENGTH   bytes to read, 1 to 65536 (4)\n", Read},
    {"write", "write CAMERA ADDRESS VALUE", "write a 32-bit register of the camera", "", Write},
    {"dump", "dump CAMERA FILE", "save the camera's feature values to a file", "", Dump},
    {"load", "load CAMERA FILE [--strict]", "write the feature values of a dump back",
     "  --strict   stop at the first line that names no feature or has a bad value\n", Load},
    {"config", "config save|load BOARD FILE",
     "save the camera layout of a scan, or compare a scan with a saved one", "", Config},
    {"profile", "profile FILE [--board N]",
     "open a board through a connection profile and show its cameras' states",
     "  --board N   the board (0)\n", Profile},
    {"link-profile", "link-profile store|restore BOARD FILE",
     "store the board's multiplexer, operators and speeds to a file, or restore them", "",
     LinkProfile},
    {"events", "events [--board N] [--seconds S]",
     "print the board's events as they arrive, one line each",
     "  --board N     the board (0)\n"
     "  --seconds S   how long to watch, 1 to 3600 (10)\n"
     "  On the simulated runtime, lines typed on stdin run as sim commands meanwhile\n"
     "  (\"unplug 0 1\"), so that cables can be pulled while the events come.\n",
     Events},
    {"sim", "sim rig|plug|unplug|fault|counters ...",
     "the simulated runtime: its rig, cables, faults and counters",
     "  sim rig                                   boards, cameras and cables\n"
     "  sim plug BOARD PORT CAMERA [LINK]         cable a camera's link (0) to a port\n"
     "  sim unplug BOARD PORT                     pull the cable of a port\n"
     "  sim fault camera CAMERA [KEY=N ...]       set a camera's faults; none clears them\n"
     "  sim fault port BOARD PORT [KEY=N ...]     set a port's faults; none clears them\n"
     "  sim fault trip BOARD PORT                 trip the power over the port's cable\n"
     "  sim counters BOARD                        register, queue and packet counters\n"
     "  CAMERA is the camera's id in the rig or its position. KEY is one of seed, drop,\n"
     "  corrupt, odd, delay, delayMs, silentAfter, wait, tentative, unknown, badCrc, error,\n"
     "  burst, burstErrors (chances per thousand answers, see the simulator's README).\n"
     "  The rig lives in the process: chain commands with '+' to see what a change does,\n"
     "  as in: vesk-genicam sim unplug 0 1 + scan\n",
     Sim},
    {"version", "version", "the tool's version and the board runtime it found", "", Version},
};

}  // namespace

const Command* FindCommand(const std::string& name) {
  for (const Command& command : kCommands) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

void PrintUsage(FILE* out) {
  std::fprintf(out,
               "usage: vesk-genicam [-v|-vv] [--json] COMMAND [ARGS] [+ COMMAND [ARGS] ...]\n\n");
  for (const Command& command : kCommands)
    std::fprintf(out, "  %-13s %s\n", command.name, command.summary);
  std::fprintf(out,
               "\nCAMERA is BOARD:INDEX (0:1, the second camera of board 0) or BOARD@PORT (0@2,\n"
               "the camera with a link on port 2). Numbers may be written 0x... in hexadecimal.\n"
               "  -v, -vv   log information, or everything, of the library to stderr\n"
               "  --json    one JSON document per command\n"
               "Exit status: 0 success, 1 a usage error or bad input, 2 a failed library call.\n"
               "'vesk-genicam COMMAND --help' tells more of a command.\n");
}

void PrintHelp(const Command& command) {
  std::printf("usage: vesk-genicam %s\n%s\n", command.synopsis, command.summary);
  if (*command.details) std::printf("\n%s", command.details);
}

}  // namespace vesk::tool
