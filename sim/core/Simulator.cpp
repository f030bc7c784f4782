#include "sim/core/Simulator.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "sim/bridge/TapBridge.h"
#include "sim/core/DefaultRig.h"
#include "sim/core/RigReader.h"
#include "sim/core/Transports.h"
#include "sim/include/vesk_sim.h"

namespace vesk::sim {

Simulator& Simulator::Get() {
  static Simulator simulator;
  static const bool loaded = [] {
    const char* path = std::getenv("VESK_SIM_RIG");
    if ((path && *path ? simulator.LoadFile(path) : simulator.LoadDefault()) != 0) {
      std::fprintf(stderr, "vesk_sim: %s\n", simulator.LastError().c_str());
    }
    return true;
  }();
  static_cast<void>(loaded);
  return simulator;
}

Simulator::Simulator() = default;

Simulator::~Simulator() = default;

int Simulator::LoadFile(const std::string& path) {
  return Load([&] { return RigReader::ReadFile(path); });
}

int Simulator::LoadText(const std::string& text, const std::string& name) {
  return Load([&] { return RigReader::Read(text, name); });
}

int Simulator::LoadDefault() { return LoadText(DefaultRigText(), "default rig"); }

std::string Simulator::LastError() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lastError_;
}

int Simulator::Load(const std::function<Rig()>& read) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!handles_.Empty() || !bridges_.empty()) return VSIM_ERROR_BUSY;
  boards_.clear();
  cameras_.clear();
  lastError_.clear();
  try {
    Install(read());
    return 0;
  } catch (const std::exception& error) {
    boards_.clear();
    cameras_.clear();
    lastError_ = error.what();
    return VSIM_ERROR_RIG;
  }
}

void Simulator::Install(const Rig& rig) {
  for (const RigBoard& described : rig.boards) {
    auto board = std::make_shared<Board>(described, *FindDesignVariant(described.design));
    board->AttachFirmware(MakeFirmwareModel(*board));
    boards_.push_back(std::move(board));
  }
  const std::vector<std::string> models = Camera::ModelNames();
  for (const RigCamera& described : rig.cameras) {
    auto unit = std::make_shared<CameraUnit>();
    unit->described = described;
    try {
      if (!described.xmlFile.empty()) {
        unit->camera = Camera::FromXmlFile(described.xmlFile, described.identity, described.form);
      } else if (!models.empty()) {
        if (unit->described.model.empty()) unit->described.model = models.front();
        unit->camera = Camera::Create(unit->described.model, described.identity, described.form,
                                      described.endianness);
      } else {
        throw std::runtime_error("the simulator has no camera models");
      }
    } catch (const std::exception& error) {
      throw RigError(rig.source, described.line, "camera id=\"" + described.id + "\"",
                     error.what());
    }
    unit->faults.Set(described.faults);
    cameras_.push_back(unit);
    for (unsigned link = 0; link < described.links.size(); ++link) {
      const RigLink& at = described.links[link];
      if (at.board >= 0) boards_[static_cast<size_t>(at.board)]->SetCable(at.port, {unit, link});
    }
  }
}

int Simulator::BoardCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lastError_.empty() ? static_cast<int>(boards_.size()) : VSIM_ERROR_RIG;
}

std::shared_ptr<Board> Simulator::BoardAt(int index) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return BoardLocked(index) ? boards_[static_cast<size_t>(index)] : nullptr;
}

int Simulator::CameraCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int>(cameras_.size());
}

std::shared_ptr<CameraUnit> Simulator::CameraAt(int index) const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (index < 0 || static_cast<size_t>(index) >= cameras_.size()) return nullptr;
  return cameras_[static_cast<size_t>(index)];
}

int Simulator::FindCamera(const std::string& id) const {
  std::lock_guard<std::mutex> lock(mutex_);
  for (size_t i = 0; i < cameras_.size(); ++i) {
    if (cameras_[i]->described.id == id) return static_cast<int>(i);
  }
  return VSIM_ERROR_NO_SUCH_CAMERA;
}

PLdevice* Simulator::OpenDevice(int index) {
  std::lock_guard<std::mutex> lock(mutex_);
  return BoardLocked(index) ? handles_.OpenDevice(boards_[static_cast<size_t>(index)]) : nullptr;
}

Board* Simulator::BoardLocked(int index) const {
  if (index < 0 || static_cast<size_t>(index) >= boards_.size()) return nullptr;
  return boards_[static_cast<size_t>(index)].get();
}

Port* Simulator::PortLocked(int board, unsigned port, int& status) const {
  Board* found = BoardLocked(board);
  Port* target = found ? found->PortAt(port) : nullptr;
  status = !found ? VSIM_ERROR_NO_SUCH_BOARD : target ? 0 : VSIM_ERROR_NO_SUCH_PORT;
  return target;
}

