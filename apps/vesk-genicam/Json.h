// The data a command reports: printed as one JSON document with --json, or read by the
// command's text form.
#ifndef VESK_APPS_VESK_GENICAM_JSON_H
#define VESK_APPS_VESK_GENICAM_JSON_H

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace vesk::tool {

class Json {
 public:
  using Array = std::vector<Json>;
  using Object = std::vector<std::pair<std::string, Json>>;

  Json() = default;  // null
  Json(bool value) : value_(value) {}
  Json(int value) : value_(int64_t{value}) {}
  Json(unsigned int value) : value_(int64_t{value}) {}
  Json(int64_t value) : value_(value) {}
  Json(uint64_t value) : value_(static_cast<int64_t>(value)) {}
  Json(double value) : value_(value) {}
  Json(std::string value) : value_(std::move(value)) {}
  // A null pointer is null, as the library's absent texts are.
  Json(const char* value);

  static Json MakeArray() { return Json(Array{}); }
  static Json MakeObject() { return Json(Object{}); }

  // Appends to an array.
  Json& Add(Json value);
  // Sets a member of an object, keeping the members in the order they were first set.
  Json& Set(const std::string& key, Json value);

  bool IsNull() const { return std::holds_alternative<std::monostate>(value_); }
  // The member, or null when there is none.
  const Json& operator[](const std::string& key) const;
  const Array& Items() const;
  int64_t Integer() const;
  double Number() const;
  // Plain text of a scalar: strings as they are, numbers in decimal, "-" for null.
  std::string Text() const;
  std::string Dump() const;

 private:
  explicit Json(Array array) : value_(std::move(array)) {}
  explicit Json(Object object) : value_(std::move(object)) {}
  void DumpTo(std::string& out) const;

  std::variant<std::monostate, bool, int64_t, double, std::string, Array, Object> value_;
};

}  // namespace vesk::tool

#endif
