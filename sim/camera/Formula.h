#ifndef VESK_SIM_CAMERA_FORMULA_H
#define VESK_SIM_CAMERA_FORMULA_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vesk::sim {

// An arithmetic formula of a GenICam SwissKnife or Converter, parsed once: numbers (decimal,
// hexadecimal, with a fraction or an exponent), names, parentheses, unary - and ~, and the
// binary operators * / % + - << >> & ^ | with the precedence they have in C.
class Formula {
 public:
  // Throws std::invalid_argument for text that is not such a formula.
  explicit Formula(const std::string& text);

  // The names that the formula uses, each once.
  const std::vector<std::string>& Names() const { return names_; }

  // In 64-bit integers, as an IntSwissKnife computes: wrapping, a division by zero or a shift
  // beyond 63 bits gives 0.
  int64_t EvaluateInteger(const std::function<int64_t(const std::string&)>& value) const;
  // In doubles, as a Converter computes; bit operators work on the integer parts.
  double EvaluateFloat(const std::function<double(const std::string&)>& value) const;

 private:
  struct Node {
    char op = 0;  // 'n' number, 'v' name, 'u' unary minus, '~', 'l' <<, 'r' >>, or the operator
    double number = 0;
    int64_t integer = 0;
    size_t name = 0;
    int left = -1;
    int right = -1;
  };
  class Parser;

  template <typename T>
  T Evaluate(int node, const std::vector<T>& values) const;

  std::vector<Node> nodes_;
  std::vector<std::string> names_;
  int root_ = -1;
};

}  // namespace vesk::sim

#endif
