// The control API of vesk_sim.h and the design functions that libdsnrt.so forwards to.
#include <cstdio>
#include <cstring>

#include "sim/core/Export.h"
#include "sim/core/Simulator.h"
#include "sim/include/vesk_sim.h"

using vesk::sim::Board;
using vesk::sim::FaultSettings;
using vesk::sim::Simulator;

namespace {

template <size_t Size>
void CopyText(char (&to)[Size], const std::string& text) {
  std::snprintf(to, Size, "%s", text.c_str());
}

FaultSettings SettingsOf(const VSimFaults& faults, const VSimProtocolFaults* protocol = nullptr) {
  FaultSettings settings;
  settings.seed = faults.seed;
  settings.dropPerMille = faults.dropPerMille;
  settings.corruptPerMille = faults.corruptPerMille;
  settings.oddPerMille = faults.oddPerMille;
  settings.delayPerMille = faults.delayPerMille;
  settings.delayMs = faults.delayMs;
  settings.silentAfter = faults.silentAfter;
  if (protocol) {
    settings.waitPerMille = protocol->waitPerMille;
    settings.tentativePerMille = protocol->tentativePerMille;
    settings.unknownPerMille = protocol->unknownPerMille;
    settings.badCrcPerMille = protocol->badCrcPerMille;
    settings.errorPerMille = protocol->errorPerMille;
    settings.burstPerMille = protocol->burstPerMille;
    settings.burstErrors = protocol->burstErrors;
  }
  return settings;
}

bool Valid(const VSimFaults* faults, const VSimProtocolFaults* protocol = nullptr) {
  return faults && vesk::sim::ChancesPerMille(SettingsOf(*faults, protocol)) <= 1000;
}

template <class Action>
int WithBoard(int index, Action action) {
  std::shared_ptr<Board> board = Simulator::Get().BoardAt(index);
  return board ? action(*board) : VSIM_ERROR_NO_SUCH_BOARD;
}

template <class Action>
int WithPort(int index, unsigned int port, Action action) {
  return WithBoard(index, [&](Board& board) {
    vesk::sim::Port* found = board.PortAt(port);
    return found ? action(*found) : VSIM_ERROR_NO_SUCH_PORT;
  });
}

template <class Action>
int WithQueue(int index, int queue, unsigned int size, Action action) {
  return WithBoard(index, [&](Board& board) {
    vesk::sim::DataQueue* found = board.Queue(queue);
    if (!found) return VSIM_ERROR_NO_SUCH_QUEUE;
    if (size % static_cast<unsigned>(found->Unit()) != 0) return VSIM_ERROR_INVALID_ARGUMENT;
    return static_cast<int>(action(*found));
  });
}

std::shared_ptr<Board> BoardOfDesign(fpga_design* design) {
  return Simulator::Get().Handles().BoardOfDesign(design);
}

}  // namespace

VSIM_EXPORT int VSimLoadRigFile(const char* path) {
  return path ? Simulator::Get().LoadFile(path) : VSIM_ERROR_INVALID_ARGUMENT;
}

VSIM_EXPORT int VSimLoadRigText(const char* text, const char* name) {
  if (!text || !name) return VSIM_ERROR_INVALID_ARGUMENT;
  return Simulator::Get().LoadText(text, name);
}

VSIM_EXPORT int VSimLoadDefaultRig(void) { return Simulator::Get().LoadDefault(); }

VSIM_EXPORT int VSimGetLastError(char* text, size_t size) {
  const std::string error = Simulator::Get().LastError();
  if (text && size) std::snprintf(text, size, "%s", error.c_str());
  return static_cast<int>(error.size());
}

VSIM_EXPORT int VSimGetNrOfBoards(void) { return Simulator::Get().BoardCount(); }

