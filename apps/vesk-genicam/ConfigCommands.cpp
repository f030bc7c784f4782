// config, profile, link-profile: a board's camera layout and link settings in files.
#include <cstdio>

#include <vesk_genicam/vesk_genicam.h>

#include "Board.h"
#include "Commands.h"
#include "Failure.h"
#include "Table.h"

namespace vesk::tool {

namespace {

const char* const kProfileStates[] = {"no camera", "link not connected", "GenICam failed",
                                      "connected"};

// "save" or "load", as the command's first operand says.
bool ParseDirection(Arguments& args, const char* first, const char* second) {
  const std::string direction = args.Operand(std::string(first) + " or " + second);
  if (direction != first && direction != second)
    UsageError(args.Command() + ": '" + direction + "' is neither " + first + " nor " + second);
  return direction == first;
}

struct BoardFile {
  unsigned int board;
  std::string file;
};

BoardFile ParseBoardFile(Arguments& args) {
  BoardFile operands;
  operands.board = static_cast<unsigned int>(ParseNumber(args.Operand("BOARD"), "BOARD"));
  operands.file = args.Operand("FILE");
  args.Done();
  return operands;
}

std::string FileCall(const char* call, const BoardFile& operands) {
  return std::string(call) + "(board " + std::to_string(operands.board) + ", " + operands.file +
         ")";
}

void ReportFile(Context& context, const char* action, const BoardFile& operands) {
  Json data = Json::MakeObject();
  data.Set("board", operands.board).Set("action", action).Set("file", operands.file);
  context.Report(data, [](const Json& report) {
    std::printf("board %s: %s %s\n", report["board"].Text().c_str(),
                report["action"].Text().c_str(), report["file"].Text().c_str());
  });
}

Json ProfileCameras(const MloConnectionProfile& profile) {
  Json cameras = Json::MakeArray();
  for (int i = 0; i < profile.cameraCount; ++i) {
    const uint32_t state = profile.states[i];
    const MloCameraInfo* info = profile.cameraInfos[i];
    Json camera = Json::MakeObject();
    camera.Set("index", i)
        .Set("state", state < std::size(kProfileStates) ? kProfileStates[state] : "unknown")
        .Set("vendor", info ? info->vendorName : nullptr)
        .Set("model", info ? info->modelName : nullptr);
    cameras.Add(camera);
  }
  return cameras;
}

}  // namespace

int Config(Arguments& args, Context& context) {
  const bool save = ParseDirection(args, "save", "load");
  const BoardFile operands = ParseBoardFile(args);
  Board board(operands.board);
  board.Scan(ScanRequest{}, context.Progress());
  if (save) {
    Check(Mlo_SaveBoardConfiguration(board.Handle(), operands.file.c_str()),
          FileCall("Mlo_SaveBoardConfiguration", operands));
  } else {
    Check(Mlo_LoadBoardConfiguration(board.Handle(), operands.file.c_str()),
          FileCall("Mlo_LoadBoardConfiguration", operands));
  }
  ReportFile(context, save ? "saved the camera layout to" : "the cameras match", operands);
  return 0;
}

int Profile(Arguments& args, Context& context) {
  const auto index = static_cast<unsigned int>(args.NumberOption("--board", 0));
  const std::string file = args.Operand("FILE");
  args.Done();
  Board board(index);
  MloConnectionProfile* profile = nullptr;
  Check(Mlo_LoadConnectionProfile(board.Fg(), file.c_str(), &profile),
        "Mlo_LoadConnectionProfile(board " + std::to_string(index) + ", " + file + ")");
  Json data = Json::MakeObject();
  data.Set("board", index).Set("file", file).Set("cameras", ProfileCameras(*profile));
  Mlo_UnloadConnectionProfile(profile);
  context.Report(data, [](const Json& report) {
    Table table;
    table.Add({"INDEX", "STATE", "VENDOR", "MODEL"});
    for (const Json& camera : report["cameras"].Items())
      table.Add({camera["index"].Text(), camera["state"].Text(), camera["vendor"].Text(),
                 camera["model"].Text()});
    table.Print();
  });
  return 0;
}

int LinkProfile(Arguments& args, Context& context) {
  const bool store = ParseDirection(args, "store", "restore");
  const BoardFile operands = ParseBoardFile(args);
  Board board(operands.board);
  board.Scan(ScanRequest{}, context.Progress());
  char* file = const_cast<char*>(operands.file.c_str());
  if (store) {
    Check(Mlo_StoreLowLevelLinkProfile(board.Handle(), file),
          FileCall("Mlo_StoreLowLevelLinkProfile", operands));
  } else {
    Check(Mlo_RestoreLowLevelLinkProfile(board.Handle(), file),
          FileCall("Mlo_RestoreLowLevelLinkProfile", operands));
  }
  ReportFile(context, store ? "stored the link profile to" : "restored the link profile from",
             operands);
  return 0;
}

}  // namespace vesk::tool
