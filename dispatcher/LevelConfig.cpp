#include "LevelConfig.h"

#include <charconv>
#include <optional>

namespace vesk::logging {

namespace {

std::string_view Trim(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n\f\v";
  const auto first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(kBlank);
  return text.substr(first, last - first + 1);
}

std::optional<unsigned> ParseLevel(std::string_view text) {
  unsigned value = 0;
  const char* end = text.data() + text.size();
  const auto [ptr, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || ptr != end) return std::nullopt;
  if (value < 1 || value > LevelConfig::kSilent) return std::nullopt;
  return value;
}

}  // namespace

LevelConfig LevelConfig::Parse(std::string_view text, std::vector<std::string>* badEntries) {
  LevelConfig config;
  const auto reject = [badEntries](std::string_view entry) {
    if (badEntries) badEntries->emplace_back(entry);
  };

  const std::string_view whole = Trim(text);
  if (whole.find_first_of(",=") == std::string_view::npos) {
    if (whole.empty()) return config;
    if (const auto level = ParseLevel(whole)) {
      config.defaultLevel_ = *level;
    } else {
      reject(whole);
    }
    return config;
  }

  std::string_view rest = whole;
  while (true) {
    const auto comma = rest.find(',');
    const std::string_view entry = Trim(rest.substr(0, comma));
    // Empty entries ("a=1,,b=2", a trailing comma) carry nothing worth a warning.
    if (!entry.empty()) {
      const auto equals = entry.find('=');
      const std::string_view name =
          equals == std::string_view::npos ? std::string_view() : Trim(entry.substr(0, equals));
      const auto level = equals == std::string_view::npos
                             ? std::nullopt
                             : ParseLevel(Trim(entry.substr(equals + 1)));
      if (name.empty() || !level) {
        reject(entry);
      } else if (name == "*") {
        config.defaultLevel_ = *level;
      } else {
        config.levels_[std::string(name)] = *level;
      }
    }
    if (comma == std::string_view::npos) break;
    rest.remove_prefix(comma + 1);
  }
  return config;
}

unsigned LevelConfig::LevelFor(std::string_view name) const {
  const auto found = levels_.find(name);
  return found == levels_.end() ? defaultLevel_ : found->second;
}

}  // namespace vesk::logging
