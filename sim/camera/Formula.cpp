#include "sim/camera/Formula.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <type_traits>

namespace vesk::sim {

namespace {

// Binary operators from the loosest to the tightest binding; "l" and "r" stand for << and >>.
const char* const kLevels[] = {"|", "^", "&", "lr", "+-", "*/%"};
constexpr int kLevelCount = sizeof(kLevels) / sizeof(kLevels[0]);

int64_t Wrap(uint64_t value) { return static_cast<int64_t>(value); }

int64_t ApplyInteger(char op, int64_t a, int64_t b) {
  const auto ua = static_cast<uint64_t>(a);
  const auto ub = static_cast<uint64_t>(b);
  switch (op) {
    case '+':
      return Wrap(ua + ub);
    case '-':
      return Wrap(ua - ub);
    case '*':
      return Wrap(ua * ub);
    case '/':
      if (b == 0 || (b == -1 && a == INT64_MIN)) return 0;
      return a / b;
    case '%':
      if (b == 0 || b == -1) return 0;
      return a % b;
    case 'l':
      return b < 0 || b > 63 ? 0 : Wrap(ua << b);
    case 'r':
      return b < 0 || b > 63 ? 0 : a >> b;
    case '&':
      return a & b;
    case '^':
      return a ^ b;
    default:
      return a | b;
  }
}

// A double's integer part, held within the range of int64_t.
int64_t Truncated(double value) {
  if (std::isnan(value)) return 0;
  if (value <= -9.2e18) return INT64_MIN;
  if (value >= 9.2e18) return INT64_MAX;
  return static_cast<int64_t>(value);
}

double ApplyFloat(char op, double a, double b) {
  switch (op) {
    case '+':
      return a + b;
    case '-':
      return a - b;
    case '*':
      return a * b;
    case '/':
      return a / b;
    case '%':
      return std::fmod(a, b);
    default:
      return static_cast<double>(ApplyInteger(op, Truncated(a), Truncated(b)));
  }
}

}  // namespace

class Formula::Parser {
 public:
  Parser(const std::string& text, Formula* formula) : text_(text), formula_(formula) {}

  int Parse() {
    const int root = Binary(0);
    Skip();
    if (at_ != text_.size()) Fail("unexpected text");
    return root;
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw std::invalid_argument("formula \"" + text_ + "\": " + what + " at " +
                                std::to_string(at_));
  }

  void Skip() {
    while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_]))) ++at_;
  }

  // The operator at the cursor if it belongs to `level`, consumed; 0 otherwise.
  char Operator(int level) {
    Skip();
    if (at_ >= text_.size()) return 0;
    const char c = text_[at_];
    const bool shift = (c == '<' || c == '>') && at_ + 1 < text_.size() && text_[at_ + 1] == c;
    const char op = shift ? (c == '<' ? 'l' : 'r') : c;
    if (!shift && (c == '<' || c == '>')) return 0;
    for (const char* p = kLevels[level]; *p; ++p) {
      if (*p == op) {
        at_ += shift ? 2 : 1;
        return op;
      }
    }
    return 0;
  }

  int Add(Node node) {
    formula_->nodes_.push_back(node);
    return static_cast<int>(formula_->nodes_.size() - 1);
  }

  int Binary(int level) {
    if (level == kLevelCount) return Unary();
    int left = Binary(level + 1);
    while (const char op = Operator(level)) {
      Node node;
      node.op = op;
      node.left = left;
      node.right = Binary(level + 1);
      left = Add(node);
    }
    return left;
  }

  int Unary() {
    Skip();
    if (at_ < text_.size() && (text_[at_] == '-' || text_[at_] == '~')) {
      Node node;
      node.op = text_[at_++] == '-' ? 'u' : '~';
      node.left = Unary();
      return Add(node);
    }
    return Primary();
  }

  int Primary() {
    Skip();
    if (at_ >= text_.size()) Fail("missing operand");
    const char c = text_[at_];
    if (c == '(') {
      ++at_;
      const int inner = Binary(0);
      Skip();
      if (at_ >= text_.size() || text_[at_] != ')') Fail("missing )");
      ++at_;
      return inner;
    }
    if (std::isdigit(static_cast<unsigned char>(c)) || c == '.') return Number();
    if (std::isalpha(static_cast<unsigned char>(c)) || c == '_') return Name();
    Fail("unexpected character");
  }

  int Number() {
    const char* start = text_.c_str() + at_;
    char* end = nullptr;
    Node node;
    node.op = 'n';
    const bool hex = text_.compare(at_, 2, "0x") == 0 || text_.compare(at_, 2, "0X") == 0;
    const size_t span = std::strspn(start, hex ? "0123456789abcdefABCDEFxX" : "0123456789");
    if (hex || (start[span] != '.' && start[span] != 'e' && start[span] != 'E')) {
      node.integer = static_cast<int64_t>(std::strtoull(start, &end, hex ? 16 : 10));
      node.number = static_cast<double>(node.integer);
    } else {
      node.number = std::strtod(start, &end);
      node.integer = Truncated(node.number);
    }
    if (end == start) Fail("bad number");
    at_ += static_cast<size_t>(end - start);
    return Add(node);
  }

  int Name() {
    const size_t start = at_;
    while (at_ < text_.size() &&
           (std::isalnum(static_cast<unsigned char>(text_[at_])) || text_[at_] == '_')) {
      ++at_;
    }
    const std::string name = text_.substr(start, at_ - start);
    auto& names = formula_->names_;
    Node node;
    node.op = 'v';
    node.name = static_cast<size_t>(std::find(names.begin(), names.end(), name) - names.begin());
    if (node.name == names.size()) names.push_back(name);
    return Add(node);
  }

  const std::string& text_;
  Formula* formula_;
  size_t at_ = 0;
};

Formula::Formula(const std::string& text) { root_ = Parser(text, this).Parse(); }

template <typename T>
T Formula::Evaluate(int index, const std::vector<T>& values) const {
  const Node& node = nodes_[static_cast<size_t>(index)];
  switch (node.op) {
    case 'n':
      if constexpr (std::is_same_v<T, double>)
        return node.number;
      else
        return node.integer;
    case 'v':
      return values[node.name];
    case 'u':
      if constexpr (std::is_same_v<T, double>)
        return -Evaluate(node.left, values);
      else
        return Wrap(0 - static_cast<uint64_t>(Evaluate(node.left, values)));
    case '~':
      if constexpr (std::is_same_v<T, double>)
        return ~Truncated(Evaluate(node.left, values));
      else
        return ~Evaluate(node.left, values);
    default: {
      const T left = Evaluate(node.left, values);
      const T right = Evaluate(node.right, values);
      if constexpr (std::is_same_v<T, double>)
        return ApplyFloat(node.op, left, right);
      else
        return ApplyInteger(node.op, left, right);
    }
  }
}

int64_t Formula::EvaluateInteger(const std::function<int64_t(const std::string&)>& value) const {
  std::vector<int64_t> values;
  for (const std::string& name : names_) values.push_back(value(name));
  return Evaluate(root_, values);
}

double Formula::EvaluateFloat(const std::function<double(const std::string&)>& value) const {
  std::vector<double> values;
  for (const std::string& name : names_) values.push_back(value(name));
  return Evaluate(root_, values);
}

}  // namespace vesk::sim
