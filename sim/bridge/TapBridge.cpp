#include "sim/bridge/TapBridge.h"

#include <utility>

#include "sim/core/EthernetFrame.h"
#include "sim/core/Transports.h"

namespace vesk::sim {

namespace {

// How long the reader waits for a frame before it looks at the stop flag again.
constexpr int kReadSliceMs = 100;
// The speed of the camera's own wire: what a GigE Vision link runs at.
constexpr uint32_t kLinkSpeed = 1000;

}  // namespace

TapBridge::TapBridge(std::shared_ptr<Board> board, unsigned port, std::unique_ptr<TapDevice> tap)
    : board_(std::move(board)), port_(port), channel_(board_->PortAt(port)), tap_(std::move(tap)) {
  board_->SetTap(port_, [this](const Packet& wire) { ToHost(wire); });
  Start([this](const Packet& frame) { channel_->FromTap(ethernet::WithFcs(frame)); });
}

TapBridge::TapBridge(std::shared_ptr<CameraUnit> camera, std::unique_ptr<TapDevice> tap)
    : camera_(std::move(camera)),
      ownChannel_(std::make_unique<LinkChannel>()),
      tap_(std::move(tap)) {
  channel_ = ownChannel_.get();
  const Cable cable{camera_, 0};
  std::shared_ptr<DeviceModel> device = MakeDeviceModel(Family::Gige, cable, *channel_);
  if (!device)
    throw std::invalid_argument("camera " + camera_->described.id + " has no GigE Vision");
  channel_->SetSpeed(kLinkSpeed);
  channel_->SetCable(cable, std::move(device));
  channel_->SetReceiver([this](const Packet& wire) { ToHost(wire); });
  Start([this](const Packet& frame) { channel_->ToCamera(ethernet::WithFcs(frame)); });
}

TapBridge::~TapBridge() {
  stopping_ = true;
  reader_.join();
  if (ownChannel_) {
    ownChannel_->SetReceiver(nullptr);
    ownChannel_->SetCable(Cable{});
  } else {
    board_->SetTap(port_, nullptr);
  }
}

void TapBridge::Start(std::function<void(const Packet&)> fromHost) {
  reader_ = std::thread([this, fromHost = std::move(fromHost)] { Carry(fromHost); });
}

void TapBridge::ToHost(const Packet& wire) {
  if (const std::optional<Packet> frame = ethernet::WithoutFcs(wire)) tap_->Write(*frame);
}

void TapBridge::Carry(const std::function<void(const Packet&)>& fromHost) {
  while (!stopping_) {
    if (std::optional<Packet> frame = tap_->Read(kReadSliceMs)) fromHost(*frame);
  }
}

}  // namespace vesk::sim
