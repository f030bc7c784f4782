// The words of one command after its name. A command takes its options first, then its
// operands in order, and ends with Done(), which refuses whatever is left.
#ifndef VESK_APPS_VESK_GENICAM_ARGUMENTS_H
#define VESK_APPS_VESK_GENICAM_ARGUMENTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vesk::tool {

class Arguments {
 public:
  Arguments(std::string command, std::vector<std::string> words)
      : command_(std::move(command)), words_(std::move(words)) {}

  const std::string& Command() const { return command_; }
  // Takes "--name" out of the words.
  bool Flag(const std::string& name);
  // Takes "--name VALUE" or "--name=VALUE" out of the words.
  std::optional<std::string> Option(const std::string& name);
  // An option with a number ("0x" for hexadecimal), or fallback without it.
  uint64_t NumberOption(const std::string& name, uint64_t fallback, uint64_t max = UINT32_MAX);
  // The next operand; what names it in the message if it is missing.
  std::string Operand(const std::string& what);
  std::optional<std::string> OptionalOperand();
  // Refuses an unknown option or an operand too many.
  void Done() const;

 private:
  std::string command_;
  std::vector<std::string> words_;
};

// A number of the command line, decimal or "0x" hexadecimal, at most max.
uint64_t ParseNumber(const std::string& text, const std::string& what, uint64_t max = UINT32_MAX);

// A camera by board and index ("0:1") or by board and physical port ("0@2").
struct CameraName {
  unsigned int board = 0;
  bool byPort = false;
  unsigned int number = 0;

  static CameraName Parse(const std::string& text);
  std::string Text() const;
};

}  // namespace vesk::tool

#endif
