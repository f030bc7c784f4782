#include "sim/camera/FeatureRegisters.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "sim/camera/GenApiXmlWriter.h"

namespace vesk::sim {

namespace {

[[noreturn]] void Fail(const Feature& feature, const std::string& problem) {
  throw std::logic_error("feature table: " + feature.name + ": " + problem);
}

bool HasRegister(FeatureType type) {
  return type != FeatureType::Category && type != FeatureType::IntSwissKnife &&
         type != FeatureType::Converter;
}

// Features whose register holds a plain integer: what formulas may read and selectors are.
bool IsRegisterInteger(FeatureType type) {
  return type == FeatureType::Integer || type == FeatureType::Enumeration ||
         type == FeatureType::Boolean;
}

uint32_t Width(const Feature& feature) { return feature.bits ? feature.bits : feature.length * 8; }

uint64_t Mask(uint32_t width) { return width >= 64 ? ~0ULL : (1ULL << width) - 1; }

bool ValidLength(const Feature& feature) {
  switch (feature.type) {
    case FeatureType::Float:
      return feature.length == 4 || feature.length == 8;
    case FeatureType::String:
      return feature.length > 0;
    default:
      return feature.length == 1 || feature.length == 2 || feature.length == 4 ||
             feature.length == 8;
  }
}

template <typename Map>
auto HoldingIn(Map& registers, uint64_t address) -> decltype(registers.begin()) {
  auto it = registers.upper_bound(address);
  if (it == registers.begin()) return registers.end();
  --it;
  return address - it->first < it->second.bytes.size() ? it : registers.end();
}

}  // namespace

FeatureRegisters::FeatureRegisters(std::vector<Feature> features, Endianness endianness)
    : features_(std::move(features)), endianness_(endianness) {
  for (const Feature& feature : features_) {
    if (feature.name.empty() || !byName_.emplace(feature.name, &feature).second) {
      Fail(feature, "empty or duplicate name");
    }
  }
  for (const Feature& feature : features_) Prepare(feature);
  for (const Feature& feature : features_) {
    if (HasRegister(feature.type)) AddRegisters(feature);
  }
  CheckLayout();
}

void FeatureRegisters::Prepare(const Feature& feature) {
  if (feature.type != FeatureType::String && HasRegister(feature.type) &&
      Find(feature.name + GenApiXmlWriter::kRegisterSuffix)) {
    Fail(feature, "its register node's name is taken");
  }
  switch (feature.type) {
    case FeatureType::Category:
      for (const std::string& child : feature.children) {
        if (!Find(child)) Fail(feature, "unknown child " + child);
      }
      return;
    case FeatureType::IntSwissKnife:
      PrepareSwissKnife(feature);
      return;
    case FeatureType::Converter:
      PrepareConverter(feature);
      return;
    default:
      break;
  }
  if (!ValidLength(feature)) Fail(feature, "register length " + std::to_string(feature.length));
  if (feature.bits != 0) {
    const bool integer = IsRegisterInteger(feature.type);
    if (!integer || feature.lsb + feature.bits > feature.length * 8) Fail(feature, "bit field");
  }
  if (!feature.selector.empty()) CheckSelector(feature);
  CheckLimits(feature);
}

void FeatureRegisters::PrepareSwissKnife(const Feature& feature) {
  const Formula formula = Parsed(feature, feature.formula);
  for (const std::string& name : formula.Names()) {
    const auto variable =
        std::find_if(feature.variables.begin(), feature.variables.end(),
                     [&](const FormulaVariable& candidate) { return candidate.name == name; });
    if (variable == feature.variables.end()) Fail(feature, "no variable " + name);
    const Feature* source = Find(variable->feature);
    if (!source || !IsRegisterInteger(source->type)) {
      Fail(feature, "variable " + name + " is not an integer register feature");
    }
  }
  formulas_.emplace(feature.name, formula);
}

void FeatureRegisters::PrepareConverter(const Feature& feature) {
  const Feature* raw = Find(feature.raw);
  if (!raw || raw->type != FeatureType::Integer) Fail(feature, "raw feature is not an Integer");
  const Formula from = Parsed(feature, feature.formula);
  const Formula to = Parsed(feature, feature.formulaTo);
  const auto only = [](const Formula& formula, const char* name) {
    return formula.Names().size() <= 1 &&
           (formula.Names().empty() || formula.Names().front() == name);
  };
  if (!only(from, "TO") || !only(to, "FROM")) Fail(feature, "formulas use other names");
  formulas_.emplace(feature.name, from);
}

Formula FeatureRegisters::Parsed(const Feature& feature, const std::string& text) const {
  try {
    return Formula(text);
  } catch (const std::invalid_argument& error) {
    Fail(feature, error.what());
  }
}

void FeatureRegisters::CheckSelector(const Feature& feature) const {
  const Feature* selector = Find(feature.selector);
  if (!selector || selector->type != FeatureType::Enumeration || !selector->selector.empty()) {
    Fail(feature, "selector " + feature.selector + " is not a plain Enumeration");
  }
  std::vector<int64_t> values;
  for (const EnumEntry& entry : selector->entries) values.push_back(entry.value);
  std::sort(values.begin(), values.end());
  for (size_t index = 0; index < values.size(); ++index) {
    if (values[index] != static_cast<int64_t>(index)) {
      Fail(feature, "selector entries are not 0, 1, ...");
    }
  }
  if (feature.stride < feature.length) Fail(feature, "stride below the register length");
}

void FeatureRegisters::CheckLimits(const Feature& feature) const {
  switch (feature.type) {
    case FeatureType::Integer:
      if (feature.inc < 1 || feature.min > feature.max || !Fits(feature, feature.min) ||
          !Fits(feature, feature.max) || !OnGrid(feature, feature.value)) {
        Fail(feature, "limits or value");
      }
      return;
    case FeatureType::Enumeration:
      for (const EnumEntry& entry : feature.entries) {
        if (!Fits(feature, entry.value)) Fail(feature, "entry " + entry.name + " does not fit");
      }
      if (!IsEntry(feature, feature.value)) Fail(feature, "value is no entry");
      return;
    case FeatureType::Boolean:
      if (feature.value != 0 && feature.value != 1) Fail(feature, "value is not 0 or 1");
      return;
    case FeatureType::Command:
      if (feature.access != Access::ReadWrite || !Fits(feature, feature.commandValue)) {
        Fail(feature, "command register");
      }
      return;
    case FeatureType::Float:
      if (!(feature.floatMin <= feature.floatValue && feature.floatValue <= feature.floatMax)) {
        Fail(feature, "limits or value");
      }
      return;
    default:
      return;
  }
}

void FeatureRegisters::AddRegisters(const Feature& feature) {
  const uint64_t copies = feature.selector.empty() ? 1 : Find(feature.selector)->entries.size();
  for (uint64_t copy = 0; copy < copies; ++copy) {
    const auto [it, added] = registers_.try_emplace(feature.address + copy * feature.stride);
    Register& reg = it->second;
    if (added) {
      reg.bytes.assign(feature.length, 0);
      reg.access = feature.access;
    } else if (reg.bytes.size() != feature.length || reg.access != feature.access) {
      Fail(feature, "shares a register of another length or access");
    }
    reg.fields.push_back(&feature);
    switch (feature.type) {
      case FeatureType::Float:
        SetFloat(feature, reg.bytes, feature.floatValue);
        break;
      case FeatureType::String:
        // Longer text is cut to the register.
        std::copy_n(feature.text.begin(), std::min<size_t>(feature.text.size(), feature.length),
                    reg.bytes.begin());
        break;
      case FeatureType::Command:
        break;
      default:
        SetField(feature, reg.bytes, feature.value);
    }
  }
}

void FeatureRegisters::CheckLayout() const {
  uint64_t end = 0;
  for (const auto& [address, reg] : registers_) {
    const Feature& first = *reg.fields.front();
    if (address < end) Fail(first, "register overlaps the one before");
    end = address + reg.bytes.size();
    uint64_t used = 0;
    for (const Feature* field : reg.fields) {
      if (reg.fields.size() > 1 && (field->bits == 0 || field->type == FeatureType::Command)) {
        Fail(*field, "shares a register without a bit field");
      }
      const uint64_t mask = Mask(Width(*field)) << field->lsb;
      if (used & mask) Fail(*field, "bit field overlaps another");
      used |= mask;
    }
  }
}

const Feature* FeatureRegisters::Find(const std::string& name) const {
  const auto it = byName_.find(name);
  return it == byName_.end() ? nullptr : it->second;
}

bool FeatureRegisters::Read(uint64_t address, uint8_t* bytes, size_t length) {
  const uint64_t end = address + length;
  // All of it first, so that a refused read leaves running commands as they are.
  for (uint64_t at = address; at < end;) {
    const auto it = HoldingIn(registers_, at);
    if (it == registers_.end()) return false;
    at = it->first + it->second.bytes.size();
  }
  for (uint64_t at = address; at < end;) {
    const auto it = HoldingIn(registers_, at);
    Register& reg = it->second;
    const uint64_t offset = at - it->first;
    const size_t count =
        static_cast<size_t>(std::min<uint64_t>(end - at, reg.bytes.size() - offset));
    if (reg.busyReads > 0) {
      std::vector<uint8_t> running(reg.bytes.size(), 0);
      SetField(*reg.fields.front(), running, reg.fields.front()->commandValue);
      std::memcpy(bytes + (at - address), running.data() + offset, count);
      --reg.busyReads;
    } else {
      std::memcpy(bytes + (at - address), reg.bytes.data() + offset, count);
    }
    at += count;
  }
  return true;
}

bool FeatureRegisters::Write(uint64_t address, const uint8_t* bytes, size_t length) {
  const uint64_t end = address + length;
  std::vector<std::pair<Register*, std::vector<uint8_t>>> changes;
  for (uint64_t at = address; at < end;) {
    const auto it = HoldingIn(registers_, at);
    if (it == registers_.end() || it->first != at) return false;
    Register& reg = it->second;
    if (reg.access != Access::ReadWrite || reg.bytes.size() > end - at) return false;
    const uint8_t* from = bytes + (at - address);
    std::vector<uint8_t> next(from, from + reg.bytes.size());
    for (const Feature* field : reg.fields) {
      if (!Allowed(*field, next)) return false;
    }
    changes.emplace_back(&reg, std::move(next));
    at += reg.bytes.size();
  }
  for (auto& [reg, next] : changes) {
    // A command's register keeps 0; what it reads while running comes from busyReads.
    const Feature& first = *reg->fields.front();
    if (first.type == FeatureType::Command) {
      reg->busyReads = first.busyReads;
    } else {
      reg->bytes = std::move(next);
    }
  }
  return true;
}

bool FeatureRegisters::Allowed(const Feature& feature, const std::vector<uint8_t>& bytes) const {
  switch (feature.type) {
    case FeatureType::Float: {
      const double value = FloatOf(feature, bytes);
      return feature.floatMin <= value && value <= feature.floatMax;
    }
    case FeatureType::String:
      return true;
    case FeatureType::Command:
      return Field(feature, bytes) == feature.commandValue;
    case FeatureType::Enumeration:
      return IsEntry(feature, Field(feature, bytes));
    case FeatureType::Boolean: {
      const int64_t value = Field(feature, bytes);
      return value == 0 || value == 1;
    }
    default:
      return OnGrid(feature, Field(feature, bytes));
  }
}

bool FeatureRegisters::OnGrid(const Feature& feature, int64_t value) const {
  if (value < feature.min || value > feature.max) return false;
  const uint64_t steps = static_cast<uint64_t>(value) - static_cast<uint64_t>(feature.min);
  return steps % static_cast<uint64_t>(feature.inc) == 0;
}

bool FeatureRegisters::IsEntry(const Feature& feature, int64_t value) const {
  return std::any_of(feature.entries.begin(), feature.entries.end(),
                     [&](const EnumEntry& entry) { return entry.value == value; });
}

std::optional<FeatureValue> FeatureRegisters::Value(const std::string& name) const {
  const Feature* feature = Find(name);
  if (!feature) return std::nullopt;
  switch (feature->type) {
    case FeatureType::Category:
      return std::nullopt;
    case FeatureType::IntSwissKnife:
      return formulas_.at(name).EvaluateInteger([&](const std::string& variable) {
        for (const FormulaVariable& candidate : feature->variables) {
          if (candidate.name == variable) return IntegerOf(candidate.feature);
        }
        return int64_t{0};
      });
    case FeatureType::Converter:
      return formulas_.at(name).EvaluateFloat(
          [&](const std::string&) { return static_cast<double>(IntegerOf(feature->raw)); });
    default:
      break;
  }
  const Register* reg = RegisterOf(*feature);
  if (!reg) return std::nullopt;
  switch (feature->type) {
    case FeatureType::Float:
      return FloatOf(*feature, reg->bytes);
    case FeatureType::String: {
      const auto end = std::find(reg->bytes.begin(), reg->bytes.end(), 0);
      return std::string(reg->bytes.begin(), end);
    }
    case FeatureType::Command:
      return reg->busyReads > 0 ? feature->commandValue : int64_t{0};
    default:
      return Field(*feature, reg->bytes);
  }
}

int64_t FeatureRegisters::IntegerOf(const std::string& name) const {
  const std::optional<FeatureValue> value = Value(name);
  return value && std::holds_alternative<int64_t>(*value) ? std::get<int64_t>(*value) : 0;
}

const FeatureRegisters::Register* FeatureRegisters::RegisterOf(const Feature& feature) const {
  const int64_t copy = feature.selector.empty() ? 0 : IntegerOf(feature.selector);
  const auto it = registers_.find(feature.address + static_cast<uint64_t>(copy) * feature.stride);
  return it == registers_.end() ? nullptr : &it->second;
}

uint64_t FeatureRegisters::Load(const std::vector<uint8_t>& bytes) const {
  uint64_t value = 0;
  const size_t size = bytes.size();
  for (size_t index = 0; index < size; ++index) {
    value = (value << 8) | bytes[endianness_ == Endianness::Big ? index : size - 1 - index];
  }
  return value;
}

void FeatureRegisters::Store(std::vector<uint8_t>& bytes, uint64_t value) const {
  const size_t size = bytes.size();
  for (size_t index = 0; index < size; ++index) {
    bytes[endianness_ == Endianness::Big ? size - 1 - index : index] = static_cast<uint8_t>(value);
    value >>= 8;
  }
}

int64_t FeatureRegisters::Field(const Feature& feature, const std::vector<uint8_t>& bytes) const {
  const uint32_t width = Width(feature);
  uint64_t value = (Load(bytes) >> feature.lsb) & Mask(width);
  if (feature.isSigned && width < 64 && ((value >> (width - 1)) & 1)) value |= ~Mask(width);
  return static_cast<int64_t>(value);
}

void FeatureRegisters::SetField(const Feature& feature, std::vector<uint8_t>& bytes,
                                int64_t value) const {
  const uint64_t mask = Mask(Width(feature)) << feature.lsb;
  const uint64_t field = (static_cast<uint64_t>(value) << feature.lsb) & mask;
  Store(bytes, (Load(bytes) & ~mask) | field);
}

bool FeatureRegisters::Fits(const Feature& feature, int64_t value) const {
  const uint32_t width = Width(feature);
  if (width >= 64) return true;
  if (feature.isSigned) {
    const int64_t half = int64_t{1} << (width - 1);
    return value >= -half && value < half;
  }
  return value >= 0 && static_cast<uint64_t>(value) <= Mask(width);
}

double FeatureRegisters::FloatOf(const Feature& feature, const std::vector<uint8_t>& bytes) const {
  const uint64_t bits = Load(bytes);
  if (feature.length == 4) {
    const auto narrow = static_cast<uint32_t>(bits);
    float value;
    std::memcpy(&value, &narrow, sizeof(value));
    return value;
  }
  double value;
  std::memcpy(&value, &bits, sizeof(value));
  return value;
}

void FeatureRegisters::SetFloat(const Feature& feature, std::vector<uint8_t>& bytes,
                                double value) const {
  if (feature.length == 4) {
    const auto narrow = static_cast<float>(value);
    uint32_t bits;
    std::memcpy(&bits, &narrow, sizeof(bits));
    Store(bytes, bits);
    return;
  }
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof(bits));
  Store(bytes, bits);
}

}  // namespace vesk::sim
