#include "Arguments.h"

#include <cerrno>
#include <cstdlib>

#include "Failure.h"

namespace vesk::tool {

bool Arguments::Flag(const std::string& name) {
  for (auto word = words_.begin(); word != words_.end(); ++word) {
    if (*word == name) {
      words_.erase(word);
      return true;
    }
  }
  return false;
}

std::optional<std::string> Arguments::Option(const std::string& name) {
  for (auto word = words_.begin(); word != words_.end(); ++word) {
    if (word->rfind(name + "=", 0) == 0) {
      std::string value = word->substr(name.size() + 1);
      words_.erase(word);
      return value;
    }
    if (*word == name) {
      if (word + 1 == words_.end()) UsageError(command_ + ": " + name + " needs a value");
      std::string value = *(word + 1);
      words_.erase(word, word + 2);
      return value;
    }
  }
  return std::nullopt;
}

uint64_t Arguments::NumberOption(const std::string& name, uint64_t fallback, uint64_t max) {
  const auto value = Option(name);
  return value ? ParseNumber(*value, command_ + " " + name, max) : fallback;
}

std::string Arguments::Operand(const std::string& what) {
  auto operand = OptionalOperand();
  if (!operand) UsageError(command_ + ": missing " + what);
  return *operand;
}

std::optional<std::string> Arguments::OptionalOperand() {
  for (auto word = words_.begin(); word != words_.end(); ++word) {
    if (word->size() > 1 && (*word)[0] == '-' && (*word)[1] == '-') continue;
    std::string operand = *word;
    words_.erase(word);
    return operand;
  }
  return std::nullopt;
}

void Arguments::Done() const {
  if (words_.empty()) return;
  const std::string& word = words_.front();
  if (word.rfind("--", 0) == 0) UsageError(command_ + ": unknown option '" + word + "'");
  UsageError(command_ + ": unexpected '" + word + "'");
}

uint64_t ParseNumber(const std::string& text, const std::string& what, uint64_t max) {
  if (text.empty() || text[0] == '-' || text[0] == '+')
    UsageError(what + ": '" + text + "' is not a number");
  errno = 0;
  char* end = nullptr;
  const unsigned long long value = std::strtoull(text.c_str(), &end, 0);
  if (*end != '\0') UsageError(what + ": '" + text + "' is not a number");
  if (errno == ERANGE || value > max)
    UsageError(what + ": " + text + " is too large (at most " + std::to_string(max) + ")");
  return value;
}

CameraName CameraName::Parse(const std::string& text) {
  const size_t mark = text.find_first_of(":@");
  if (mark == std::string::npos || mark == 0 || mark + 1 == text.size())
    UsageError("'" + text + "' names no camera: write BOARD:INDEX (0:1) or BOARD@PORT (0@2)");
  CameraName name;
  name.board = static_cast<unsigned int>(ParseNumber(text.substr(0, mark), "camera board"));
  name.byPort = text[mark] == '@';
  name.number = static_cast<unsigned int>(
      ParseNumber(text.substr(mark + 1), name.byPort ? "camera port" : "camera index"));
  return name;
}

std::string CameraName::Text() const {
  return std::to_string(board) + (byPort ? "@" : ":") + std::to_string(number);
}

}  // namespace vesk::tool
