// boards, scan, version: what the board runtime offers and what a scan finds on a board.
#include <cstdio>
#include <cstring>

#include <vesk_genicam/vesk_genicam.h>

#include "Board.h"
#include "Commands.h"
#include "Failure.h"
#include "Table.h"

namespace vesk::tool {

namespace {

// The transport a design serves, by the family its name carries.
const char* TransportOf(const std::string& design) {
  static const struct {
    const char* mark;
    const char* transport;
  } kFamilies[] = {
      {"CLHS", "CLHS"}, {"CXP", "CoaXPress"}, {"GigE", "GigE Vision"}, {"_CL", "Camera Link"}};
  for (const auto& family : kFamilies) {
    if (design.find(family.mark) != std::string::npos) return family.transport;
  }
  return "unknown";
}

std::string Hex(long value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%lx", value);
  return text;
}

// The ports of each link of a camera, "0,1".
std::string LinkPorts(const Json& ports) {
  std::string text;
  for (const Json& port : ports.Items()) text += (text.empty() ? "" : ",") + port.Text();
  return text.empty() ? "-" : text;
}

Json DescribeCamera(MloCameraHandle* camera, const std::string& name) {
  Json links = Json::MakeArray();
  const long count = CameraProperty(camera, "NrOfLinks");
  for (long link = 0; link < count; ++link)
    links.Add(CameraProperty(camera, "FgPort", static_cast<unsigned int>(link)));
  const MloCameraInfo* info = Mlo_getCameraInfo(camera);
  Json described = Json::MakeObject();
  described.Set("camera", name)
      .Set("masterPort", CameraProperty(camera, "MasterPort"))
      .Set("ports", links)
      .Set("speed", CameraProperty(camera, "LinkSpeed"))
      .Set("vendor", info ? info->vendorName : nullptr)
      .Set("model", info ? info->modelName : nullptr)
      .Set("serial", info ? info->serialNumber : nullptr);
  return described;
}

void PrintBoards(const Json& data) {
  Table table;
  table.Add({"BOARD", "TYPE", "SERIAL", "TRANSPORT", "DESIGN"});
  for (const Json& board : data["boards"].Items())
    table.Add({board["board"].Text(), board["type"].Text(), Hex(board["serial"].Integer()),
               board["transport"].Text(), board["design"].Text()});
  table.Print();
}

void PrintScan(const Json& data) {
  const auto& cameras = data["cameras"].Items();
  if (cameras.empty()) {
    std::printf("board %s: no cameras\n", data["board"].Text().c_str());
    return;
  }
  Table table;
  table.Add({"CAMERA", "PORT", "LINKS", "SPEED", "VENDOR", "MODEL", "SERIAL"});
  for (const Json& camera : cameras)
    table.Add({camera["camera"].Text(), camera["masterPort"].Text(), LinkPorts(camera["ports"]),
               camera["speed"].Text(), camera["vendor"].Text(), camera["model"].Text(),
               camera["serial"].Text()});
  table.Print();
}

}  // namespace

int Boards(Arguments& args, Context& context) {
  args.Done();
  Json boards = Json::MakeArray();
  const int count = Board::Count();
  for (int index = 0; index < count; ++index) {
    Board board(static_cast<unsigned int>(index));
    const std::string design = board.DesignName();
    Json described = Json::MakeObject();
    described.Set("board", index)
        .Set("type", board.Info("board/type"))
        .Set("serial", board.Info("board/serial"))
        .Set("transport", TransportOf(design))
        .Set("design", design);
    boards.Add(described);
  }
  Json data = Json::MakeObject();
  data.Set("boards", boards);
  context.Report(data, PrintBoards);
  return 0;
}

int Scan(Arguments& args, Context& context) {
  const auto index = static_cast<unsigned int>(args.NumberOption("--board", 0));
  ScanRequest request;
  request.mask = static_cast<unsigned int>(args.NumberOption("--ports", 0));
  request.timeoutMs = static_cast<unsigned int>(args.NumberOption("--timeout", request.timeoutMs));
  request.speed = static_cast<unsigned int>(args.NumberOption("--speed", 0));
  request.flags = static_cast<unsigned int>(args.NumberOption("--flags", 0));
  args.Done();
  Board board(index);
  board.Scan(request, context.Progress());
  const std::string on = "(board " + std::to_string(index) + ")";
  const int count = Check(Mlo_getCameraCount(board.Handle()), "Mlo_getCameraCount" + on);
  Json cameras = Json::MakeArray();
  for (int i = 0; i < count; ++i) {
    MloCameraHandle* camera = nullptr;
    Check(Mlo_getCameraByIndex(board.Handle(), static_cast<unsigned int>(i), &camera),
          "Mlo_getCameraByIndex" + on);
    cameras.Add(DescribeCamera(camera, std::to_string(index) + ":" + std::to_string(i)));
  }
  Json data = Json::MakeObject();
  data.Set("board", index).Set("cameras", cameras);
  context.Report(data, PrintScan);
  return 0;
}

int Version(Arguments& args, Context& context) {
  args.Done();
  const int boards = VHalGetNrOfBoards();
  Json data = Json::MakeObject();
  data.Set("version", VESK_GENICAM_VERSION)
      .Set("runtime", boards >= 0 ? (context.sim->Available() ? "simulated" : "found") : nullptr)
      .Set("boards", boards >= 0 ? Json(boards) : Json());
  context.Report(data, [](const Json& report) {
    std::printf("vesk-genicam %s\n", report["version"].Text().c_str());
    if (report["runtime"].IsNull()) {
      std::printf(
          "board runtime: not found (looked for lib64/libvesk_hal.so above the library's "
          "folder, then under $VESKDIR5_64 and $VESKDIR5)\n");
    } else {
      std::printf("board runtime: %s, %s board%s\n", report["runtime"].Text().c_str(),
                  report["boards"].Text().c_str(), report["boards"].Integer() == 1 ? "" : "s");
    }
  });
  return 0;
}

}  // namespace vesk::tool
