#ifndef VESK_SIM_CAMERA_FEATURE_ROW_H
#define VESK_SIM_CAMERA_FEATURE_ROW_H

#include <string>
#include <utility>
#include <vector>

#include "sim/camera/Feature.h"

// Builds the rows of a model's feature table, one line per feature:
//   Integer("Width", 0x100108).Range(16, 2048, 16).Value(1920).Tip("...")
namespace vesk::sim::table {

class FeatureRow {
 public:
  explicit FeatureRow(Feature feature) : feature_(std::move(feature)) {}

  FeatureRow& Tip(std::string toolTip) {
    feature_.toolTip = std::move(toolTip);
    return *this;
  }
  FeatureRow& Visible(Visibility visibility) {
    feature_.visibility = visibility;
    return *this;
  }
  FeatureRow& Custom() {
    feature_.standard = false;
    return *this;
  }
  FeatureRow& ReadOnly() {
    feature_.access = Access::ReadOnly;
    return *this;
  }
  FeatureRow& Length(uint32_t length) {
    feature_.length = length;
    return *this;
  }
  FeatureRow& Bits(uint32_t lsb, uint32_t bits) {
    feature_.lsb = lsb;
    feature_.bits = bits;
    return *this;
  }
  FeatureRow& Signed() {
    feature_.isSigned = true;
    return *this;
  }
  FeatureRow& SelectedBy(std::string selector, uint64_t stride) {
    feature_.selector = std::move(selector);
    feature_.stride = stride;
    return *this;
  }
  FeatureRow& Range(int64_t min, int64_t max, int64_t inc = 1) {
    feature_.min = min;
    feature_.max = max;
    feature_.inc = inc;
    return *this;
  }
  FeatureRow& FloatRange(double min, double max) {
    feature_.floatMin = min;
    feature_.floatMax = max;
    return *this;
  }
  FeatureRow& Value(int64_t value) {
    feature_.value = value;
    return *this;
  }
  FeatureRow& FloatValue(double value) {
    feature_.floatValue = value;
    return *this;
  }
  FeatureRow& Text(std::string text) {
    feature_.text = std::move(text);
    return *this;
  }
  FeatureRow& Unit(std::string unit) {
    feature_.unit = std::move(unit);
    return *this;
  }
  FeatureRow& BusyReads(uint32_t reads) {
    feature_.busyReads = reads;
    return *this;
  }

  operator Feature() const { return feature_; }

 private:
  Feature feature_;
};

namespace detail {
inline Feature Named(std::string name, FeatureType type) {
  Feature feature;
  feature.name = std::move(name);
  feature.type = type;
  return feature;
}
inline Feature Register(std::string name, FeatureType type, uint64_t address, uint32_t length) {
  Feature feature = Named(std::move(name), type);
  feature.address = address;
  feature.length = length;
  return feature;
}
}  // namespace detail

inline FeatureRow Category(std::string name, std::vector<std::string> children) {
  Feature feature = detail::Named(std::move(name), FeatureType::Category);
  feature.children = std::move(children);
  return FeatureRow(std::move(feature));
}

inline FeatureRow Integer(std::string name, uint64_t address, uint32_t length = 4) {
  return FeatureRow(detail::Register(std::move(name), FeatureType::Integer, address, length));
}

inline FeatureRow Float(std::string name, uint64_t address, uint32_t length) {
  return FeatureRow(detail::Register(std::move(name), FeatureType::Float, address, length));
}

// Starts at its first entry.
inline FeatureRow Enumeration(std::string name, uint64_t address, std::vector<EnumEntry> entries) {
  Feature feature = detail::Register(std::move(name), FeatureType::Enumeration, address, 4);
  if (!entries.empty()) feature.value = entries.front().value;
  feature.entries = std::move(entries);
  return FeatureRow(std::move(feature));
}

inline FeatureRow Boolean(std::string name, uint64_t address) {
  return FeatureRow(detail::Register(std::move(name), FeatureType::Boolean, address, 4));
}

inline FeatureRow Command(std::string name, uint64_t address) {
  return FeatureRow(detail::Register(std::move(name), FeatureType::Command, address, 4));
}

inline FeatureRow String(std::string name, uint64_t address, uint32_t length) {
  return FeatureRow(detail::Register(std::move(name), FeatureType::String, address, length));
}

inline FeatureRow IntSwissKnife(std::string name, std::string formula,
                                std::vector<FormulaVariable> variables) {
  Feature feature = detail::Named(std::move(name), FeatureType::IntSwissKnife);
  feature.formula = std::move(formula);
  feature.variables = std::move(variables);
  feature.access = Access::ReadOnly;
  return FeatureRow(std::move(feature));
}

// `from` computes the value from the raw value TO, `to` the raw value from the value FROM.
inline FeatureRow Converter(std::string name, std::string raw, std::string from, std::string to) {
  Feature feature = detail::Named(std::move(name), FeatureType::Converter);
  feature.raw = std::move(raw);
  feature.formula = std::move(from);
  feature.formulaTo = std::move(to);
  return FeatureRow(std::move(feature));
}

}  // namespace vesk::sim::table

#endif
