#ifndef VESK_SIM_CORE_CONFIG_SPACE_H
#define VESK_SIM_CORE_CONFIG_SPACE_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

namespace vesk::sim {

// The configuration space of a board: the PHYs behind tag "MDIO", one word per address. A
// firmware model that has PHYs answers through its handler; without one the words are kept as
// written and read as 0 before. Safe to use from several threads.
class ConfigSpace {
 public:
  static constexpr unsigned kMdioTag = 0x4D44494F;
  static constexpr unsigned kMaxCount = 256;

  // Answers one word at a time: a read fills value, a write gives it.
  using Handler = std::function<int(bool write, unsigned address, unsigned& value)>;

  int Read(unsigned tag, unsigned address, unsigned* values, unsigned count);
  int Write(unsigned tag, unsigned address, const unsigned* values, unsigned count);
  void SetHandler(Handler handler);

 private:
  int Check(unsigned tag, const void* values, unsigned count) const;
  int Access(bool write, unsigned address, unsigned& value);

  std::mutex mutex_;
  std::map<unsigned, unsigned> words_;
  std::shared_ptr<const Handler> handler_;
};

}  // namespace vesk::sim

#endif
