// krOS::DebugChannel: a named diagnostic output, disabled by default.
//
//   krOS::DebugChannel ch("octree");
//   ch.enable(true);
//   ch.print("built in %.3f s\n", seconds);
//
// print() writes nothing while the channel is disabled. Text goes to the channel's sink, standard
// error unless replaced with setSink (tests capture text that way). One thread at a time.
#pragma once

#include <kr/export.h>

#include <cstdarg>
#include <functional>
#include <string>
#include <string_view>

namespace krOS {

class KR_PLATFORM_EXPORT DebugChannel {
 public:
  using Sink = std::function<void(std::string_view)>;

  DebugChannel() = default;
  explicit DebugChannel(const char* name) : name_(name ? name : "") {}
  DebugChannel(const DebugChannel&) = delete;
  DebugChannel& operator=(const DebugChannel&) = delete;
  ~DebugChannel() = default;

  const char* name() const noexcept { return name_.c_str(); }
  void enable(bool on) noexcept { enabled_ = on; }
  bool enabled() const noexcept { return enabled_; }

  // printf-style output to the sink; nothing when disabled.
  void print(const char* fmt, ...) const
#if defined(__GNUC__)
      __attribute__((format(printf, 2, 3)))
#endif
      ;
  void vprint(const char* fmt, std::va_list args) const;

  // Replaces the sink; an empty function restores standard error.
  void setSink(Sink sink) {
    sink_ = std::move(sink);
  }

 private:
  std::string name_;
  Sink sink_;
  bool enabled_ = false;
};

}  // namespace krOS
