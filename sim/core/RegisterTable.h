#ifndef VESK_SIM_CORE_REGISTER_TABLE_H
#define VESK_SIM_CORE_REGISTER_TABLE_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "sim/core/DesignVariant.h"

namespace vesk::sim {

// What a register does when the host reads or writes it; each returns a status. An empty one
// leaves that access to the plain storage of the register.
struct RegisterBehaviour {
  std::function<int(uint64_t& value)> read;
  std::function<int(uint64_t value)> write;
};

// The registers of a board's design, ids 1 .. Count() in the order of their definitions. By
// default a register keeps the last value written. Reads and writes may come from any thread;
// behaviours are installed while the board is built, before anyone can reach it.
class RegisterTable {
 public:
  explicit RegisterTable(const std::vector<RegisterDefinition>& definitions);

  int Count() const { return static_cast<int>(entries_.size()); }
  // 0 for a name the design lacks.
  int IdOf(const std::string& name) const;
  // Null for an id the design lacks.
  const char* NameOf(int id) const;

  int Read(int id, uint64_t& value);
  int Write(int id, uint64_t value);

  // False for a name the design lacks.
  bool SetBehaviour(const std::string& name, RegisterBehaviour behaviour);

 private:
  struct Entry {
    std::string name;
    std::atomic<uint64_t> value{0};
    RegisterBehaviour behaviour;
  };
  Entry* Find(int id);

  std::vector<std::unique_ptr<Entry>> entries_;
  std::unordered_map<std::string, int> ids_;
};

}  // namespace vesk::sim

#endif