int Simulator::Plug(int board, unsigned port, int camera, unsigned link) {
  std::lock_guard<std::mutex> lock(mutex_);
  int status = 0;
  Port* target = PortLocked(board, port, status);
  if (!target) return status;
  if (camera < 0 || static_cast<size_t>(camera) >= cameras_.size()) {
    return VSIM_ERROR_NO_SUCH_CAMERA;
  }
  const std::shared_ptr<CameraUnit>& unit = cameras_[static_cast<size_t>(camera)];
  if (link >= unit->described.links.size()) return VSIM_ERROR_INVALID_ARGUMENT;
  if (target->GetCable().camera || PluggedLocked(unit, link)) return VSIM_ERROR_PORT_IN_USE;
  BoardLocked(board)->SetCable(port, {unit, link});
  return 0;
}

// In a board's port, or on a wire of its own to the host.
bool Simulator::PluggedLocked(const std::shared_ptr<CameraUnit>& camera, unsigned link) const {
  for (const auto& other : boards_) {
    for (unsigned p = 0; p < other->PortCount(); ++p) {
      const Cable cable = other->PortAt(p)->GetCable();
      if (cable.camera == camera && cable.link == link) return true;
    }
  }
  for (const auto& [id, bridged] : bridges_) {
    if (bridged.camera == camera && link == 0) return true;
  }
  return false;
}

int Simulator::Unplug(int board, unsigned port) {
  std::lock_guard<std::mutex> lock(mutex_);
  int status = 0;
  Port* target = PortLocked(board, port, status);
  if (!target) return status;
  if (!target->GetCable().camera) return VSIM_ERROR_NO_CABLE;
  BoardLocked(board)->SetCable(port, Cable{});
  return 0;
}

int Simulator::CableAt(int board, unsigned port, int& camera, unsigned& link) const {
  std::lock_guard<std::mutex> lock(mutex_);
  int status = 0;
  Port* target = PortLocked(board, port, status);
  if (!target) return status;
  const Cable cable = target->GetCable();
  if (!cable.camera) return VSIM_ERROR_NO_CABLE;
  auto found = std::find(cameras_.begin(), cameras_.end(), cable.camera);
  camera = static_cast<int>(found - cameras_.begin());
  link = cable.link;
  return 0;
}

int Simulator::AttachPortToTap(int board, unsigned port, const std::string& tap) {
  std::lock_guard<std::mutex> lock(mutex_);
  int status = 0;
  if (!PortLocked(board, port, status)) return status;
  if (BoardLocked(board)->Variant().family != Family::Gige) return VSIM_ERROR_NOT_SUPPORTED;
  for (const auto& [id, bridged] : bridges_) {
    if (bridged.board == board && bridged.port == port) return VSIM_ERROR_PORT_IN_USE;
  }
  std::shared_ptr<Board> wired = boards_[static_cast<size_t>(board)];
  return Attach({board, port, nullptr, nullptr}, tap, [&](std::unique_ptr<TapDevice> device) {
    return std::make_unique<TapBridge>(wired, port, std::move(device));
  });
}

int Simulator::AttachCameraToTap(int camera, const std::string& tap) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (camera < 0 || static_cast<size_t>(camera) >= cameras_.size()) {
    return VSIM_ERROR_NO_SUCH_CAMERA;
  }
  std::shared_ptr<CameraUnit> unit = cameras_[static_cast<size_t>(camera)];
  if (PluggedLocked(unit, 0)) return VSIM_ERROR_PORT_IN_USE;
  return Attach({-1, 0, unit, nullptr}, tap, [&](std::unique_ptr<TapDevice> device) {
    return std::make_unique<TapBridge>(unit, std::move(device));
  });
}

int Simulator::Attach(Bridged bridged, const std::string& tap, const MakeBridge& make) {
  try {
    bridged.bridge = make(std::make_unique<TapDevice>(tap));
  } catch (const std::system_error& error) {
    errno = error.code().value();
    return VSIM_ERROR_HOST;
  } catch (const std::invalid_argument&) {
    return VSIM_ERROR_NOT_SUPPORTED;
  }
  bridges_.emplace(++lastBridge_, std::move(bridged));
  return lastBridge_;
}

int Simulator::DetachTap(int bridge) {
  std::unique_ptr<TapBridge> detached;  // joins its reader outside the lock
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = bridges_.find(bridge);
  if (found == bridges_.end()) return VSIM_ERROR_INVALID_ARGUMENT;
  detached = std::move(found->second.bridge);
  bridges_.erase(found);
  return 0;
}

}  // namespace vesk::sim
