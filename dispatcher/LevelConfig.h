// Logger thresholds as written in VESK_LOG_LEVEL: a plain number for every logger, or
// "name=level" pairs separated by commas, where "*" names the default.
#ifndef VESK_DISPATCHER_LEVEL_CONFIG_H
#define VESK_DISPATCHER_LEVEL_CONFIG_H

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::logging {

class LevelConfig {
 public:
  // Nothing passes a logger at this level.
  static constexpr unsigned kSilent = 7;

  // Every logger silent: what an unset or empty VESK_LOG_LEVEL means.
  LevelConfig() = default;

  // Entries that do not parse are left out and appended, trimmed, to badEntries (if given), so
  // one typo does not silence or flood the whole log.
  static LevelConfig Parse(std::string_view text, std::vector<std::string>* badEntries);

  unsigned LevelFor(std::string_view name) const;

 private:
  unsigned defaultLevel_ = kSilent;
  std::map<std::string, unsigned, std::less<>> levels_;
};

}  // namespace vesk::logging

#endif
