#ifndef VESK_GENAPI_GC_STRING_H
#define VESK_GENAPI_GC_STRING_H

#include <cstddef>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace GenICam {

// The string type of the GenICam interfaces: names, symbolic values and texts travel as
// gcstring. A thin value type over std::string.
class gcstring {
 public:
  static constexpr size_t npos = std::string::npos;

  gcstring() = default;
  gcstring(const char* text) : text_(text ? text : "") {}
  gcstring(const char* text, size_t count) : text_(text ? std::string(text, count) : "") {}
  gcstring(std::string text) : text_(std::move(text)) {}

  const char* c_str() const { return text_.c_str(); }
  size_t size() const { return text_.size(); }
  size_t length() const { return text_.size(); }
  bool empty() const { return text_.empty(); }
  size_t find(const gcstring& part, size_t from = 0) const { return text_.find(part.text_, from); }
  gcstring substr(size_t from = 0, size_t count = npos) const { return text_.substr(from, count); }

  operator std::string() const { return text_; }
  const std::string& str() const { return text_; }

  gcstring& operator+=(const gcstring& tail) {
    text_ += tail.text_;
    return *this;
  }

  friend gcstring operator+(gcstring head, const gcstring& tail) { return head += tail; }
  friend bool operator==(const gcstring& a, const gcstring& b) { return a.text_ == b.text_; }
  friend bool operator!=(const gcstring& a, const gcstring& b) { return a.text_ != b.text_; }
  friend bool operator<(const gcstring& a, const gcstring& b) { return a.text_ < b.text_; }
  friend bool operator==(const gcstring& a, const char* b) { return a.text_ == (b ? b : ""); }
  friend bool operator!=(const gcstring& a, const char* b) { return !(a == b); }
  friend bool operator==(const char* a, const gcstring& b) { return b == a; }
  friend bool operator!=(const char* a, const gcstring& b) { return !(b == a); }

 private:
  std::string text_;
};

std::ostream& operator<<(std::ostream& stream, const gcstring& text);

using gcstring_vector = std::vector<gcstring>;

}  // namespace GenICam

#endif
