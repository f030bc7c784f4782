#include "sim/core/RegisterTable.h"

#include "sim/include/vesk_sim.h"

namespace vesk::sim {

RegisterTable::RegisterTable(const std::vector<RegisterDefinition>& definitions) {
  for (const RegisterDefinition& definition : definitions) {
    auto entry = std::make_unique<Entry>();
    entry->name = definition.name;
    entry->value = definition.initial;
    entries_.push_back(std::move(entry));
    ids_.emplace(definition.name, Count());
  }
}

int RegisterTable::IdOf(const std::string& name) const {
  auto found = ids_.find(name);
  return found == ids_.end() ? 0 : found->second;
}

const char* RegisterTable::NameOf(int id) const {
  return id >= 1 && id <= Count() ? entries_[id - 1]->name.c_str() : nullptr;
}

RegisterTable::Entry* RegisterTable::Find(int id) {
  return id >= 1 && id <= Count() ? entries_[id - 1].get() : nullptr;
}

int RegisterTable::Read(int id, uint64_t& value) {
  Entry* entry = Find(id);
  if (!entry) return VSIM_ERROR_NO_SUCH_REGISTER;
  if (entry->behaviour.read) return entry->behaviour.read(value);
  value = entry->value.load(std::memory_order_relaxed);
  return 0;
}

int RegisterTable::Write(int id, uint64_t value) {
  Entry* entry = Find(id);
  if (!entry) return VSIM_ERROR_NO_SUCH_REGISTER;
  if (entry->behaviour.write) return entry->behaviour.write(value);
  entry->value.store(value, std::memory_order_relaxed);
  return 0;
}

bool RegisterTable::SetBehaviour(const std::string& name, RegisterBehaviour behaviour) {
  Entry* entry = Find(IdOf(name));
  if (!entry) return false;
  entry->behaviour = std::move(behaviour);
  return true;
}

}  // namespace vesk::sim
