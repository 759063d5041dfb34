#include <kr/string.h>

#include <cstdio>

namespace krString {

CString CString::format(const char* fmt, ...) {
  std::va_list args;
  va_start(args, fmt);
  CString s = vformat(fmt, args);
  va_end(args);
  return s;
}

CString CString::vformat(const char* fmt, std::va_list args) {
  std::va_list again;
  va_copy(again, args);
  const int n = std::vsnprintf(nullptr, 0, fmt, args);
  std::string s;
  if (n > 0) {
    s.resize(static_cast<std::size_t>(n));
    std::vsnprintf(s.data(), s.size() + 1, fmt, again);
  }
  va_end(again);
  return CString(std::move(s));
}

}  // namespace krString
