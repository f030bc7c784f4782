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

TEST(FeatureTableTest, SoundTableBuilds) {
  EXPECT_NO_THROW(FeatureRegisters(Sound(), Endianness::Big));
}

TEST(FeatureTableTest, ContradictionsAreRefused) {
  struct Case {
    const char* what;
    const char* message;
    std::function<void(std::vector<Feature>&)> spoil;
  };
  const Case cases[] = {
      {"duplicate name", "duplicate name", [](auto& t) { t.push_back(Row(t, "Flag")); }},
      {"unknown child", "unknown child Nope",
       [](auto& t) { Row(t, "Main").children.push_back("Nope"); }},
      {"overlapping registers", "overlaps the one before",
       [](auto& t) { Row(t, "Go").address = 0x44; }},
      {"overlapping bit fields", "overlaps another", [](auto& t) { Row(t, "Size").lsb = 0; }},
      {"bit field beyond the register", "bit field", [](auto& t) { Row(t, "Size").lsb = 30; }},
      {"whole register shared", "without a bit field", [](auto& t) { Row(t, "Flag").bits = 0; }},
      {"shared register of another length", "another length",
       [](auto& t) { Row(t, "Size").length = 8; }},
      {"value above max", "limits or value", [](auto& t) { Row(t, "Level").value = 105; }},
      {"value off the grid", "limits or value", [](auto& t) { Row(t, "Level").value = 7; }},
      {"max beyond the field", "limits or value", [](auto& t) { Row(t, "Size").max = 16; }},
      {"enumeration value no entry", "no entry", [](auto& t) { Row(t, "Mode").value = 2; }},
      {"selector not an enumeration", "not a plain Enumeration",
       [](auto& t) { Row(t, "Level").selector = "Flag"; }},
      {"selector entries with a hole", "not 0, 1",
       [](auto& t) { Row(t, "Mode").entries[1].value = 2; }},
      {"stride below the length", "stride", [](auto& t) { Row(t, "Level").stride = 2; }},
      {"float of two bytes", "register length 2", [](auto& t) { Row(t, "Gain").length = 2; }},
      {"float outside its range", "limits or value",
       [](auto& t) { Row(t, "Gain").floatValue = 11; }},
      {"read-only command", "command register",
       [](auto& t) { Row(t, "Go").access = vesk::sim::Access::ReadOnly; }},
      {"formula that does not parse", "missing operand",
       [](auto& t) { Row(t, "Twice").formula = "2 *"; }},
      {"formula name without variable", "no variable X",
       [](auto& t) { Row(t, "Twice").formula = "2 * X"; }},
      {"variable of a float", "not an integer register feature",
       [](auto& t) { Row(t, "Twice").variables[0].feature = "Gain"; }},
      {"converter of a float", "raw feature", [](auto& t) { Row(t, "Scaled").raw = "Gain"; }},
      {"converter formula with other names", "other names",
       [](auto& t) { Row(t, "Scaled").formula = "X"; }},
      {"register node name taken", "name is taken",
       [](auto& t) { t.push_back(Integer("LevelReg", 0x80)); }},
  };
  for (const Case& one : cases) {
    std::vector<Feature> table = Sound();
    one.spoil(table);
    try {
      FeatureRegisters registers(table, Endianness::Little);
      ADD_FAILURE() << one.what << " was taken";
    } catch (const std::logic_error& error) {
      EXPECT_NE(std::string(error.what()).find(one.message), std::string::npos)
          << one.what << ": " << error.what();
    }
  }
}

}  // namespace
