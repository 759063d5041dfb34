#include <kr/debug_channel.h>

#include <kr/string.h>
#include <cstdio>

namespace krOS {

void DebugChannel::print(const char* fmt, ...) const {
  if (!enabled_) return;
  std::va_list args;
  va_start(args, fmt);
  vprint(fmt, args);
  va_end(args);
}

void DebugChannel::vprint(const char* fmt, std::va_list args) const {
  if (!enabled_) return;
  const krString::CString text = krString::CString::vformat(fmt, args);
  if (sink_) {
    sink_(text.str());
  } else {
    std::fputs(text.c_str(), stderr);
  }
}

}  // namespace krOS
