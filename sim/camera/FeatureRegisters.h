#ifndef VESK_SIM_CAMERA_FEATURE_REGISTERS_H
#define VESK_SIM_CAMERA_FEATURE_REGISTERS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/camera/Camera.h"
#include "sim/camera/Feature.h"
#include "sim/camera/Formula.h"

namespace vesk::sim {

// The register behaviour of a feature table: the registers that its features declare (one per
// selector entry for a selected feature), holding the features' values in the camera's byte
// order. The memory is sparse: an access to a byte outside every register is refused. A write
// must cover whole writable registers and keep every feature in them within its limits (an
// enumeration at one of its entries, a command at its command value), or nothing changes.
// Not thread-safe: the camera serialises the calls.
class FeatureRegisters {
 public:
  // Throws std::logic_error, naming the feature, for a table that contradicts itself: duplicate
  // names, registers that overlap but do not coincide, bit fields that overlap or leave their
  // register, values outside their limits, unknown selectors, variables or children, formulas
  // that cannot be parsed.
  FeatureRegisters(std::vector<Feature> features, Endianness endianness);
  FeatureRegisters(const FeatureRegisters&) = delete;
  FeatureRegisters& operator=(const FeatureRegisters&) = delete;

  // A read of a running command counts down its busy reads.
  bool Read(uint64_t address, uint8_t* bytes, size_t length);
  bool Write(uint64_t address, const uint8_t* bytes, size_t length);

  // The value that a feature has now; for a selected feature the one its selector picks.
  // Empty for a category and for a name outside the table.
  std::optional<FeatureValue> Value(const std::string& name) const;
  const std::vector<Feature>& Features() const { return features_; }

 private:
  struct Register {
    std::vector<uint8_t> bytes;
    Access access = Access::ReadWrite;
    std::vector<const Feature*> fields;
    // Reads left in which a command still runs.
    uint32_t busyReads = 0;
  };
  using Registers = std::map<uint64_t, Register>;

  void Prepare(const Feature& feature);
  void PrepareSwissKnife(const Feature& feature);
  void PrepareConverter(const Feature& feature);
  Formula Parsed(const Feature& feature, const std::string& text) const;
  void CheckSelector(const Feature& feature) const;
  void CheckLimits(const Feature& feature) const;
  void AddRegisters(const Feature& feature);
  void CheckLayout() const;

  const Feature* Find(const std::string& name) const;
  const Register* RegisterOf(const Feature& feature) const;
  int64_t IntegerOf(const std::string& name) const;
  bool Allowed(const Feature& feature, const std::vector<uint8_t>& bytes) const;
  bool OnGrid(const Feature& feature, int64_t value) const;
  bool IsEntry(const Feature& feature, int64_t value) const;
  bool Fits(const Feature& feature, int64_t value) const;

  // Registers in the camera's byte order, fields counted from the value's least significant bit.
  uint64_t Load(const std::vector<uint8_t>& bytes) const;
  void Store(std::vector<uint8_t>& bytes, uint64_t value) const;
  int64_t Field(const Feature& feature, const std::vector<uint8_t>& bytes) const;
  void SetField(const Feature& feature, std::vector<uint8_t>& bytes, int64_t value) const;
  double FloatOf(const Feature& feature, const std::vector<uint8_t>& bytes) const;
  void SetFloat(const Feature& feature, std::vector<uint8_t>& bytes, double value) const;

  std::vector<Feature> features_;
  const Endianness endianness_;
  std::map<std::string, const Feature*> byName_;
  std::map<std::string, Formula> formulas_;
  Registers registers_;
};

}  // namespace vesk::sim

#endif
