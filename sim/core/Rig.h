#ifndef VESK_SIM_CORE_RIG_H
#define VESK_SIM_CORE_RIG_H

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "sim/camera/Camera.h"

namespace vesk::sim {

// What to spoil in the answers of a camera or a port; see VSimFaults.
struct FaultSettings {
  uint32_t seed = 0;
  uint32_t dropPerMille = 0;
  uint32_t corruptPerMille = 0;
  uint32_t oddPerMille = 0;
  uint32_t delayPerMille = 0;
  uint32_t delayMs = 0;
  int64_t silentAfter = -1;  // answers before falling silent; negative for never
  // The protocol's own odd answers, made by the device model; a burst raises the link's line
  // errors by burstErrors and loses the answer.
  uint32_t waitPerMille = 0;
  uint32_t tentativePerMille = 0;
  uint32_t unknownPerMille = 0;
  uint32_t badCrcPerMille = 0;
  uint32_t errorPerMille = 0;
  uint32_t burstPerMille = 0;
  uint32_t burstErrors = 100;
};

struct RigBoard {
  int index = 0;
  int type = 0;
  int serial = 0;
  unsigned ports = 0;
  unsigned gigePorts = 0;
  std::string design;  // a design variant's name
  std::map<unsigned, FaultSettings> portFaults;
  int line = 0;
  // The CoaXPress firmware's operators, nibble k for firmware port k: operator number (0 for
  // none) and link within it (0 for the operator's master link).
  uint64_t operatorMasters = 0;
  uint64_t operatorExtensions = 0;
  // Bit n: a DHCP server is on the network of GigE port n.
  uint32_t dhcpPorts = 0;
};

// Where a link of a camera is plugged in when the rig loads; nowhere when board is negative.
struct RigLink {
  int board = -1;
  unsigned port = 0;
};

struct RigCamera {
  std::string id;
  std::string model;    // empty: the first built-in model
  std::string xmlFile;  // when set, the camera serves this file over plain memory
  CameraIdentity identity;
  XmlForm form = XmlForm::Plain;
  Endianness endianness = Endianness::Big;
  std::vector<RigLink> links;
  std::vector<uint32_t> speeds;  // what the links lock at; empty for any
  uint32_t defaultSpeed = 0;
  unsigned defaultLinks = 0;
  uint32_t cxpRevision = 0x20000;     // 0x10000, 0x10001 or 0x20000: CoaXPress 1.0, 1.1, 2.0
  uint32_t controlPacketSize = 1024;  // the largest control payload, bytes
  FaultSettings faults;
  int line = 0;
};

// A rig as its text describes it, checked, not yet built. Boards are in index order.
struct Rig {
  std::string source;  // file name for messages
  std::vector<RigBoard> boards;
  std::vector<RigCamera> cameras;
};

// A rig that cannot be used; the message names the source, the line, the element and the fault.
class RigError : public std::runtime_error {
 public:
  RigError(const std::string& source, int line, const std::string& element, const std::string& what)
      : std::runtime_error(source + ":" + std::to_string(line) + ": <" + element + ">: " + what) {}
};

}  // namespace vesk::sim

#endif
