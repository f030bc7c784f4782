#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "sim/camera/FeatureRegisters.h"
#include "sim/camera/FeatureRow.h"

// A table that contradicts itself is a model author's mistake, told at construction.
namespace {

using vesk::sim::Endianness;
using vesk::sim::Feature;
using vesk::sim::FeatureRegisters;
using namespace vesk::sim::table;

std::vector<Feature> Sound() {
  return {
      Category("Main", {"Mode", "Level", "Flag", "Size", "Gain", "Go", "Twice", "Scaled"}),
      Enumeration("Mode", 0x10, {{"A", 0}, {"B", 1}}),
      Integer("Level", 0x20).Range(0, 100, 5).Value(5).SelectedBy("Mode", 4),
      Boolean("Flag", 0x30).Bits(0, 1),
      Integer("Size", 0x30).Bits(4, 4).Range(0, 15).Value(3),
      Float("Gain", 0x40, 8).FloatRange(0, 10).FloatValue(1),
      Command("Go", 0x48),
      IntSwissKnife("Twice", "2 * L", {{"L", "Level"}}),
      Converter("Scaled", "Level", "TO / 2", "FROM * 2"),
  };
}

Feature& Row(std::vector<Feature>& table, const std::string& name) {
  for (Feature& feature : table) {
    if (feature.name == name) return feature;
  }
  throw std::out_of_range(name);
}

TEST(FeatureTableTest, ASoundTableBuildsAndContradictionsAreRefused) {
  EXPECT_NO_THROW(FeatureRegisters(Sound(), Endianness::Big));
  // What spoils the sound table, and what the refusal says.
  const std::pair<const char*, std::function<void(std::vector<Feature>&)>> cases[] = {
      {"duplicate name", [](auto& t) { t.push_back(Row(t, "Flag")); }},
      {"unknown child Nope", [](auto& t) { Row(t, "Main").children.push_back("Nope"); }},
      {"overlaps the one before", [](auto& t) { Row(t, "Go").address = 0x44; }},
      {"overlaps another", [](auto& t) { Row(t, "Size").lsb = 0; }},
      {"bit field", [](auto& t) { Row(t, "Size").lsb = 30; }},
      {"without a bit field", [](auto& t) { Row(t, "Flag").bits = 0; }},
      {"another length", [](auto& t) { Row(t, "Size").length = 8; }},
      {"limits or value", [](auto& t) { Row(t, "Level").value = 105; }},
      {"limits or value", [](auto& t) { Row(t, "Level").value = 7; }},
      {"limits or value", [](auto& t) { Row(t, "Size").max = 16; }},
      {"no entry", [](auto& t) { Row(t, "Mode").value = 2; }},
      {"not a plain Enumeration", [](auto& t) { Row(t, "Level").selector = "Flag"; }},
      {"not 0, 1", [](auto& t) { Row(t, "Mode").entries[1].value = 2; }},
      {"stride", [](auto& t) { Row(t, "Level").stride = 2; }},
      {"register length 2", [](auto& t) { Row(t, "Gain").length = 2; }},
      {"limits or value", [](auto& t) { Row(t, "Gain").floatValue = 11; }},
      {"command register", [](auto& t) { Row(t, "Go").access = vesk::sim::Access::ReadOnly; }},
      {"missing operand", [](auto& t) { Row(t, "Twice").formula = "2 *"; }},
      {"no variable X", [](auto& t) { Row(t, "Twice").formula = "2 * X"; }},
      {"not an integer register feature",
       [](auto& t) { Row(t, "Twice").variables[0].feature = "Gain"; }},
      {"raw feature", [](auto& t) { Row(t, "Scaled").raw = "Gain"; }},
      {"other names", [](auto& t) { Row(t, "Scaled").formula = "X"; }},
      {"name is taken", [](auto& t) { t.push_back(Integer("LevelReg", 0x80)); }},
  };
  for (const auto& [message, spoil] : cases) {
    std::vector<Feature> table = Sound();
    spoil(table);
    try {
      FeatureRegisters registers(table, Endianness::Little);
      ADD_FAILURE() << "taken: " << message;
    } catch (const std::logic_error& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr(message));
    }
  }
}

}  // namespace
