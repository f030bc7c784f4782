#ifndef VESK_SIM_CAMERA_FEATURE_H
#define VESK_SIM_CAMERA_FEATURE_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace vesk::sim {

enum class FeatureType {
  Category,
  Integer,
  Float,
  Enumeration,
  Boolean,
  Command,
  String,
  // Formula nodes: an integer computed from other features, and a float converted from an
  // integer feature and back.
  IntSwissKnife,
  Converter,
};

enum class Access { ReadOnly, ReadWrite };
enum class Visibility { Beginner, Expert, Guru, Invisible };

struct EnumEntry {
  std::string name;
  int64_t value = 0;
};

// A name that a formula uses and the feature whose value it stands for.
struct FormulaVariable {
  std::string name;
  std::string feature;
};

// One row of a camera model's feature table. Its register behaviour and its GenICam node are
// both made from it; the fields that a type does not use stay at their defaults.
struct Feature {
  std::string name;
  FeatureType type = FeatureType::Integer;
  std::string toolTip;
  Visibility visibility = Visibility::Beginner;
  // A feature name of the standard feature naming convention, rather than the vendor's own.
  bool standard = true;

  // The register of an Integer, Float, Enumeration, Boolean, Command or String.
  uint64_t address = 0;
  uint32_t length = 4;
  Access access = Access::ReadWrite;
  // A bit field of the register's value, counted from its least significant bit; bits 0 means
  // the whole register. Fields of several features may share one register.
  uint32_t lsb = 0;
  uint32_t bits = 0;
  bool isSigned = false;
  // A selected feature has one register per entry of its selector (an Enumeration whose entry
  // values are 0, 1, ...), `stride` bytes apart; the selector's value picks the one in use.
  std::string selector;
  uint64_t stride = 0;

  // The value that the camera starts with, and its limits. Booleans hold 0 or 1.
  int64_t value = 0;
  int64_t min = 0;
  int64_t max = 0;
  int64_t inc = 1;
  double floatValue = 0;
  double floatMin = 0;
  double floatMax = 0;
  std::string text;
  std::string unit;
  std::vector<EnumEntry> entries;

  // The features of a Category.
  std::vector<std::string> children;

  // A Command's register reads back `commandValue` for `busyReads` reads after it was written,
  // then 0: the command is done.
  int64_t commandValue = 1;
  uint32_t busyReads = 0;

  // IntSwissKnife: `formula` over `variables`. Converter: `formula` turns the raw value TO of
  // the integer feature `raw` into the feature's value, `formulaTo` turns a value FROM back.
  std::string formula;
  std::string formulaTo;
  std::string raw;
  std::vector<FormulaVariable> variables;
};

// What a camera holds for a feature: integers (also enumerations, booleans and commands), floats
// or text.
using FeatureValue = std::variant<int64_t, double, std::string>;

}  // namespace vesk::sim

#endif
