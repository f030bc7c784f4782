#ifndef VESK_SIM_DEVICE_CXP_CXP_BOOTSTRAP_H
#define VESK_SIM_DEVICE_CXP_CXP_BOOTSTRAP_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <set>

#include "sim/camera/Camera.h"
#include "sim/core/LinkState.h"
#include "sim/core/Rig.h"
#include "sim/device/RegisterMap.h"

namespace vesk::sim {

// What a write did beyond storing its bytes.
struct CxpWriteResult {
  CxpWriteResult(uint8_t status) : status(status) {}  // implicit: most results are a status

  uint8_t status;
  bool acknowledged = true;        // a connection reset is not
  std::optional<uint32_t> config;  // a connection configuration, to apply once acknowledged
};

// The CoaXPress bootstrap registers of one camera, shared by its links, in front of the camera's
// own register memory; and the connection configuration that decides at which speed which of its
// links run. Accesses answer a status code of the standard. Safe from several threads.
class CxpBootstrap : public LinkState {
 public:
  // Addresses below this are the bootstrap's (with the XML location string at its end); the
  // camera answers for the rest.
  static constexpr uint32_t kEnd = 0x6100;

  // camera outlives the bootstrap.
  CxpBootstrap(const RigCamera& described, Camera& camera);

  bool Runs(unsigned link, uint32_t speed) const override;

  uint32_t Revision() const { return revision_; }
  uint32_t PacketSizeLimit() const { return packetSize_; }

  // The status of the read; bytes are filled when it is 0.
  uint8_t Read(unsigned link, uint32_t address, uint8_t* bytes, size_t length);
  CxpWriteResult Write(unsigned link, uint32_t address, const uint8_t* bytes, size_t length);
  // Takes a configuration that Write accepted: from now on the links run as it says.
  void Configure(uint32_t config);

  // The links that have a cable now. A link's connection ID counts the cabled links below it, so
  // that the first cabled link is the master: the camera runs on whichever links it has.
  void Attach(unsigned link);
  void Detach(unsigned link);

 private:
  void AddWord(uint32_t address, bool writable, uint32_t value);
  void AddIdentity();
  void AddXmlManifest();
  void AddLinkRegisters();
  uint32_t FeatureAddress(const char* name) const;

  // With mutex_ held.
  CxpWriteResult WriteRegisters(unsigned link, uint32_t address, const uint8_t* bytes,
                                size_t length);
  uint8_t CheckSpecial(unsigned link, uint64_t address, uint32_t value, CxpWriteResult& result);
  bool CanRun(uint32_t config) const;
  uint32_t ConnectionId(unsigned link) const;  // with mutex_ held
  void ResetConnection();

  const RigCamera described_;
  Camera& camera_;
  const uint32_t revision_;
  const uint32_t packetSize_;
  const uint32_t defaultConfig_;

  mutable std::mutex mutex_;
  RegisterMap registers_;
  bool configured_ = false;    // a connection configuration was written since the last reset
  std::set<unsigned> cabled_;  // guarded by mutex_
};

}  // namespace vesk::sim

#endif
