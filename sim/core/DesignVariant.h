#ifndef VESK_SIM_CORE_DESIGN_VARIANT_H
#define VESK_SIM_CORE_DESIGN_VARIANT_H

#include <cstdint>
#include <string>
#include <vector>

namespace vesk::sim {

enum class Family { Cxp, Clhs, Cl, Gige };
enum class QueueUnit { Byte = 1, Word = 4 };

// perPort queues for each port of the board, numbered from first on.
struct QueueBlock {
  int first;
  int perPort;
  QueueUnit unit;
};

// "<n>" in a name stands for each port number of the board in turn.
struct RegisterDefinition {
  std::string name;
  uint64_t initial = 0;
};

// A firmware design as the rig names it: the register names by which the library tells its form,
// the data queues and the functions of the board library it offers. Each transport lists its
// own in sim/firmware/<transport>/.
struct DesignVariant {
  std::string name;
  std::string designName;
  Family family;
  std::vector<unsigned> portCounts;  // the board sizes the design exists for
  std::vector<RegisterDefinition> registers;
  std::vector<QueueBlock> queues;
  bool cameraController = false;
  int serialQueueBlock = -1;  // index into queues of the serial channels: receive, then transmit
  unsigned form = 0;          // the transport's firmware form, for its firmware model
};

const std::vector<DesignVariant>& DesignVariants();
// Null for a name no variant has.
const DesignVariant* FindDesignVariant(const std::string& name);
// The registers of a board with that many ports, "<n>" replaced.
std::vector<RegisterDefinition> ExpandRegisters(const DesignVariant& variant, unsigned ports);

}  // namespace vesk::sim

#endif
