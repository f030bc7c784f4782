#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>

#include "sim/camera/Formula.h"

namespace {

using vesk::sim::Formula;

const std::map<std::string, int64_t> kValues = {
    {"W", 1920}, {"H", 1080}, {"PF", 0x01100005}, {"NEG", -7}, {"ZERO", 0}};

int64_t Integer(const std::string& text) {
  return Formula(text).EvaluateInteger([](const std::string& name) { return kValues.at(name); });
}

TEST(FormulaTest, IntegerArithmeticFollowsCsPrecedence) {
  EXPECT_EQ(Integer("W * H * ((PF >> 16) & 0xFF) / 8"), 1920 * 1080 * 2);
  EXPECT_EQ(Integer("0xF0 | 0x0F & 0x3C"), 0xFC);
  EXPECT_EQ(Integer("  W\t+  H "), 3000);
  const std::pair<const char*, int64_t> cases[] = {
      {"1 + 2 * 3", 7},   {"(1 + 2) * 3", 9}, {"10 - 4 - 3", 3}, {"100 / 10 / 5", 2},
      {"17 % 5 + 1", 3},  {"1 << 4 + 1", 32}, {"6 ^ 3 & 5", 7},  {"-NEG * 2", 14},
      {"~0 & 0xFF", 255}, {"NEG / 2", -3},    {"W / ZERO", 0},   {"1 << 64", 0},
      {"1 | 6 ^ 3", 5}};
  for (const auto& [text, value] : cases) EXPECT_EQ(Integer(text), value) << text;
}

TEST(FormulaTest, FloatArithmeticKeepsFractionsAndNamesAreListedOnce) {
  const Formula from("TO / 10");
  EXPECT_DOUBLE_EQ(from.EvaluateFloat([](const std::string&) { return 25005.0; }), 2500.5);
  const Formula mixed("(FROM + 0.25) * 1e2 - (7 >> 1)");
  EXPECT_DOUBLE_EQ(mixed.EvaluateFloat([](const std::string&) { return 1.5; }), 172.0);
  EXPECT_EQ(Formula("A * B + A").Names(), (std::vector<std::string>{"A", "B"}));
}

TEST(FormulaTest, MalformedTextIsRefused) {
  for (const char* text : {"", "1 +", "(1 + 2", "1 + 2)", "W < 2", "W $ 2", "3 4", "0x"}) {
    EXPECT_THROW(Formula{text}, std::invalid_argument) << text;
  }
}

}  // namespace
