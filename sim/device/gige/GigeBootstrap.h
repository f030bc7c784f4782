#ifndef VESK_SIM_DEVICE_GIGE_GIGE_BOOTSTRAP_H
#define VESK_SIM_DEVICE_GIGE_GIGE_BOOTSTRAP_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "sim/camera/Camera.h"
#include "sim/core/EthernetFrame.h"
#include "sim/core/LinkState.h"
#include "sim/core/Rig.h"

namespace vesk::sim {

// The application a GVCP command came from: its IP address and UDP port.
struct GvcpPeer {
  uint32_t ip = 0;
  uint16_t port = 0;
  bool operator==(const GvcpPeer& other) const { return ip == other.ip && port == other.port; }
};

// The GigE Vision bootstrap registers of one camera in front of its own register memory, with
// the control channel privilege: while one application holds control, another may only read (or,
// under exclusive access, nothing); the privilege lapses when its holder is silent longer than
// the heartbeat time-out. Without a holder any application may write. Accesses answer a GVCP
// status. Safe from several threads.
class GigeBootstrap : public LinkState {
 public:
  // Addresses below this are the bootstrap's; the camera answers for the rest.
  static constexpr uint32_t kEnd = 0xA000;
  // The bytes of a discovery acknowledge's payload.
  static constexpr size_t kDiscoverySize = 0xF8;

  // camera outlives the bootstrap.
  GigeBootstrap(const RigCamera& described, Camera& camera);

  bool Runs(unsigned link, uint32_t speed) const override;

  const ethernet::Mac& MacAddress() const { return mac_; }
  uint32_t Ip() const { return ip_; }
  uint32_t SubnetMask() const { return kSubnetMask; }

  // A command came from peer: a holder silent too long has lost control; the holder's commands
  // keep it.
  void Heard(const GvcpPeer& peer);
  // The first kDiscoverySize bytes of the bootstrap, as the discovery acknowledge carries them.
  std::vector<uint8_t> DiscoveryData();
  uint16_t Read(const GvcpPeer& peer, uint32_t address, uint8_t* bytes, size_t length);
  uint16_t Write(const GvcpPeer& peer, uint32_t address, const uint8_t* bytes, size_t length);

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr uint32_t kSubnetMask = 0xFFFF0000;

  struct Register {
    uint32_t size;
    bool writable;
  };

  void AddRegister(uint32_t address, uint32_t size, bool writable, std::vector<uint8_t> value);
  void AddWord(uint32_t address, bool writable, uint32_t value);
  void AddText(uint32_t address, uint32_t size, bool writable, const std::string& text);
  void AddIdentity();
  void AddChannels();

  // True when the read lies in the XML file's last word and was served.
  bool ReadXml(uint32_t address, uint8_t* bytes, size_t length) const;
  // With mutex_ held.
  uint32_t WordAt(uint32_t address) const;
  void SetWord(uint32_t address, uint32_t value);
  bool Controls(const GvcpPeer& peer) const;
  void Release();
  uint16_t ReadRegisters(uint32_t address, uint8_t* bytes, size_t length) const;
  uint16_t WriteRegisters(const GvcpPeer& peer, uint32_t address, const uint8_t* bytes,
                          size_t length);

  const RigCamera described_;
  Camera& camera_;
  ethernet::Mac mac_{};
  uint32_t ip_ = 0;

  mutable std::mutex mutex_;
  std::map<uint32_t, Register> registers_;  // by address, none overlapping
  std::map<uint32_t, std::vector<uint8_t>> values_;
  std::optional<GvcpPeer> controller_;
  Clock::time_point lastHeard_;
};

}  // namespace vesk::sim

#endif