VSIM_EXPORT int VSimGetBoardInfo(int board, VSimBoardInfo* info) {
  if (!info) return VSIM_ERROR_INVALID_ARGUMENT;
  return WithBoard(board, [&](Board& found) {
    const vesk::sim::RigBoard& described = found.Described();
    *info = VSimBoardInfo{};
    info->type = described.type;
    info->serial = described.serial;
    info->ports = described.ports;
    info->gigePorts = described.gigePorts;
    CopyText(info->design, described.design);
    CopyText(info->designName, found.Variant().designName);
    return 0;
  });
}

VSIM_EXPORT int VSimGetNrOfCameras(void) { return Simulator::Get().CameraCount(); }

VSIM_EXPORT int VSimGetCameraInfo(int camera, VSimCameraInfo* info) {
  if (!info) return VSIM_ERROR_INVALID_ARGUMENT;
  std::shared_ptr<vesk::sim::CameraUnit> unit = Simulator::Get().CameraAt(camera);
  if (!unit) return VSIM_ERROR_NO_SUCH_CAMERA;
  const vesk::sim::RigCamera& described = unit->described;
  *info = VSimCameraInfo{};
  CopyText(info->id, described.id);
  CopyText(info->model, described.xmlFile.empty() ? described.model : described.xmlFile);
  info->links = static_cast<unsigned>(described.links.size());
  info->defaultLinks = described.defaultLinks;
  info->defaultSpeed = described.defaultSpeed;
  return 0;
}

VSIM_EXPORT int VSimFindCamera(const char* id) {
  return id ? Simulator::Get().FindCamera(id) : VSIM_ERROR_INVALID_ARGUMENT;
}

VSIM_EXPORT int VSimPlug(int board, unsigned int port, int camera, unsigned int link) {
  return Simulator::Get().Plug(board, port, camera, link);
}

VSIM_EXPORT int VSimUnplug(int board, unsigned int port) {
  return Simulator::Get().Unplug(board, port);
}

VSIM_EXPORT int VSimGetCable(int board, unsigned int port, int* camera, unsigned int* link) {
  if (!camera || !link) return VSIM_ERROR_INVALID_ARGUMENT;
  return Simulator::Get().CableAt(board, port, *camera, *link);
}

VSIM_EXPORT int VSimAttachPortToTap(int board, unsigned int port, const char* tapName) {
  if (!tapName) return VSIM_ERROR_INVALID_ARGUMENT;
  return Simulator::Get().AttachPortToTap(board, port, tapName);
}

VSIM_EXPORT int VSimAttachCameraToTap(int camera, const char* tapName) {
  if (!tapName) return VSIM_ERROR_INVALID_ARGUMENT;
  return Simulator::Get().AttachCameraToTap(camera, tapName);
}

VSIM_EXPORT int VSimDetachTap(int bridge) { return Simulator::Get().DetachTap(bridge); }

VSIM_EXPORT int VSimSetCameraFaults(int camera, const VSimFaults* faults) {
  return VSimSetCameraFaultsEx(camera, faults, nullptr);
}

VSIM_EXPORT int VSimSetPortFaults(int board, unsigned int port, const VSimFaults* faults) {
  return VSimSetPortFaultsEx(board, port, faults, nullptr);
}

VSIM_EXPORT int VSimSetCameraFaultsEx(int camera, const VSimFaults* faults,
                                      const VSimProtocolFaults* protocol) {
  if (!Valid(faults, protocol)) return VSIM_ERROR_INVALID_ARGUMENT;
  std::shared_ptr<vesk::sim::CameraUnit> unit = Simulator::Get().CameraAt(camera);
  if (!unit) return VSIM_ERROR_NO_SUCH_CAMERA;
  unit->faults.Set(SettingsOf(*faults, protocol));
  return 0;
}

VSIM_EXPORT int VSimSetPortFaultsEx(int board, unsigned int port, const VSimFaults* faults,
                                    const VSimProtocolFaults* protocol) {
  if (!Valid(faults, protocol)) return VSIM_ERROR_INVALID_ARGUMENT;
  return WithPort(board, port, [&](vesk::sim::Port& found) {
    found.Faults().Set(SettingsOf(*faults, protocol));
    return 0;
  });
}

