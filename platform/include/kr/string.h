// krString::CString: an owned, null-terminated byte string with printf-style formatting.
// Comparison is byte-wise (strcmp order); the null pointer converts to the empty string.
#pragma once

#include <kr/export.h>

#include <compare>
#include <cstdarg>
#include <string>
#include <string_view>

namespace krString {

class KR_PLATFORM_EXPORT CString {
 public:
  CString() = default;
  CString(const char* s) : s_(s ? s : "") {}
  CString(std::string s) : s_(std::move(s)) {}
  CString(std::string_view s) : s_(s) {}

  // A string built like printf.
  static CString format(const char* fmt, ...)
#if defined(__GNUC__)
      __attribute__((format(printf, 1, 2)))
#endif
      ;
  static CString vformat(const char* fmt, std::va_list args);

  const char* c_str() const noexcept {
    return s_.c_str();
  }
  const std::string& str() const noexcept {
    return s_;
  }
  std::size_t length() const noexcept {
    return s_.size();
  }
  bool empty() const noexcept {
    return s_.empty();
  }
  void swap(CString& o) noexcept {
    s_.swap(o.s_);
  }

  friend bool operator==(const CString& a, const CString& b) noexcept {
    return a.s_ == b.s_;
  }
  friend bool operator==(const CString& a, const char* b) noexcept {
    return a.s_ == (b ? b : "");
  }
  friend std::strong_ordering operator<=>(const CString& a, const CString& b) noexcept {
    return a.s_.compare(b.s_) <=> 0;
  }

 private:
  std::string s_;
};

// Exact, case-sensitive equality.
inline bool equal(const CString& a, const CString& b) noexcept {
  return a == b;
}
// Byte-wise ordering, as strcmp.
inline bool less(const CString& a, const CString& b) noexcept {
  return a < b;
}

}  // namespace krString
