#ifndef VESK_SIM_DEVICE_GENCP_REGISTERS_H
#define VESK_SIM_DEVICE_GENCP_REGISTERS_H

#include <cstdint>
#include <string>

#include "sim/camera/Camera.h"
#include "sim/device/RegisterMap.h"

namespace vesk::sim {

// What tells the transport of a GenCP camera in its bootstrap.
struct GencpTechnology {
  const char* name;         // the device's technology, as its register names it
  const char* description;  // the device's description
  uint64_t registers;       // where the technology's own bootstrap registers start
  // Camera Link HS hosts read the manifest's file type in the low bits of the schema word, not
  // only in bits 10 to 15, where GenCP puts it.
  bool fileTypeInLowBits;
};

// The bootstrap registers that a GenCP camera has on every transport: the technology-agnostic map
// and the manifest of its XML, of one entry. Its transport adds its own.
class GencpRegisters : public RegisterMap {
 public:
  static constexpr uint64_t kManifest = 0x1000;

  GencpRegisters(const Camera& camera, const GencpTechnology& technology);

 private:
  void AddManifest(const Camera& camera, bool fileTypeInLowBits);
};

}  // namespace vesk::sim

#endif
