// sim: the rig, cables, faults and counters of the simulated board runtime.
#include <cstdio>
#include <cstring>

#include <vesk_genicam/vesk_sim.h>

#include "Commands.h"
#include "Failure.h"
#include "Table.h"

namespace vesk::tool {

namespace {

unsigned int Number(Arguments& args, const char* what) {
  return static_cast<unsigned int>(ParseNumber(args.Operand(what), "sim " + std::string(what)));
}

// A camera by its id in the rig, or by its position.
int RigCamera(const SimRuntime& sim, const std::string& text) {
  const int found = VSIM_CALL(sim, VSimFindCamera)(text.c_str());
  if (found >= 0) return found;
  if (text.find_first_not_of("0123456789") == std::string::npos)
    return static_cast<int>(ParseNumber(text, "sim CAMERA", INT32_MAX));
  UsageError("sim: the rig has no camera '" + text + "'");
}

std::string PortCall(const char* call, unsigned int board, unsigned int port) {
  return std::string(call) + "(" + std::to_string(board) + ", " + std::to_string(port) + ")";
}

Json RigBoards(const SimRuntime& sim) {
  Json boards = Json::MakeArray();
  const int count = sim.Check(VSIM_CALL(sim, VSimGetNrOfBoards)(), "VSimGetNrOfBoards");
  for (int index = 0; index < count; ++index) {
    VSimBoardInfo info{};
    sim.Check(VSIM_CALL(sim, VSimGetBoardInfo)(index, &info), "VSimGetBoardInfo");
    Json cables = Json::MakeArray();
    for (unsigned int port = 0; port < info.ports; ++port) {
      int camera = -1;
      unsigned int link = 0;
      Json cable = Json::MakeObject();
      cable.Set("port", port);
      if (VSIM_CALL(sim, VSimGetCable)(index, port, &camera, &link) == 0)
        cable.Set("camera", camera).Set("link", link);
      cables.Add(cable);
    }
    Json board = Json::MakeObject();
    board.Set("board", index)
        .Set("type", info.type)
        .Set("design", info.design)
        .Set("ports", cables);
    boards.Add(board);
  }
  return boards;
}

Json RigCameras(const SimRuntime& sim) {
  Json cameras = Json::MakeArray();
  const int count = sim.Check(VSIM_CALL(sim, VSimGetNrOfCameras)(), "VSimGetNrOfCameras");
  for (int index = 0; index < count; ++index) {
    VSimCameraInfo info{};
    sim.Check(VSIM_CALL(sim, VSimGetCameraInfo)(index, &info), "VSimGetCameraInfo");
    Json camera = Json::MakeObject();
    camera.Set("camera", index)
        .Set("id", info.id)
        .Set("model", info.model)
        .Set("links", info.links);
    cameras.Add(camera);
  }
  return cameras;
}

void PrintRig(const Json& data) {
  const auto& cameras = data["cameras"].Items();
  Table table;
  table.Add({"BOARD", "PORT", "CABLE"});
  for (const Json& board : data["boards"].Items()) {
    for (const Json& port : board["ports"].Items()) {
      const Json& camera = port["camera"];
      std::string cable = "-";
      if (!camera.IsNull()) {
        const auto index = static_cast<size_t>(camera.Integer());
        cable = (index < cameras.size() ? cameras[index]["id"].Text() : camera.Text()) + " link " +
                port["link"].Text();
      }
      table.Add({board["board"].Text() + " " + board["design"].Text(), port["port"].Text(), cable});
    }
  }
  table.Print();
}

int Rig(Arguments& args, Context& context) {
  args.Done();
  Json data = Json::MakeObject();
  data.Set("boards", RigBoards(*context.sim)).Set("cameras", RigCameras(*context.sim));
  context.Report(data, PrintRig);
  return 0;
}

void ReportDone(Context& context, const std::string& text) {
  Json data = Json::MakeObject();
  data.Set("done", text);
  context.Report(data, [](const Json& report) { std::puts(report["done"].Text().c_str()); });
}

int Plug(Arguments& args, Context& context) {
  const unsigned int board = Number(args, "BOARD");
  const unsigned int port = Number(args, "PORT");
  const std::string cameraText = args.Operand("CAMERA");
  const auto linkText = args.OptionalOperand();
  args.Done();
  const SimRuntime& sim = *context.sim;
  const int camera = RigCamera(sim, cameraText);
  const auto link =
      static_cast<unsigned int>(linkText ? ParseNumber(*linkText, "sim plug LINK") : 0);
  sim.Check(VSIM_CALL(sim, VSimPlug)(static_cast<int>(board), port, camera, link),
            PortCall("VSimPlug", board, port));
  ReportDone(context, "plugged " + cameraText + " link " + std::to_string(link) + " into board " +
                          std::to_string(board) + " port " + std::to_string(port));
  return 0;
}

int Unplug(Arguments& args, Context& context) {
  const unsigned int board = Number(args, "BOARD");
  const unsigned int port = Number(args, "PORT");
  args.Done();
  const SimRuntime& sim = *context.sim;
  sim.Check(VSIM_CALL(sim, VSimUnplug)(static_cast<int>(board), port),
            PortCall("VSimUnplug", board, port));
  ReportDone(context, "pulled the cable of board " + std::to_string(board) + " port " +
                          std::to_string(port));
  return 0;
}

struct FaultSettings {
  VSimFaults faults{0, 0, 0, 0, 0, 0, -1};
  VSimProtocolFaults protocol{};
};

// The fields of both fault records by the names of the rig file.
void SetFault(FaultSettings& settings, const std::string& key, const std::string& text) {
  const struct {
    const char* key;
    uint32_t* field;
  } kFields[] = {{"seed", &settings.faults.seed},
                 {"drop", &settings.faults.dropPerMille},
                 {"corrupt", &settings.faults.corruptPerMille},
                 {"odd", &settings.faults.oddPerMille},
                 {"delay", &settings.faults.delayPerMille},
                 {"delayMs", &settings.faults.delayMs},
                 {"wait", &settings.protocol.waitPerMille},
                 {"tentative", &settings.protocol.tentativePerMille},
                 {"unknown", &settings.protocol.unknownPerMille},
                 {"badCrc", &settings.protocol.badCrcPerMille},
                 {"error", &settings.protocol.errorPerMille},
                 {"burst", &settings.protocol.burstPerMille},
                 {"burstErrors", &settings.protocol.burstErrors}};
  if (key == "silentAfter") {
    settings.faults.silentAfter =
        static_cast<int64_t>(ParseNumber(text, "sim fault silentAfter", INT64_MAX));
    return;
  }
  for (const auto& field : kFields) {
    if (key == field.key) {
      *field.field = static_cast<uint32_t>(ParseNumber(text, "sim fault " + key));
      return;
    }
  }
  UsageError("sim fault: unknown fault '" + key + "'");
}

FaultSettings ParseFaults(Arguments& args) {
  FaultSettings settings;
  while (const auto pair = args.OptionalOperand()) {
    const size_t equals = pair->find('=');
    if (equals == std::string::npos) UsageError("sim fault: '" + *pair + "' is not KEY=N");
    SetFault(settings, pair->substr(0, equals), pair->substr(equals + 1));
  }
  args.Done();
  return settings;
}

int Fault(Arguments& args, Context& context) {
  const std::string target = args.Operand("camera, port or trip");
  const SimRuntime& sim = *context.sim;
  if (target == "camera") {
    const std::string cameraText = args.Operand("CAMERA");
    const FaultSettings settings = ParseFaults(args);
    sim.Check(VSIM_CALL(sim, VSimSetCameraFaultsEx)(RigCamera(sim, cameraText), &settings.faults,
                                                    &settings.protocol),
              "VSimSetCameraFaultsEx(" + cameraText + ")");
    ReportDone(context, "set the faults of camera " + cameraText);
    return 0;
  }
  if (target != "port" && target != "trip")
    UsageError("sim fault: '" + target + "' is neither camera, port nor trip");
  const unsigned int board = Number(args, "BOARD");
  const unsigned int port = Number(args, "PORT");
  if (target == "trip") {
    args.Done();
    sim.Check(VSIM_CALL(sim, VSimTripPower)(static_cast<int>(board), port),
              PortCall("VSimTripPower", board, port));
    ReportDone(context, "tripped the power of board " + std::to_string(board) + " port " +
                            std::to_string(port));
    return 0;
  }
  const FaultSettings settings = ParseFaults(args);
  sim.Check(VSIM_CALL(sim, VSimSetPortFaultsEx)(static_cast<int>(board), port, &settings.faults,
                                                &settings.protocol),
            PortCall("VSimSetPortFaultsEx", board, port));
  ReportDone(context,
             "set the faults of board " + std::to_string(board) + " port " + std::to_string(port));
  return 0;
}

int Counters(Arguments& args, Context& context) {
  const unsigned int board = Number(args, "BOARD");
  args.Done();
  const SimRuntime& sim = *context.sim;
  VSimBoardCounters counters{};
  sim.Check(VSIM_CALL(sim, VSimGetBoardCounters)(static_cast<int>(board), &counters),
            "VSimGetBoardCounters(" + std::to_string(board) + ")");
  VSimBoardInfo info{};
  sim.Check(VSIM_CALL(sim, VSimGetBoardInfo)(static_cast<int>(board), &info), "VSimGetBoardInfo");
  Json ports = Json::MakeArray();
  for (unsigned int port = 0; port < info.ports; ++port) {
    VSimPortCounters packets{};
    uint64_t lineErrors = 0;
    VSIM_CALL(sim, VSimGetPortCounters)(static_cast<int>(board), port, &packets);
    VSIM_CALL(sim, VSimGetPortLineErrors)(static_cast<int>(board), port, &lineErrors);
    Json counted = Json::MakeObject();
    counted.Set("port", port)
        .Set("packetsToCamera", packets.packetsToCamera)
        .Set("packetsFromCamera", packets.packetsFromCamera)
        .Set("lineErrors", lineErrors);
    ports.Add(counted);
  }
  Json data = Json::MakeObject();
  data.Set("board", board)
      .Set("registerReads", counters.registerReads)
      .Set("registerWrites", counters.registerWrites)
      .Set("queueUnitsWritten", counters.queueUnitsWritten)
      .Set("queueUnitsRead", counters.queueUnitsRead)
      .Set("ports", ports);
  context.Report(data, [](const Json& report) {
    std::printf("board %s: %s register reads, %s writes; queue units %s written, %s read\n",
                report["board"].Text().c_str(), report["registerReads"].Text().c_str(),
                report["registerWrites"].Text().c_str(), report["queueUnitsWritten"].Text().c_str(),
                report["queueUnitsRead"].Text().c_str());
    Table table;
    table.Add({"PORT", "TO CAMERA", "FROM CAMERA", "LINE ERRORS"});
    for (const Json& port : report["ports"].Items())
      table.Add({port["port"].Text(), port["packetsToCamera"].Text(),
                 port["packetsFromCamera"].Text(), port["lineErrors"].Text()});
    table.Print(2);
  });
  return 0;
}

const struct {
  const char* name;
  Handler run;
} kSimCommands[] = {
    {"rig", Rig}, {"plug", Plug}, {"unplug", Unplug}, {"fault", Fault}, {"counters", Counters}};

}  // namespace

int Sim(Arguments& args, Context& context) {
  const std::string name = args.Operand("rig, plug, unplug, fault or counters");
  for (const auto& command : kSimCommands) {
    if (name == command.name) {
      context.sim->Require("sim " + name);
      return command.run(args, context);
    }
  }
  UsageError("sim: unknown command '" + name + "'");
}

}  // namespace vesk::tool
