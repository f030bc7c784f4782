#include "sim/core/DesignVariant.h"

#include "sim/firmware/cl/ClFirmware.h"
#include "sim/firmware/clhs/ClhsFirmware.h"
#include "sim/firmware/cxp/CxpFirmware.h"
#include "sim/firmware/gige/GigeFirmware.h"

namespace vesk::sim {

namespace {

std::vector<DesignVariant> MakeVariants() {
  std::vector<DesignVariant> variants;
  for (auto designs : {CxpDesigns, ClhsDesigns, ClDesigns, GigeDesigns}) {
    for (DesignVariant& variant : designs()) variants.push_back(std::move(variant));
  }
  return variants;
}

}  // namespace

const std::vector<DesignVariant>& DesignVariants() {
  static const std::vector<DesignVariant> variants = MakeVariants();
  return variants;
}

const DesignVariant* FindDesignVariant(const std::string& name) {
  for (const DesignVariant& variant : DesignVariants()) {
    if (variant.name == name) return &variant;
  }
  return nullptr;
}

std::vector<RegisterDefinition> ExpandRegisters(const DesignVariant& variant, unsigned ports) {
  static const std::string kPort = "<n>";
  std::vector<RegisterDefinition> expanded;
  for (const RegisterDefinition& definition : variant.registers) {
    const size_t at = definition.name.find(kPort);
    if (at == std::string::npos) {
      expanded.push_back(definition);
      continue;
    }
    for (unsigned port = 0; port < ports; ++port) {
      std::string name = definition.name;
      name.replace(at, kPort.size(), std::to_string(port));
      expanded.push_back({name, definition.initial});
    }
  }
  return expanded;
}

}  // namespace vesk::sim
