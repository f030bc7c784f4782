#include "Json.h"

#include <cmath>
#include <cstdio>

namespace vesk::tool {

namespace {

void Quote(const std::string& text, std::string& out) {
  out += '"';
  for (const unsigned char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (c < 0x20) {
          char escaped[8];
          std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
          out += escaped;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  out += '"';
}

std::string NumberText(double value) {
  if (!std::isfinite(value)) return "null";
  char text[32];
  std::snprintf(text, sizeof text, "%.10g", value);
  return text;
}

const Json kNull;
const Json::Array kNoItems;

}  // namespace

Json::Json(const char* value) {
  if (value) value_ = std::string(value);
}

Json& Json::Add(Json value) {
  std::get<Array>(value_).push_back(std::move(value));
  return *this;
}

Json& Json::Set(const std::string& key, Json value) {
  auto& members = std::get<Object>(value_);
  for (auto& member : members) {
    if (member.first == key) {
      member.second = std::move(value);
      return *this;
    }
  }
  members.emplace_back(key, std::move(value));
  return *this;
}

const Json& Json::operator[](const std::string& key) const {
  if (const auto* members = std::get_if<Object>(&value_)) {
    for (const auto& member : *members) {
      if (member.first == key) return member.second;
    }
  }
  return kNull;
}

const Json::Array& Json::Items() const {
  const auto* items = std::get_if<Array>(&value_);
  return items ? *items : kNoItems;
}

double Json::Number() const {
  if (const auto* value = std::get_if<double>(&value_)) return *value;
  return static_cast<double>(Integer());
}

int64_t Json::Integer() const {
  if (const auto* value = std::get_if<int64_t>(&value_)) return *value;
  if (const auto* value = std::get_if<bool>(&value_)) return *value;
  return 0;
}

std::string Json::Text() const {
  if (const auto* text = std::get_if<std::string>(&value_)) return *text;
  if (const auto* value = std::get_if<int64_t>(&value_)) return std::to_string(*value);
  if (const auto* value = std::get_if<double>(&value_)) return NumberText(*value);
  if (const auto* value = std::get_if<bool>(&value_)) return *value ? "true" : "false";
  return IsNull() ? "-" : Dump();
}

std::string Json::Dump() const {
  std::string out;
  DumpTo(out);
  return out;
}

void Json::DumpTo(std::string& out) const {
  if (IsNull()) {
    out += "null";
  } else if (const auto* text = std::get_if<std::string>(&value_)) {
    Quote(*text, out);
  } else if (const auto* items = std::get_if<Array>(&value_)) {
    out += '[';
    for (size_t i = 0; i < items->size(); ++i) {
      if (i) out += ',';
      (*items)[i].DumpTo(out);
    }
    out += ']';
  } else if (const auto* members = std::get_if<Object>(&value_)) {
    out += '{';
    for (size_t i = 0; i < members->size(); ++i) {
      if (i) out += ',';
      Quote((*members)[i].first, out);
      out += ':';
      (*members)[i].second.DumpTo(out);
    }
    out += '}';
  } else {
    out += Text();
  }
}

}  // namespace vesk::tool