VSIM_EXPORT int VSimGetPortLineErrors(int board, unsigned int port, uint64_t* errors) {
  if (!errors) return VSIM_ERROR_INVALID_ARGUMENT;
  return WithPort(board, port, [&](vesk::sim::Port& found) {
    *errors = found.LineErrors();
    return 0;
  });
}

VSIM_EXPORT int VSimTripPower(int board, unsigned int port) {
  return WithBoard(board, [&](Board& found) { return found.TripPower(port); });
}

VSIM_EXPORT int VSimGetBoardCounters(int board, VSimBoardCounters* counters) {
  if (!counters) return VSIM_ERROR_INVALID_ARGUMENT;
  return WithBoard(board, [&](Board& found) {
    const vesk::sim::BoardCounters counted = found.Counters();
    *counters = {counted.registerReads, counted.registerWrites, counted.queueUnitsWritten,
                 counted.queueUnitsRead};
    return 0;
  });
}

VSIM_EXPORT int VSimGetPortCounters(int board, unsigned int port, VSimPortCounters* counters) {
  if (!counters) return VSIM_ERROR_INVALID_ARGUMENT;
  return WithPort(board, port, [&](vesk::sim::Port& found) {
    const vesk::sim::PortCounters counted = found.Counters();
    *counters = {counted.packetsToCamera, counted.packetsFromCamera};
    return 0;
  });
}

VSIM_EXPORT int VSimResetCounters(int board) {
  return WithBoard(board, [](Board& found) {
    found.ResetCounters();
    return 0;
  });
}

VSIM_EXPORT int VSimQueuePush(int board, int queue, const void* bytes, unsigned int size) {
  if (!bytes) return VSIM_ERROR_INVALID_ARGUMENT;
  return WithQueue(board, queue, size, [&](vesk::sim::DataQueue& found) {
    return found.Push(static_cast<const uint8_t*>(bytes), size);
  });
}

VSIM_EXPORT int VSimQueueTake(int board, int queue, void* bytes, unsigned int size) {
  if (!bytes) return VSIM_ERROR_INVALID_ARGUMENT;
  return WithQueue(board, queue, size, [&](vesk::sim::DataQueue& found) {
    return found.Take(static_cast<uint8_t*>(bytes), size);
  });
}

VSIM_EXPORT int VSimNotify(int board, unsigned long what, unsigned long detail) {
  return WithBoard(board, [&](Board& found) {
    found.Notify(what, detail);
    return 0;
  });
}

VSIM_EXPORT fpga_design* VSimDesignLoad(PLdevice* device) {
  return Simulator::Get().Handles().OpenDesign(device);
}

VSIM_EXPORT int VSimDesignFree(fpga_design* design) {
  return Simulator::Get().Handles().CloseDesign(design);
}

VSIM_EXPORT const char* VSimDesignGetName(fpga_design* design) {
  std::shared_ptr<Board> board = BoardOfDesign(design);
  return board ? board->Variant().designName.c_str() : nullptr;
}

VSIM_EXPORT int VSimDesignGetRegisterByName(fpga_design* design, const char* name) {
  if (!name) return VSIM_ERROR_INVALID_ARGUMENT;
  std::shared_ptr<Board> board = BoardOfDesign(design);
  return board ? board->Registers().IdOf(name) : VSIM_ERROR_INVALID_HANDLE;
}

VSIM_EXPORT int VSimDesignGetNrOfRegister(fpga_design* design) {
  std::shared_ptr<Board> board = BoardOfDesign(design);
  return board ? board->Registers().Count() : VSIM_ERROR_INVALID_HANDLE;
}

// The board outlives the design handle: the rig cannot change while the handle is open.
VSIM_EXPORT const char* VSimDesignGetRegisterName(fpga_design* design, int registerId) {
  std::shared_ptr<Board> board = BoardOfDesign(design);
  return board ? board->Registers().NameOf(registerId) : nullptr;
}
